#include <errno.h>

#include <memory>

#include "core/error.h"
#include "platform/image_cache.h"
#include "platform/index.h"

int KAVOIndexImgResGet(const char* path, int* width, int* height) {
  return WithoutExceptions(-1, [&] {
    const bool asked = path != nullptr && width != nullptr && height != nullptr;
    const std::shared_ptr<const ParsedImage> image = asked ? GetParsedImage(path) : nullptr;
    if (image == nullptr || image->width <= 0 || image->height <= 0) {
      RECORD_ERROR(EINVAL);
      return -1;
    }
    *width = image->width;
    *height = image->height;
    return 0;
  });
}
