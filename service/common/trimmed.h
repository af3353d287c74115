#ifndef SERVICE_COMMON_TRIMMED_H_
#define SERVICE_COMMON_TRIMMED_H_

#include <string_view>

// TEXT without blanks and line ends at either end.
inline std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n\v\f";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

#endif  // SERVICE_COMMON_TRIMMED_H_
