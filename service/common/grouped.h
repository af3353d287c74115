#ifndef SERVICE_COMMON_GROUPED_H_
#define SERVICE_COMMON_GROUPED_H_

#include <cstddef>
#include <string>

// "1,234,567", whatever the locale.
inline std::string Grouped(std::size_t number) {
  constexpr std::size_t kGroup = 3;
  std::string digits = std::to_string(number);
  for (std::size_t end = digits.size(); end > kGroup;) {
    end -= kGroup;
    digits.insert(end, ",");
  }
  return digits;
}

#endif  // SERVICE_COMMON_GROUPED_H_
