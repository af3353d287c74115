// Which schemas are taken for data, and that a connection refuses the others.
#include <sqlite3.h>

#include <chrono>

#include "db/sqlite_schema_check.h"
#include "platform/database_fixture.h"

namespace {

void ExpectForeign(const std::string& created, const std::string& part) {
  EXPECT_EQ(ForeignPartOf(created), part) << created;
}

TEST(SchemaCheckTest, TablesAndIndexesOfDataAreNot) {
  for (const char* created :
       {"CREATE TABLE t (a)", "CREATE TABLE sqlite_sequence(name,seq)",
        "CREATE TABLE t (id INTEGER PRIMARY KEY AUTOINCREMENT, a VARCHAR(20) NOT NULL UNIQUE DEFAULT '', r "
        "INTEGER REFERENCES u (id) ON DELETE CASCADE, UNIQUE (a, r))",
        "CREATE TABLE t (a PRIMARY KEY) WITHOUT ROWID", "CREATE TABLE t (a INTEGER) STRICT, WITHOUT ROWID",
        "CREATE TABLE t (a DEFAULT CURRENT_TIMESTAMP, b DEFAULT -1, c DEFAULT (1 + 1))",
        "CREATE TABLE t (a CHECK (a > 1 AND (a < 9 OR a IN (11, 12))), b VARCHAR(3))",
        "CREATE TABLE t (\"as\" TEXT, generated TEXT, `check` TEXT DEFAULT ' AS (upper(b)) ' -- AS\n)",
        "CREATE TABLE \"a \"\"t\"(a /* AS (1) */ TEXT)", "CREATE INDEX i ON t (a, b DESC)",
        "CREATE UNIQUE INDEX i ON t (a COLLATE NOCASE) WHERE a > 1", "create table t(a)",
        "CREATE TABLE t (\xC3\xA4"
        "AS TEXT)"})
    ExpectForeign(created, "");
}

TEST(SchemaCheckTest, WhatRunsByItselfIs) {
  ExpectForeign("CREATE VIEW photo_image AS SELECT 1", "the view photo_image");
  ExpectForeign("CREATE TRIGGER x AFTER INSERT ON t BEGIN SELECT 1; END", "the trigger x");
  ExpectForeign("CREATE VIRTUAL TABLE v USING fts5 (a)", "the virtual table v");
  ExpectForeign("CREATE TEMP TABLE t (a)", "the temp TABLE");
  ExpectForeign("create/**/view[v]as select 1", "the view [v]");
  ExpectForeign("SELECT 1", "something that nobody created");
}

TEST(SchemaCheckTest, ComputedColumnsAre) {
  for (const char* column : {"b AS (a)", "b GENERATED ALWAYS AS (a)", "b TEXT as(a)", "b/**/AS(a)"})
    ExpectForeign("CREATE TABLE t (a, " + std::string(column) + ")", "a generated column in the table t");
  ExpectForeign("CREATE TABLE t (a DEFAULT ''' b AS (''', b AS (a))", "a generated column in the table t");
  ExpectForeign(
      "CREATE TABLE t (a, b DEFAULT 1 \xEF\xBB\xBF"
      "AS (a))",
      "a byte order mark");
}

TEST(SchemaCheckTest, CallsAre) {
  ExpectForeign("CREATE TABLE t (a DEFAULT (random()))", "random() in the table t");
  ExpectForeign("CREATE TABLE t (a CHECK (1 AND (zeroblob (9))))", "zeroblob() in the table t");
  ExpectForeign("CREATE TABLE t (a, CHECK (a LIKE 'x'))", "LIKE() in the table t");
  ExpectForeign("CREATE TABLE t (a CHECK (\"abs\"(a)))", "\"abs\"() in the table t");
  ExpectForeign("CREATE TABLE t (a CHECK ('abs'(a)))", "'abs'() in the table t");
  ExpectForeign("CREATE TABLE t (a CHECK (a) CHECK (abs(a)))", "abs() in the table t");
  ExpectForeign("CREATE TABLE t (a, CHECK (a -> '$.x'))", "-> in the table t");
  ExpectForeign("CREATE INDEX i ON t (lower(a))", "lower() in the index i");
  ExpectForeign("CREATE INDEX i ON t (a) WHERE [abs](a)", "[abs]() in the index i");
  ExpectForeign("CREATE UNIQUE INDEX i ON t (a ->> 'x')", "-> in the index i");
}

TEST(SchemaCheckTest, WhatStandsBehindATableIs) {
  ExpectForeign("CREATE TABLE t AS SELECT 1", "something else in the table t");
  for (const char* more : {"; CREATE VIEW v AS SELECT 1", " AS SELECT 1", " (a)"})
    ExpectForeign(std::string("CREATE TABLE t (a)") + more, "something else in the table t");
}

TEST(SchemaCheckTest, WhatIsShownStaysShortAndPlain) {
  ExpectForeign("CREATE VIEW \"\x1B[2J\" AS SELECT 1", "the view \"?[2J\"");
  ExpectForeign("CREATE VIEW " + std::string(100, 'v') + " AS SELECT 1", "the view " + std::string(64, 'v'));
}

class ForeignSchemaTest : public testing::Test {
 protected:
  std::string file() const { return dir_ / "photo.db"; }
  // By a stranger, on a connection of his own.
  void Make(const std::string& sql) const {
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open(file().c_str(), &opened), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(opened);
    sqlite3_close(opened);
  }
  static std::string ErrorOf(const Connection& db, const char* sql) {
    if (db == nullptr) return KAVODBConnectErrorGet();
    return KAVODBExecute(db.get(), sql, nullptr) == -1 ? KAVODBErrorGet(db.get()) : "(none)";
  }
  TempDir dir_;
};

TEST_F(ForeignSchemaTest, IsRefusedByTheFirstStatementThatNeedsIt) {
  Make("CREATE TABLE t (a); CREATE VIEW v AS SELECT 1");
  const std::string refusal = "Its schema is not ours: the view v.";
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(ErrorOf(db, "PRAGMA case_sensitive_like=true"), "(none)");
  for (const char* sql : {"SELECT a FROM t", "INSERT INTO t VALUES (1)", "PRAGMA quick_check", "BEGIN"})
    EXPECT_EQ(ErrorOf(db, sql), refusal) << sql;
  EXPECT_EQ(ErrorOf(db, "PRAGMA case_sensitive_like=true; SELECT a FROM t"), refusal);
}

TEST_F(ForeignSchemaTest, IsNotOpenedForReading) {
  Make("CREATE TABLE t (a); CREATE VIEW v AS SELECT 1");
  EXPECT_EQ(KAVODBConnectReadOnly(file().c_str()), nullptr);
  EXPECT_STREQ(KAVODBConnectErrorGet(), "Its schema is not ours: the view v.");
}

TEST_F(ForeignSchemaTest, OursOfAnyAgeIsNone) {
  Make(SchemaScript("pphoto.sql"));
  const std::string older =
      "DROP TABLE sqlite_stat1; DROP TABLE video_comment; DROP INDEX photo_image_label_key; DROP INDEX "
      "photo_access_right_key; CREATE INDEX photo_access_right_shareid ON photo_access_right (shareid)";
  const std::string newer = "ALTER TABLE video ADD COLUMN later TEXT DEFAULT ''; CREATE TABLE later (a, b)";
  for (const std::string& change : {std::string(), older, newer}) {
    Make(change);
    EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT shareid FROM photo_share"), "(none)") << change;
  }
}

// Each index is one more.
TEST_F(ForeignSchemaTest, ThatHasMoreThanALibraryIsToo) {
  Make("CREATE TABLE t (a)");
  const auto add = [&](int from, int to) {
    std::string sql = "BEGIN;";
    for (int i = from; i < to; ++i) sql += "CREATE INDEX i" + std::to_string(i) + " ON t (a);";
    Make(sql + "COMMIT");
  };
  const std::string refusal = "Its schema is not ours: more than a library has.";
  add(1, 1000);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), "(none)");
  add(1000, 1001);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), refusal);
  add(1001, 3000);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), refusal);
}

