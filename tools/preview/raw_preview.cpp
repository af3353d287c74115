#include "preview/raw_preview.h"

#include <fcntl.h>

#include <algorithm>

#include "platform/heif_reading.h"
#include "platform/safe_image.h"

namespace {

constexpr int kLastOrientation = 8;

int OrientationOf(const Exiv2::ExifData& exif) {
  const auto found = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
  if (found == exif.end() || found->count() == 0) return 0;
  const auto value = found->toLong();
  return value >= 1 && value <= kLastOrientation ? static_cast<int>(value) : 0;
}

}  // namespace

RawPreviews ReadRawPreviews(int descriptor, const std::string& name) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  const HeifReading canon;  // whose newer raw photos are such containers
  const auto image = OpenImageSafely(HoldOpened(fcntl(descriptor, F_DUPFD_CLOEXEC, 0), name));
  // The library crashes on the previews of some EPS files.
  if (image->imageType() == Exiv2::ImageType::eps) return {};
  image->readMetadata();
  RawPreviews previews{{}, OrientationOf(image->exifData())};
  const Exiv2::PreviewManager manager(*image);
  for (const Exiv2::PreviewProperties& properties : manager.getPreviewProperties()) {
    const Exiv2::PreviewImage preview = manager.getPreviewImage(properties);
    if (preview.size() > 0) previews.files.emplace_back(preview.pData(), preview.pData() + preview.size());
  }
  // They come in the order of their sizes, the smallest first.
  std::reverse(previews.files.begin(), previews.files.end());
  return previews;
}
