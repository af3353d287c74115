#include "db/sqlite_settings.h"

#include <sqlite3.h>

#include <cstddef>

#include "base/ascii.h"

namespace {

constexpr std::string_view kLikePragma = "case_sensitive_like";
constexpr std::string_view kForeignKeysPragma = "PRAGMA foreign_keys = ON";

// Moves SQL behind STATEMENT, with which it has to begin.
bool SkipStatement(std::string_view statement, const char*& sql) {
  std::string_view rest = sql;
  if (!rest.starts_with(statement)) return false;
  rest.remove_prefix(statement.size());
  if (!rest.empty() && rest.front() != ';') return false;
  if (!rest.empty()) rest.remove_prefix(1);
  sql = TrimLeft(rest).data();
  return true;
}

bool HasForeignKeys(sqlite3* database) {
  constexpr int kOnlyTell = -1;
  int on = 0;
  return sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_FKEY, kOnlyTell, &on) == SQLITE_OK && on == 1;
}

// As SQLite reads the value of a switch.
bool IsOn(std::string_view value) {
  if (!value.empty() && IsDigit(value.front())) return value.find_first_not_of('0') != std::string_view::npos;
  return EqualsIgnoreAsciiCase(value, "true") || EqualsIgnoreAsciiCase(value, "on") ||
         EqualsIgnoreAsciiCase(value, "yes");
}

std::size_t FindIgnoreCase(std::string_view text, std::string_view word) {
  for (std::size_t at = 0; at + word.size() <= text.size(); ++at) {
    if (EqualsIgnoreAsciiCase(text.substr(at, word.size()), word)) return at;
  }
  return std::string_view::npos;
}

}  // namespace

const char* SqliteSettings::LikePragma(bool case_sensitive) {
  return case_sensitive ? "PRAGMA case_sensitive_like=true" : "PRAGMA case_sensitive_like=false";
}

bool SqliteSettings::AreFirstIn(std::string_view sql) {
  return sql.starts_with("PRAGMA case_sensitive_like") || sql.starts_with(kForeignKeysPragma);
}

// Asked of every statement, so the usual ones are dismissed by their first letter; a comment may stand before
// the word.
bool SqliteSettings::SwitchesLike(std::string_view statement) {
  statement = TrimLeft(statement);
  const char first = statement.empty() ? '\0' : LowerAscii(statement.front());
  return (first == 'p' || first == '/' || first == '-') &&
         FindIgnoreCase(statement, kLikePragma) != std::string_view::npos;
}

bool SqliteSettings::Spare(const char*& sql) {
  for (const bool on : {true, false}) {
    if (!SkipStatement(LikePragma(on), sql)) continue;
    case_sensitive_like_ = on;
    return true;
  }
  return HasForeignKeys(database_) && SkipStatement(kForeignKeysPragma, sql);
}

bool SqliteSettings::IsDueFor(std::string_view sql) const {
  return like_is_case_sensitive_ != case_sensitive_like_ && FindIgnoreCase(sql, "like") != sql.npos;
}

bool SqliteSettings::Apply(std::string& error) {
  if (sqlite3_exec(database_, LikePragma(case_sensitive_like_), nullptr, nullptr, nullptr) != SQLITE_OK) {
    error = sqlite3_errmsg(database_);
    return false;
  }
  like_is_case_sensitive_ = case_sensitive_like_;
  return true;
}

void SqliteSettings::Note(std::string_view statement) {
  if (!SwitchesLike(statement)) return;
  const std::size_t at = FindIgnoreCase(statement, kLikePragma);
  std::string_view value = TrimLeft(statement.substr(at + kLikePragma.size()));
  if (value.empty() || (value.front() != '=' && value.front() != '(')) return;
  value = TrimLeft(value.substr(1));
  if (!value.empty() && (value.front() == '\'' || value.front() == '"')) value.remove_prefix(1);
  case_sensitive_like_ = like_is_case_sensitive_ = IsOn(FirstWord(value));
}
