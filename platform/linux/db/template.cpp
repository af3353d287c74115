#include <stdarg.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "core/error.h"
#include "platform/database.h"

namespace {

enum class Kind { kText, kRaw, kPattern, kInt, kLongLong };

struct Placeholder {
  std::string_view token;
  Kind kind;
};

constexpr std::string_view kTokenStart = "@KAVO:";
constexpr std::array kPlaceholders = {
    Placeholder{"@KAVO:VAR", Kind::kText},       Placeholder{"@KAVO:NEVAR", Kind::kRaw},
    Placeholder{"@KAVO:LVAR", Kind::kPattern},   Placeholder{"@KAVO:INT", Kind::kInt},
    Placeholder{"@KAVO:LLINT", Kind::kLongLong},
};

constexpr std::string_view kNull = "NULL";
constexpr std::string_view kEscapeClause = " ESCAPE '\\'";
// What the values of a usual statement need beside its template; a guess, only so that the text seldom has to
// move.
constexpr std::size_t kValuesEstimate = 512;

const Placeholder* PlaceholderAt(std::string_view text) {
  for (const Placeholder& placeholder : kPlaceholders) {
    if (text.substr(0, placeholder.token.size()) == placeholder.token) return &placeholder;
  }
  return nullptr;
}

std::size_t CountDigits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

std::string_view SkipSign(std::string_view text) {
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  return text;
}

// Digits with an optional sign, fraction and exponent, and nothing else.
bool IsNumber(std::string_view text) {
  text = SkipSign(text);
  std::size_t digits = CountDigits(text);
  text.remove_prefix(digits);
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    const std::size_t decimals = CountDigits(text);
    text.remove_prefix(decimals);
    digits += decimals;
  }
  if (digits == 0) return false;
  if (!text.empty() && LowerAscii(text.front()) == 'e') {
    text = SkipSign(text.substr(1));
    const std::size_t exponent = CountDigits(text);
    if (exponent == 0) return false;
    text.remove_prefix(exponent);
  }
  return text.empty();
}

// How printf writes a number that is none.
bool IsNotFinite(std::string_view text) {
  text = SkipSign(text);
  return EqualsIgnoreAsciiCase(text, "nan") || EqualsIgnoreAsciiCase(text, "inf");
}

// Writes the statement from left to right and knows at each point whether it is inside a quoted literal.
class StatementWriter {
 public:
  StatementWriter(int database_type, std::size_t estimate) : sqlite_(database_type == KAVODB_TYPE_SQLITE) {
    out_.reserve(estimate);
  }

  // False when a literal begins that is no plain one.
  [[nodiscard]] bool AddSql(std::string_view sql);
  // False when the value would not stay a value.
  [[nodiscard]] bool AddText(std::string_view value);
  [[nodiscard]] bool AddPattern(std::string_view value);
  void AddInteger(long long value);

  [[nodiscard]] bool in_literal() const { return in_literal_; }
  [[nodiscard]] const std::string& text() const { return out_; }

 private:
  [[nodiscard]] bool AddBare(std::string_view value);
  void AddBareNumber(std::string_view number);
  [[nodiscard]] bool OpenLiteral();
  void CloseLiteral();

  std::string out_;
  bool sqlite_;
  bool in_literal_ = false;
  bool has_pattern_ = false;  // the open literal holds the value of a pattern
};

bool StatementWriter::AddSql(std::string_view sql) {
  std::size_t quote = 0;
  while ((quote = sql.find('\'')) != std::string_view::npos) {
    const bool doubled = in_literal_ && quote + 1 < sql.size() && sql[quote + 1] == '\'';
    const std::size_t length = quote + (doubled ? 2 : 1);
    out_.append(sql.substr(0, length));
    sql.remove_prefix(length);
    if (doubled) continue;
    if (in_literal_) {
      CloseLiteral();
    } else if (!OpenLiteral()) {
      return false;
    }
  }
  out_.append(sql);
  return true;
}

// Directly behind a letter a literal would be of another kind (E'...'), in which a value can end it.
bool StatementWriter::OpenLiteral() {
  constexpr unsigned char kAscii = 0x7F;
  in_literal_ = true;
  const char before = out_.size() > 1 ? out_[out_.size() - 2] : ' ';
  return !IsWordPart(before) && before != '&' && static_cast<unsigned char>(before) <= kAscii;
}

// SQLite has no escape character for LIKE unless the statement names one; PostgreSQL's own is the backslash.
void StatementWriter::CloseLiteral() {
  in_literal_ = false;
  if (has_pattern_ && sqlite_) out_.append(kEscapeClause);
  has_pattern_ = false;
}

