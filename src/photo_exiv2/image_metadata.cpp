#include "photo_exiv2/image_metadata.h"

#include <memory>

#include "lumivault/photo_exiv2.h"
#include "photo_exiv2/metadata_values.h"
#include "platform/image_cache.h"

Json::Value ImageMetadata(const std::string& path) {
  const std::shared_ptr<const ParsedImage> image = GetParsedImage(path);
  if (image->outcome != ParsedImage::Outcome::kParsed) return PhotoExiv2(path.c_str()).GetMetadata();
  return AllOf({image->exif, image->xmp, image->iptc, image->type});
}
