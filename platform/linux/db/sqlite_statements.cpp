#include "db/sqlite_statements.h"

#include <new>
#include <utility>

namespace {

// For all uses of the statement, not for one.
SqliteStatement Prepare(sqlite3* database, const std::string& text) {
  sqlite3_stmt* prepared = nullptr;
  sqlite3_prepare_v3(database, text.c_str(), static_cast<int>(text.size() + 1), SQLITE_PREPARE_PERSISTENT,
                     &prepared, nullptr);
  return SqliteStatement(prepared);
}

int Bind(sqlite3_stmt* statement, int place, const StatementShape::Value& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value))
    return sqlite3_bind_int64(statement, place, *number);
  const auto& text = std::get<std::string>(value);
  return sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

}  // namespace

BorrowedStatement SqliteStatements::Borrow(sqlite3* database, const StatementShape& shape) {
  auto kept = kept_.find(shape.text);
  if (kept == kept_.end()) {
    SqliteStatement statement = Prepare(database, shape.text);
    if (statement == nullptr) return nullptr;
    if (kept_.size() == kMostKept) kept_.clear();
    kept = kept_.emplace(shape.text, std::move(statement)).first;
  }
  BorrowedStatement borrowed(kept->second.get());
  int place = 0;
  for (const StatementShape::Value& value : shape.values) {
    if (Bind(borrowed.get(), ++place, value) != SQLITE_OK) return nullptr;
  }
  return borrowed;
}
