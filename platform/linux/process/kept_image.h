#ifndef PLATFORM_LINUX_PROCESS_KEPT_IMAGE_H_
#define PLATFORM_LINUX_PROCESS_KEPT_IMAGE_H_

#include <exception>

#include "platform/image_cache.h"

// What the cache makes of a file, and what GetParsedImage gives of one that is there.
struct KeptImage : ParsedImage {
  std::exception_ptr thrown;  // by the library, with kFailed
};

#endif  // PLATFORM_LINUX_PROCESS_KEPT_IMAGE_H_
