#ifndef PLATFORM_LINUX_CORE_BENEATH_H_
#define PLATFORM_LINUX_CORE_BENEATH_H_

#include <string>

// Removes the regular file PATH below ROOT at once, whether a batch is open or not. 0, or -1 with errno.
[[nodiscard]] int RemoveBeneathNow(const std::string& root, const std::string& path);

#endif  // PLATFORM_LINUX_CORE_BENEATH_H_
