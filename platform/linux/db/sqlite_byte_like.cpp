#include "db/sqlite_byte_like.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/ascii.h"

namespace {

constexpr const char* kFunction = "lumivault_like_bytes";
constexpr int kWithEscape = 3;  // arguments

bool IsAscii(char c) {
  return static_cast<signed char>(c) >= 0;
}

bool AllAscii(std::string_view text) {
  return std::ranges::all_of(text, IsAscii);
}

// The bytes of the character that VALUE begins with; 1 for a byte that belongs to none.
std::size_t CharacterSize(std::string_view value) {
  constexpr std::size_t kLongest = 4;
  constexpr auto kLead = static_cast<char>(0xC0);
  constexpr auto kContinuation = static_cast<char>(0x80);
  if ((value.front() & kLead) != kLead) return 1;
  std::size_t size = 1;
  while (size < std::min(kLongest, value.size()) && (value[size] & kLead) == kContinuation) ++size;
  return size;
}

// What a pattern asks of the next of a value.
struct Wanted {
  enum class Kind { kAnything, kCharacter, kByte };
  Kind kind;
  char byte;
  std::size_t size;  // in the pattern
};

Wanted FirstOf(std::string_view pattern, std::optional<char> escape) {
  const char first = pattern.front();
  if (escape && first == *escape && pattern.size() > 1) return {Wanted::Kind::kByte, pattern[1], 2};
  if (first == '%') return {Wanted::Kind::kAnything, first, 1};
  if (first == '_') return {Wanted::Kind::kCharacter, first, 1};
  return {Wanted::Kind::kByte, first, 1};
}

// How much of VALUE, which is not empty, the WANTED takes; nothing when it does not match.
std::optional<std::size_t> Taken(const Wanted& wanted, std::string_view value) {
  if (wanted.kind == Wanted::Kind::kCharacter) return CharacterSize(value);
  if (LowerAscii(wanted.byte) == LowerAscii(value.front())) return 1;
  return std::nullopt;
}

// Letter case of ASCII is left to LIKE.
bool Matches(std::string_view value, std::string_view pattern, std::optional<char> escape) {
  std::optional<std::string_view> after_wildcard;  // of the pattern
  std::string_view retried;                        // the value from where the wildcard's part begins
  while (!value.empty()) {
    if (!pattern.empty()) {
      const Wanted wanted = FirstOf(pattern, escape);
      if (wanted.kind == Wanted::Kind::kAnything) {
        pattern.remove_prefix(wanted.size);
        after_wildcard = pattern;
        retried = value;
        continue;
      }
      if (const auto taken = Taken(wanted, value)) {
        pattern.remove_prefix(wanted.size);
        value.remove_prefix(*taken);
        continue;
      }
    }
    if (!after_wildcard) return false;
    retried.remove_prefix(1);
    value = retried;
    pattern = *after_wildcard;
  }
  return pattern.find_first_not_of('%') == std::string_view::npos;
}

std::string_view TextOf(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text != nullptr ? std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)))
                         : std::string_view();
}

void LikeBytes(sqlite3_context* context, int count, sqlite3_value** values) {
  if (sqlite3_value_type(values[0]) == SQLITE_NULL) return sqlite3_result_null(context);
  const std::string_view escape = count == kWithEscape ? TextOf(values[2]) : std::string_view();
  const bool matches = Matches(TextOf(values[0]), TextOf(values[1]),
                               escape.size() == 1 ? std::optional(escape.front()) : std::nullopt);
  sqlite3_result_int(context, matches ? 1 : 0);
}

// One after the other the words, literals and single characters of a statement, blanks and comments left out.
class Tokens {
 public:
  explicit Tokens(std::string_view sql) : rest_(sql) {}

  // Empty at the end.
  std::string_view Next();
  // What a look at the next one shows.
  [[nodiscard]] std::string_view Peek() const { return Tokens(rest_).Next(); }

 private:
  void SkipComments();
  [[nodiscard]] std::size_t QuotedSize() const;

  std::string_view rest_;
};

void Tokens::SkipComments() {
  for (rest_ = TrimLeft(rest_); rest_.starts_with("--") || rest_.starts_with("/*"); rest_ = TrimLeft(rest_)) {
    const bool line = rest_.front() == '-';
    const std::size_t end = line ? rest_.find('\n') : rest_.find("*/", 2);
    rest_.remove_prefix(std::min(end, rest_.size() - (line ? 1 : 2)) + (line ? 1 : 2));
  }
}