TEST_F(ForeignSchemaTest, WithALongTextIsToo) {
  Make("CREATE TABLE t (a /*" + std::string(20'000, ' ') + "*/)");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: more than a library has.");
}

// SQLite reads its statistics with the schema, before anybody can look at that.
TEST_F(ForeignSchemaTest, ComputedStatisticsCostNothing) {
  Make(
      "CREATE TABLE t (a); INSERT INTO t VALUES (1); ANALYZE; INSERT INTO sqlite_stat1 "
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) SELECT 't', NULL, '1' "
      "FROM n; PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = 'CREATE TABLE "
      "sqlite_stat1(tbl,idx,stat AS (hex(zeroblob(400000000))))' WHERE name = 'sqlite_stat1'");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: a generated column in the table sqlite_stat1.");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5))
      << "unbounded it takes minutes";
}

// The time for a statement counts from its preparation.
TEST_F(ForeignSchemaTest, ManyStatisticsAreNotReadToTheirEnd) {
  Make(
      "CREATE TABLE t (a); INSERT INTO t VALUES (1); ANALYZE; INSERT INTO sqlite_stat1 "
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) SELECT 't', NULL, "
      "'1' FROM n");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: more than a library has.");
}

TEST_F(ForeignSchemaTest, ThatIsHiddenBehindAnotherTypeIsToo) {
  Make(
      "CREATE TABLE t (a); CREATE VIEW v AS SELECT 1; PRAGMA writable_schema = ON; "
      "UPDATE sqlite_schema SET type = 'table', name = 't' WHERE name = 'v'");
  EXPECT_NE(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), "(none)");
}

TEST_F(ForeignSchemaTest, InAnotherEncodingIsToo) {
  Make("PRAGMA encoding = 'UTF-16'; CREATE TABLE t (a); CREATE VIEW v AS SELECT 1");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), "Its schema is not ours: the view v.");
}

// It may have come after the look.
TEST_F(ForeignSchemaTest, VirtualTablesAreNeverRun) {
  const Connection db = OpenSqlite(file());
  Send(db, "CREATE TABLE t (a)");
  Make("CREATE VIRTUAL TABLE v USING fts5 (a)");
  EXPECT_EQ(ErrorOf(db, "SELECT a FROM v"), "no such module: fts5");
}

TEST_F(ForeignSchemaTest, ViewsAndTriggersAreNeverRun) {
  const Connection db = OpenSqlite(file());
  Send(db, "CREATE TABLE t (a); INSERT INTO t VALUES (1)");
  Make("CREATE VIEW v AS SELECT 1 AS a; CREATE TRIGGER x AFTER INSERT ON t BEGIN DELETE FROM t; END");
  EXPECT_EQ(ErrorOf(db, "SELECT a FROM v"), "access to view \"v\" prohibited");
  Send(db, "INSERT INTO t VALUES (2)");
  EXPECT_EQ(Value(db, "SELECT count(*) AS v FROM t"), "2");
}

TEST_F(ForeignSchemaTest, AValueHasABound) {
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(Value(db, "SELECT length(zeroblob(67108864)) AS v"), "67108864");
  EXPECT_EQ(ErrorOf(db, "SELECT length(zeroblob(67108865))"), "string or blob too big");
}

}  // namespace
