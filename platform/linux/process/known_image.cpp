#include <memory>
#include <utility>

#include "platform/image.h"
#include "platform/image_cache.h"
#include "platform/media_file.h"
#include "platform/safe_image.h"
#include "process/kept_image.h"

namespace {

// An image that was parsed before.
class KnownImage : public Exiv2::Image {
 public:
  KnownImage(std::shared_ptr<const ParsedImage> parsed, const std::string& path)
      : Image(parsed->type, Exiv2::mdNone, Exiv2::BasicIo::AutoPtr(new Exiv2::FileIo(path))),
        parsed_(std::move(parsed)) {}

  void readMetadata() override {
    exifData_ = parsed_->exif;
    iptcData_ = parsed_->iptc;
    xmpData_ = parsed_->xmp;
    comment_ = parsed_->comment;
  }
  void writeMetadata() override { throw Exiv2::Error(Exiv2::kerWritingImageFormatUnsupported, mimeType()); }
  std::string mimeType() const override { return parsed_->mime; }
  int pixelWidth() const override { return parsed_->width; }
  int pixelHeight() const override { return parsed_->height; }

 private:
  const std::shared_ptr<const ParsedImage> parsed_;
};

}  // namespace

Exiv2::Image::AutoPtr KAVOImageOpen(const std::string& path) {
  std::shared_ptr<const ParsedImage> parsed = GetParsedImage(path);
  if (parsed->too_much) throw Exiv2::Error(Exiv2::kerCorruptedMetadata);
  if (parsed->outcome == ParsedImage::Outcome::kMissing)
    return OpenImageSafely(HoldOpened(KAVOMediaOpen(path.c_str()), path));
  if (parsed->outcome == ParsedImage::Outcome::kFailed)
    std::rethrow_exception(static_cast<const KeptImage&>(*parsed).thrown);
  return Exiv2::Image::AutoPtr(new KnownImage(std::move(parsed), path));
}
