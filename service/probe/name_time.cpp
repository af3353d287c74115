#include "probe/name_time.h"

#include <algorithm>
#include <array>

#include "probe/taken_time.h"

namespace {

// '#' is a digit, '*' what stands between date and time, '-' what stands within either.
constexpr std::array<std::string_view, 4> kPatterns = {"########*######", "##############",
                                                       "####-##-##*##-##-##", "####-##-## at ##-##-##"};
constexpr std::string_view kDayOfMessage = "-########-WA####";
constexpr std::string_view kFirstYear = "1970";
constexpr std::string_view kLastYear = "2099";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool Fits(char c, char wanted) {
  constexpr std::string_view kBetween = " _-T";
  constexpr std::string_view kWithin = "-._:";
  if (wanted == '#') return IsDigit(c);
  if (wanted == '*') return kBetween.find(c) != kBetween.npos;
  return wanted == '-' ? kWithin.find(c) != kWithin.npos : c == wanted;
}

// The digits that TEXT begins with where it follows PATTERN; nothing where it does not.
std::optional<std::string> Digits(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) return std::nullopt;
  if (!std::equal(pattern.begin(), pattern.end(), text.begin(), [](char p, char t) { return Fits(t, p); }))
    return std::nullopt;
  std::string digits(text.substr(0, pattern.size()));
  std::erase_if(digits, [](char c) { return !IsDigit(c); });
  return digits;
}

// "20200701223000", or what follows the date missing, as a time text.
std::optional<std::string> TimeOf(std::string digits) {
  constexpr std::string_view kForm = "####-##-## ##:##:##";
  constexpr std::size_t kDigits = 14;
  digits.resize(kDigits, '0');
  const std::string_view year = std::string_view(digits).substr(0, kFirstYear.size());
  if (year < kFirstYear || year > kLastYear) return std::nullopt;
  std::string text(kForm);
  auto digit = digits.cbegin();
  for (char& c : text) {
    if (c == '#') c = *digit++;
  }
  return WallClockTime(text);
}

// Thousandths of a second may follow, and no more digits.
bool Ends(std::string_view rest) {
  constexpr std::size_t kThousandths = 3;
  const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
  return digits == 0 || digits == kThousandths;
}

std::optional<std::string> TimeAt(std::string_view text) {
  for (const std::string_view pattern : kPatterns) {
    const auto digits = Digits(text, pattern);
    if (!digits || !Ends(text.substr(pattern.size()))) continue;
    if (auto time = TimeOf(*digits)) return time;
  }
  return std::nullopt;
}

std::optional<std::string> DayOfMessage(std::string_view text) {
  constexpr std::size_t kDateDigits = 8;
  const auto digits = Digits(text, kDayOfMessage);
  return digits ? TimeOf(digits->substr(0, kDateDigits)) : std::nullopt;
}

std::optional<std::string> FirstTime(std::string_view name) {
  for (std::size_t at = 0; at < name.size(); ++at) {
    const std::string_view rest = name.substr(at);
    if (auto day = DayOfMessage(rest)) return day;
    if (at > 0 && IsDigit(name[at - 1])) continue;
    if (auto time = TimeAt(rest)) return time;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> TimeInName(std::string_view name) {
  constexpr std::string_view kUniversal = "PXL_";
  const auto time = FirstTime(name);
  return time && name.starts_with(kUniversal) ? LocalTimeOfUtc(*time) : time;
}
