// One connection to an SQLite file.
#ifndef PLATFORM_LINUX_DB_SQLITE_H_
#define PLATFORM_LINUX_DB_SQLITE_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "db/engine.h"
#include "db/sqlite_schema_look.h"
#include "db/sqlite_watch.h"
#include "db/unchanged_file.h"

struct sqlite3;
struct sqlite3_stmt;
class SqliteFiles;
class SqliteStatements;

enum class SqliteFile { kMustExist, kMayBeMade, kReadOnly };

// Waits up to half a minute for locks of other connections and processes. One that only reads ends its
// statement when a signal that stops programs is held back, and after the time that LUMIVAULT_READ_TIMEOUT
// gives it, in milliseconds. That FILE is no database shows at
// the first statement, not at the opening.
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
  void KeepStatements();

  // Why no other statement would fare better either (the disk is full or fails, the file is damaged, locked
  // for too long or cannot be written): the first such error of the connection's life. Empty while there is
  // none.
  [[nodiscard]] const std::string& file_failure() const { return file_failure_; }

  // Whether LIKE minds letter case; SQLite cannot be asked, so the statements that set it are noted.
  [[nodiscard]] bool case_sensitive_like() const { return case_sensitive_like_; }
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

  [[nodiscard]] bool RunStatement(sqlite3_stmt* statement, Window window, ResultSet& result,
                                  std::string& error);
  // Runs the first statement of SQL, or what can be said of it without, and moves SQL behind it.
  [[nodiscard]] bool RunFirst(const char*& sql, Window window, ResultSet& result, std::string& error);
  // The same once. Nothing when the schema has changed: nobody has looked at it, and nothing was run.
  [[nodiscard]] std::optional<bool> TryFirst(const char*& sql, Window window, ResultSet& result,
                                             std::string& error);
  // The same with a kept statement; nothing when SQL is none that is kept.
  [[nodiscard]] std::optional<bool> RunKept(std::string_view sql, Window window, ResultSet& result,
                                            std::string& error);
  // Looks at the schema when it is not the one that was looked at the last time: one that does more than hold
  // data is refused.
  [[nodiscard]] bool KnowsSchema(std::string& error);
  // SQLite has read another one since, to prepare a statement.
  [[nodiscard]] bool HasChanged();
  // Where statements are kept: passes over the first statement of SQL when it switches LIKE, which is put
  // off, or switches on foreign keys that are on. Each would cost all kept statements.
  [[nodiscard]] bool SpareSetting(const char*& sql);
  [[nodiscard]] bool ApplyLikeSetting(std::string_view sql, std::string& error);
  void NoteLikeSetting(std::string_view statement);
  // ERROR becomes the text of the error CODE, or of what is behind it. False, as the failed statement's
  // result.
  [[nodiscard]] bool Fail(int code, std::string text, std::string& error);

  [[nodiscard]] bool ExecuteAll(const char* sql, Window window, ResultSet& result, std::string& error);

  Files files_;
  Database database_;
  std::unique_ptr<SqliteWatch> watch_;
  SqliteSchemaLook schema_;
  std::optional<UnchangedFile> unlocked_;         // the file, where it is read without its locks
  std::unique_ptr<SqliteStatements> statements_;  // when they are kept
  std::string file_failure_;
  bool knows_schema_ = false;            // unless it has changed
  bool schema_changed_ = false;          // what ended the last statement
  bool is_foreign_ = false;              // the schema, when it was looked at the last time
  bool case_sensitive_like_ = false;     // as asked for
  bool like_is_case_sensitive_ = false;  // as it is
};

#endif  // PLATFORM_LINUX_DB_SQLITE_H_
