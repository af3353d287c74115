#include "db/sqlite.h"

#include <errno.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "db/sqlite_byte_like.h"
#include "db/sqlite_distrust.h"
#include "db/sqlite_files.h"
#include "platform/database.h"

namespace {

// Other connections, or one that was killed, have something in the log or journal of FILE.
bool HasLog(const std::string& file) {
  for (const char* suffix : {"-wal", "-journal"}) {
    struct stat status {};
    const int result = lstat((file + suffix).c_str(), &status);
    if (result == 0 ? !S_ISREG(status.st_mode) || status.st_size > 0 : errno != ENOENT) return true;
  }
  return false;
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

}  // namespace

void SqliteConnection::Close::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}

SqliteConnection::SqliteConnection(Files files, Database database)
    : files_(std::move(files)),
      database_(std::move(database)),
      watch_(std::make_unique<SqliteWatch>(database_.get())),
      runner_(database_.get(), *watch_, files_->refusal()) {}

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
    if (connection != nullptr) connection->watch_->ObeySignalsAndTimeout();
    if (connection != nullptr && connection->Run(kTakeSideFiles, error)) return connection;
    if (files->refusal().ever()) return nullptr;
    if (connection != nullptr && connection->runner_.schema().foreign()) return nullptr;
  }
  UnchangedFile unlocked(path);  // before the look at its log
  const bool logged = HasLog(path);
  auto connection = logged ? OpenAs(files, path, SQLITE_OPEN_READONLY, error)
                           : OpenAs(files, UnlockedName(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, error);
  if (connection == nullptr) return nullptr;
  connection->watch_->ObeySignalsAndTimeout();
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
    error = files->refusal().Take();
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
  const bool done = runner_.Run(by_bytes ? by_bytes->c_str() : sql, window, result, error);
  if (!unlocked_ || unlocked_->Holds()) return done;
  // Pages of before and after may have been mixed, with any answer or error.
  error = "It was changed while it was read; try again.";
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
  return Run(SqliteSettings::LikePragma(on), error);
}
