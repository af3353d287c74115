#include "probe/name_time.h"

#include <algorithm>

#include "probe/taken_time.h"

namespace {

// '#' is a digit, '*' what stands between date and time, '-' what stands within either.
constexpr std::string_view kCompactDate = "########";
constexpr std::string_view kPartedDate = "####-##-##";
constexpr std::string_view kCompactClock = "######";
constexpr std::string_view kPartedClock = "##-##-##";
constexpr std::string_view kShortClock = "#-##-##";  // of twelve hours
constexpr std::string_view kBetween = "*";
constexpr std::string_view kDayOfMessage = "-########-WA####";
constexpr std::string_view kFirstYear = "1970";
constexpr std::string_view kLastYear = "2099";
constexpr std::string_view kLastHour = "23";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool MatchesPatternCharacter(char c, char wanted) {
  constexpr std::string_view kBetweenParts = " _-T";
  constexpr std::string_view kWithin = "-._:";
  if (wanted == '#') return IsDigit(c);
  if (wanted == '*') return kBetweenParts.find(c) != kBetweenParts.npos;
  return wanted == '-' ? kWithin.find(c) != kWithin.npos : c == wanted;
}

// Takes what follows PATTERN from the beginning of TEXT: its digits; nothing where TEXT does not.
std::optional<std::string> TakePattern(std::string_view& text, std::string_view pattern) {
  if (text.size() < pattern.size()) return std::nullopt;
  if (!std::equal(pattern.begin(), pattern.end(), text.begin(),
                  [](char p, char t) { return MatchesPatternCharacter(t, p); }))
    return std::nullopt;
  std::string digits(text.substr(0, pattern.size()));
  std::erase_if(digits, [](char c) { return !IsDigit(c); });
  text.remove_prefix(pattern.size());
  return digits;
}

// " at ", or the word of another language.
bool TakeWord(std::string_view& text) {
  constexpr std::size_t kLongest = 16;
  const std::size_t end = text.find(' ', 1);
  if (!text.starts_with(' ') || end == text.npos || end > kLongest || end == 1) return false;
  const std::string_view word = text.substr(1, end - 1);
  if (std::any_of(word.begin(), word.end(), IsDigit)) return false;
  text.remove_prefix(end + 1);
  return true;
}

// Thousandths of a second may follow, and no more digits.
bool EndsClock(std::string_view rest) {
  constexpr std::size_t kThousandths = 3;
  const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
  return digits == 0 || digits == kThousandths;
}

// DATE ("20200701") and CLOCK ("223000", or "101112 PM") as a time text.
std::optional<std::string> TimeOf(std::string_view date, std::string_view clock) {
  constexpr std::string_view kForm = "####-##-## ##:##:##";
  if (date.substr(0, kFirstYear.size()) < kFirstYear || date.substr(0, kLastYear.size()) > kLastYear ||
      clock.substr(0, kLastHour.size()) > kLastHour)
    return std::nullopt;
  std::string text(kForm);
  const std::string digits = std::string(date).append(clock.substr(0, kCompactClock.size()));
  auto digit = digits.cbegin();
  for (char& c : text) {
    if (c == '#') c = *digit++;
  }
  const auto time = TimeIn(text.append(clock.substr(kCompactClock.size())));
  if (!time || time->kind != TimeKind::kMoment) return std::nullopt;
  return time->text;
}

std::optional<std::string> CompactClock(std::string_view text) {
  const auto clock = TakePattern(text, kCompactClock);
  return clock && EndsClock(text) ? clock : std::nullopt;
}

std::optional<std::string> PartedClock(std::string_view text) {
  std::optional<std::string> clock = TakePattern(text, kPartedClock);
  const bool is_short = !clock;
  if (is_short) clock = TakePattern(text, kShortClock);
  if (!clock) return std::nullopt;
  if (is_short) clock->insert(0, "0");
  if (const auto half = TakeHalfOfDay(text)) return *clock + (*half == 0 ? " AM" : " PM");
  return !is_short && EndsClock(text) ? clock : std::nullopt;
}

std::optional<std::string> TimeAfterDate(const std::string& date, std::string_view text, bool compact) {
  std::string_view rest = text;
  std::optional<std::string> clock;
  if (TakePattern(rest, kBetween)) {
    clock = CompactClock(rest);
    if (!clock) clock = PartedClock(rest);
  } else if (compact) {
    clock = CompactClock(rest);
  }
  if (auto time = clock ? TimeOf(date, *clock) : std::nullopt) return time;
  if (compact || !TakeWord(text)) return std::nullopt;
  clock = PartedClock(text);
  return clock ? TimeOf(date, *clock) : std::nullopt;
}

std::optional<std::string> TimeAtStart(std::string_view text) {
  std::string_view rest = text;
  if (const auto date = TakePattern(rest, kCompactDate)) return TimeAfterDate(*date, rest, true);
  const auto date = TakePattern(rest, kPartedDate);
  return date ? TimeAfterDate(*date, rest, false) : std::nullopt;
}

std::optional<std::string> DayOfMessage(std::string_view text) {
  constexpr std::string_view kMidnight = "000000";
  const auto digits = TakePattern(text, kDayOfMessage);
  return digits ? TimeOf(digits->substr(0, kCompactDate.size()), kMidnight) : std::nullopt;
}

std::optional<std::string> FirstTime(std::string_view name) {
  for (std::size_t at = 0; at < name.size(); ++at) {
    const std::string_view rest = name.substr(at);
    if (auto day = DayOfMessage(rest)) return day;
    if (at > 0 && IsDigit(name[at - 1])) continue;
    if (auto time = TimeAtStart(rest)) return time;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> TimeInName(std::string_view name) {
  constexpr std::string_view kUniversal = "PXL_";
  auto time = FirstTime(name);
  if (!time || !name.starts_with(kUniversal)) return time;
  const auto local = LocalTimeOfUtc(*time);
  return local ? std::optional(local->text) : std::nullopt;
}
