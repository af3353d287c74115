#include <array>
#include <string_view>

#include "base/export_guard.h"
#include "base/log.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "photo_index/arguments.h"
#include "photo_index/file_update.h"
#include "photo_index/path_gate.h"
#include "photo_index/record_json.h"
#include "platform/files.h"

namespace {

// Every table with rows of files, in the order in which they are cleared.
constexpr std::array kFileTables = {PHOTO_TABLE_IMAGE,         PHOTO_TABLE_VIDEO_DESC,
                                    PHOTO_TABLE_VIDEO_COMMENT, PHOTO_TABLE_VIDEO_LABEL,
                                    PHOTO_TABLE_VIDEO,         PHOTO_TABLE_VIDEO_CONVERT};

// Side files and the temporary items of desktop systems have no rows.
bool HasNoRows(std::string_view path) {
  return path.find("@eaDir") != std::string_view::npos ||
         path.find("/.TemporaryItems") != std::string_view::npos;
}

int DeleteFile(const char* path) {
  if (IsMissing(path)) return -1;
  const RequestScope scope = CheckRequest(path);
  if (scope == RequestScope::kRefused) return -1;
  if (scope == RequestScope::kElsewhere) return 0;
  if (IsFileExist(path, nullptr)) {
    LOG_NOTICE_COLON(kPhotoIndexSource, "File exists. Skip remove it from database.");
    return -1;
  }
  if (HasNoRows(path)) return 0;
  for (const PHOTO_TABLE_TYPE table : kFileTables) static_cast<void>(PhotoInfoDBDelete(table, path));
  return 0;
}

}  // namespace

int IndexAdd_Json(KAVO_JSON_VALUE* info, unsigned indexType) {
  return Guarded(kPhotoIndexSource, -1, [&] { return UpdateFile(info, indexType, kEventRules); });
}

int IndexAdd(KAVO_MEDIA_INFO* info, unsigned indexType) {
  return CallWithJson(info, [&](Json::Value* json) { return IndexAdd_Json(json, indexType); });
}

int IndexDelete(const char* path) {
  return Guarded(kPhotoIndexSource, -1, [&] { return DeleteFile(path); });
}
