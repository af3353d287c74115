#include "base/ascii.h"
#include "base/text.h"
#include "lumivault/photo_util.h"

namespace {

// Formats whose metadata other programs rewrite in place, so that their keywords are read again at every
// save.
constexpr const char* kForceUpdateFormats[] = {"jpg", "jpeg", "jpe", "tiff", "tif",
                                               "png", "dng",  "nef", nullptr};

}  // namespace

int IsFormat(const char* extension, const char* const* list) {
  if (extension == nullptr || list == nullptr) return 0;
  for (; *list != nullptr; ++list) {
    if (EqualsIgnoreAsciiCase(extension, *list)) return 1;
  }
  return 0;
}

int IsExiv2TagForceUpdateFormat(const char* extension) {
  return IsFormat(extension, kForceUpdateFormats);
}
