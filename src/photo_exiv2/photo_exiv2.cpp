#include "lumivault/photo_exiv2.h"

#include <utility>

#include "base/c_locale.h"
#include "base/text.h"
#include "photo_exiv2/metadata_values.h"
#include "platform/image.h"

PhotoExiv2::PhotoExiv2(const char* path) {
  const CLocale decimal_point;
  image_ = KAVOImageOpen(OrEmpty(path));
  image_->readMetadata();
  // Of the image only the kinds of metadata that it can have are asked later.
  exif_ = std::move(image_->exifData());
  xmp_ = std::move(image_->xmpData());
  iptc_ = std::move(image_->iptcData());
}

// Keys by value: so the functions are exported.
// NOLINTBEGIN(performance-unnecessary-value-param)
std::string PhotoExiv2::GetExifTagValue(std::string key, bool interpreted) {
  return ExifText({exif_, xmp_, iptc_, image_->imageType()}, key, interpreted);
}

std::string PhotoExiv2::GetIptcTagValue(std::string key, bool interpreted) {
  return IptcText({exif_, xmp_, iptc_, image_->imageType()}, key, interpreted);
}

std::string PhotoExiv2::GetXmpTagValue(std::string key, bool interpreted) {
  return XmpText({exif_, xmp_, iptc_, image_->imageType()}, key, interpreted);
}
// NOLINTEND(performance-unnecessary-value-param)

int PhotoExiv2::GetOrientation() {
  return Orientation({exif_, xmp_, iptc_, image_->imageType()});
}

int PhotoExiv2::GetDescription(std::string& out) {
  return Description({exif_, xmp_, iptc_, image_->imageType()}, out);
}

int PhotoExiv2::GetFocalLength(std::string& out) {
  return FocalLength({exif_, xmp_, iptc_, image_->imageType()}, out);
}

int PhotoExiv2::GetLens(std::string& out) {
  return Lens({exif_, xmp_, iptc_, image_->imageType()}, out);
}

int PhotoExiv2::GetFlash(std::string& out) {
  return Flash({exif_, xmp_, iptc_, image_->imageType()}, out);
}

Json::Value PhotoExiv2::GetMetadata() {
  return AllOf({exif_, xmp_, iptc_, image_->imageType()});
}
