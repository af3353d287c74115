// How the statements of one SQLite connection are run.
#ifndef PLATFORM_LINUX_DB_SQLITE_RUNNER_H_
#define PLATFORM_LINUX_DB_SQLITE_RUNNER_H_

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "db/engine.h"
#include "db/sqlite_refusal.h"
#include "db/sqlite_schema_look.h"
#include "db/sqlite_settings.h"
#include "db/sqlite_statements.h"
#include "db/sqlite_watch.h"

// One after the other, each within the time of WATCH and against a schema that was looked at: one that does
// more than hold data is refused. They are prepared for each run, or kept for the next.
//
// Used by the connection's thread; goes before the connection does.
class SqliteRunner {
 public:
  SqliteRunner(sqlite3* database, SqliteWatch& watch, SqliteRefusal& refusal);

  // As DatabaseEngine::Execute.
  [[nodiscard]] bool Run(const char* sql, Window window, ResultSet& result, std::string& error);

  // From here on statements stay prepared for the next time that they differ in their values only, and
  // settings that would cost them all are spared.
  void KeepStatements() { statements_ = std::make_unique<SqliteStatements>(); }

  [[nodiscard]] const SqliteSettings& settings() const { return settings_; }
  [[nodiscard]] const SqliteSchemaLook& schema() const { return schema_; }
  // As SqliteConnection::file_failure.
  [[nodiscard]] const std::string& file_failure() const { return file_failure_; }

 private:
  // Runs the first statement of SQL, or what can be said of it without, and moves SQL behind it.
  [[nodiscard]] bool RunFirst(const char*& sql, Window window, ResultSet& result, std::string& error);
  // The same once. Nothing when the schema has changed: nobody has looked at it, and nothing was run.
  [[nodiscard]] std::optional<bool> TryFirst(const char*& sql, Window window, ResultSet& result,
                                             std::string& error);
  // The same with a kept statement; nothing when SQL is none that is kept.
  [[nodiscard]] std::optional<bool> RunKept(std::string_view sql, Window window, ResultSet& result,
                                            std::string& error);
  // The same with one that is prepared for this run alone.
  [[nodiscard]] std::optional<bool> RunAnew(const char*& sql, Window window, ResultSet& result,
                                            std::string& error);
  [[nodiscard]] bool RunStatement(sqlite3_stmt* statement, Window window, ResultSet& result,
                                  std::string& error);
  // Looks at the schema when it is not the one that was looked at the last time.
  [[nodiscard]] bool KnowsSchema(std::string& error);
  [[nodiscard]] bool ApplySettings(std::string_view sql, std::string& error);
  // ERROR becomes the text of the error CODE, or of what is behind it. False, as the failed statement's
  // result.
  [[nodiscard]] bool Fail(int code, std::string text, std::string& error);

  sqlite3* const database_;
  SqliteWatch& watch_;
  SqliteRefusal& refusal_;
  SqliteSchemaLook schema_;
  SqliteSettings settings_;
  std::unique_ptr<SqliteStatements> statements_;  // when they are kept
  bool schema_changed_ = false;                   // what ended the last statement
  std::string file_failure_;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_RUNNER_H_
