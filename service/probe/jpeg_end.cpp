#include "probe/jpeg_end.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace {

constexpr std::uint8_t kMarker = 0xFF;
constexpr std::uint8_t kStuffing = 0x00;
constexpr std::uint8_t kTemporary = 0x01;
constexpr std::uint8_t kFirstRestart = 0xD0;
constexpr std::uint8_t kLastRestart = 0xD7;
constexpr std::uint8_t kStartOfImage = 0xD8;
constexpr std::uint8_t kEndOfImage = 0xD9;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr off_t kMarkerLength = 2;
constexpr int kByteBits = 8;

// Bytes of a file one after the other, from a buffer.
class Bytes {
 public:
  explicit Bytes(int descriptor) : descriptor_(descriptor) {}

  std::optional<std::uint8_t> Next() {
    if (position_ == filled_ && !Fill()) return std::nullopt;
    return buffer_[position_++];
  }
  // Passes over what is not VALUE; false when there is none to the end, or in the next MOST bytes and some.
  bool SkipTo(std::uint8_t value, off_t most) {
    const off_t last = offset_ + most;
    while (position_ < filled_ || (offset_ < last && Fill())) {
      const auto rest = std::span(buffer_).subspan(position_, filled_ - position_);
      const void* found = memchr(rest.data(), value, rest.size());
      if (found != nullptr) {
        position_ += static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - rest.data());
        return true;
      }
      position_ = filled_;
    }
    return false;
  }
  void Skip(std::size_t count) {
    const std::size_t left = filled_ - position_;
    if (count <= left) {
      position_ += count;
      return;
    }
    offset_ += static_cast<off_t>(count - left);
    position_ = filled_ = 0;
  }

 private:
  bool Fill() {
    const ssize_t count = pread(descriptor_, buffer_.data(), buffer_.size(), offset_);
    if (count <= 0) return false;
    offset_ += count;
    position_ = 0;
    filled_ = static_cast<std::size_t>(count);
    return true;
  }

  static constexpr std::size_t kBufferSize = 65536;
  int descriptor_;
  off_t offset_ = 0;
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  std::array<std::uint8_t, kBufferSize> buffer_;
};

// The next marker, whatever stands before it. A hole of a terabyte is not read to its end for one.
std::optional<std::uint8_t> NextMarker(Bytes& bytes) {
  constexpr off_t kFarthest = off_t{256} << 20;
  while (bytes.SkipTo(kMarker, kFarthest)) {
    std::optional<std::uint8_t> byte = kMarker;
    while (byte && *byte == kMarker) byte = bytes.Next();
    if (byte && *byte != kStuffing) return byte;
  }
  return std::nullopt;
}

bool HasSegment(std::uint8_t marker) {
  return marker != kTemporary && marker != kStartOfImage &&
         !(marker >= kFirstRestart && marker <= kLastRestart);
}

bool SkipSegment(Bytes& bytes) {
  const auto high = bytes.Next();
  const auto low = bytes.Next();
  if (!high || !low) return false;
  const int length = (*high << kByteBits) | *low;
  if (length >= kMarkerLength) bytes.Skip(static_cast<std::size_t>(length - kMarkerLength));
  return true;
}

bool EndsWithMarker(int descriptor) {
  struct stat status {};
  std::array<std::uint8_t, kMarkerLength> tail{};
  return fstat(descriptor, &status) == 0 && status.st_size >= kMarkerLength &&
         pread(descriptor, tail.data(), tail.size(), status.st_size - kMarkerLength) == kMarkerLength &&
         tail[0] == kMarker && tail[1] == kEndOfImage;
}

}  // namespace

// The data of a scan holds no marker but restarts, so that the search for the next one passes over it.
bool JpegIsComplete(int descriptor) {
  if (EndsWithMarker(descriptor)) return true;
  Bytes bytes(descriptor);
  bool scanned = false;
  while (const auto marker = NextMarker(bytes)) {
    if (*marker == kEndOfImage) return scanned;
    scanned = scanned || *marker == kStartOfScan;
    if (HasSegment(*marker) && !SkipSegment(bytes)) return false;
  }
  return false;
}
