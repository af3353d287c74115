// SQL text as SQLite divides it.
#ifndef PLATFORM_LINUX_DB_SQLITE_TOKENS_H_
#define PLATFORM_LINUX_DB_SQLITE_TOKENS_H_

#include <string>
#include <string_view>

// Words, quoted names and literals, and single characters, in their order. What SQLite would read as a
// variable is broken, as a quote or a comment without end is: such a text means something else to everybody
// who reads it a little differently.
class SqliteTokens {
 public:
  explicit SqliteTokens(std::string_view text) : rest_(text) {}

  // Empty at the end, and where the text is broken.
  std::string_view Next();
  [[nodiscard]] bool broken() const { return broken_; }

  [[nodiscard]] static bool BeginsWord(char c);
  [[nodiscard]] static bool IsQuote(char c) { return c == '\'' || c == '"' || c == '`' || c == '['; }
  // What the name TOKEN stands for, quoted or not, with ASCII letters made small: SQLite minds no case.
  [[nodiscard]] static std::string NameOf(std::string_view token);

 private:
  std::string_view Take(std::size_t length);
  std::string_view Break();
  [[nodiscard]] bool SkipBlanks();
  [[nodiscard]] std::size_t QuotedLength() const;

  std::string_view rest_;
  bool broken_ = false;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_TOKENS_H_
