#include "db/sqlite_statements.h"

#include <new>
#include <utility>

namespace {

int Bind(sqlite3_stmt* statement, int place, const StatementShape::Value& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value))
    return sqlite3_bind_int64(statement, place, *number);
  const auto* fraction = std::get_if<Fraction>(&value);
  const std::string& text = fraction != nullptr ? fraction->text : std::get<std::string>(value);
  return sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

}  // namespace

// SQL ends with a terminator; counted in, the text need not be copied.
SqliteStatement PrepareOnce(sqlite3* database, std::string_view sql, int& code, const char** tail) {
  sqlite3_stmt* prepared = nullptr;
  code = sqlite3_prepare(database, sql.data(), static_cast<int>(sql.size() + 1), &prepared, tail);
  return SqliteStatement(prepared);
}

BorrowedStatement SqliteStatements::TakeKept(sqlite3* database, const StatementShape& shape, bool& prepared) {
  auto kept = kept_.find(shape.text);
  prepared = kept == kept_.end();
  if (prepared) {
    int ignored = SQLITE_OK;
    SqliteStatement statement = PrepareOnce(database, shape.text, ignored);
    if (statement == nullptr) return nullptr;
    if (kept_.size() == kMostKeptStatements) kept_.clear();
    kept = kept_.emplace(shape.text, std::move(statement)).first;
  }
  BorrowedStatement borrowed(kept->second.get());
  int place = 0;
  for (const StatementShape::Value& value : shape.values) {
    if (Bind(borrowed.get(), ++place, value) != SQLITE_OK) return nullptr;
  }
  return borrowed;
}
