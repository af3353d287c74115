#include "probe/container_time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <vector>

#include "probe/boxes.h"
#include "probe/file_bytes.h"
#include "probe/taken_time.h"

namespace {

constexpr std::string_view kPng = "\x89PNG\r\n\x1A\n";
constexpr std::size_t kMostChunks = 65536;
constexpr std::size_t kTextStart = 128;  // of a text: more than a keyword and a time
constexpr off_t kChunkHeader = 8;
constexpr off_t kChunkEnd = 4;

constexpr std::int64_t kEpochSince1904 = 2'082'844'800;  // seconds
constexpr std::int64_t kMicroseconds = 1'000'000;
constexpr off_t kVersion = 4;  // bytes before the content of some boxes

// "04 Mar 2019 10:11:12", a day of the week before it or not, as "2019-03-04 10:11:12".
std::optional<ReadTime> MailTime(std::string_view text) {
  constexpr std::size_t kMonthAt = 3;
  constexpr std::size_t kYearAt = 7;
  constexpr std::size_t kClockAt = 12;
  const std::size_t comma = text.find(", ");
  if (comma != text.npos) text.remove_prefix(comma + 2);
  if (text.size() > 1 && text[1] == ' ') return MailTime("0" + std::string(text));
  if (text.size() < kClockAt) return std::nullopt;
  return TimeIn(text.substr(kYearAt, 4), text.substr(kMonthAt, 3), text.substr(0, 2), text.substr(kClockAt));
}

// The value of a text CHUNK with this KIND under the keyword for the time of creation.
std::optional<std::string_view> CreationText(std::string_view kind, std::string_view chunk) {
  using namespace std::string_view_literals;
  constexpr std::string_view kKeyword = "Creation Time\0"sv;
  if (!chunk.starts_with(kKeyword)) return std::nullopt;
  chunk.remove_prefix(kKeyword.size());
  if (kind == "tEXt") return chunk;
  // Not compressed; a language and a translation of the keyword.
  if (!chunk.starts_with("\0\0"sv)) return std::nullopt;
  chunk.remove_prefix(2);
  for (int part = 0; part < 2; ++part) chunk.remove_prefix(std::min(chunk.find('\0'), chunk.size() - 1) + 1);
  return chunk;
}

std::string TextAt(int descriptor, off_t offset, std::uint64_t length) {
  std::string text(static_cast<std::size_t>(std::min<std::uint64_t>(length, kTextStart)), '\0');
  const ssize_t count = pread(descriptor, text.data(), text.size(), offset);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return text;
}

std::optional<ReadTime> PngTime(int descriptor) {
  off_t offset = kPng.size();
  for (std::size_t i = 0; i < kMostChunks; ++i) {
    const auto header = BytesAt<kChunkHeader>(descriptor, offset);
    if (!header) return std::nullopt;
    const std::span<const std::uint8_t> bytes(*header);
    const std::uint64_t length = NumberOf(bytes.first(4), std::endian::big);
    const std::string kind(bytes.begin() + 4, bytes.end());
    offset += kChunkHeader;
    if (kind == "tEXt" || kind == "iTXt") {
      const std::string chunk = TextAt(descriptor, offset, length);
      if (const auto text = CreationText(kind, chunk)) {
        const auto time = TimeIn(*text);
        return time ? time : MailTime(*text);
      }
    }
    offset += static_cast<off_t>(length) + kChunkEnd;
  }
  return std::nullopt;
}

const Box* Find(const std::vector<Box>& boxes, std::string_view kind) {
  const auto found =
      std::find_if(boxes.begin(), boxes.end(), [&](const Box& box) { return box.kind == kind; });
  return found == boxes.end() ? nullptr : &*found;
}

// The first box of the last of KINDS, each inside of the one before; SKIPPED bytes stand before what is
// inside of the first.
std::optional<Box> FindInside(int descriptor, const std::vector<std::string_view>& kinds, off_t skipped) {
  std::vector<Box> boxes = BoxesOf(descriptor);
  std::optional<Box> found;
  for (const std::string_view kind : kinds) {
    const Box* box = Find(boxes, kind);
    if (box == nullptr) return std::nullopt;
    found = *box;
    boxes = BoxesIn(descriptor, *found, kind == kinds.front() ? skipped : 0);
  }
  return found;
}

std::optional<ReadTime> TimeSince1904(std::int64_t seconds) {
  if (seconds <= kEpochSince1904) return std::nullopt;
  return RecordedLocalTime(static_cast<std::time_t>(seconds - kEpochSince1904));
}

template <std::size_t BYTES>
std::int64_t NumberAt(int descriptor, off_t offset) {
  const auto bytes = BytesAt<BYTES>(descriptor, offset);
  return bytes ? static_cast<std::int64_t>(NumberOf(*bytes, std::endian::big)) : 0;
}

std::optional<ReadTime> HeifTime(int descriptor) {
  if (const auto picture = FindInside(descriptor, {"meta", "iprp", "ipco", "crtt"}, kVersion)) {
    const std::int64_t time = NumberAt<sizeof(std::uint64_t)>(descriptor, picture->content + kVersion);
    if (auto text = TimeSince1904(time / kMicroseconds)) return text;
  }
  const auto film = FindInside(descriptor, {"moov", "mvhd"}, 0);
  if (!film) return std::nullopt;
  const bool is_long = NumberAt<1>(descriptor, film->content) == 1;
  const off_t time = film->content + kVersion;
  return TimeSince1904(is_long ? NumberAt<sizeof(std::uint64_t)>(descriptor, time)
                               : NumberAt<sizeof(std::uint32_t)>(descriptor, time));
}

}  // namespace

std::optional<ReadTime> ContainerTime(int descriptor) {
  const auto start = BytesAt<kPng.size()>(descriptor, 0);
  if (!start) return std::nullopt;
  const std::string kind(start->begin(), start->end());
  if (kind == kPng) return PngTime(descriptor);
  return kind.substr(4) == "ftyp" ? HeifTime(descriptor) : std::nullopt;
}
