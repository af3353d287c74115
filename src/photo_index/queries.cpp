#include "base/export_guard.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/request_context.h"
#include "photo_index/arguments.h"
#include "photo_index/path_gate.h"
#include "platform/string_list.h"

namespace {

// The service's kinds of media in IndexDBGetOne.
constexpr int kVideoKind = 1;
constexpr int kPhotoKind = 2;

// The service's mask of the thumbnail sizes that we need.
constexpr int kThumbSizes = 18;

constexpr int kNeedsConversion = 1;
constexpr int kNeedsNoConversion = 2;

constexpr const char* kSharedOwner = "root";
constexpr const char* kNotConfirmed = "f";
constexpr int kPeopleCategory = 0;

enum class Formats { kAll, kNotExcluded };

// True when PATH is ours and, where that counts, its format is not excluded by configuration.
bool IsIndexed(const char* path, Formats formats) {
  if (path == nullptr) {
    LOG_BARE("Bad parameter.");
    return false;
  }
  if (CheckRequest(path) != RequestScope::kOurs) return false;
  return formats == Formats::kAll || !IsExcludeFormat(path);
}

int ThumbSizes(const char* path, Formats formats) {
  return IsIndexed(path, formats) && IsPathNeedConversion(path) ? kThumbSizes : 0;
}

int VideoConvert(const char* path) {
  if (!IsIndexed(path, Formats::kNotExcluded)) return 0;
  return IsPathNeedConversion(path) ? kNeedsConversion : kNeedsNoConversion;
}

int GetOne(int media_kind, const char* path, KAVO_MEDIA_INFO* out) {
  if (IsEmpty(path)) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter: szPath");
    return -1;
  }
  if (media_kind != kPhotoKind && media_kind != kVideoKind) return 0;
  const PHOTO_TABLE_TYPE table = media_kind == kPhotoKind ? PHOTO_TABLE_IMAGE : PHOTO_TABLE_VIDEO;
  return PhotoInfoDBGetOne(table, path, out) < 0 ? -1 : 0;
}

int GetVersion(const char* path, unsigned* out) {
  if (IsMissing(path)) return -1;
  const int version = PhotoInfoDBVersionGet(path);
  if (out != nullptr) *out = static_cast<unsigned>(version);
  return version;
}

int GetOwner(const char* path, char* out, unsigned size) {
  if (IsMissing(path) || IsMissing(out)) return -1;
  if (HGAStatusCheck(path) < 0) {
    LOG_COLON(kPhotoIndexSource, "HGAStatusCheck failed");
    return -1;
  }
  CopyText(out, size, HGAStatusIsHGARequest() ? HGAStatusUserNameGet() : kSharedOwner);
  return 0;
}

int AddDetectionResult(const char* info, const char* path, int label_id) {
  const int photo_id = PhotoInfoDBPhotoIdGet(path);
  if (photo_id < 0) {
    LOG_COLON(kPhotoIndexSource, "Cant find this photo in db: %s.", OrEmpty(path));
    return -1;
  }
  return PhotoInfoDBImageLabelDataAdd(photo_id, label_id, info, kNotConfirmed);
}

}  // namespace

int IndexDBGetOne(int media_kind, const char* path, KAVO_MEDIA_INFO* out) {
  return Guarded(kPhotoIndexSource, -1, [&] { return GetOne(media_kind, path, out); });
}

int IndexVersionGet(const char* path, unsigned* out) {
  return Guarded(kPhotoIndexSource, -1, [&] { return GetVersion(path, out); });
}

int IndexVersionUpdate(const char* path, unsigned version) {
  return Guarded(kPhotoIndexSource, -1, [&] {
    return IsMissing(path) ? -1 : PhotoInfoDBVersionUpdate(path, static_cast<int>(version));
  });
}

int IndexDBClose() {
  return Guarded(kPhotoIndexSource, -1, [] {
    PhotoDBConnClose();
    return 0;
  });
}

int IndexGetThumbSizeMap(const char* path) {
  return Guarded(kPhotoIndexSource, 0, [&] { return ThumbSizes(path, Formats::kNotExcluded); });
}

int IndexGetDirThumbSizeMap(const char* folder) {
  return Guarded(kPhotoIndexSource, 0, [&] { return ThumbSizes(folder, Formats::kAll); });
}

int IndexIsVideoConvert(const char* path) {
  return Guarded(kPhotoIndexSource, 0, [&] { return VideoConvert(path); });
}

int IndexIsPathNeedConversion(const char* path) {
  return Guarded(kPhotoIndexSource, 0,
                 [&] { return HGAStatusCheck(path) < 0 ? 0 : IsPathNeedConversion(path); });
}

int IndexPhotoUserNameGet(const char* path, char* out, unsigned size) {
  return Guarded(kPhotoIndexSource, -1, [&] { return GetOwner(path, out, size); });
}

int IndexFaceRecognitionLableCheck(const char* path, const char* name) {
  return Guarded(kPhotoIndexSource, -1, [&] { return PhotoInfoDBLabelCheck(path, name, kPeopleCategory); });
}

int IndexFaceRecognitionAddDetectionResult(const char* info, const char* path, int label_id) {
  return Guarded(kPhotoIndexSource, -1, [&] { return AddDetectionResult(info, path, label_id); });
}

RLIBCSZLIST* IndexFaceRecognitionDataGet(const char* path, int selector, int condition) {
  return Guarded(kPhotoIndexSource, static_cast<RLIBCSZLIST*>(nullptr),
                 [&] { return PhotoInfoDBFaceRecognitionDataGet(path, selector, condition); });
}

int IndexFaceRecognitionUpdateImageLabel(int link_id, int label_id) {
  return Guarded(kPhotoIndexSource, -1,
                 [&] { return PhotoInfoDBFaceRecognitionUpdateImageLabel(link_id, label_id); });
}

int IndexFaceRecognitionImageLabelDataGet(int link_id, const char* path, char* out, int size) {
  return Guarded(kPhotoIndexSource, -1,
                 [&] { return PhotoInfoDBFaceRecognitionImageLabelDataGet(link_id, path, out, size); });
}

int IndexFaceRecognitionUpdateDetectionResult(const char* info, int link_id) {
  return Guarded(kPhotoIndexSource, -1,
                 [&] { return PhotoInfoDBFaceRecognitionUpdateDetectionResult(info, link_id); });
}
