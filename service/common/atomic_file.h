#ifndef SERVICE_COMMON_ATOMIC_FILE_H_
#define SERVICE_COMMON_ATOMIC_FILE_H_

#include <optional>
#include <string>
#include <string_view>

#include "common/outcome.h"

// The content of a small regular file; nothing when it cannot be read (errno tells why).
std::optional<std::string> ReadWholeFile(const std::string& path);

// Makes PATH hold exactly CONTENT: at every moment, a crash included, the file has its old content or the new
// one. A file that is right already is not touched.
Outcome<Done> WriteWholeFile(const std::string& path, std::string_view content);

#endif  // SERVICE_COMMON_ATOMIC_FILE_H_
