#include "db/postgres_text.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/ascii.h"

namespace {

// The parts of SQL that stand outside its literals, a blank in the place of each.
std::string WithoutLiterals(std::string_view sql) {
  std::string outside;
  for (bool in_literal = false; !sql.empty(); in_literal = !in_literal) {
    const std::string_view part = sql.substr(0, sql.find('\''));
    if (!in_literal) outside.append(part).append(" ");
    sql.remove_prefix(std::min(part.size() + 1, sql.size()));
  }
  return outside;
}

bool HasWord(std::string_view text, std::string_view word) {
  while (!text.empty()) {
    const std::string_view first = FirstWord(text);
    if (EqualsIgnoreAsciiCase(first, word)) return true;
    text.remove_prefix(std::max<std::size_t>(first.size(), 1));
  }
  return false;
}

// Quoted names, comments, other kinds of literals: behind them anything could stand. The one that stands
// behind an E knows a quote escaped by a backslash, so it ends elsewhere than it seems.
bool MayHideMore(std::string_view outside) {
  constexpr std::array kCovers{"\"", "--", "/*", "$"};
  return HasWord(outside, "E") || std::any_of(kCovers.begin(), kCovers.end(), [outside](const char* cover) {
           return outside.find(cover) != std::string_view::npos;
         });
}

// The code of a DO stands in a literal and may end transactions; the same word stands inside other statements
// too (ON CONFLICT DO NOTHING).
bool RunsCode(std::string_view outside) {
  while (!BeginsWith(outside, "DO")) {
    const std::size_t end = outside.find(';');
    if (end == std::string_view::npos) return false;
    outside.remove_prefix(end + 1);
  }
  return true;
}

}  // namespace

bool IsLoneSelect(std::string_view sql) {
  sql = TrimRight(sql);
  if (!sql.empty() && sql.back() == ';') sql.remove_suffix(1);
  const std::string outside = WithoutLiterals(sql);
  if (MayHideMore(outside) || outside.find(';') != std::string::npos) return false;
  return BeginsWith(outside, "SELECT") && !HasWord(outside, "INTO");
}

bool IsOneTransaction(std::string_view sql) {
  constexpr std::array kTransactionWords{"BEGIN", "START",     "COMMIT",  "END",  "ROLLBACK",
                                         "ABORT", "SAVEPOINT", "PREPARE", "CALL", "VACUUM"};
  const std::string outside = WithoutLiterals(sql);
  return !MayHideMore(outside) && !RunsCode(outside) &&
         std::none_of(kTransactionWords.begin(), kTransactionWords.end(),
                      [&outside](const char* word) { return HasWord(outside, word); });
}

bool BeginsWith(std::string_view sql, std::string_view word) {
  return EqualsIgnoreAsciiCase(FirstWord(TrimLeft(sql)), word);
}

std::string WithLimit(std::string_view sql, Window window) {
  sql = TrimRight(sql);
  while (!sql.empty() && (sql.back() == ';' || IsBlank(sql.back()))) sql.remove_suffix(1);
  std::string text(sql);
  if (window.limit > 0) text += "\nLIMIT " + std::to_string(window.limit);
  if (window.offset > 0) text += "\nOFFSET " + std::to_string(window.offset);
  return text;
}
