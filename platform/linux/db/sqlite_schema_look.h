// The look at a database's schema that goes before every statement.
#ifndef PLATFORM_LINUX_DB_SQLITE_SCHEMA_LOOK_H_
#define PLATFORM_LINUX_DB_SQLITE_SCHEMA_LOOK_H_

#include <string>

#include "db/sqlite_statements.h"
#include "db/sqlite_watch.h"

// What was looked at is what SQLite goes by: texts and schema are read in one transaction, and a statement of
// SQLite's that was prepared then does not run any more once it has read the schema again. Other statements
// are to be prepared in the same way (PrepareOnce), so that none of them is prepared anew with a schema that
// nobody has looked at. They are of no more use when Holds is false, or their run ends with SQLITE_SCHEMA.
//
// Used by the connection's thread.
class SqliteSchemaLook {
 public:
  SqliteSchemaLook(sqlite3* database, SqliteWatch& watch) : database_(database), watch_(watch) {}

  // Found out by asking SQLite, which may have read another one to prepare a statement.
  [[nodiscard]] bool Holds();
  // As far as is known without asking: it was looked at, holds data alone, and SQLite goes by it.
  [[nodiscard]] bool known() const { return known_; }
  // It was found to do more than hold data when it was looked at the last time.
  [[nodiscard]] bool foreign() const { return foreign_; }
  // A statement has met another one, or is about to.
  void Forget() { known_ = false; }
  // SQLite lets go of its statements without having read the schema again (a pragma does that).
  void PrepareAnew();

  // SQLITE_OK when there is nothing foreign in it, SQLITE_AUTH when there is, or the code of the error; with
  // a text for people.
  [[nodiscard]] int Look(std::string& text);

 private:
  struct Rows;

  [[nodiscard]] static std::string ForeignIn(const Rows& rows);
  [[nodiscard]] int LookAnew(std::string& text);
  [[nodiscard]] int LookInTransaction(std::string& text);
  [[nodiscard]] int Read(Rows& rows, std::string& text) const;
  // With the text of an error.
  [[nodiscard]] int Run(const char* sql, std::string& text) const;

  sqlite3* const database_;
  SqliteWatch& watch_;
  SqliteStatement witness_;  // while the schema is known
  bool known_ = false;
  bool foreign_ = false;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_SCHEMA_LOOK_H_
