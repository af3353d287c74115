#include "db/sqlite_schema_check.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "core/ascii.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // a blank to SQLite, where a word begins

// SQL as SQLite divides it: words, quoted names and literals, single characters.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : rest_(text) {}

  // Empty at the end.
  std::string_view Next() {
    SkipBlanks();
    if (rest_.empty()) return rest_;
    if (IsOfWord(rest_.front())) return Take(WordLength());
    return Take(IsQuote(rest_.front()) ? QuotedLength() : 1);
  }

  static bool IsOfWord(char c) { return IsWordPart(c) || static_cast<signed char>(c) < 0; }
  static bool IsQuote(char c) { return c == '\'' || c == '"' || c == '`' || c == '['; }

 private:
  std::string_view Take(std::size_t length) {
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  void SkipBlanks() {
    for (;;) {
      rest_ = TrimLeft(rest_);
      if (rest_.starts_with("--")) {
        Take(rest_.find('\n'));
      } else if (rest_.starts_with("/*")) {
        const std::size_t end = rest_.find("*/", 2);
        Take(end == rest_.npos ? end : end + 2);
      } else {
        return;
      }
    }
  }
  [[nodiscard]] std::size_t WordLength() const {
    return static_cast<std::size_t>(std::find_if_not(rest_.begin(), rest_.end(), IsOfWord) - rest_.begin());
  }
  // A doubled quote is one inside; a bracket has none.
  [[nodiscard]] std::size_t QuotedLength() const {
    const char quote = rest_.front() == '[' ? ']' : rest_.front();
    std::size_t end = rest_.find(quote, 1);
    while (quote != ']' && end != rest_.npos && rest_.substr(end + 1).starts_with(quote))
      end = rest_.find(quote, end + 2);
    return end == rest_.npos ? end : end + 1;
  }

  std::string_view rest_;
};

bool IsOneOf(std::string_view token, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(),
                     [token](const char* word) { return EqualsIgnoreAsciiCase(token, word); });
}

// For people: short, and nothing that a terminal would obey.
std::string Shown(std::string_view name) {
  constexpr std::size_t kLongestName = 64;
  std::string shown(name.substr(0, kLongestName));
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return shown;
}

// Reads what was created, up to what is foreign in it.
class Reading {
 public:
  explicit Reading(std::string_view created) : tokens_(created) { Move(); }

  std::string Foreign() {
    if (!Passes("CREATE")) return "something that nobody created";
    if (Passes("TABLE")) return ForeignInTable();
    Passes("UNIQUE");
    if (Passes("INDEX")) return ForeignInIndex();
    const std::string kind = Passes("VIRTUAL") ? "virtual table" : Lower(now_);
    Move();
    return "the " + kind + " " + Shown(now_);
  }

 private:
  void Move() {
    before_ = now_;
    now_ = tokens_.Next();
  }
  bool Passes(const char* word) {
    if (!IsOneOf(now_, {word})) return false;
    Move();
    return true;
  }
  static std::string Lower(std::string_view word) {
    std::string lower = Shown(word);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
  }
  std::string In(const std::string& what) const { return what + " in " + object_; }
  void TakeName(const char* kind) {
    object_ = kind + (" " + Shown(now_));
    Move();
  }

  // In an expression: a function has any name, in quotes or not, and some operators are functions.
  bool Calls() const {
    if (IsOneOf(now_, {"LIKE", "GLOB", "REGEXP", "MATCH"})) return true;
    if (now_ == ">" && before_ == "-") return true;
    if (now_ != "(" || before_.empty()) return false;
    const char first = before_.front();
    if (Tokens::IsOfWord(first)) return !IsOneOf(before_, {"AND", "OR", "NOT", "IN"});
    return Tokens::IsQuote(first);
  }
  std::string Called() const {
    if (now_ == ">") return In("->");
    return In(Shown(now_ == "(" ? before_ : now_) + "()");
  }

  std::string ForeignInIndex() {
    TakeName("the index");
    if (!Passes("ON")) return In("something else");
    Move();
    if (!Passes("(")) return In("something else");
    for (; !now_.empty(); Move()) {
      if (now_ == ";") return In("something else");
      if (Calls()) return Called();
    }
    return "";
  }

  std::string ForeignInTable() {
    TakeName("the table");
    if (!Passes("(")) return In("something else");
    std::size_t expression = 0;  // the depth of the one that is being read
    for (std::size_t depth = 1; !now_.empty() && depth > 0; Move()) {
      if (IsOneOf(now_, {"AS"})) return In("a generated column");
      if (expression != 0 && Calls()) return Called();
      if (now_ == "(") ++depth;
      if (now_ == "(" && expression == 0 && IsOneOf(before_, {"CHECK", "DEFAULT"})) expression = depth;
      if (now_ != ")") continue;
      if (depth == expression) expression = 0;
      --depth;
    }
    return ForeignBehindTable();
  }
  // WITHOUT ROWID, STRICT
  std::string ForeignBehindTable() {
    for (; !now_.empty(); Move()) {
      if (!Tokens::IsOfWord(now_.front()) && now_ != ",") return In("something else");
      if (IsOneOf(now_, {"AS"})) return In("something else");
    }
    return "";
  }

  Tokens tokens_;
  std::string_view before_;
  std::string_view now_;
  std::string object_;
};

}  // namespace

std::string ForeignPartOf(std::string_view created) {
  if (created.find(kByteOrderMark) != created.npos) return "a byte order mark";
  return Reading(created).Foreign();
}
