#ifndef PLATFORM_LINUX_CORE_BENEATH_H_
#define PLATFORM_LINUX_CORE_BENEATH_H_

#include <optional>
#include <string>

#include "core/file_state.h"

// Removes the regular file PATH below ROOT at once, whether a batch is open or not; where a STATE is given,
// only a file in that state. 0, or -1 with errno.
[[nodiscard]] int RemoveBeneathNow(const std::string& root, const std::string& path,
                                   const std::optional<FileState>& state = std::nullopt);

#endif  // PLATFORM_LINUX_CORE_BENEATH_H_
