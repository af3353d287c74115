#include "probe/taken_time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

#include "base/ascii.h"

namespace {

constexpr int kFirstTmYear = 1900;
constexpr int kFirstYear = 1901;
constexpr int kLastYear = 9999;
constexpr int kFirstRecordedYear = 1990;
constexpr std::size_t kYearDigits = 4;
constexpr int kHoursOfDay = 24;
constexpr int kHalfOfDay = 12;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Reads numbers one after the other, and what stands between them.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  // A number of LEAST to MOST digits and no more, blanks before it allowed.
  std::optional<int> Number(std::size_t least, std::size_t most) {
    Skip(" ");
    const auto end = std::find_if_not(text_.begin(), text_.end(), IsDigit);
    const auto digits = static_cast<std::size_t>(end - text_.begin());
    if (digits < least || digits > most) return std::nullopt;
    int value = 0;
    std::from_chars(text_.data(), text_.data() + digits, value);
    text_.remove_prefix(digits);
    return value;
  }
  // The character of ALLOWED that comes next.
  std::optional<char> Separator(std::string_view allowed) {
    if (text_.empty() || allowed.find(text_.front()) == std::string_view::npos) return std::nullopt;
    const char separator = text_.front();
    text_.remove_prefix(1);
    return separator;
  }
  // Passes over characters of PASSED; gives them.
  std::string_view Skip(std::string_view passed) {
    const std::string_view skipped = text_.substr(0, std::min(text_.find_first_not_of(passed), text_.size()));
    text_.remove_prefix(skipped.size());
    return skipped;
  }
  std::string_view& rest() { return text_; }

 private:
  std::string_view text_;
};

struct Time {
  int year = 0, month = 1, day = 1, hour = 0, minute = 0, second = 0;
  TimeKind kind = TimeKind::kDay;
};

// A year or a month alone is no more than that; one that something follows is no date.
bool ReadDate(Scanner& scanner, Time& time) {
  constexpr std::string_view kBetween = ":-/._";
  const auto rough = [&] {
    time.kind = TimeKind::kRough;
    scanner.Skip(" ");
    return scanner.rest().empty();
  };
  const auto year = scanner.Number(kYearDigits, kYearDigits);
  if (!year) return false;
  time.year = *year;
  if (!scanner.Separator(kBetween)) return rough();
  const auto month = scanner.Number(1, 2);
  if (!month) return false;
  time.month = *month;
  if (!scanner.Separator(kBetween)) return rough();
  const auto day = scanner.Number(1, 2);
  if (!day) return false;
  time.day = *day;
  return true;
}

// "10:11:12", "9.41.00 PM", "09:19"; TIME keeps what it has where it is something else.
bool ReadClock(Scanner& scanner, bool with_seconds, Time& time) {
  constexpr std::string_view kBetween = ":.";
  constexpr int kLastMinute = 59;
  constexpr int kLeapSecond = 60;
  const auto hour = scanner.Number(1, 2);
  const auto between = scanner.Separator(kBetween);
  const auto minute = scanner.Number(1, 2);
  if (!hour || !between || !minute) return false;
  int second = 0;
  const bool more = scanner.Separator(kBetween).has_value();
  if (more || with_seconds) {
    const auto read = more ? scanner.Number(1, 2) : std::nullopt;
    if (!read) return false;
    second = *read;
  }
  int shown = *hour;
  if (const auto half = TakeHalfOfDay(scanner.rest()); half && *hour <= kHalfOfDay)
    shown = *hour % kHalfOfDay + *half;
  if (shown > kHoursOfDay || *minute > kLastMinute || second > kLeapSecond) return false;
  time.hour = shown;
  time.minute = *minute;
  time.second = std::min(second, kLastMinute);
  time.kind = TimeKind::kMoment;
  return true;
}

// What is missing stays 0. Blanks and separators alone are a clock that was not set.
void ReadRest(Scanner& scanner, Time& time) {
  constexpr std::string_view kBetween = " ,T:./-";
  const std::string_view between = scanner.Skip(kBetween);
  if (scanner.rest().empty() || scanner.rest() == "Z") return;
  // "-05:00" is the place's distance from Universal Time.
  const bool clock = !between.empty() && ReadClock(scanner, between.back() == '-', time);
  if (!clock) time.kind = TimeKind::kRough;
}

// The fields of TIME, the day after it for 24 o'clock.
std::optional<std::tm> Fields(const Time& time) {
  std::chrono::year_month_day date{std::chrono::year(time.year),
                                   std::chrono::month(static_cast<unsigned>(time.month)),
                                   std::chrono::day(static_cast<unsigned>(time.day))};
  if (!date.ok()) return std::nullopt;
  if (time.hour == kHoursOfDay) date = std::chrono::sys_days(date) + std::chrono::days(1);
  const int year = static_cast<int>(date.year());
  if (year < kFirstYear || year > kLastYear) return std::nullopt;
  std::tm fields{};
  fields.tm_year = year - kFirstTmYear;
  fields.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  fields.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  fields.tm_hour = time.hour % kHoursOfDay;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  return fields;
}

