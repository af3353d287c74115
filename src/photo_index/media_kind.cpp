#include "photo_index/media_kind.h"

#include <string>

#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "platform/index.h"

namespace {

// Disk images, subtitles and sidecars that the service counts among videos and photos.
constexpr const char* kExcludedExtensions[] = {"iso", "ifo", "srt", "ass", "ssa", "smi", "psb", nullptr};

MediaKind KindOf(const char* extension) {
  if (IsFormat(extension, kExcludedExtensions)) return MediaKind::kNone;
  if (BlKAVOIndexIsPhotoOnWeb(extension)) return MediaKind::kPhoto;
  if (BlKAVOIndexIsVideoOnWeb(extension)) return MediaKind::kWebVideo;
  if (BlKAVOIndexIsVideo(extension)) return MediaKind::kOtherVideo;
  return MediaKind::kNone;
}

}  // namespace

MediaKind IndexMediaKindGet(const char* path) {
  if (path == nullptr) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return MediaKind::kNone;
  }
  if (IsDirExist(path)) {
    LOG_COLON(kPhotoIndexSource, "Cannot be a folder.");
    return MediaKind::kNone;
  }
  const auto extension = ExtensionOf(path);
  if (!extension) {
    LOG_COLON(kPhotoIndexSource, "Bad path name %s", path);
    return MediaKind::kNone;
  }
  return KindOf(std::string(*extension).c_str());
}
