// key=value files of any bytes: each line is a pair, a malformed one or none, and the pairs that were read
// read as the same when they are written.
#include <algorithm>
#include <cstdint>
#include <string>

#include "core/key_value.h"
#include "fuzz/fuzz_input.h"

namespace {

// As the service writes them.
std::string Written(const std::vector<KeyValues::Pair>& pairs) {
  std::string text = "# settings\n";
  for (const auto& [key, value] : pairs) text += key + "=\"" + value + "\"\n";
  return text;
}

void CheckFind(const ParsedKeyValues& parsed) {
  const KeyValues values(parsed.pairs);
  for (const auto& [key, value] : parsed.pairs) {
    const auto last = std::find_if(parsed.pairs.rbegin(), parsed.pairs.rend(),
                                   [&, wanted = key](const auto& pair) { return pair.first == wanted; });
    const std::string* found = values.Find(key);
    Require(found != nullptr && *found == last->second, "not the last value", key);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = TextOf(data, size);
  const ParsedKeyValues parsed = ParseKeyValues(text);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  Require(parsed.pairs.size() + static_cast<std::size_t>(parsed.malformed_lines) <= lines, "too many lines");
  Require(static_cast<std::size_t>(parsed.first_malformed) <= lines, "a line that is not there");
  Require((parsed.first_malformed > 0) == (parsed.malformed_lines > 0), "which one is malformed");
  const ParsedKeyValues again = ParseKeyValues(Written(parsed.pairs));
  Require(again.pairs == parsed.pairs && again.malformed_lines == 0, "a pair changed", text);
  CheckFind(parsed);
  return 0;
}
