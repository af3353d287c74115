// Prepared statements of a connection that lives long enough to need them again.
#ifndef PLATFORM_LINUX_DB_SQLITE_STATEMENTS_H_
#define PLATFORM_LINUX_DB_SQLITE_STATEMENTS_H_

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "db/statement_shape.h"

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteStatement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// The first statement of SQL (with a terminator behind it), of which TAIL is the rest; null with CODE, and
// where there is none. Unlike others it is not prepared anew by itself when the schema has changed: it ends
// with SQLITE_SCHEMA then, which resetting it tells.
[[nodiscard]] SqliteStatement PrepareOnce(sqlite3* database, std::string_view sql, int& code,
                                          const char** tail = nullptr);

// Gives the statement back at the end of its use: it holds no lock and no value then.
struct ReturnStatement {
  void operator()(sqlite3_stmt* statement) const {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};
using BorrowedStatement = std::unique_ptr<sqlite3_stmt, ReturnStatement>;

// They go before the connection does, and one is borrowed at a time. When the schema has changed they are of
// no more use. Used by the connection's thread.
class SqliteStatements {
 public:
  // The statement of SHAPE with its values, which must outlive the loan, and whether it was PREPARED for
  // that. Null when it cannot be prepared.
  BorrowedStatement TakeKept(sqlite3* database, const StatementShape& shape, bool& prepared);
  void Forget() { kept_.clear(); }

 private:
  std::unordered_map<std::string, SqliteStatement> kept_;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_STATEMENTS_H_
