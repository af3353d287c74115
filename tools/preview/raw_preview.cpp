#include "preview/raw_preview.h"

#include <fcntl.h>

#include <exception>

#include "platform/safe_image.h"

namespace {

constexpr int kLastOrientation = 8;

int OrientationOf(const Exiv2::ExifData& exif) {
  const auto found = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
  if (found == exif.end() || found->count() == 0) return 0;
  const auto value = found->toLong();
  return value >= 1 && value <= kLastOrientation ? static_cast<int>(value) : 0;
}

std::optional<RawPreview> Read(int descriptor, const std::string& name) {
  const auto image = OpenImageSafely(HoldOpened(fcntl(descriptor, F_DUPFD_CLOEXEC, 0), name));
  // The library crashes on the previews of some EPS files.
  if (image->imageType() == Exiv2::ImageType::eps) return std::nullopt;
  image->readMetadata();
  const Exiv2::PreviewManager manager(*image);
  const Exiv2::PreviewPropertiesList previews = manager.getPreviewProperties();
  if (previews.empty()) return std::nullopt;
  // They come in the order of their sizes.
  const Exiv2::PreviewImage preview = manager.getPreviewImage(previews.back());
  if (preview.size() == 0) return std::nullopt;
  return RawPreview{{preview.pData(), preview.pData() + preview.size()}, OrientationOf(image->exifData())};
}

}  // namespace

std::optional<RawPreview> ReadRawPreview(int descriptor, const std::string& name) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  try {
    return Read(descriptor, name);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}
