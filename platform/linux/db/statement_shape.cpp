#include "db/statement_shape.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "base/ascii.h"

namespace {

constexpr std::string_view kVerbs[] = {"SELECT", "INSERT", "UPDATE", "DELETE"};
constexpr std::string_view kUncertain[] = {"LIKE",   "GLOB",      "MATCH",   "REGEXP",
                                           "ESCAPE", "RETURNING", "COLLATE", "EXPLAIN"};
constexpr std::string_view kLastWords[] = {"ORDER", "GROUP", "LIMIT"};
constexpr std::string_view kBehindValues[] = {"WHERE", "FROM", "ON", "WITH"};
// Quoted names, comments, parameters and further statements.
constexpr std::string_view kUncertainCharacters = "\"`[;?@:$#\\";

template <std::size_t N>
bool IsOneOf(std::string_view word, const std::string_view (&words)[N]) {
  return std::any_of(std::begin(words), std::end(words),
                     [&](std::string_view known) { return EqualsIgnoreAsciiCase(word, known); });
}

// Part of a name mostly, but a byte order mark is a blank.
bool IsBeyondAscii(char c) {
  constexpr unsigned char kFirst = 0x80;
  return static_cast<unsigned char>(c) >= kFirst;
}

constexpr std::string_view kBlanks = " \t\n\v\f\r";

std::string_view WithoutBlanksBefore(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string_view WithoutBlanksBehind(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// TEXT without the word at its end; nothing where it ends in none.
std::optional<std::string_view> BeforeLastWord(std::string_view text) {
  std::size_t length = text.size();
  while (length > 0 && IsWordPart(text[length - 1])) --length;
  return length < text.size() ? std::optional(WithoutBlanksBehind(text.substr(0, length))) : std::nullopt;
}

// "SET column =" or ", column =": in "SET a = b = 1.5" the last one compares.
bool EndsWithAssignment(std::string_view text) {
  if (!text.ends_with('=')) return false;
  const auto before = BeforeLastWord(WithoutBlanksBehind(text.substr(0, text.size() - 1)));
  if (!before) return false;
  const auto table = BeforeLastWord(*before);
  const bool is_first =
      table && EqualsIgnoreAsciiCase(WithoutBlanksBefore(before->substr(table->size())), "SET");
  return before->ends_with(',') || is_first;
}

// Goes through a statement once, from its first word on.
class Shaper {
 public:
  Shaper(std::string_view sql, std::string_view fraction)
      : rest_(sql), verb_(FirstWord(sql)), fraction_(fraction) {
    shape_.text.reserve(sql.size());
  }

  std::optional<StatementShape> Run();

 private:
  // Each takes what it is named after from the front; false when nothing is certain any more.
  bool TakeNext();
  bool TakeWord();
  bool TakeNumber();
  bool TakeFraction(std::size_t point);
  bool TakeText();

  // The value of LENGTH bytes that comes next is all that a column gets.
  bool IsWholeValue(std::size_t length) const;
  void Copy(std::size_t count);
  void Put(std::size_t count, StatementShape::Value value, std::string_view place = "?");

  std::string_view rest_;
  std::string_view verb_;
  std::string_view fraction_;
  StatementShape shape_;
  int depth_ = 0;  // of parentheses
  bool in_result_columns_ = false;
  bool replacing_ = true;
  bool writes_values_ = true;  // so far neither a condition nor rows of other tables
};

std::optional<StatementShape> Shaper::Run() {
  if (!IsOneOf(verb_, kVerbs)) return std::nullopt;
  in_result_columns_ = EqualsIgnoreAsciiCase(verb_, kVerbs[0]);
  while (!rest_.empty()) {
    if (!TakeNext()) return std::nullopt;
  }
  return std::move(shape_);
}

bool Shaper::TakeNext() {
  const char c = rest_.front();
  if (c == '\'') return TakeText();
  if (IsDigit(c)) return TakeNumber();
  if (IsWordPart(c)) return TakeWord();
  if (IsBeyondAscii(c) || kUncertainCharacters.find(c) != std::string_view::npos || rest_.starts_with("--") ||
      rest_.starts_with("/*")) {
    return false;
  }
  if (c == '(') ++depth_;
  if (c == ')') --depth_;
  Copy(1);
  return true;
}

bool Shaper::TakeWord() {
  const std::string_view word = FirstWord(rest_);
  if (IsOneOf(word, kUncertain)) return false;
  const bool is_nested = !shape_.text.empty() && EqualsIgnoreAsciiCase(word, kVerbs[0]);
  if (in_result_columns_ && is_nested) return false;
  if (is_nested || IsOneOf(word, kBehindValues)) writes_values_ = false;
  if (IsOneOf(word, kLastWords)) replacing_ = in_result_columns_ = false;
  // Inside parentheses it belongs to a column: count(*) FILTER (WHERE a = 1).
  if (depth_ == 0 && EqualsIgnoreAsciiCase(word, "WHERE")) in_result_columns_ = false;
  Copy(word.size());
  // x'00', or a name that goes on
  return rest_.empty() || (rest_.front() != '\'' && !IsBeyondAscii(rest_.front()));
}

// A whole number that cannot overflow.
bool Shaper::TakeNumber() {
  constexpr std::size_t kMostDigits = 18;
  const std::string_view digits = FirstWord(rest_);
  if (rest_.substr(digits.size()).starts_with('.')) return TakeFraction(digits.size());
  if (in_result_columns_ || digits.size() > kMostDigits ||
      !std::all_of(digits.begin(), digits.end(), IsDigit) || shape_.text.ends_with('.')) {
    return false;
  }
  std::int64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  Put(digits.size(), value);
  return true;
}

// Digits on both sides of the POINT.
bool Shaper::TakeFraction(std::size_t point) {
  const std::string_view behind = FirstWord(rest_.substr(point + 1));
  const std::string_view whole = rest_.substr(0, point);
  const bool is_plain = !behind.empty() && std::all_of(whole.begin(), whole.end(), IsDigit) &&
                        std::all_of(behind.begin(), behind.end(), IsDigit);
  const std::size_t length = point + 1 + behind.size();
  if (!is_plain || !IsWholeValue(length)) return false;
  Put(length, Fraction{std::string(rest_.substr(0, length))}, fraction_);
  return true;
}

bool Shaper::IsWholeValue(std::size_t length) const {
  std::string_view before = WithoutBlanksBehind(shape_.text);
  if (before.ends_with('-')) before = WithoutBlanksBehind(before.substr(0, before.size() - 1));
  const std::string_view behind = WithoutBlanksBefore(rest_.substr(length));
  if (!writes_values_ || !replacing_ || in_result_columns_) return false;
  if (EqualsIgnoreAsciiCase(verb_, "INSERT")) {
    const bool begins = before.ends_with('(') || before.ends_with(',');
    return depth_ == 1 && begins && (behind.starts_with(',') || behind.starts_with(')'));
  }
  const bool ends =
      behind.empty() || behind.starts_with(',') || EqualsIgnoreAsciiCase(FirstWord(behind), "WHERE");
  return depth_ == 0 && ends && EqualsIgnoreAsciiCase(verb_, "UPDATE") && EndsWithAssignment(before);
}

bool Shaper::TakeText() {
  if (in_result_columns_) return false;
  std::string value;
  for (std::size_t at = 1; at < rest_.size(); ++at) {
    if (rest_[at] == '\'') {
      const bool doubled = rest_.substr(at + 1).starts_with('\'');
      if (!doubled) {
        Put(at + 1, std::move(value));
        return true;
      }
      ++at;
    }
    value += rest_[at];
  }
  return false;
}

void Shaper::Copy(std::size_t count) {
  shape_.text += rest_.substr(0, count);
  rest_.remove_prefix(count);
}

void Shaper::Put(std::size_t count, StatementShape::Value value, std::string_view place) {
  if (!replacing_) return Copy(count);
  rest_.remove_prefix(count);
  shape_.text += place;
  shape_.values.push_back(std::move(value));
}

}  // namespace

std::optional<StatementShape> ShapeOf(std::string_view sql, std::string_view fraction) {
  return Shaper(sql, fraction).Run();
}
