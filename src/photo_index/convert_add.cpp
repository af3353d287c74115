#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/request_context.h"
#include "platform/index.h"

namespace {

// The conversions of a phone's "3gp" film keep that container; the tool names them for their codec.
constexpr const char* kMpeg4Film = "KAVOPHOTO:FILM_MPEG4.mp4";
constexpr const char* kH264Film = "KAVOPHOTO:FILM_H264.mp4";
constexpr const char* kPhoneContainer = "3gp";

bool HasExtension(const char* path, const char* wanted) {
  char extension[kNameSize] = {};
  return KAVOIndexExtGet(path, extension, sizeof extension) >= 0 && EqualsIgnoreAsciiCase(extension, wanted);
}

bool HasResolution(const KAVO_MEDIA_INFO& record) {
  return record.resolutionX > 0 && record.resolutionY > 0;
}
bool IsLandscape(const KAVO_MEDIA_INFO& record) {
  return record.resolutionX > record.resolutionY;
}

// A thumbnail: the source's version tells whether the two are turned against each other.
int AddThumbnail(const KAVO_MEDIA_INFO& source, const KAVO_MEDIA_INFO& converted) {
  if (!HasExtension(converted.szPath, "jpg")) return -1;
  if (!HasResolution(source) || !HasResolution(converted)) return -1;
  return PhotoInfoDBVersionUpdate(source.szPath, IsLandscape(source) != IsLandscape(converted) ? 1 : 0);
}

// CONVERTED becomes the record of the source with the converted file's measures.
int AddVideo(const KAVO_MEDIA_INFO& source, KAVO_MEDIA_INFO& converted, const char* convert_type) {
  const std::string file = converted.szPath;
  CopyText(converted.szPath, sizeof converted.szPath, std::string(source.szPath));
  if (HGAStatusCheck(converted.szPath) < 0) {
    LOG_COLON(kPhotoIndexSource, "Failed to HGAStatusCheck path: %s", converted.szPath);
    return -1;
  }
  const std::string_view name = BaseName(file);
  if ((name == kMpeg4Film || name == kH264Film) && HasExtension(source.szPath, kPhoneContainer)) {
    CopyText(converted.szContainerType, sizeof converted.szContainerType, kPhoneContainer);
  }
  if (PhotoInfoVideoConvertDBSave(&converted, file.c_str(), convert_type) != 0) {
    LOG_PARENS(kPhotoIndexSource, "Failed to save ea converted video media metadata from file [%s].",
               file.c_str());
    return -1;
  }
  return 0;
}

int AddConverted(KAVO_MEDIA_INFO* source, KAVO_MEDIA_INFO* converted) {
  if (source == nullptr || converted == nullptr || source->szPath[0] == '\0') {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return -1;
  }
  char convert_type[kNameSize] = {};
  const std::string name(BaseName(converted->szPath));
  if (ConvertVideoTypeGet(name.c_str(), convert_type, sizeof convert_type) > 0) {
    return AddVideo(*source, *converted, convert_type);
  }
  return AddThumbnail(*source, *converted);
}

}  // namespace

int IndexConvertAdd(KAVO_MEDIA_INFO* source, KAVO_MEDIA_INFO* converted) {
  return Guarded(kPhotoIndexSource, -1, [&] { return AddConverted(source, converted); });
}
