#include "photo_index/file_update.h"

#include <json/value.h>

#include <string>

#include "base/fixed_path.h"
#include "base/json_value.h"
#include "base/log.h"
#include "base/one_event.h"
#include "lumivault/photo_index.h"
#include "lumivault/photo_util.h"
#include "photo_index/arguments.h"
#include "photo_index/media_info_complete.h"
#include "photo_index/media_kind.h"
#include "photo_index/path_gate.h"
#include "platform/files.h"
#include "platform/process.h"

namespace {

constexpr const char* kConvertSingleFile = "-f";

bool IsFaceRecognitionOn() {
  return RLIBCFileCheckKeyValue(FixedPath(kPackageSettings).c_str(), "runfacerecognition", "yes", 0) != 0;
}

// The jobs are side work: that one cannot be queued does not undo the save.
void QueueJobs(const Json::Value& info, const char* path) {
  if (!PackageEnabled()) return;
  if (IsFaceRecognitionOn()) static_cast<void>(IndexFaceRecognitionQueueAdd(path));
  static_cast<void>(IndexWatermarkQueueAdd(info));
}

void StartTool(const char* tool, const char* argument1, const char* argument2 = nullptr) {
  static_cast<void>(RLIBCExec(tool, argument1, argument2, nullptr, nullptr));
}

bool UpdatePhoto(Json::Value& info, const char* path, const UpdateRules& rules) {
  const std::string failure =
      rules.names_failed_photo ? std::string("Failed to save photo info: ") + path : kSaveMessage;
  if (!SaveRow(PHOTO_TABLE_IMAGE, info, failure.c_str())) return false;
  if (rules.queues_jobs) QueueJobs(info, path);
  return true;
}

bool UpdateWebVideo(Json::Value& info, const UpdateRules& rules) {
  if (!SaveRow(PHOTO_TABLE_VIDEO, info)) return false;
  if (!rules.saves_description) return true;
  return SaveRow(PHOTO_TABLE_VIDEO_DESC, info, "Failed to save photo info into video_desc table.");
}

bool UpdateOtherVideo(Json::Value& info, const char* path) {
  if (!SaveRow(PHOTO_TABLE_VIDEO, info)) return false;
  StartTool(kVideoConvertTool, kConvertSingleFile, path);
  return true;
}

bool UpdateRows(MediaKind kind, Json::Value& info, const char* path, const UpdateRules& rules) {
  switch (kind) {
    case MediaKind::kPhoto:
      return UpdatePhoto(info, path, rules);
    case MediaKind::kWebVideo:
      return UpdateWebVideo(info, rules);
    case MediaKind::kOtherVideo:
      return UpdateOtherVideo(info, path);
    case MediaKind::kNone:
      break;
  }
  return true;
}

}  // namespace

bool IsUnexpectedFolder(const char* path) {
  if (!IsDirExist(path)) return false;
  LOG_COLON(kPhotoIndexSource, "Path should be a file, not a directory: %s", path);
  return true;
}

bool SaveRow(PHOTO_TABLE_TYPE table, Json::Value& info, const char* failure, int caller) {
  if (PhotoInfoDBSave(table, &info) == 0) return true;
  LOG_COLON_LINE(kPhotoIndexSource, caller, "%s", failure);
  return false;
}

int UpdateFile(Json::Value* info, unsigned index_type, const UpdateRules& rules) {
  if (IsMissing(info)) return -1;
  const OneEvent event;
  const std::string path = JsonText(*info, "szPath");
  if (IsUnexpectedFolder(path.c_str())) return -1;
  const MediaKind kind = IndexMediaKindGet(path.c_str());
  if (kind == MediaKind::kNone) return -1;
  if (IndexIsIndexPath(path.c_str(), index_type) < 1) return 0;

  IndexMediaInfoComplete(*info);
  if (!UpdateRows(kind, *info, path.c_str(), rules)) return -1;
  OpenToEverybody(path.c_str());
  StartTool(kPreviewTool, path.c_str());
  return 0;
}
