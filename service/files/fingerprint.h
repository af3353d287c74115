#ifndef SERVICE_FILES_FINGERPRINT_H_
#define SERVICE_FILES_FINGERPRINT_H_

#include <algorithm>
#include <string>
#include <string_view>

#include "base/ascii.h"

// A hash of the size and of samples of the content (beginning, middle and end) of the regular file at PATH:
// equal for copies, and cheap enough to take of every file that is indexed. Empty when it cannot be read.
std::string Fingerprint(const std::string& path);

// Whether TEXT could be one, or none: it has to come out of a line of words as it went in.
inline bool IsFingerprint(std::string_view text) {
  return std::all_of(text.begin(), text.end(), IsWordPart);
}

#endif  // SERVICE_FILES_FINGERPRINT_H_
