// Files of other people's folders by their paths: what is found is what lies below the root, whatever is
// exchanged for a link meanwhile. From any thread.
#ifndef PLATFORM_LINUX_CORE_FIND_BELOW_H_
#define PLATFORM_LINUX_CORE_FIND_BELOW_H_

#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "core/file_state.h"

// An O_PATH descriptor of PATH, which lies below ROOT; it opens nothing yet: neither a FIFO nor a device
// notices. Empty with errno on failure, EXDEV for a path that lies elsewhere.
[[nodiscard]] FileDescriptor FindBelow(const std::string& root, const std::string& path);
// The same for a regular file; EINVAL for anything else.
[[nodiscard]] FileDescriptor FindRegularBelow(const std::string& root, const std::string& path);

// Removes the regular file PATH below ROOT; where a STATE is given, only a file in that state. 0, or -1 with
// errno.
[[nodiscard]] int RemoveBelow(const std::string& root, const std::string& path,
                              const std::optional<FileState>& state = std::nullopt);

#endif  // PLATFORM_LINUX_CORE_FIND_BELOW_H_
