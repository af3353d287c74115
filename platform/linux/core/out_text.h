// Texts that go into a buffer of the caller.
#ifndef PLATFORM_LINUX_CORE_OUT_TEXT_H_
#define PLATFORM_LINUX_CORE_OUT_TEXT_H_

#include <string.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

// Copies TEXT, cut to what fits, and terminates it. SIZE is positive. The length written.
inline int PutCut(std::string_view text, char* out, int size) {
  const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  memcpy(out, text.data(), length);
  out[length] = '\0';
  return static_cast<int>(length);
}

// Copies TEXT where all of it fits. Its length, or -1 with OUT as it was.
[[nodiscard]] inline int PutWhole(std::string_view text, char* out, int size) {
  if (out == nullptr || size <= 0 || text.size() >= static_cast<std::size_t>(size)) return -1;
  return PutCut(text, out, size);
}

#endif  // PLATFORM_LINUX_CORE_OUT_TEXT_H_
