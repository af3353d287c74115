#include <json/value.h>

#include <array>
#include <string>
#include <string_view>

#include "base/export_guard.h"
#include "base/json_value.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/one_event.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/request_context.h"
#include "photo_database/stored_path.h"
#include "photo_index/file_update.h"
#include "photo_index/media_info_complete.h"
#include "photo_index/media_kind.h"
#include "photo_index/move_rule.h"
#include "photo_index/record_json.h"

namespace {

// What may stand under the new name of a photo, and what of a video's rows carries its path.
constexpr std::array kPhotoTables = {PHOTO_TABLE_IMAGE, PHOTO_TABLE_VIDEO_DESC, PHOTO_TABLE_VIDEO_COMMENT,
                                     PHOTO_TABLE_VIDEO_LABEL};
constexpr std::array kVideoSideTables = {PHOTO_TABLE_VIDEO_DESC, PHOTO_TABLE_VIDEO_COMMENT,
                                         PHOTO_TABLE_VIDEO_LABEL};

bool KeepsItsKey(const char* new_path, const char* old_path) {
  return std::string_view(StoredPath(new_path)) == StoredPath(old_path);
}

void MovePhotoRow(const char* new_path, const char* old_path) {
  if (KeepsItsKey(new_path, old_path)) return;
  for (const PHOTO_TABLE_TYPE table : kPhotoTables) static_cast<void>(PhotoInfoDBDelete(table, new_path));
  // Its result is -1 whatever it did.
  static_cast<void>(PhotoInfoDBRename(new_path, old_path));
}

// A photo that has a row keeps it, with its id, labels and comments; one that has none gets one.
int RenamePhoto(Json::Value& info, const char* new_path, const char* old_path) {
  // The key stands in the condition as it is; the count makes the whole condition safe.
  const std::string condition = FormatText(kLikeConditionSize, "path like '%s' ", StoredPath(old_path));
  const int count = PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "path", condition.c_str(), nullptr);
  if (count < 0) {
    LOG_COLON(kPhotoIndexSource, "Error occurred, failed to get records.");
    return -1;
  }
  if (count > 0) MovePhotoRow(new_path, old_path);
  // The count also takes wildcards of the key for others' rows, while only the row of that very key moves.
  const bool moved = count > 0 && PhotoInfoDBPhotoIdGet(new_path) >= 0;
  return moved || SaveRow(PHOTO_TABLE_IMAGE, info) ? 0 : -1;
}

// The video's own row is written anew; its description, comments and labels move.
int RenameWebVideo(Json::Value& info, const char* new_path, const char* old_path) {
  if (!KeepsItsKey(new_path, old_path)) {
    static_cast<void>(PhotoInfoDBDelete(PHOTO_TABLE_VIDEO, old_path));
    static_cast<void>(PhotoInfoDBDelete(PHOTO_TABLE_VIDEO_CONVERT, old_path));
  }
  if (!SaveRow(PHOTO_TABLE_VIDEO, info)) return -1;
  for (const PHOTO_TABLE_TYPE table : kVideoSideTables) {
    static_cast<void>(KAVOPhotoInfoVideoRename(table, new_path, old_path));
  }
  return 0;
}

int MoveInPlace(Json::Value& info, const char* new_path, const char* old_path) {
  const MediaKind kind = IndexMediaKindGet(new_path);
  if (HGAStatusCheck(new_path) < 0) return -1;
  const OneEvent event;
  IndexMediaInfoComplete(info);
  if (kind == MediaKind::kPhoto) return RenamePhoto(info, new_path, old_path);
  if (kind == MediaKind::kWebVideo) return RenameWebVideo(info, new_path, old_path);
  if (kind == MediaKind::kOtherVideo && !SaveRow(PHOTO_TABLE_VIDEO, info)) return -1;
  static_cast<void>(IndexDelete(old_path));
  return 0;
}

int RenameFile(Json::Value* info, unsigned index_type, const char* old_path) {
  if (info == nullptr || IsEmpty(old_path)) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return -1;
  }
  const std::string new_path = JsonText(*info, "szPath");
  if (IsUnexpectedFolder(new_path.c_str())) return -1;
  // The caller's text may lie in the request context or inside INFO, which change on the way.
  const auto old_copy = TryCopy(old_path);
  if (!old_copy) {
    LOG_COLON(kPhotoIndexSource, "strdup failed.");
    return -1;
  }
  if (IndexIsIndexPath(new_path.c_str(), index_type) < 1) return 0;
  if (CanMoveInPlace(new_path.c_str(), old_copy->c_str())) {
    return MoveInPlace(*info, new_path.c_str(), old_copy->c_str());
  }
  static_cast<void>(IndexDelete(old_copy->c_str()));
  static_cast<void>(IndexAdd_Json(info, index_type));
  return 0;
}

}  // namespace

int IndexRename_Json(KAVO_JSON_VALUE* info, unsigned indexType, const char* old_path) {
  return Guarded(kPhotoIndexSource, -1, [&] { return RenameFile(info, indexType, old_path); });
}

int IndexRename(KAVO_MEDIA_INFO* info, unsigned indexType, const char* old_path) {
  return CallWithJson(info, [&](Json::Value* json) { return IndexRename_Json(json, indexType, old_path); });
}
