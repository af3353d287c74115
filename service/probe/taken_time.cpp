#include "probe/taken_time.h"

#include <array>
#include <charconv>
#include <chrono>

namespace {

constexpr int kFirstTmYear = 1900;
constexpr std::size_t kTextSize = 64;

// Reads numbers one after the other, and what stands between them.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  // A number of at most DIGITS digits, blanks before it allowed.
  std::optional<int> Number(std::size_t digits) {
    text_.remove_prefix(std::min(text_.find_first_not_of(' '), text_.size()));
    int value = 0;
    const std::string_view number = text_.substr(0, digits);
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error != std::errc() || value < 0) return std::nullopt;
    text_.remove_prefix(static_cast<std::size_t>(end - number.data()));
    return value;
  }
  bool Separator(std::string_view allowed) {
    if (text_.empty() || allowed.find(text_.front()) == std::string_view::npos) return false;
    text_.remove_prefix(1);
    return true;
  }

 private:
  std::string_view text_;
};

struct Time {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

bool ReadDate(Scanner& scanner, Time& time) {
  constexpr std::string_view kBetween = ":-/.";
  const auto year = scanner.Number(4);
  if (!year || !scanner.Separator(kBetween)) return false;
  const auto month = scanner.Number(2);
  if (!month || !scanner.Separator(kBetween)) return false;
  const auto day = scanner.Number(2);
  if (!day) return false;
  time.year = *year;
  time.month = *month;
  time.day = *day;
  return true;
}

// What is missing stays 0.
void ReadClock(Scanner& scanner, Time& time) {
  if (!scanner.Separator(" T")) return;
  const auto hour = scanner.Number(2);
  if (!hour || !scanner.Separator(":")) return;
  const auto minute = scanner.Number(2);
  if (!minute) return;
  time.hour = *hour;
  time.minute = *minute;
  if (!scanner.Separator(":")) return;
  time.second = scanner.Number(2).value_or(0);
}

bool IsValid(const Time& time) {
  constexpr int kLastHour = 23;
  constexpr int kLastMinute = 59;
  constexpr int kLastSecond = 59;
  const std::chrono::year_month_day date{std::chrono::year(time.year),
                                         std::chrono::month(static_cast<unsigned>(time.month)),
                                         std::chrono::day(static_cast<unsigned>(time.day))};
  return time.year > 0 && date.ok() && time.hour <= kLastHour && time.minute <= kLastMinute &&
         time.second <= kLastSecond;
}

std::optional<std::tm> Parse(std::string_view text) {
  Scanner scanner(text);
  Time time;
  if (!ReadDate(scanner, time)) return std::nullopt;
  ReadClock(scanner, time);
  if (!IsValid(time)) return std::nullopt;
  std::tm fields{};
  fields.tm_year = time.year - kFirstTmYear;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  return fields;
}

std::string Format(const std::tm& fields) {
  std::array<char, kTextSize> text{};
  const int length =
      snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", fields.tm_year + kFirstTmYear,
               fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
  return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::optional<std::string> WallClockTime(std::string_view text) {
  const std::optional<std::tm> fields = Parse(text);
  if (!fields) return std::nullopt;
  return Format(*fields);
}

std::optional<std::string> WallClockTime(std::string_view year, std::string_view month, std::string_view day,
                                         std::string_view clock) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  constexpr std::size_t kLetters = 3;
  const std::size_t place = kMonths.find(month);
  if (month.size() != kLetters || place == kMonths.npos || place % kLetters != 0) return std::nullopt;
  const std::string number = std::to_string(place / kLetters + 1);
  std::string text;
  for (const std::string_view part : {year, std::string_view("-"), std::string_view(number),
                                      std::string_view("-"), day, std::string_view(" "), clock})
    text += part;
  return WallClockTime(text);
}

std::optional<std::string> LocalTimeOfUtc(std::string_view text) {
  std::optional<std::tm> fields = Parse(text);
  if (!fields) return std::nullopt;
  const std::time_t time = timegm(&*fields);
  if (time <= 0) return std::nullopt;
  return LocalTime(time);
}

std::string LocalTime(std::time_t time) {
  std::tm fields{};
  localtime_r(&time, &fields);
  return Format(fields);
}
