#include "probe/recorded_time.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>

#include "probe/av_tags.h"
#include "probe/file_bytes.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

// Tags of the moment of recording, whose writers know the place's own clock.
constexpr std::array kPlaceTags = {"com.apple.quicktime.creationdate", "DATE_RECORDED"};
constexpr const char* kContainerTime = "creation_time";
// Older telephones' tag, and RIFF's ICRD. With the time of day it is the moment of recording; a day alone may
// be that of publishing.
constexpr const char* kDate = "date";
constexpr std::size_t kDayLength = std::string_view("2020-07-01").size();

// "Mon Mar 10 15:04:43 2003", as AVI files have it.
std::optional<ReadTime> TimeInWords(const std::string& text) {
  constexpr std::size_t kYearDigits = 4;
  std::array<char, std::string_view("Mar").size() + 1> month{};
  std::array<char, std::string_view("10").size() + 1> day{};
  std::array<char, std::string_view("15:04:43").size() + 1> clock{};
  std::array<char, kYearDigits + 1> year{};
  constexpr int kFields = 4;
  if (std::sscanf(text.c_str(), "%*3s %3s %2s %8s %4s", month.data(), day.data(), clock.data(),
                  year.data()) != kFields)
    return std::nullopt;
  return TimeIn(year.data(), month.data(), day.data(), clock.data());
}

std::optional<ReadTime> TimeOf(std::string_view text) {
  if (text.ends_with('Z')) return LocalTimeOfUtc(text);
  const auto time = TimeIn(text);
  return time ? time : TimeInWords(std::string(text));
}

// What the container has counted since some year.
std::optional<ReadTime> CountedTime(const AVDictionary* tags) {
  constexpr std::string_view kFirst = "1990";
  const std::string_view text = AvTag(tags, kContainerTime);
  return text < kFirst ? std::nullopt : TimeOf(text);
}

// By a tag of the container, or else of a stream.
bool TakeContainerTime(const AVFormatContext& format, TakenTime& taken) {
  if (taken.Take(CountedTime(format.metadata))) return true;
  for (unsigned index = 0; index < format.nb_streams; ++index) {
    if (taken.Take(CountedTime(format.streams[index]->metadata))) return true;
  }
  return false;
}

constexpr off_t kHead = 65536;  // bytes in which the containers tell of themselves

std::string HeadOf(int descriptor) {
  std::string head(kHead, '\0');
  const ssize_t count = pread(descriptor, head.data(), head.size(), 0);
  head.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return head;
}

// The date chunk in the head of an AVI file, which the library reads in two of its forms alone.
std::optional<ReadTime> AviTime(int descriptor) {
  constexpr std::string_view kChunk = "IDIT";
  constexpr std::size_t kLengthBytes = 4;
  constexpr std::size_t kLongest = 32;
  const std::string head = HeadOf(descriptor);
  const std::size_t chunk = head.find(kChunk);
  if (chunk == head.npos || chunk + kChunk.size() + kLengthBytes > head.size()) return std::nullopt;
  const std::string text = head.substr(chunk + kChunk.size() + kLengthBytes, kLongest);
  return TimeOf(text.substr(0, text.find('\0')));
}

// What the header of an ASF file (WMV) has, which the library passes over: in steps of 100 ns since 1601,
// Universal Time.
std::optional<ReadTime> AsfTime(int descriptor) {
  using namespace std::string_view_literals;
  constexpr std::string_view kFileProperties =
      "\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65"sv;
  constexpr std::size_t kTimeAt = 48;
  constexpr std::uint64_t kSteps = 10'000'000;
  constexpr std::int64_t kEpochSince1601 = 11'644'473'600;  // seconds
  const std::string head = HeadOf(descriptor);
  const std::size_t object = head.find(kFileProperties);
  if (object == head.npos || object + kTimeAt + sizeof(std::uint64_t) > head.size()) return std::nullopt;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(head.data() + object + kTimeAt);
  const std::uint64_t steps = NumberOf({bytes, sizeof(std::uint64_t)}, std::endian::little);
  return RecordedLocalTime(static_cast<std::time_t>(steps / kSteps) - kEpochSince1601);
}

std::optional<ReadTime> HeaderTime(const AVFormatContext& format, int descriptor) {
  const std::string_view name = format.iformat->name;
  if (name == "avi") return AviTime(descriptor);
  return name == "asf" || name == "asf_o" ? AsfTime(descriptor) : std::nullopt;
}

}  // namespace

TakenTime RecordedTime(const AVFormatContext& format, int descriptor) {
  TakenTime taken;
  for (const char* key : kPlaceTags) {
    if (taken.Take(TimeOf(AvTag(format.metadata, key)))) return taken;
  }
  const std::string_view date_text = AvTag(format.metadata, kDate);
  const auto date = TimeOf(date_text);
  if (date && date->kind == TimeKind::kMoment && taken.Take(date)) return taken;
  if (TakeContainerTime(format, taken) || taken.Take(HeaderTime(format, descriptor))) return taken;
  if (date_text.size() >= kDayLength) taken.Take(date);
  return taken;
}
