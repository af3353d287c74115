// Numbers at places of a file.
#ifndef SERVICE_PROBE_FILE_BYTES_H_
#define SERVICE_PROBE_FILE_BYTES_H_

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

inline off_t SizeOfFile(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

// COUNT bytes of the file that is open as DESCRIPTOR, from OFFSET; nothing where it has not so many.
template <std::size_t COUNT>
std::optional<std::array<std::uint8_t, COUNT>> BytesAt(int descriptor, off_t offset) {
  std::array<std::uint8_t, COUNT> bytes{};
  if (pread(descriptor, bytes.data(), COUNT, offset) != static_cast<ssize_t>(COUNT)) return std::nullopt;
  return bytes;
}

// The number that BYTES are, the highest first (std::endian::big) or last.
inline std::uint64_t NumberOf(std::span<const std::uint8_t> bytes, std::endian order) {
  constexpr unsigned kByteBits = 8;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    number = number << kByteBits | bytes[order == std::endian::big ? i : bytes.size() - 1 - i];
  }
  return number;
}

#endif  // SERVICE_PROBE_FILE_BYTES_H_
