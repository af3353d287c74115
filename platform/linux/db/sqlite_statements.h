// Prepared statements of a connection that lives long enough to need them again.
#ifndef PLATFORM_LINUX_DB_SQLITE_STATEMENTS_H_
#define PLATFORM_LINUX_DB_SQLITE_STATEMENTS_H_

#include <sqlite3.h>

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>

#include "db/statement_shape.h"

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteStatement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// Gives the statement back at the end of its use: it holds no lock and no value then.
struct ReturnStatement {
  void operator()(sqlite3_stmt* statement) const {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};
using BorrowedStatement = std::unique_ptr<sqlite3_stmt, ReturnStatement>;

// They go before the connection does, and one is borrowed at a time. SQLite prepares a kept one anew by
// itself when the schema has changed.
class SqliteStatements {
 public:
  // The statement of SHAPE with its values, which must outlive the loan. Null when it cannot be prepared.
  BorrowedStatement Borrow(sqlite3* database, const StatementShape& shape);

 private:
  static constexpr std::size_t kMostKept = 64;  // the plug-in has some 40 that are asked again and again

  std::unordered_map<std::string, SqliteStatement> kept_;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_STATEMENTS_H_
