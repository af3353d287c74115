// Values used as formats: whatever the value, the result fits its bound and text without '%' stays as it is.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/value_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kSizes[] = {0, 1, 2, 32, 255, 4'096};
  const std::string value(reinterpret_cast<const char*>(data), size);
  const std::string whole = FormatValue(value, 4'096);
  for (const std::size_t bound : kSizes) {
    const std::string cut = FormatValue(value, bound);
    if (cut.size() >= std::max<std::size_t>(bound, 1)) std::abort();
    // A padding is limited by the bound, so only what stands before the first '%' is the same everywhere.
    const std::size_t plain = std::min({value.find('%'), value.size(), cut.size()});
    if (cut.compare(0, plain, value, 0, plain) != 0) std::abort();
  }
  if (value.find('%') == std::string::npos && whole != value.substr(0, 4'095)) std::abort();
  std::string doubled;
  for (const char c : value) doubled += c == '%' ? "%%" : std::string(1, c);
  if (FormatValue(doubled, doubled.size() + 1) != value) std::abort();
  return 0;
}