bool StatementWriter::AddText(std::string_view value) {
  if (!in_literal_) return AddBare(value);
  std::size_t quote = 0;
  while ((quote = value.find('\'')) != std::string_view::npos) {
    out_.append(value.substr(0, quote + 1));
    out_.push_back('\'');
    value.remove_prefix(quote + 1);
  }
  out_.append(value);
  return true;
}

bool StatementWriter::AddPattern(std::string_view value) {
  if (!in_literal_) return AddBare(value);
  has_pattern_ = true;
  for (const char c : value) {
    if (c == '\'') out_.push_back('\'');
    if (c == '%' || c == '_' || c == '\\') out_.push_back('\\');
    out_.push_back(c);
  }
  return true;
}

// Outside a literal no quoting protects the statement, so only a number or the word NULL passes. A number
// that is not finite has no spelling in SQL and becomes NULL.
bool StatementWriter::AddBare(std::string_view value) {
  if (EqualsIgnoreAsciiCase(value, kNull) || IsNotFinite(value)) {
    out_.append(kNull);
    return true;
  }
  if (!IsNumber(value)) return false;
  AddBareNumber(value);
  return true;
}

// Two minus signs in a row would begin a comment.
void StatementWriter::AddBareNumber(std::string_view number) {
  if (number.front() == '-' && !out_.empty() && out_.back() == '-') out_.push_back(' ');
  out_.append(number);
}

void StatementWriter::AddInteger(long long value) {
  std::array<char, std::numeric_limits<long long>::digits10 + 2> digits;
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  const std::string_view number(digits.data(), static_cast<std::size_t>(written.ptr - digits.data()));
  if (in_literal_) {
    out_.append(number);
  } else {
    AddBareNumber(number);
  }
}

// A list that functions can share: the bare type may be an array and would be passed as a pointer.
struct Arguments {
  va_list list;
};

bool AddTextArgument(StatementWriter& writer, Kind kind, const char* value) {
  if (value == nullptr) return false;
  if (kind == Kind::kText) return writer.AddText(value);
  if (kind == Kind::kPattern) return writer.AddPattern(value);
  return writer.AddSql(value);
}

bool AddArgument(StatementWriter& writer, Kind kind, Arguments& arguments) {
  switch (kind) {
    case Kind::kInt:
      writer.AddInteger(va_arg(arguments.list, int));
      return true;
    case Kind::kLongLong:
      writer.AddInteger(va_arg(arguments.list, long long));
      return true;
    default:
      return AddTextArgument(writer, kind, va_arg(arguments.list, const char*));
  }
}

// One pass over the template: a value is written and never looked at again.
bool Fill(std::string_view sql_template, Arguments& arguments, StatementWriter& writer) {
  std::size_t copied = 0;
  std::size_t at = 0;
  while ((at = sql_template.find(kTokenStart, at)) != std::string_view::npos) {
    const Placeholder* placeholder = PlaceholderAt(sql_template.substr(at));
    if (placeholder == nullptr) {
      at += kTokenStart.size();
      continue;
    }
    if (!writer.AddSql(sql_template.substr(copied, at - copied)) ||
        !AddArgument(writer, placeholder->kind, arguments)) {
      return false;
    }
    copied = at += placeholder->token.size();
  }
  return writer.AddSql(sql_template.substr(copied)) && !writer.in_literal();
}

char* HeapCopy(const std::string& text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) {
    RECORD_ERROR(ENOMEM);
  } else {
    std::memcpy(copy, text.c_str(), text.size() + 1);
  }
  return copy;
}

char* Build(int database_type, std::string_view sql_template, Arguments& arguments) {
  StatementWriter writer(database_type, sql_template.size() + kValuesEstimate);
  if (Fill(sql_template, arguments, writer)) return HeapCopy(writer.text());
  RECORD_ERROR(EINVAL);
  return nullptr;
}

}  // namespace

char* KAVODBEscapeStringEX3(int database_type, const char* sql_template, ...) {
  const bool known_type = database_type == KAVODB_TYPE_SQLITE || database_type == KAVODB_TYPE_POSTGRES;
  if (sql_template == nullptr || !known_type) {
    RECORD_ERROR(EINVAL);
    return nullptr;
  }
  Arguments arguments;
  va_start(arguments.list, sql_template);
  char* statement =
      WithoutExceptions<char*>(nullptr, [&] { return Build(database_type, sql_template, arguments); });
  va_end(arguments.list);
  return statement;
}
