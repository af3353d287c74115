#ifndef SERVICE_COMMON_CODE_RANGES_H_
#define SERVICE_COMMON_CODE_RANGES_H_

#include <algorithm>
#include <cstdint>
#include <iterator>

// From the first to the last of them.
struct CodeRange {
  std::uint32_t first, last;
};

// Whether the character lies in one of RANGES, which are sorted.
template <typename Ranges>
bool LiesIn(const Ranges& ranges, std::uint32_t code) {
  const auto after =
      std::upper_bound(ranges.begin(), ranges.end(), code,
                       [](std::uint32_t value, const CodeRange& range) { return value < range.first; });
  return after != ranges.begin() && code <= std::prev(after)->last;
}

#endif  // SERVICE_COMMON_CODE_RANGES_H_
