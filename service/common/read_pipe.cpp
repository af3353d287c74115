#include "common/read_pipe.h"

#include <cstddef>

#include "base/read_on.h"

std::string ReadPipe(int pipe) {
  constexpr std::size_t kMostAtOnce = 65536;
  std::string text;
  // Whoever else holds the other end may keep it filled.
  static_cast<void>(ReadOn(pipe, kMostAtOnce, text));
  return text;
}
