// What every target does with its input.
#ifndef TESTS_FUZZ_FUZZ_INPUT_H_
#define TESTS_FUZZ_FUZZ_INPUT_H_

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_descriptor.h"

// Ends the run with the reason when a property does not hold; libFuzzer keeps the input.
inline void Require(bool holds, const char* property, std::string_view seen = "") {
  if (holds) return;
  std::fprintf(stderr, "%s: [%.*s]\n", property, static_cast<int>(seen.size()), seen.data());
  std::abort();
}

inline std::string TextOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// What stands before the first MARK of TEXT, or all of it; that goes, with the mark.
inline std::string TakePart(std::string_view& text, char mark = '\0') {
  const std::string part(text.substr(0, text.find(mark)));
  text.remove_prefix(std::min(part.size() + 1, text.size()));
  return part;
}

// INPUT with every byte from 0x80 on replaced by the piece that it stands for, so that one change of a byte
// puts a whole word in or takes it out. DEL has the byte behind it stand for itself.
template <std::size_t kCount>
std::string Pieced(std::string_view input, const char* const (&pieces)[kCount]) {
  constexpr unsigned kFirst = 0x80;
  constexpr unsigned kItself = 0x7F;
  static_assert(kCount <= kFirst);
  std::string text;
  for (std::size_t at = 0; at < input.size(); ++at) {
    const auto byte = static_cast<unsigned char>(input[at]);
    if (byte == kItself && at + 1 < input.size()) {
      text += input[++at];
    } else if (byte < kFirst) {
      text += input[at];
    } else {
      text += pieces[(byte - kFirst) % kCount];
    }
  }
  return text;
}

// A file in memory that holds CONTENT.
inline FileDescriptor MemoryFile(std::string_view content) {
  FileDescriptor file(memfd_create("fuzz", MFD_CLOEXEC));
  const ssize_t written = pwrite(file.get(), content.data(), content.size(), 0);
  Require(written == static_cast<ssize_t>(content.size()), "no file in memory");
  return file;
}

#endif  // TESTS_FUZZ_FUZZ_INPUT_H_
