#include "db/sqlite.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "base/ascii.h"
#include "db/sqlite_byte_like.h"
#include "db/sqlite_distrust.h"
#include "db/sqlite_files.h"
#include "db/sqlite_schema_check.h"
#include "db/sqlite_statements.h"
#include "db/statement_shape.h"
#include "platform/database.h"

namespace {

// An answer is held in memory as a whole. That of a library of a million files takes a fifth of it.
constexpr std::size_t kMostBytes = std::size_t{512} << 20;
constexpr std::string_view kLikePragma = "case_sensitive_like";
constexpr std::string_view kForeignKeysPragma = "PRAGMA foreign_keys = ON";

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

constexpr const char* LikePragma(bool on) {
  return on ? "PRAGMA case_sensitive_like=true" : "PRAGMA case_sensitive_like=false";
}

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

// Asked of every statement, so the usual ones are dismissed by their first letter; a comment may stand before
// the word.
bool SwitchesLike(std::string_view statement) {
  statement = TrimLeft(statement);
  const char first = statement.empty() ? '\0' : LowerAscii(statement.front());
  return (first == 'p' || first == '/' || first == '-') &&
         FindIgnoreCase(statement, kLikePragma) != std::string_view::npos;
}

// Other connections, or one that was killed, have something in the log or journal of FILE.
bool HasLog(const std::string& file) {
  for (const char* suffix : {"-wal", "-journal"}) {
    struct stat status {};
    const int result = lstat((file + suffix).c_str(), &status);
    if (result == 0 ? !S_ISREG(status.st_mode) || status.st_size > 0 : errno != ENOENT) return true;
  }
  return false;
}

// What every connection begins with, and needs nothing of the file.
bool IsSetting(std::string_view sql) {
  return sql.starts_with("PRAGMA case_sensitive_like") || sql.starts_with(kForeignKeysPragma);
}

// The name under which SQLite reads FILE as it stands: without locks, which need a file of their own beside
// it.
std::string UnlockedName(const std::string& file) {
  constexpr std::string_view kPlain = "/-.~";
  constexpr const char* kHexDigits = "0123456789ABCDEF";
  constexpr unsigned kHexBits = 4;
  constexpr unsigned kLowHex = 0xF;
  std::string name = "file:";
  for (const char c : file) {
    const auto byte = static_cast<unsigned char>(c);
    if (IsWordPart(c) || kPlain.find(c) != std::string_view::npos) {
      name += c;
    } else {
      name.append("%").append(1, kHexDigits[byte >> kHexBits]).append(1, kHexDigits[byte & kLowHex]);
    }
  }
  return name + "?immutable=1";
}

// What SQLite keeps beside FILE while it is open can be made and taken away again.
bool TakesSideFiles(const std::string& file) {
  const std::string folder = file.substr(0, file.rfind('/') + 1);
  return faccessat(AT_FDCWD, file.c_str(), R_OK | W_OK, AT_EACCESS) == 0 &&
         faccessat(AT_FDCWD, folder.empty() ? "." : folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
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

void SqliteConnection::Close::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}

SqliteConnection::SqliteConnection(Files files, Database database)
    : files_(std::move(files)),
      database_(std::move(database)),
      watch_(std::make_unique<SqliteWatch>(database_.get())),
      schema_(database_.get(), *watch_) {}

SqliteConnection::~SqliteConnection() = default;

std::unique_ptr<SqliteConnection> SqliteConnection::Open(const char* file, SqliteFile kind,
                                                         std::string& error) {
  std::optional<DatabaseFile> place = DatabaseFile::Find(file, error);
  if (!place.has_value()) return nullptr;
  const Files files = SqliteFiles::Of(std::move(*place));
  if (files == nullptr) {
    error = "SQLite has no files of a Unix system.";
    return nullptr;
  }
  if (kind == SqliteFile::kReadOnly) return OpenForReading(files, error);
  const int make = kind == SqliteFile::kMayBeMade ? SQLITE_OPEN_CREATE : 0;
  return OpenAs(files, files->place().path(), SQLITE_OPEN_READWRITE | make, error);
}

// The last connection takes the side files away, which only one that may write does: so it is opened for
// writing, and writes nothing. A disk without room for them is read without them.
std::unique_ptr<SqliteConnection> SqliteConnection::OpenForReading(const Files& files, std::string& error) {
  constexpr const char* kTakeSideFiles =
      "PRAGMA query_only = ON; PRAGMA ignore_check_constraints = ON; SELECT 1 FROM main.sqlite_master LIMIT "
      "1";
  const std::string& path = files->place().path();
  if (TakesSideFiles(path)) {
    auto connection = OpenAs(files, path, SQLITE_OPEN_READWRITE, error);
    if (connection != nullptr) connection->watch_->HeedReader();
    if (connection != nullptr && connection->Run(kTakeSideFiles, error)) return connection;
    if (files->refused() || (connection != nullptr && connection->is_foreign_)) return nullptr;
  }
  UnchangedFile unlocked(path);  // before the look at its log
  const bool logged = HasLog(path);
  auto connection = logged ? OpenAs(files, path, SQLITE_OPEN_READONLY, error)
                           : OpenAs(files, UnlockedName(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, error);
  if (connection == nullptr) return nullptr;
  connection->watch_->HeedReader();
  if (!logged) connection->unlocked_ = std::move(unlocked);
  return connection;
}

std::unique_ptr<SqliteConnection> SqliteConnection::OpenAs(const Files& files, const std::string& name,
                                                           int flags, std::string& error) {
  constexpr int kAlways = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &opened, kAlways | flags, files->name());
  Database database(opened);
  if (opened == nullptr) throw std::bad_alloc();
  if (code != SQLITE_OK) {
    error = files->TakeRefusal();
    if (error.empty()) error = sqlite3_errmsg(opened);
    return nullptr;
  }
  DistrustFile(opened);
  if (!AddByteLike(opened)) throw std::bad_alloc();
  return std::unique_ptr<SqliteConnection>(new SqliteConnection(files, std::move(database)));
}

int SqliteConnection::type() const {
  return KAVODB_TYPE_SQLITE;
}

bool SqliteConnection::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  const std::optional<std::string> by_bytes = WithByteLike(sql);
  const bool done = ExecuteAll(by_bytes ? by_bytes->c_str() : sql, window, result, error);
  if (!unlocked_ || unlocked_->Holds()) return done;
  // Pages of before and after may have been mixed, with any answer or error.
  error = "It was changed while it was read; try again.";
  return false;
}

bool SqliteConnection::ExecuteAll(const char* sql, Window window, ResultSet& result, std::string& error) {
  while (*sql != '\0') {
    if (!RunFirst(sql, window, result, error)) return false;
  }
  return true;
}

bool SqliteConnection::RunFirst(const char*& sql, Window window, ResultSet& result, std::string& error) {
  constexpr int kMostChanges = 100;
  if (SpareSetting(sql)) {
    result.Clear();
    return true;
  }
  const SqliteWatch::Timed timed(*watch_);
  for (int i = 0; i < kMostChanges; ++i) {
    if (const auto done = TryFirst(sql, window, result, error)) return *done;
  }
  error = "Its schema changes all the time.";
  return false;
}

std::optional<bool> SqliteConnection::TryFirst(const char*& sql, Window window, ResultSet& result,
                                               std::string& error) {
  const std::string_view rest = sql;
  const bool needs_schema = !IsSetting(rest);
  schema_changed_ = false;
  if (needs_schema && !KnowsSchema(error)) return false;
  if (const auto done = RunKept(rest, window, result, error)) {
    if (schema_changed_) return std::nullopt;
    sql += rest.size();
    return *done;
  }
  if (!ApplyLikeSetting(rest, error)) return false;
  const char* tail = nullptr;
  int code = SQLITE_OK;
  const SqliteStatement statement = PrepareOnce(database_.get(), rest, code, &tail);
  std::string text_of_error = code != SQLITE_OK ? sqlite3_errmsg(database_.get()) : "";
  // SQLite lets go of its statements when LIKE is switched, by preparing that.
  const bool lets_go = needs_schema && SwitchesLike(rest);
  if (lets_go) knows_schema_ = false;
  if (needs_schema && !lets_go && HasChanged()) return std::nullopt;
  if (code != SQLITE_OK) return Fail(code, std::move(text_of_error), error);
  const std::string_view text(sql, static_cast<std::size_t>(tail - sql));
  bool done = true;  // blanks or a comment
  if (statement != nullptr) {
    NoteLikeSetting(text);
    result.Clear();
    done = RunStatement(statement.get(), window, result, error);
  }
  if (schema_changed_) return std::nullopt;
  if (!needs_schema && knows_schema_) schema_.PrepareAnew();
  sql = tail;
  return done;
}

bool SqliteConnection::HasChanged() {
  knows_schema_ = schema_.Holds();
  return !knows_schema_;
}

bool SqliteConnection::KnowsSchema(std::string& error) {
  if (knows_schema_) return true;
  if (statements_ != nullptr) statements_->Forget();
  std::string text;
  const int code = schema_.Look(text);
  knows_schema_ = code == SQLITE_OK;
  is_foreign_ = code == SQLITE_AUTH;
  if (is_foreign_) file_failure_ = error = text;
  return knows_schema_ || (!is_foreign_ && Fail(code, std::move(text), error));
}

std::optional<bool> SqliteConnection::RunKept(std::string_view sql, Window window, ResultSet& result,
                                              std::string& error) {
  if (statements_ == nullptr) return std::nullopt;
  const std::optional<StatementShape> shape = ShapeOf(sql);
  if (!shape) return std::nullopt;
  bool prepared = false;
  const BorrowedStatement statement = statements_->Borrow(database_.get(), *shape, prepared);
  if (statement == nullptr) return std::nullopt;
  schema_changed_ = prepared && HasChanged();
  if (schema_changed_) return false;
  result.Clear();
  return RunStatement(statement.get(), window, result, error);
}

bool SqliteConnection::RunStatement(sqlite3_stmt* statement, Window window, ResultSet& result,
                                    std::string& error) {
  // sqlite3_changes keeps the count of an earlier statement when this one is no INSERT, UPDATE or DELETE.
  const int changes_before = sqlite3_total_changes(database_.get());
  const int code = StepThrough(statement, window, result);
  schema_changed_ = code == SQLITE_SCHEMA;
  if (schema_changed_) knows_schema_ = false;
  if (code != SQLITE_DONE && code != SQLITE_ROW) return Fail(code, sqlite3_errmsg(database_.get()), error);
  if (result.bytes() > kMostBytes) {
    error = "The answer is larger than " + std::to_string(kMostBytes >> 20) + " MiB.";
    return false;
  }
  const bool changed = sqlite3_total_changes(database_.get()) != changes_before;
  result.set_affected(changed ? sqlite3_changes(database_.get()) : 0);
  return true;
}

bool SqliteConnection::Fail(int code, std::string text, std::string& error) {
  error = files_->TakeRefusal();
  if (error.empty())
    error = code == SQLITE_INTERRUPT || watch_->stopped() ? watch_->WhyInterrupted() : std::move(text);
  if (ConcernsFile(code) && file_failure_.empty()) file_failure_ = error;
  return false;
}

bool SqliteConnection::Run(const char* sql, std::string& error) {
  ResultSet ignored;
  return Execute(sql, Window{}, ignored, error);
}

bool SqliteConnection::InTransaction() const {
  return sqlite3_get_autocommit(database_.get()) == 0;
}

bool SqliteConnection::SetCaseSensitiveLike(bool on, std::string& error) {
  return Run(LikePragma(on), error);
}

void SqliteConnection::KeepStatements() {
  statements_ = std::make_unique<SqliteStatements>();
}

bool SqliteConnection::SpareSetting(const char*& sql) {
  if (statements_ == nullptr) return false;
  for (const bool on : {true, false}) {
    if (!SkipStatement(LikePragma(on), sql)) continue;
    case_sensitive_like_ = on;
    return true;
  }
  return HasForeignKeys(database_.get()) && SkipStatement(kForeignKeysPragma, sql);
}

bool SqliteConnection::ApplyLikeSetting(std::string_view sql, std::string& error) {
  if (like_is_case_sensitive_ == case_sensitive_like_ || FindIgnoreCase(sql, "like") == sql.npos) return true;
  const char* pragma = LikePragma(case_sensitive_like_);
  if (sqlite3_exec(database_.get(), pragma, nullptr, nullptr, nullptr) != SQLITE_OK) {
    error = sqlite3_errmsg(database_.get());
    return false;
  }
  statements_->Forget();
  schema_.PrepareAnew();
  like_is_case_sensitive_ = case_sensitive_like_;
  return true;
}

void SqliteConnection::NoteLikeSetting(std::string_view statement) {
  if (!SwitchesLike(statement)) return;
  const std::size_t at = FindIgnoreCase(statement, kLikePragma);
  std::string_view value = TrimLeft(statement.substr(at + kLikePragma.size()));
  if (value.empty() || (value.front() != '=' && value.front() != '(')) return;
  value = TrimLeft(value.substr(1));
  if (!value.empty() && (value.front() == '\'' || value.front() == '"')) value.remove_prefix(1);
  case_sensitive_like_ = like_is_case_sensitive_ = IsOn(FirstWord(value));
}
