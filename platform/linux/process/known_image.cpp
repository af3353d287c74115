#include <memory>
#include <utility>

#include "platform/image.h"
#include "platform/image_cache.h"
#include "platform/media_file.h"
#include "platform/safe_image.h"

namespace {

// As the parse did; another one may have made the library forget it since. A prefix that is known is left
// alone: registering it again would leak.
void RegisterNamespaces(const ParsedImage& parsed) {
  for (const auto& [prefix, uri] : parsed.xmp_namespaces) {
    if (Exiv2::XmpProperties::lookupNsRegistry(Exiv2::XmpNsInfo::Prefix(prefix)) == nullptr)
      Exiv2::XmpProperties::registerNs(uri, prefix);
  }
}

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
    RegisterNamespaces(*parsed_);
  }
  void writeMetadata() override { throw Exiv2::Error(Exiv2::kerWritingImageFormatUnsupported, mimeType()); }
  std::string mimeType() const override { return parsed_->mime; }
  int pixelWidth() const override { return parsed_->width; }
  int pixelHeight() const override { return parsed_->height; }

 private:
  const std::shared_ptr<const ParsedImage> parsed_;
};

}  // namespace

// What could not be parsed is tried again, for the error that comes of it.
Exiv2::Image::AutoPtr KAVOImageOpen(const std::string& path) {
  std::shared_ptr<const ParsedImage> parsed = GetParsedImage(path);
  if (parsed->outcome != ParsedImage::Outcome::kParsed)
    return OpenImageSafely(HoldOpened(KAVOMediaOpen(path.c_str()), path));
  return Exiv2::Image::AutoPtr(new KnownImage(std::move(parsed), path));
}
