#include "probe/recorded_time.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string_view>

#include "probe/av_tags.h"
#include "probe/taken_time.h"

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
std::optional<std::string> TimeInWords(const std::string& text) {
  constexpr std::size_t kYearDigits = 4;
  std::array<char, std::string_view("Mar").size() + 1> month{};
  std::array<char, std::string_view("10").size() + 1> day{};
  std::array<char, std::string_view("15:04:43").size() + 1> clock{};
  std::array<char, kYearDigits + 1> year{};
  constexpr int kFields = 4;
  if (std::sscanf(text.c_str(), "%*3s %3s %2s %8s %4s", month.data(), day.data(), clock.data(),
                  year.data()) != kFields)
    return std::nullopt;
  return WallClockTime(year.data(), month.data(), day.data(), clock.data());
}

std::optional<std::string> TimeOf(std::string_view text) {
  if (text.ends_with('Z')) return LocalTimeOfUtc(text);
  const auto time = WallClockTime(text);
  return time ? time : TimeInWords(std::string(text));
}

// By a tag of the container, or else of a stream.
std::optional<std::string> ContainerTime(const AVFormatContext& format) {
  if (auto time = TimeOf(AvTag(format.metadata, kContainerTime))) return time;
  for (unsigned index = 0; index < format.nb_streams; ++index) {
    if (auto time = TimeOf(AvTag(format.streams[index]->metadata, kContainerTime))) return time;
  }
  return std::nullopt;
}

// The date chunk in the head of an AVI file, which the library reads in one of its forms alone.
std::optional<std::string> AviTime(const AVFormatContext& format, int descriptor) {
  constexpr std::size_t kHead = 65536;
  constexpr std::string_view kChunk = "IDIT";
  constexpr std::size_t kLengthBytes = 4;
  constexpr std::size_t kLongest = 32;
  if (format.iformat->name != std::string_view("avi")) return std::nullopt;
  std::string head(kHead, '\0');
  const ssize_t count = pread(descriptor, head.data(), head.size(), 0);
  head.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  const std::size_t chunk = head.find(kChunk);
  if (chunk == head.npos || chunk + kChunk.size() + kLengthBytes > head.size()) return std::nullopt;
  const std::string text = head.substr(chunk + kChunk.size() + kLengthBytes, kLongest);
  return TimeOf(text.substr(0, text.find('\0')));
}

}  // namespace

std::string RecordedTime(const AVFormatContext& format, int descriptor) {
  const std::string_view date = AvTag(format.metadata, kDate);
  for (const char* key : kPlaceTags) {
    if (auto time = TimeOf(AvTag(format.metadata, key))) return *time;
  }
  if (auto time = TimeOf(date); time && date.size() > kDayLength) return *time;
  if (auto time = ContainerTime(format)) return *time;
  if (auto time = AviTime(format, descriptor)) return *time;
  return TimeOf(date).value_or("");
}
