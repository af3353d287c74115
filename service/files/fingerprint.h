#ifndef SERVICE_FILES_FINGERPRINT_H_
#define SERVICE_FILES_FINGERPRINT_H_

#include <string>

// A hash of the size and of samples of the content (beginning, middle and end) of the regular file at PATH:
// equal for copies, and cheap enough to take of every file that is indexed. Empty when it cannot be read.
std::string Fingerprint(const std::string& path);

#endif  // SERVICE_FILES_FINGERPRINT_H_
