// One connection to an SQLite file.
#ifndef PLATFORM_LINUX_DB_SQLITE_H_
#define PLATFORM_LINUX_DB_SQLITE_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "db/engine.h"
#include "db/sqlite_runner.h"
#include "db/sqlite_watch.h"
#include "db/unchanged_file.h"

struct sqlite3;
class SqliteFiles;

enum class SqliteFile { kMustExist, kMayBeMade, kReadOnly };

// Waits up to half a minute for locks of other connections and processes. One that only reads ends its
// statement when a signal that stops programs is held back, and after the time that LUMIVAULT_READ_TIMEOUT
// gives it, in milliseconds. That FILE is no database shows at the first statement, not at the opening.
//
// Used by one thread at a time.
class SqliteConnection : public DatabaseEngine {
 public:
  // Null when the file can be neither opened nor made, or is a symbolic link or no regular file, or is
  // reached through a link that does not count (its owner could have it lead to the database of somebody
  // else); ERROR then has the reason.
  [[nodiscard]] static std::unique_ptr<SqliteConnection> Open(const char* file, SqliteFile kind,
                                                              std::string& error);
  ~SqliteConnection() override;
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  [[nodiscard]] int type() const override;
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override;

  [[nodiscard]] std::chrono::milliseconds statement_bound() const { return watch_->bound(); }
  void set_statement_bound(std::chrono::milliseconds bound) { watch_->set_bound(bound); }

  // For statements of the platform's own.
  [[nodiscard]] bool Run(const char* sql, std::string& error);

  // Inside a transaction. SQLite ends one by itself when the disk is full or fails.
  [[nodiscard]] bool InTransaction() const;

  // For a connection of many operations: statements stay prepared for the next time that they differ in
  // their values only, and LIKE is switched when it is used, since switching it lets go of them all.
  void KeepStatements() { runner_.KeepStatements(); }

  // Why no other statement would fare better either (the disk is full or fails, the file is damaged, locked
  // for too long or cannot be written): the first such error of the connection's life. Empty while there is
  // none.
  [[nodiscard]] const std::string& file_failure() const { return runner_.file_failure(); }

  // Whether LIKE minds letter case, as asked for.
  [[nodiscard]] bool case_sensitive_like() const { return runner_.settings().case_sensitive_like(); }
  [[nodiscard]] bool SetCaseSensitiveLike(bool on, std::string& error);

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  using Database = std::unique_ptr<sqlite3, Close>;

  using Files = std::shared_ptr<SqliteFiles>;

  SqliteConnection(Files files, Database database);

  [[nodiscard]] static std::unique_ptr<SqliteConnection> OpenForReading(const Files& files,
                                                                        std::string& error);
  // FILES under the name that SQLite is to open the database by.
  [[nodiscard]] static std::unique_ptr<SqliteConnection> OpenAs(const Files& files, const std::string& name,
                                                                int flags, std::string& error);

  Files files_;
  Database database_;
  std::unique_ptr<SqliteWatch> watch_;
  SqliteRunner runner_;
  std::optional<UnchangedFile> unlocked_;  // the file, where it is read without its locks
};

#endif  // PLATFORM_LINUX_DB_SQLITE_H_
