#include "db/sqlite_tokens.h"

#include <algorithm>

#include "base/ascii.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // a blank, but for one inside a word
constexpr std::string_view kVariables = "$@#:?";

bool ContinuesWord(char c) {
  return c == '$' || SqliteTokens::BeginsWord(c);
}

}  // namespace

bool SqliteTokens::BeginsWord(char c) {
  return IsWordPart(c) || static_cast<signed char>(c) < 0;
}

std::string SqliteTokens::NameOf(std::string_view token) {
  std::string name;
  const bool quoted = !token.empty() && IsQuote(token.front());
  const char quote = quoted ? token.back() : '\0';
  if (quoted) token = token.substr(1, token.size() - 2);
  for (std::size_t at = 0; at < token.size(); ++at) {
    if (quoted && token[at] == quote && token.substr(at + 1).starts_with(quote)) ++at;
    name += LowerAscii(token[at]);
  }
  return name;
}

std::string_view SqliteTokens::Next() {
  if (!SkipBlanks()) return Break();
  if (rest_.empty()) return rest_;
  const char first = rest_.front();
  if (kVariables.find(first) != kVariables.npos) return Break();
  if (BeginsWord(first)) {
    const auto* end = std::find_if_not(rest_.begin(), rest_.end(), ContinuesWord);
    return Take(static_cast<std::size_t>(end - rest_.begin()));
  }
  if (!IsQuote(first)) return Take(1);
  const std::size_t length = QuotedLength();
  return length == rest_.npos ? Break() : Take(length);
}

std::string_view SqliteTokens::Take(std::size_t length) {
  const std::string_view taken = rest_.substr(0, length);
  rest_.remove_prefix(taken.size());
  return taken;
}

std::string_view SqliteTokens::Break() {
  broken_ = true;
  rest_ = {};
  return rest_;
}

// False at a comment without end.
bool SqliteTokens::SkipBlanks() {
  for (;;) {
    rest_ = TrimLeft(rest_);
    if (rest_.starts_with(kByteOrderMark)) {
      Take(kByteOrderMark.size());
    } else if (rest_.starts_with("--")) {
      Take(rest_.find('\n'));
    } else if (rest_.starts_with("/*")) {
      const std::size_t end = rest_.find("*/", 2);
      if (end == rest_.npos) return false;
      Take(end + 2);
    } else {
      return true;
    }
  }
}

// A doubled quote is one inside; a bracket has none.
std::size_t SqliteTokens::QuotedLength() const {
  const char quote = rest_.front() == '[' ? ']' : rest_.front();
  std::size_t end = rest_.find(quote, 1);
  while (quote != ']' && end != rest_.npos && rest_.substr(end + 1).starts_with(quote))
    end = rest_.find(quote, end + 2);
  return end == rest_.npos ? end : end + 1;
}
