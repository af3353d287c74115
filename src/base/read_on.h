#ifndef BASE_READ_ON_H_
#define BASE_READ_ON_H_

#include <errno.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>

// Adds to TEXT what DESCRIPTOR still gives: all of it, or until TEXT has MOST bytes (and less than a block
// more). False with errno when a read fails, of a pipe that nobody fills just now too (EAGAIN); TEXT has what
// came before.
[[nodiscard]] inline bool ReadOn(int descriptor, std::size_t most, std::string& text) {
  constexpr std::size_t kBlock = 16384;
  std::array<char, kBlock> block;
  while (text.size() < most) {
    const ssize_t count = read(descriptor, block.data(), block.size());
    if (count == 0) return true;
    if (count > 0) {
      text.append(block.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

#endif  // BASE_READ_ON_H_
