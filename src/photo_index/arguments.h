#ifndef PHOTO_INDEX_ARGUMENTS_H_
#define PHOTO_INDEX_ARGUMENTS_H_

#include "base/log.h"

// True, and logged under the caller's line, when an entry point was not given this argument.
[[nodiscard]] inline bool IsMissing(const void* argument, int caller = __builtin_LINE()) {
  if (argument != nullptr) return false;
  LOG_COLON_LINE(kPhotoIndexSource, caller, "Bad parameter.");
  return true;
}

#endif  // PHOTO_INDEX_ARGUMENTS_H_
