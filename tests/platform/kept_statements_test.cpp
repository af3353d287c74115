// Statements on a lent connection, which stay prepared, against the same ones on a connection of their own.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "db/sqlite.h"
#include "platform/connection_lending.h"
#include "platform/database_fixture.h"

namespace {

// The statements that were prepared.
std::vector<std::string> g_prepared;

}  // namespace

// The platform's statements are prepared through these. NOLINTBEGIN: the engine's own names
extern "C" __attribute__((visibility("default"))) int sqlite3_prepare(sqlite3* database, const char* sql,
                                                                      int size, sqlite3_stmt** statement,
                                                                      const char** rest) {
  g_prepared.emplace_back(sql);
  static const auto next = reinterpret_cast<decltype(&sqlite3_prepare)>(dlsym(RTLD_NEXT, "sqlite3_prepare"));
  return next(database, sql, size, statement, rest);
}
// NOLINTEND

namespace {

constexpr const char* kSchema =
    "PRAGMA journal_mode=WAL; CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT UNIQUE, n INTEGER, r REAL, x);"
    "CREATE TABLE part (id INTEGER REFERENCES t (id) ON DELETE CASCADE)";

// Each twice and more with other values, kinds of values and errors between them.
const std::vector<std::string> kStatements = {
    "INSERT INTO t (a, n, r, x) VALUES('one', 1, 2, 3)",
    "INSERT INTO t (a, n, r, x) VALUES('two', '1', '2', '3')",
    "INSERT INTO t (a, n, r, x) VALUES('it''s', -5, -6, -7)",
    "INSERT INTO t (a, n, r, x) VALUES('one', 1, 2, 3)",
    "INSERT INTO t (a, n, r, x) VALUES('', 'word', 'word', NULL)",
    "INSERT INTO t (a, n, r, x) VALUES('r', 1, 51.508722, 0.1)",
    "SELECT * FROM t WHERE a = 'one'",
    "SELECT * FROM t WHERE a = 'two'",
    "SELECT * FROM t WHERE a = 'none'",
    "SELECT a, typeof(n), typeof(r), typeof(x) FROM t WHERE n = 1",
    "SELECT a, typeof(n), typeof(r), typeof(x) FROM t WHERE n = '1'",
    "SELECT a FROM t WHERE x = 3",
    "SELECT a FROM t WHERE x = '3'",
    "SELECT a FROM t WHERE a IN ('one', 'two') AND n != 2 ORDER BY 1",
    "SELECT a FROM t WHERE a IN ('one', 'r') AND n != 2 ORDER BY 1",
    "UPDATE t SET n = 8, x = 'y' WHERE a = 'one'",
    "UPDATE t SET n = 9, x = 'z' WHERE a = 'none'",
    "UPDATE t SET a = 'two' WHERE a = 'one'",
    "INSERT INTO part VALUES(1)",
    "INSERT INTO part VALUES(99)",
    "DELETE FROM t WHERE id = 1",
    "SELECT * FROM part",
    "SELECT nothing FROM t WHERE a = 'one'",
    "SELECT a FROM t WHERE a = 'one' AND",
    "PRAGMA case_sensitive_like=true; SELECT a FROM t WHERE a LIKE 'TWO'",
    "PRAGMA foreign_keys = ON; DELETE FROM t WHERE a = 'two'",
    "SELECT * FROM t",
};

// Rows, changes or the error of SQL.
std::string Told(const Connection& connection, const std::string& sql) {
  KAVODB_RESULT* raw = nullptr;
  if (KAVODBExecute(connection.get(), sql.c_str(), &raw) == -1) return KAVODBErrorGet(connection.get());
  const Result result(raw);
  std::string told = std::to_string(KAVODBAffectedRows(connection.get(), raw)) + " changed;";
  KAVODB_ROW row = nullptr;
  while (KAVODBFetchRow(raw, &row) == 0) {
    for (const char* column : {"id", "a", "n", "r", "x", "typeof(n)", "typeof(r)", "typeof(x)"}) {
      const char* value = KAVODBFetchField(raw, row, column);
      told += std::string(" ") + (value != nullptr ? value : "null");
    }
    told += ";";
  }
  return told;
}

class KeptStatements : public testing::Test {
 protected:
  void SetUp() override {
    Send(OpenSqlite(own()), kSchema);
    Send(OpenSqlite(lent()), kSchema);
    ASSERT_EQ(KAVODBLend(lent().c_str()), 0) << KAVODBLentErrorGet();
  }
  void TearDown() override { KAVODBLendEnd(); }

  std::string own() const { return dir_ / "own.db"; }
  std::string lent() const { return dir_ / "lent.db"; }

