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

// Goes through a statement once, from its first word on.
class Shaper {
 public:
  explicit Shaper(std::string_view sql) : rest_(sql) { shape_.text.reserve(sql.size()); }

  std::optional<StatementShape> Run();

 private:
  // Each takes what it is named after from the front; false when nothing is certain any more.
  bool TakeNext();
  bool TakeWord();
  bool TakeNumber();
  bool TakeText();

  void Copy(std::size_t count);
  void Put(std::size_t count, StatementShape::Value value);

  std::string_view rest_;
  StatementShape shape_;
  int depth_ = 0;  // of parentheses
  bool in_result_columns_ = false;
  bool replacing_ = true;
};

std::optional<StatementShape> Shaper::Run() {
  const std::string_view verb = FirstWord(rest_);
  if (!IsOneOf(verb, kVerbs)) return std::nullopt;
  in_result_columns_ = EqualsIgnoreAsciiCase(verb, kVerbs[0]);
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
  if (in_result_columns_ || digits.size() > kMostDigits || rest_.substr(digits.size()).starts_with('.') ||
      !std::all_of(digits.begin(), digits.end(), IsDigit) || shape_.text.ends_with('.')) {
    return false;
  }
  std::int64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  Put(digits.size(), value);
  return true;
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

void Shaper::Put(std::size_t count, StatementShape::Value value) {
  if (!replacing_) return Copy(count);
  rest_.remove_prefix(count);
  shape_.text += '?';
  shape_.values.push_back(std::move(value));
}

}  // namespace

std::optional<StatementShape> ShapeOf(std::string_view sql) {
  return Shaper(sql).Run();
}
