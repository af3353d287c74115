#ifndef TESTS_FUZZ_SQLITE_ORACLE_H_
#define TESTS_FUZZ_SQLITE_ORACLE_H_

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"

// SQLite in memory, as the judge of what a text means.
class SqliteOracle {
 public:
  explicit SqliteOracle(const char* schema) {
    sqlite3* opened = nullptr;
    Require(sqlite3_open(":memory:", &opened) == SQLITE_OK, "open", "");
    database_.reset(opened);
    Require(sqlite3_exec(opened, schema, nullptr, nullptr, nullptr) == SQLITE_OK, "schema", schema);
  }

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

  // SQL has to be exactly one statement with nothing behind it.
  [[nodiscard]] Statement PrepareOne(const std::string& sql) const {
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    const int code = sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &prepared, &tail);
    Statement statement(prepared);
    Require(code == SQLITE_OK && statement != nullptr, "the statement is not one", sql);
    Require(*tail == '\0', "something stands behind the statement", sql);
    return statement;
  }

  // The same, stepped to its first row, which has to be there.
  [[nodiscard]] Statement FirstRow(const std::string& sql) const {
    Statement statement = PrepareOne(sql);
    Require(sqlite3_step(statement.get()) == SQLITE_ROW, "no row", sql);
    return statement;
  }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};

inline std::string_view TextOf(const SqliteOracle::Statement& row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row.get(), column));
  return {text != nullptr ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row.get(), column))};
}

#endif  // TESTS_FUZZ_SQLITE_ORACLE_H_
