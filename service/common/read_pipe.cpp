#include "common/read_pipe.h"

#include <errno.h>
#include <unistd.h>

#include <array>
#include <cstddef>

std::string ReadPipe(int pipe) {
  constexpr std::size_t kReadSize = 4096;
  constexpr std::size_t kMostAtOnce = 65536;
  std::string text;
  std::array<char, kReadSize> bytes;
  // Whoever else holds the other end may keep it filled.
  while (text.size() < kMostAtOnce) {
    const ssize_t count = read(pipe, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
  return text;
}