struct ReadFields {
  std::tm fields{};
  TimeKind kind = TimeKind::kMoment;
};

std::optional<ReadFields> FieldsIn(std::string_view text) {
  Scanner scanner(Trimmed(text.substr(0, text.find('\0'))));
  Time time;
  if (!ReadDate(scanner, time)) return std::nullopt;
  if (time.kind == TimeKind::kDay) ReadRest(scanner, time);
  const auto fields = Fields(time);
  if (!fields) return std::nullopt;
  return ReadFields{*fields, time.kind};
}

std::string Format(const std::tm& fields) {
  constexpr std::size_t kTextSize = 64;
  std::array<char, kTextSize> text{};
  const int length =
      snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", fields.tm_year + kFirstTmYear,
               fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::optional<std::tm> LocalFields(std::time_t time) {
  std::tm fields{};
  if (localtime_r(&time, &fields) == nullptr) return std::nullopt;
  const int year = fields.tm_year + kFirstTmYear;
  return year < kFirstYear || year > kLastYear ? std::nullopt : std::optional(fields);
}

// The number of the month "Jan", in whatever case; 0 for others.
std::size_t MonthOf(std::string_view name) {
  constexpr std::string_view kMonths = "janfebmaraprmayjunjulaugsepoctnovdec";
  constexpr std::size_t kLetters = 3;
  constexpr unsigned kSmall = 0x20;
  std::string small(name);
  for (char& c : small) c = static_cast<char>(static_cast<unsigned char>(c) | kSmall);
  const std::size_t place = kMonths.find(small);
  const bool is_month = small.size() == kLetters && place != kMonths.npos && place % kLetters == 0;
  return is_month ? place / kLetters + 1 : 0;
}

}  // namespace

bool TakenTime::Take(const std::optional<ReadTime>& read) {
  if (!read) return false;
  std::string& taken = read->kind == TimeKind::kRough ? rough : time;
  if (taken.empty()) taken = read->text;
  return !time.empty();
}

std::optional<ReadTime> TimeIn(std::string_view text) {
  const auto read = FieldsIn(text);
  if (!read) return std::nullopt;
  return ReadTime{Format(read->fields), read->kind};
}

std::optional<ReadTime> TimeIn(std::string_view year, std::string_view month, std::string_view day,
                               std::string_view clock) {
  const std::string number = std::to_string(MonthOf(month));
  std::string text;
  for (const std::string_view part : {year, std::string_view("-"), std::string_view(number),
                                      std::string_view("-"), day, std::string_view(" "), clock})
    text += part;
  return TimeIn(text);
}

std::optional<ReadTime> LocalTimeOfUtc(std::string_view text) {
  auto read = FieldsIn(text);
  if (!read || read->kind != TimeKind::kMoment) return TimeIn(text);
  const auto local = LocalTime(timegm(&read->fields));
  if (!local) return std::nullopt;
  return ReadTime{*local, read->kind};
}

std::optional<std::string> LocalTime(std::time_t time) {
  const auto fields = LocalFields(time);
  if (!fields) return std::nullopt;
  return Format(*fields);
}

std::optional<ReadTime> RecordedLocalTime(std::time_t time) {
  const auto fields = LocalFields(time);
  if (!fields || fields->tm_year + kFirstTmYear < kFirstRecordedYear) return std::nullopt;
  return ReadTime{Format(*fields)};
}

std::optional<int> TakeHalfOfDay(std::string_view& text) {
  constexpr std::array<std::string_view, 3> kBlanks = {" ", "\xC2\xA0", "\xE2\x80\xAF"};
  constexpr unsigned kSmall = 0x20;
  std::string_view rest = text;
  for (bool blank = true; blank;) {
    const auto* found = std::find_if(kBlanks.begin(), kBlanks.end(),
                                     [&](std::string_view each) { return rest.starts_with(each); });
    blank = found != kBlanks.end();
    if (blank) rest.remove_prefix(found->size());
  }
  if (rest.size() < 2) return std::nullopt;
  const auto small = [&](std::size_t at) { return static_cast<unsigned char>(rest[at]) | kSmall; };
  if ((small(0) != 'a' && small(0) != 'p') || small(1) != 'm') return std::nullopt;
  const bool is_word = rest.size() > 2 && small(2) >= 'a' && small(2) <= 'z';
  if (is_word) return std::nullopt;
  const int hours = small(0) == 'p' ? kHalfOfDay : 0;
  text = rest.substr(2);
  return hours;
}
