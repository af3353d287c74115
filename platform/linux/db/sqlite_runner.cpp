#include "db/sqlite_runner.h"

#include <cstddef>
#include <new>
#include <utility>

#include "db/statement_shape.h"

namespace {

// An answer is held in memory as a whole. That of a library of a million files takes a fifth of it.
constexpr std::size_t kMostBytes = std::size_t{512} << 20;

void AddColumns(sqlite3_stmt* statement, int columns, ResultSet& result) {
  for (int column = 0; column < columns; ++column) {
    const char* name = sqlite3_column_name(statement, column);
    if (name == nullptr) throw std::bad_alloc();
    result.AddColumn(name);
  }
}

void AddRow(sqlite3_stmt* statement, int columns, ResultSet& result) {
  for (int column = 0; column < columns; ++column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
      result.AddNull();
      continue;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
    if (text == nullptr && sqlite3_errcode(sqlite3_db_handle(statement)) == SQLITE_NOMEM)
      throw std::bad_alloc();
    result.AddText(text != nullptr ? std::string_view(text, size) : std::string_view());
  }
}

// Steps to the end, or as far as rows are wanted. SQLITE_DONE, SQLITE_ROW when enough rows are there, or the
// error.
int StepThrough(sqlite3_stmt* statement, Window window, ResultSet& result) {
  int code = sqlite3_step(statement);
  const int columns = sqlite3_column_count(statement);
  AddColumns(statement, columns, result);
  int to_skip = window.offset;
  int taken = 0;
  for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
    if (to_skip > 0) {
      --to_skip;
      continue;
    }
    AddRow(statement, columns, result);
    if (++taken == window.limit || result.bytes() > kMostBytes) break;
  }
  return code == SQLITE_ROW || code == SQLITE_DONE ? code : sqlite3_reset(statement);
}

// Whether CODE speaks of the file as a whole and not of one statement.
bool ConcernsFile(int code) {
  constexpr int kPrimaryCode = 0xFF;
  switch (code & kPrimaryCode) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_READONLY:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_BUSY:
    case SQLITE_PROTOCOL:
      return true;
    default:
      return false;
  }
}

}  // namespace

SqliteRunner::SqliteRunner(sqlite3* database, SqliteWatch& watch, SqliteRefusal& refusal)
    : database_(database), watch_(watch), refusal_(refusal), schema_(database, watch), settings_(database) {}

bool SqliteRunner::Run(const char* sql, Window window, ResultSet& result, std::string& error) {
  while (*sql != '\0') {
    if (!RunFirst(sql, window, result, error)) return false;
  }
  return true;
}

bool SqliteRunner::RunFirst(const char*& sql, Window window, ResultSet& result, std::string& error) {
  constexpr int kMostChanges = 100;
  if (statements_ != nullptr && settings_.Spare(sql)) {
    result.Clear();
    return true;
  }
  const SqliteWatch::StatementTimer timed(watch_);
  for (int i = 0; i < kMostChanges; ++i) {
    if (const auto done = TryFirst(sql, window, result, error)) return *done;
  }
  error = "Its schema changes all the time.";
  return false;
}

std::optional<bool> SqliteRunner::TryFirst(const char*& sql, Window window, ResultSet& result,
                                           std::string& error) {
  const std::string_view rest = sql;
  const bool needs_schema = !SqliteSettings::AreFirstIn(rest);
  schema_changed_ = false;
  if (needs_schema && !KnowsSchema(error)) return false;
  const auto done = RunKept(rest, window, result, error);
  if (!done) return ApplySettings(rest, error) ? RunAnew(sql, window, result, error) : false;
  if (schema_changed_) return std::nullopt;
  sql += rest.size();
  return done;
}

std::optional<bool> SqliteRunner::RunAnew(const char*& sql, Window window, ResultSet& result,
                                          std::string& error) {
  const std::string_view rest = sql;
  const bool needs_schema = !SqliteSettings::AreFirstIn(rest);
  const char* tail = nullptr;
  int code = SQLITE_OK;
  const SqliteStatement statement = PrepareOnce(database_, rest, code, &tail);
  std::string text_of_error = code != SQLITE_OK ? sqlite3_errmsg(database_) : "";
  // SQLite lets go of its statements when LIKE is switched, by preparing that.
  const bool lets_go = needs_schema && SqliteSettings::SwitchesLike(rest);
  if (lets_go) schema_.Forget();
  if (needs_schema && !lets_go && !schema_.Holds()) return std::nullopt;
  if (code != SQLITE_OK) return Fail(code, std::move(text_of_error), error);
  const std::string_view text = rest.substr(0, static_cast<std::size_t>(tail - sql));
  bool done = true;  // blanks or a comment
  if (statement != nullptr) {
    settings_.Note(text);
    result.Clear();
    done = RunStatement(statement.get(), window, result, error);
  }
  if (schema_changed_) return std::nullopt;
  if (!needs_schema && schema_.known()) schema_.PrepareAnew();
  sql = tail;
  return done;
}

bool SqliteRunner::KnowsSchema(std::string& error) {
  if (schema_.known()) return true;
  if (statements_ != nullptr) statements_->Forget();
  std::string text;
  const int code = schema_.Look(text);
  if (schema_.foreign()) file_failure_ = error = text;
  return schema_.known() || (!schema_.foreign() && Fail(code, std::move(text), error));
}

std::optional<bool> SqliteRunner::RunKept(std::string_view sql, Window window, ResultSet& result,
                                          std::string& error) {
  if (statements_ == nullptr) return std::nullopt;
  // Read by the function that reads a literal.
  const std::optional<StatementShape> shape = ShapeOf(sql, "CAST(? AS REAL)");
  if (!shape) return std::nullopt;
  bool prepared = false;
  const BorrowedStatement statement = statements_->TakeKept(database_, *shape, prepared);
  if (statement == nullptr) return std::nullopt;
  schema_changed_ = prepared && !schema_.Holds();
  if (schema_changed_) return false;
  result.Clear();
  return RunStatement(statement.get(), window, result, error);
}

bool SqliteRunner::RunStatement(sqlite3_stmt* statement, Window window, ResultSet& result,
                                std::string& error) {
  // sqlite3_changes keeps the count of an earlier statement when this one is no INSERT, UPDATE or DELETE.
  const int changes_before = sqlite3_total_changes(database_);
  const int code = StepThrough(statement, window, result);
  schema_changed_ = code == SQLITE_SCHEMA;
  if (schema_changed_) schema_.Forget();
  if (code != SQLITE_DONE && code != SQLITE_ROW) return Fail(code, sqlite3_errmsg(database_), error);
  if (result.bytes() > kMostBytes) {
    error = "The answer is larger than " + std::to_string(kMostBytes >> 20) + " MiB.";
    return false;
  }
  const bool changed = sqlite3_total_changes(database_) != changes_before;
  result.set_affected(changed ? sqlite3_changes(database_) : 0);
  return true;
}

bool SqliteRunner::ApplySettings(std::string_view sql, std::string& error) {
  if (!settings_.IsDueFor(sql)) return true;
  if (!settings_.Apply(error)) return false;
  statements_->Forget();
  schema_.PrepareAnew();
  return true;
}

bool SqliteRunner::Fail(int code, std::string text, std::string& error) {
  error = refusal_.Take();
  if (error.empty())
    error = code == SQLITE_INTERRUPT || watch_.stopped() ? watch_.WhyInterrupted() : std::move(text);
  if (ConcernsFile(code) && file_failure_.empty()) file_failure_ = error;
  return false;
}
