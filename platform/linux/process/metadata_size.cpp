#include "process/metadata_size.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

namespace {

constexpr unsigned kByteBits = 8;
constexpr std::size_t kTagSize = 4;  // of chunk names

// What one file holds, by offset: read in pieces, since heads of segments often stand close together. Used by
// one thread.
class Content {
 public:
  explicit Content(int descriptor) : descriptor_(descriptor) {}

  // The COUNT bytes at OFFSET as a number; nothing behind the end.
  std::optional<std::uint32_t> Number(std::uint64_t offset, std::size_t count, bool big_endian) const {
    std::array<unsigned char, sizeof(std::uint32_t)> bytes{};
    if (!Fill(offset, bytes.data(), count)) return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < count; ++i)
      number = (number << kByteBits) | bytes[big_endian ? i : count - 1 - i];
    return number;
  }
  // "" behind the end.
  std::string Text(std::uint64_t offset, std::size_t count) const {
    std::string text(count, '\0');
    return Fill(offset, text.data(), count) ? text : "";
  }

 private:
  bool Fill(std::uint64_t offset, void* out, std::size_t count) const {
    if (!Has(offset, count)) Load(offset);
    if (!Has(offset, count)) return false;
    std::memcpy(out, piece_.data() + (offset - first_), count);
    return true;
  }
  bool Has(std::uint64_t offset, std::size_t count) const {
    return offset >= first_ && offset - first_ <= size_ && count <= size_ - (offset - first_);
  }
  void Load(std::uint64_t offset) const {
    const ssize_t read = pread(descriptor_, piece_.data(), piece_.size(), static_cast<off_t>(offset));
    first_ = offset;
    size_ = static_cast<std::size_t>(std::max<ssize_t>(read, 0));
  }

  static constexpr std::size_t kPiece = 4096;
  int descriptor_;
  mutable std::uint64_t first_ = 0;
  mutable std::size_t size_ = 0;
  mutable std::array<char, kPiece> piece_{};
};

constexpr std::uint32_t kAnyMarker = 0xFF00;
constexpr std::uint32_t kStartOfScan = 0xFFDA;
constexpr std::uint32_t kEndOfImage = 0xFFD9;
constexpr std::array<std::uint32_t, 3> kMetadataMarkers{0xFFE1, 0xFFED, 0xFFFE};  // APP1, APP13, COM

template <typename List, typename Value>
bool Contains(const List& list, const Value& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

std::uint64_t InJpeg(const Content& file) {
  constexpr std::size_t kMarkerSize = 2;
  std::uint64_t bytes = 0;
  std::uint64_t offset = kMarkerSize;
  while (bytes <= kMostMetadata) {
    const auto marker = file.Number(offset, kMarkerSize, true);
    const auto length = file.Number(offset + kMarkerSize, kMarkerSize, true);
    if (!marker || !length || *marker < kAnyMarker || *marker == kStartOfScan || *marker == kEndOfImage)
      break;
    if (Contains(kMetadataMarkers, *marker)) bytes += *length;
    offset += kMarkerSize + std::max<std::uint32_t>(*length, kMarkerSize);
  }
  return bytes;
}

// Chunks from OFFSET on, each with its LENGTH_AT and NAME_AT in its head of eight bytes and TAIL bytes behind
// it; those of odd length are filled up where PADDED.
struct ChunkForm {
  std::uint64_t first;
  std::size_t length_at;
  std::size_t name_at;
  std::size_t tail;
  bool big_endian;
  bool padded;
};

template <typename Names>
std::uint64_t InChunks(const Content& file, const ChunkForm& form, const Names& names) {
  constexpr std::size_t kHead = 8;
  std::uint64_t bytes = 0;
  std::uint64_t offset = form.first;
  while (bytes <= kMostMetadata) {
    const auto length = file.Number(offset + form.length_at, sizeof(std::uint32_t), form.big_endian);
    const std::string name = file.Text(offset + form.name_at, kTagSize);
    if (!length || name.empty()) break;
    if (Contains(names, name)) bytes += *length;
    offset += kHead + *length + form.tail + (form.padded ? *length % 2 : 0);
  }
  return bytes;
}

std::uint64_t InPng(const Content& file) {
  constexpr std::array<std::string_view, 4> kNames{"tEXt", "zTXt", "iTXt", "eXIf"};
  return InChunks(file, {8, 0, 4, 4, true, false}, kNames);
}

std::uint64_t InWebP(const Content& file) {
  constexpr std::array<std::string_view, 2> kNames{"EXIF", "XMP "};
  return InChunks(file, {12, 4, 0, 0, false, true}, kNames);
}

// Bytes of one value of a TIFF type, 0 for unknown types.
std::uint64_t ValueSize(std::uint32_t type) {
  constexpr std::array<std::uint8_t, 14> kSizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < kSizes.size() ? kSizes[type] : 0;
}

// Of the first picture: its description, XMP, IPTC and Photoshop's resources.
std::uint64_t InTiff(const Content& file, bool big_endian) {
  constexpr std::array<std::uint32_t, 4> kTags{270, 700, 33723, 34377};
  constexpr std::uint64_t kFolderAt = 4;
  constexpr std::uint64_t kEntrySize = 12;
  constexpr std::size_t kShort = 2;
  const auto folder = file.Number(kFolderAt, sizeof(std::uint32_t), big_endian);
  const auto count = folder ? file.Number(*folder, kShort, big_endian) : std::nullopt;
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < count.value_or(0); ++i) {
    const std::uint64_t entry = *folder + kShort + i * kEntrySize;
    const auto tag = file.Number(entry, kShort, big_endian);
    const auto type = file.Number(entry + kShort, kShort, big_endian);
    const auto values = file.Number(entry + 2 * kShort, sizeof(std::uint32_t), big_endian);
    if (!tag || !type || !values) break;
    if (Contains(kTags, *tag)) bytes += ValueSize(*type) * *values;
  }
  return bytes;
}

}  // namespace

std::uint64_t MetadataBytes(int descriptor) {
  constexpr std::size_t kStart = 12;
  constexpr std::size_t kKind = 8;
  const Content file(descriptor);
  const std::string start = file.Text(0, kStart);
  if (start.starts_with("\xFF\xD8")) return InJpeg(file);
  if (start.starts_with("\x89PNG")) return InPng(file);
  if (start.starts_with("RIFF") && start.substr(kKind) == "WEBP") return InWebP(file);
  if (start.starts_with("II")) return InTiff(file, false);
  return start.starts_with("MM") ? InTiff(file, true) : 0;
}

std::string TooMuchMetadata(std::uint64_t bytes) {
  constexpr std::uint64_t kMegabyte = std::uint64_t{1} << 20;
  const std::string most = std::to_string(kMostMetadata / kMegabyte);
  const std::string found =
      bytes / kMegabyte > kMostMetadata / kMegabyte ? std::to_string(bytes / kMegabyte) : "more than " + most;
  return "its metadata is too large to be read: " + found + " MiB, at most " + most;
}
