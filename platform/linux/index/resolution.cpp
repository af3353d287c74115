#include <errno.h>

#include "core/error.h"
#include "platform/index.h"
#include "platform/safe_image.h"

namespace {

struct Resolution {
  int width = 0;
  int height = 0;
};

// Both 0 when PATH is no image that can be read.
Resolution ResolutionOf(const char* path) {
  try {
    const Exiv2::Image::AutoPtr image = OpenImageSafely(path);
    image->readMetadata();
    return {image->pixelWidth(), image->pixelHeight()};
  } catch (const Exiv2::AnyError&) {
    return {};
  }
}

}  // namespace

int KAVOIndexImgResGet(const char* path, int* width, int* height) {
  return Contained(-1, [&] {
    const bool asked = path != nullptr && width != nullptr && height != nullptr;
    const Resolution resolution = asked ? ResolutionOf(path) : Resolution();
    if (resolution.width <= 0 || resolution.height <= 0) {
      RECORD_ERROR(EINVAL);
      return -1;
    }
    *width = resolution.width;
    *height = resolution.height;
    return 0;
  });
}
