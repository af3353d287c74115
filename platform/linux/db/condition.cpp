#include <cstring>
#include <string_view>

#include "core/ascii.h"
#include "core/error.h"
#include "platform/database.h"

namespace {

constexpr std::string_view kLike = "like";

bool IsLike(std::string_view comparison) {
  comparison = TrimRight(comparison);
  if (comparison.size() < kLike.size()) return false;
  const std::size_t begin = comparison.size() - kLike.size();
  return EqualsIgnoreAsciiCase(comparison.substr(begin), kLike) &&
         (begin == 0 || !IsWordPart(comparison[begin - 1]));
}

char* Append(std::string_view text, char* out) {
  std::memcpy(out, text.data(), text.size());
  return out + text.size();
}

// At most twice the size of VALUE.
char* AppendDoubling(std::string_view value, bool backslashes, char* out) {
  for (const char c : value) {
    if (c == '\'' || (backslashes && c == '\\')) *out++ = c;
    *out++ = c;
  }
  return out;
}

// The value is raw and may hold anything, quotes and semicolons too; what the program wrote around it is the
// text up to the first quote and the last quote with the blanks behind it. So a value cannot end its literal,
// whatever is in it.
int Escape(int database_type, const char* condition, char* out) {
  if (condition == nullptr || out == nullptr) return -1;
  if (database_type != KAVODB_TYPE_SQLITE && database_type != KAVODB_TYPE_POSTGRES) return -1;
  const std::string_view text = condition;
  const std::size_t open = text.find('\'');
  const std::string_view before = text.substr(0, open);
  if (before.find(';') != std::string_view::npos) return -1;
  if (open == std::string_view::npos) {
    *Append(text, out) = '\0';
    return 0;
  }
  const std::size_t close = text.rfind('\'');
  const std::string_view after = text.substr(close + 1);
  if (close == open || !TrimLeft(after).empty()) return -1;
  // A backslash in a pattern is a character on SQLite, and on PostgreSQL the escape of the one that follows.
  const bool backslashes = database_type == KAVODB_TYPE_POSTGRES && IsLike(before);
  char* end = Append(text.substr(0, open + 1), out);
  end = AppendDoubling(text.substr(open + 1, close - open - 1), backslashes, end);
  *Append(text.substr(close), end) = '\0';
  return 0;
}

}  // namespace

int EscapeConditionEX2(int database_type, const char* condition, char* out) {
  const int result = Escape(database_type, condition, out);
  if (result < 0) RECORD_ERROR(EINVAL);
  return result;
}
