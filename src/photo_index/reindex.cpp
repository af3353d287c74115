#include "base/export_guard.h"
#include "base/log.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "photo_index/arguments.h"
#include "photo_index/file_update.h"
#include "photo_index/path_gate.h"
#include "photo_index/record_json.h"

namespace {

// The service's kind of folder under which the root of a reindex passes the gate.
constexpr unsigned kRootIndexType = 4;

int MarkAll(const char* root) {
  if (IsMissing(root)) return -1;
  if (IndexIsIndexPath(root, kRootIndexType) < 1) return 0;
  if (KAVOPhotoInitAllRows(root) < 0) {
    LOG_COLON(kPhotoIndexSource, "Failed to set updated to 0 for all rows of photo_image table.");
    return -1;
  }
  if (KAVOPhotoShareInitAllRows(root) < 0) {
    LOG_COLON(kPhotoIndexSource, "Failed to set updated to 0 for all rows of photo_share table.");
    return -1;
  }
  return 0;
}

int SweepUnmarked(const char* root) {
  if (IsMissing(root)) return -1;
  const RequestScope scope = CheckRequest(root);
  if (scope == RequestScope::kRefused) return -1;
  if (scope == RequestScope::kElsewhere) return 0;
  if (KAVOPhotoDeleteNoUpdateRows(root) < 0 || KAVOPhotoShareDeleteNoUpdateRows(root) < 0) {
    LOG_PARENS(kPhotoIndexSource, "Failed to delete none updated rows.");
    return -1;
  }
  static_cast<void>(PhotoDBVacuum());
  return 0;
}

int UpdateFolder(const char* folder) {
  if (IsMissing(folder)) return -1;
  // IndexDirAdd gives 0 on success, so this is -1 in practice; services know that and go on.
  return IndexDirAdd(folder) > 0 ? 0 : -1;
}

}  // namespace

int IndexPreReindex(const char* root) {
  return Guarded(kPhotoIndexSource, -1, [&] { return MarkAll(root); });
}

int IndexReindexUpdate_Json(KAVO_JSON_VALUE* info, unsigned indexType) {
  return Guarded(kPhotoIndexSource, -1, [&] { return UpdateFile(info, indexType, kReindexRules); });
}

int IndexReindexUpdate(KAVO_MEDIA_INFO* info, unsigned indexType) {
  return CallWithJson(info, [&](Json::Value* json) { return IndexReindexUpdate_Json(json, indexType); });
}

int IndexReindexDirUpdate(const char* folder) {
  return Guarded(kPhotoIndexSource, -1, [&] { return UpdateFolder(folder); });
}

int IndexPostReindex(const char* root) {
  return Guarded(kPhotoIndexSource, -1, [&] { return SweepUnmarked(root); });
}

int IndexDBVacuum() {
  return Guarded(kPhotoIndexSource, -1, [] { return PhotoDBVacuum(); });
}
