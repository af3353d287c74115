// Numbers in texts, with nothing before them: no blank and no plus sign.
#ifndef BASE_WHOLE_NUMBER_H_
#define BASE_WHOLE_NUMBER_H_

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

// TEXT as a number; nothing where it is none, goes on behind it, or is beyond a Number.
template <typename Number>
std::optional<Number> WholeNumber(std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// The number that TEXT begins with, whatever follows it; 0 without digits, or where it is beyond a Number.
template <typename Number>
Number LeadingNumber(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

#endif  // BASE_WHOLE_NUMBER_H_
