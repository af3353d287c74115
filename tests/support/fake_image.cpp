#include "support/fake_image.h"

#include "platform/heif_reading.h"
#include "platform/image.h"
#include "platform/image_cache.h"
#include "platform/safe_image.h"

std::function<Exiv2::Image::AutoPtr(const std::string& path)>& OpenedImage() {
  static std::function<Exiv2::Image::AutoPtr(const std::string&)> opened;
  return opened;
}

Exiv2::Image::AutoPtr KAVOImageOpen(const std::string& path) {
  static const HeifReading heif;
  return OpenedImage() ? OpenedImage()(path) : OpenImageSafely(path);
}

// Nothing is kept: every image is opened as above.
std::shared_ptr<const ParsedImage> GetParsedImage(const std::string& /*path*/) {
  return std::make_shared<const ParsedImage>();
}