 private:
  TempDir dir_;
};

TEST_F(KeptStatements, DoWhatTheyDoOnAConnectionOfTheirOwn) {
  const Connection plain = OpenSqlite(own());
  Send(plain, "PRAGMA foreign_keys = ON");
  for (int round = 0; round < 3; ++round) {
    for (const std::string& sql : kStatements)
      EXPECT_EQ(Told(OpenSqlite(lent()), sql), Told(plain, sql)) << sql;
  }
}

TEST_F(KeptStatements, ArePreparedOnce) {
  Send(OpenSqlite(lent()), "SELECT * FROM t WHERE a = 'one' AND n = 1");
  g_prepared.clear();
  Send(OpenSqlite(lent()), "SELECT * FROM t WHERE a = 'it''s' AND n = 2");
  EXPECT_EQ(g_prepared, std::vector<std::string>());
}

TEST_F(KeptStatements, RowsWithDifferentFractionsArePreparedOnce) {
  Send(OpenSqlite(lent()), "INSERT INTO t (a, r) VALUES('one', 51.508722)");
  Send(OpenSqlite(lent()), "UPDATE t SET r = -0.25 WHERE a = 'one'");
  g_prepared.clear();
  Send(OpenSqlite(lent()), "INSERT INTO t (a, r) VALUES('two', 1.5)");
  Send(OpenSqlite(lent()), "UPDATE t SET r = -139.751667 WHERE a = 'two'");
  EXPECT_EQ(g_prepared, std::vector<std::string>());
}

// All 64 bits of it: a position that is stored again must not become another.
TEST_F(KeptStatements, AFractionKeepsItsLastDigit) {
  constexpr unsigned kSeed = 13;
  constexpr int kFractions = 3000;
  std::mt19937 random(kSeed);
  std::uniform_int_distribution<int> millionths(0, 180'999'999);
  const Connection plain = OpenSqlite(own());
  const Connection kept = OpenSqlite(lent());
  for (const Connection* connection : {&plain, &kept}) Send(*connection, "BEGIN");
  for (int i = 0; i < kFractions; ++i) {
    const std::string digits = std::to_string(1'000'000'000 + millionths(random)).substr(1);
    const std::string fraction = digits.substr(0, 3) + "." + digits.substr(3);
    const std::string sql = "INSERT INTO t (a, r) VALUES('" + std::to_string(i) + "', " +
                            (i % 2 == 0 ? "-" : "") + fraction + ")";
    for (const Connection* connection : {&plain, &kept}) Send(*connection, sql);
  }
  const std::string bits = "SELECT group_concat(printf('%!.26e', r)) AS v FROM t";
  EXPECT_EQ(Value(kept, bits), Value(plain, bits)) << "seed " << kSeed;
}

TEST_F(KeptStatements, AreNotKeptWithoutEnd) {
  constexpr int kMoreThanAreKept = 200;
  Send(OpenSqlite(lent()), "SELECT * FROM t WHERE a = 'one'");
  for (int column = 0; column < kMoreThanAreKept; ++column)
    Send(OpenSqlite(lent()), "SELECT a AS c" + std::to_string(column) + " FROM t WHERE a = 'one'");
  g_prepared.clear();
  Send(OpenSqlite(lent()), "SELECT * FROM t WHERE a = 'one'");
  EXPECT_EQ(g_prepared, std::vector<std::string>({"SELECT * FROM t WHERE a = ?"}));
}

TEST_F(KeptStatements, MoreThanAreKeptAreAnswered) {
  for (int column = 0; column < 200; ++column) {
    const std::string name = "c" + std::to_string(column);
    Send(OpenSqlite(lent()), "INSERT INTO t (a) VALUES('" + name + "')");
    EXPECT_EQ(Value(OpenSqlite(lent()), "SELECT a AS " + name + ", a AS v FROM t WHERE a = '" + name + "'"),
              name);
  }
}

TEST_F(KeptStatements, AColumnThatAnotherProgramAddsIsSeen) {
  Send(OpenSqlite(lent()), "INSERT INTO t (a) VALUES('one')");
  EXPECT_EQ(Value(OpenSqlite(lent()), "SELECT * FROM t WHERE a = 'one'"), "(none)");
  sqlite3* other = nullptr;
  sqlite3_open(lent().c_str(), &other);
  EXPECT_EQ(sqlite3_exec(other, "ALTER TABLE t ADD COLUMN v DEFAULT 'new'", nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(other);
  EXPECT_EQ(Value(OpenSqlite(lent()), "SELECT * FROM t WHERE a = 'one'"), "new");
}

TEST_F(KeptStatements, LeaveNoLockBehind) {
  Send(OpenSqlite(lent()), "INSERT INTO t (a) VALUES('one')");
  KAVODB_RESULT* raw = nullptr;
  const Connection connection = OpenSqlite(lent());
  ASSERT_EQ(KAVODBSelectLimit(connection.get(), "SELECT * FROM t WHERE id > 0", 1, 0, &raw), 0);
  const Result result(raw);
  sqlite3* other = nullptr;
  sqlite3_open(lent().c_str(), &other);
  EXPECT_EQ(
      sqlite3_exec(other, "DROP TABLE part; PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr),
      SQLITE_OK);
  sqlite3_close(other);
}

// The plan of a statement prepared for all values must not be worse than that for one.
TEST_F(KeptStatements, AreAnsweredByAnIndex) {
  std::string error;
  const auto connection = SqliteConnection::Open(lent().c_str(), SqliteFile::kMustExist, error);
  ASSERT_NE(connection, nullptr) << error;
  ResultSet rows;
  ASSERT_TRUE(connection->Execute("EXPLAIN QUERY PLAN SELECT * FROM t WHERE a = ?", {}, rows, error))
      << error;
  EXPECT_STREQ(rows.Value(rows.NextRow(), "detail"), "SEARCH t USING INDEX sqlite_autoindex_t_1 (a=?)");
}

}  // namespace
