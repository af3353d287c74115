#include "probe/boxes.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "probe/file_bytes.h"

namespace {

constexpr std::size_t kNumber = 4;  // bytes of a length, of a kind
constexpr std::size_t kHeader = 2 * kNumber;
constexpr std::size_t kLongHeader = 2 * kHeader;
constexpr std::size_t kMostBoxes = 4096;

// The box at OFFSET, which is to end at END at the latest and does so when it gives no length.
std::optional<Box> BoxAt(int descriptor, off_t offset, off_t end) {
  const auto header = BytesAt<kHeader>(descriptor, offset);
  if (!header || offset + static_cast<off_t>(kHeader) > end) return std::nullopt;
  const std::span<const std::uint8_t> bytes(*header);
  std::uint64_t length = NumberOf(bytes.first(kNumber), std::endian::big);
  std::size_t before = kHeader;
  if (length == 1) {
    const auto long_length = BytesAt<kHeader>(descriptor, offset + static_cast<off_t>(kHeader));
    if (!long_length) return std::nullopt;
    length = NumberOf(*long_length, std::endian::big);
    before = kLongHeader;
  }
  if (length == 0) length = static_cast<std::uint64_t>(end - offset);
  if (length < before) return std::nullopt;
  Box box{std::string(bytes.begin() + kNumber, bytes.end()), offset + static_cast<off_t>(before), end, true};
  box.whole = length <= static_cast<std::uint64_t>(end - offset);
  const auto room = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max() - offset);
  box.end = offset + static_cast<off_t>(std::min(length, room));
  return box;
}

std::vector<Box> Boxes(int descriptor, off_t offset, off_t end) {
  std::vector<Box> boxes;
  while (offset < end && boxes.size() < kMostBoxes) {
    std::optional<Box> box = BoxAt(descriptor, offset, end);
    if (!box) break;
    offset = box->end;
    boxes.push_back(std::move(*box));
  }
  return boxes;
}

}  // namespace

std::vector<Box> BoxesOf(int descriptor) {
  return Boxes(descriptor, 0, SizeOfFile(descriptor));
}

std::vector<Box> BoxesIn(int descriptor, const Box& outer, off_t skipped) {
  return Boxes(descriptor, outer.content + skipped, outer.whole ? outer.end : SizeOfFile(descriptor));
}

std::string WithoutExifOffset(const std::string& block) {
  if (block.size() < kNumber) return "";
  const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(block.data()), kNumber);
  const std::uint64_t start = kNumber + NumberOf(bytes, std::endian::big);
  return start < block.size() ? block.substr(static_cast<std::size_t>(start)) : "";
}
