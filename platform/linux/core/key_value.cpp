#include "core/key_value.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "base/ascii.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Unquoted(std::string_view value) {
  const bool quoted = value.size() > 1 && value.front() == '"' && value.back() == '"';
  return quoted ? value.substr(1, value.size() - 2) : value;
}

// Nothing for a malformed line. LINE is trimmed.
std::optional<KeyValues::Pair> ParseLine(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == line.npos || line.find('\0') != line.npos) return std::nullopt;
  const std::string_view key = Trimmed(line.substr(0, equals));
  if (key.empty()) return std::nullopt;
  return KeyValues::Pair(key, Unquoted(Trimmed(line.substr(equals + 1))));
}

void AddLine(std::string_view line, int number, ParsedKeyValues& parsed) {
  line = Trimmed(line);
  if (line.empty() || line.front() == '#') return;
  if (auto pair = ParseLine(line)) {
    parsed.pairs.push_back(*std::move(pair));
  } else if (parsed.malformed_lines++ == 0) {
    parsed.first_malformed = number;
  }
}

}  // namespace

const std::string* KeyValues::Find(std::string_view key) const {
  const auto found =
      std::find_if(pairs_.rbegin(), pairs_.rend(), [&](const Pair& pair) { return pair.first == key; });
  return found != pairs_.rend() ? &found->second : nullptr;
}

ParsedKeyValues ParseKeyValues(std::string_view text) {
  ParsedKeyValues parsed;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    AddLine(text.substr(0, end), number, parsed);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parsed;
}
