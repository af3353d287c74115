#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "base/ascii.h"
#include "core/error.h"
#include "platform/database.h"

namespace {

constexpr std::string_view kLike = "like";
constexpr std::string_view kNot = "not";
constexpr std::array<std::string_view, 8> kSigns = {"<=", ">=", "<>", "!=", "==", "<", ">", "="};

// Takes what was found from the beginning of TEXT, and the blanks behind it.
bool Take(std::string_view found, std::string_view& text) {
  if (found.empty()) return false;
  text = TrimLeft(text.substr(found.size()));
  return true;
}

bool TakeWord(std::string_view word, std::string_view& text) {
  return EqualsIgnoreAsciiCase(FirstWord(text), word) && Take(FirstWord(text), text);
}

// A name, or two with a dot between them.
bool TakeColumn(std::string_view& text) {
  std::string_view name = FirstWord(text);
  if (name.size() < text.size() && text[name.size()] == '.') {
    const std::string_view column = FirstWord(text.substr(name.size() + 1));
    if (name.empty() || column.empty() || IsDigit(column.front())) return false;
    name = text.substr(0, name.size() + 1 + column.size());
  }
  return !name.empty() && !IsDigit(name.front()) && Take(name, text);
}

enum class Comparison { kNone, kSign, kPattern };

Comparison TakeComparison(std::string_view& text) {
  for (const std::string_view sign : kSigns) {
    if (text.starts_with(sign) && Take(sign, text)) return Comparison::kSign;
  }
  (void)TakeWord(kNot, text);
  return TakeWord(kLike, text) ? Comparison::kPattern : Comparison::kNone;
}

bool IsNumber(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const std::size_t dot = std::min(text.find('.'), text.size());
  const std::string_view decimals = text.substr(std::min(dot + 1, text.size()));
  return dot > 0 && (dot == text.size() || !decimals.empty()) &&
         std::ranges::all_of(text.substr(0, dot), IsDigit) && std::ranges::all_of(decimals, IsDigit);
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

// LITERAL is what follows the comparison in TEXT, blanks behind it included.
int EscapeLiteral(std::string_view text, std::string_view literal, bool backslashes, char* out) {
  const std::size_t close = literal.rfind('\'');
  if (!literal.starts_with('\'') || close == 0 || !TrimLeft(literal.substr(close + 1)).empty()) return -1;
  char* end = Append(text.substr(0, text.size() - literal.size() + 1), out);
  end = AppendDoubling(literal.substr(1, close - 1), backslashes, end);
  *Append(literal.substr(close), end) = '\0';
  return 0;
}

// The value is raw and may hold anything, quotes and semicolons too; what the program wrote around it is a
// column, a comparison, the first quote and the last quote with the blanks behind it. So a value cannot end
// its literal, whatever is in it, and nothing before it can make it something else than a literal.
int Escape(int database_type, const char* condition, char* out) {
  if (condition == nullptr || out == nullptr) return -1;
  if (database_type != KAVODB_TYPE_SQLITE && database_type != KAVODB_TYPE_POSTGRES) return -1;
  const std::string_view text = condition;
  std::string_view rest = TrimLeft(text);
  if (!rest.empty()) {
    const bool column = TakeColumn(rest);
    const Comparison comparison = column ? TakeComparison(rest) : Comparison::kNone;
    if (comparison == Comparison::kNone) return -1;
    // A backslash in a pattern is a character on SQLite, and on PostgreSQL the escape of the one that
    // follows.
    const bool backslashes = database_type == KAVODB_TYPE_POSTGRES && comparison == Comparison::kPattern;
    if (!IsNumber(TrimRight(rest))) return EscapeLiteral(text, rest, backslashes, out);
  }
  *Append(text, out) = '\0';
  return 0;
}

}  // namespace

int EscapeConditionEX2(int database_type, const char* condition, char* out) {
  const int result = Escape(database_type, condition, out);
  if (result < 0) RECORD_ERROR(EINVAL);
  return result;
}