// Of what is quoted by its first character, which stands doubled inside.
std::size_t Tokens::QuotedSize() const {
  const char quote = rest_.front();
  std::size_t end = rest_.find(quote, 1);
  while (end != std::string_view::npos && end + 1 < rest_.size() && rest_[end + 1] == quote)
    end = rest_.find(quote, end + 2);
  return std::min(end, rest_.size() - 1) + 1;
}

std::string_view Tokens::Next() {
  SkipComments();
  if (rest_.empty()) return {};
  std::size_t size = std::max<std::size_t>(FirstWord(rest_).size(), 1);
  if (rest_.front() == '\'' || rest_.front() == '"' || rest_.front() == '`') size = QuotedSize();
  const std::string_view token = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return token;
}

bool IsAnyOf(std::string_view token, std::initializer_list<std::string_view> words) {
  return std::ranges::any_of(words, [&](auto word) { return EqualsIgnoreAsciiCase(token, word); });
}

bool IsName(std::string_view token) {
  return !token.empty() && IsWordPart(token.front()) && !IsDigit(token.front());
}

// What may stand before a condition of its own.
bool BeginsCondition(std::string_view token) {
  return IsAnyOf(token, {"(", "where", "and", "or", "not", "on", "when", "having"});
}

// From the begin of the text FIRST to the end of LAST, both of one statement.
std::string_view Span(std::string_view first, std::string_view last) {
  return {first.data(), static_cast<std::size_t>(last.data() + last.size() - first.data())};
}

// Copies a statement with its conditions replaced.
class Rewriter {
 public:
  explicit Rewriter(std::string_view sql) : sql_(sql), tokens_(sql) {}

  std::optional<std::string> Rewrite();

 private:
  void HandleToken(std::string_view token);
  [[nodiscard]] bool IsDenied() const { return IsAnyOf(seen_[0], {"not"}); }
  [[nodiscard]] std::string_view Column() const;
  void TakeLike(std::string_view column, bool denied);

  std::string_view sql_;
  Tokens tokens_;
  std::array<std::string_view, 5> seen_;  // the tokens before, the last one first
  std::size_t copied_ = 0;
  std::string out_;
};

void Rewriter::HandleToken(std::string_view token) {
  std::rotate(seen_.begin(), seen_.end() - 1, seen_.end());
  seen_.front() = token;
}

// "name" or "table.name" that a condition begins with, just before what comes or the NOT there; else empty.
std::string_view Rewriter::Column() const {
  const auto* seen = seen_.data() + (IsDenied() ? 1 : 0);
  if (!IsName(seen[0])) return {};
  if (BeginsCondition(seen[1])) return seen[0];
  const bool with_table = seen[1] == "." && IsName(seen[2]) && BeginsCondition(seen[3]);
  return with_table ? Span(seen[2], seen[0]) : std::string_view();
}

// What follows COLUMN LIKE, or NOT LIKE when that is DENIED.
void Rewriter::TakeLike(std::string_view column, bool denied) {
  const std::string_view pattern = tokens_.Peek();
  if (!pattern.starts_with('\'') || AllAscii(pattern)) return;
  HandleToken(tokens_.Next());
  std::string_view escape;
  if (IsAnyOf(tokens_.Peek(), {"escape"})) {
    HandleToken(tokens_.Next());
    escape = tokens_.Next();
    HandleToken(escape);
  }
  const std::string_view condition = Span(column, seen_.front());
  const auto begin = static_cast<std::size_t>(column.data() - sql_.data());
  out_.append(sql_.substr(copied_, begin - copied_)).append(denied ? "(NOT (" : "(");
  out_.append(column).append(" LIKE ").append(Span(pattern, seen_.front())).append(" AND ");
  out_.append(kFunction).append("(").append(column).append(", ").append(pattern);
  if (!escape.empty()) out_.append(", ").append(escape);
  out_.append(denied ? ")))" : "))");
  copied_ = begin + condition.size();
}

std::optional<std::string> Rewriter::Rewrite() {
  for (std::string_view token = tokens_.Next(); !token.empty(); token = tokens_.Next()) {
    const std::string_view column = IsAnyOf(token, {"like"}) ? Column() : std::string_view();
    const bool denied = IsDenied();
    HandleToken(token);
    if (!column.empty()) TakeLike(column, denied);
  }
  if (copied_ == 0) return std::nullopt;
  return out_.append(sql_.substr(copied_));
}

}  // namespace

bool AddByteLike(sqlite3* database) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY;
  for (const int arguments : {2, kWithEscape}) {
    if (sqlite3_create_function_v2(database, kFunction, arguments, kFlags, nullptr, LikeBytes, nullptr,
                                   nullptr, nullptr) != SQLITE_OK) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> WithByteLike(std::string_view sql) {
  if (AllAscii(sql)) return std::nullopt;
  return Rewriter(sql).Rewrite();
}
