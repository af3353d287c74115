#include "probe/raw_header.h"

#include <array>
#include <cstdint>

#include "probe/file_bytes.h"

namespace {

constexpr off_t kRafTagsOffset = 92;
constexpr std::uint64_t kMostRafTags = 255;
constexpr off_t kRafTagHeader = 4;
constexpr std::array<std::uint64_t, 3> kRafSizeTags = {0x111, 0x121, 0x100};  // the best one first

constexpr off_t kX3fVersionOffset = 4;
constexpr std::uint64_t kX3fLongHeader = 0x40000;
constexpr off_t kX3fSizeOffset = 28;
constexpr off_t kX3fLongSizeOffset = 40;

constexpr std::uint64_t kMostPixels = 1'000'000;  // of one side

std::optional<std::uint64_t> WordAt(int descriptor, off_t offset, std::endian order) {
  const auto bytes = BytesAt<sizeof(std::uint32_t)>(descriptor, offset);
  return bytes ? std::optional(NumberOf(*bytes, order)) : std::nullopt;
}

std::optional<std::uint64_t> ShortAt(int descriptor, off_t offset) {
  const auto bytes = BytesAt<sizeof(std::uint16_t)>(descriptor, offset);
  return bytes ? std::optional(NumberOf(*bytes, std::endian::big)) : std::nullopt;
}

std::optional<PictureSize> Size(std::optional<std::uint64_t> width, std::optional<std::uint64_t> height) {
  if (!width || !height || *width == 0 || *height == 0) return std::nullopt;
  if (*width > kMostPixels || *height > kMostPixels) return std::nullopt;
  return PictureSize{static_cast<int>(*width), static_cast<int>(*height)};
}

}  // namespace

std::optional<PictureSize> RafSize(int descriptor) {
  const auto tags = WordAt(descriptor, kRafTagsOffset, std::endian::big);
  if (!tags) return std::nullopt;
  off_t offset = static_cast<off_t>(*tags);
  const auto count = WordAt(descriptor, offset, std::endian::big);
  offset += static_cast<off_t>(sizeof(std::uint32_t));
  std::optional<PictureSize> best;
  std::size_t rank = kRafSizeTags.size();
  for (std::uint64_t i = 0; count && i < std::min(*count, kMostRafTags); ++i) {
    const auto tag = ShortAt(descriptor, offset);
    const auto length = ShortAt(descriptor, offset + 2);
    if (!tag || !length) break;
    for (std::size_t better = 0; better < rank; ++better) {
      if (kRafSizeTags.at(better) != *tag) continue;
      const off_t value = offset + kRafTagHeader;
      if (const auto size = Size(ShortAt(descriptor, value + 2), ShortAt(descriptor, value))) {
        best = size;
        rank = better;
      }
    }
    offset += kRafTagHeader + static_cast<off_t>(*length);
  }
  return best;
}

std::optional<PictureSize> X3fSize(int descriptor) {
  const auto version = WordAt(descriptor, kX3fVersionOffset, std::endian::little);
  if (!version) return std::nullopt;
  const off_t offset = *version >= kX3fLongHeader ? kX3fLongSizeOffset : kX3fSizeOffset;
  return Size(WordAt(descriptor, offset, std::endian::little),
              WordAt(descriptor, offset + static_cast<off_t>(sizeof(std::uint32_t)), std::endian::little));
}
