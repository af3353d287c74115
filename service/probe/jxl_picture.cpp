#include "probe/jxl_picture.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "probe/boxes.h"

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kBare = "\xFF\x0A";
constexpr std::string_view kBoxed = "\0\0\0\x0CJXL \x0D\x0A\x87\x0A"sv;
constexpr std::size_t kHeaderBytes = 16;  // the part that is read, at its longest

// The bits of BYTES, the lowest of each byte first. Beyond the end they are 0.
class Bits {
 public:
  explicit Bits(std::array<std::uint8_t, kHeaderBytes> bytes) : bytes_(bytes) {}

  std::uint32_t Next(unsigned count) {
    constexpr std::size_t kByteBits = 8;
    std::uint32_t number = 0;
    for (unsigned bit = 0; bit < count; ++bit, ++at_) {
      if (at_ / kByteBits >= bytes_.size()) continue;
      const std::uint32_t byte = bytes_.at(at_ / kByteBits);
      number |= (byte >> (at_ % kByteBits) & 1U) << bit;
    }
    return number;
  }
  bool Flag() { return Next(1) == 1; }

 private:
  std::array<std::uint8_t, kHeaderBytes> bytes_;
  std::size_t at_ = 0;
};

std::uint32_t Length(Bits& bits, bool small) {
  constexpr unsigned kSmallBits = 5;
  constexpr std::uint32_t kSmallUnit = 8;
  constexpr std::array<unsigned, 4> kWidths = {9, 13, 18, 30};
  if (small) return (bits.Next(kSmallBits) + 1) * kSmallUnit;
  const unsigned width = kWidths.at(bits.Next(2));
  return bits.Next(width) + 1;
}

// Turned by a quarter are the last four of eight orientations.
bool IsTurned(Bits& bits) {
  constexpr std::uint32_t kFirstTurned = 4;
  const bool all_default = bits.Flag();
  return !all_default && bits.Flag() && bits.Next(3) >= kFirstTurned;
}

std::optional<PictureSize> SizeIn(std::array<std::uint8_t, kHeaderBytes> header) {
  // Of the width to the height; the first stands for a width that is given.
  constexpr std::array<std::pair<std::uint64_t, std::uint64_t>, 8> kRatios = {
      {{0, 1}, {1, 1}, {12, 10}, {4, 3}, {3, 2}, {16, 9}, {5, 4}, {2, 1}}};
  constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 30U;  // of one side
  Bits bits(header);
  constexpr unsigned kSignatureBits = 16;
  bits.Next(kSignatureBits);
  const bool small = bits.Flag();
  const std::uint64_t height = Length(bits, small);
  const auto& [wide, high] = kRatios.at(bits.Next(3));
  const std::uint64_t width = wide == 0 ? Length(bits, small) : height * wide / high;
  if (width > kMostPixels || height > kMostPixels) return std::nullopt;
  const PictureSize size{static_cast<int>(width), static_cast<int>(height)};
  return IsTurned(bits) ? PictureSize{size.height, size.width} : size;
}

// The first bytes of the picture; fewer where it has no more.
using Start = std::basic_string<std::uint8_t>;

void Append(int descriptor, off_t offset, off_t end, Start& start) {
  Start bytes(static_cast<std::size_t>(std::clamp<off_t>(end - offset, 0, kHeaderBytes)), 0);
  const ssize_t count = pread(descriptor, bytes.data(), bytes.size(), offset);
  start.append(bytes, 0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

// The picture may lie in parts, each with a number in front.
Start StartIn(int descriptor, const std::vector<Box>& boxes) {
  constexpr off_t kPartNumber = 4;
  Start start;
  for (const Box& box : boxes) {
    const bool whole = box.kind == "jxlc";
    if (!whole && box.kind != "jxlp") continue;
    Append(descriptor, box.content + (whole ? 0 : kPartNumber), box.end, start);
    if (whole || start.size() >= kHeaderBytes) break;
  }
  return start;
}

std::optional<PictureSize> SizeOf(const Start& start) {
  std::array<std::uint8_t, kHeaderBytes> header{};
  if (start.size() < header.size()) return std::nullopt;
  std::copy_n(start.begin(), header.size(), header.begin());
  const bool is_picture =
      std::equal(kBare.begin(), kBare.end(), header.begin(),
                 [](char c, std::uint8_t byte) { return byte == static_cast<std::uint8_t>(c); });
  return is_picture ? SizeIn(header) : std::nullopt;
}

}  // namespace

bool IsJxl(std::string_view start) {
  return start.starts_with(kBare) || start.starts_with(kBoxed);
}

std::optional<PictureSize> JxlSize(int descriptor) {
  const std::vector<Box> boxes = BoxesOf(descriptor);
  if (!boxes.empty() && boxes.front().kind == "JXL ") return SizeOf(StartIn(descriptor, boxes));
  Start start;
  Append(descriptor, 0, kHeaderBytes, start);
  return SizeOf(start);
}
