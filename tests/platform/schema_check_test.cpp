// Which schemas are taken for data, and that a connection refuses the others.
#include <sqlite3.h>

#include <chrono>
#include <filesystem>

#include "db/sqlite_schema_check.h"
#include "platform/connection_lending.h"
#include "platform/database_fixture.h"

namespace {

void ExpectForeign(const std::string& created, const std::string& part) {
  const auto foreign = FindForeignPart({{created, ""}});
  EXPECT_EQ(foreign ? foreign->what : "", part) << created;
}

// In one of a library's tables, where what stands in it is evaluated.
TEST(SchemaCheckTest, TablesAndIndexesOfDataAreNot) {
  for (const char* created :
       {"CREATE TABLE t (a)", "CREATE TABLE sqlite_sequence(name,seq)",
        "CREATE TABLE video (id INTEGER PRIMARY KEY AUTOINCREMENT, a VARCHAR(20) NOT NULL UNIQUE DEFAULT '', "
        "r INTEGER REFERENCES u (id) ON DELETE CASCADE, UNIQUE (a, r))",
        "CREATE TABLE video (a PRIMARY KEY) WITHOUT ROWID",
        "CREATE TABLE video (a INTEGER) STRICT, WITHOUT ROWID",
        "CREATE TABLE video (a DEFAULT CURRENT_TIMESTAMP, b DEFAULT -1, c DEFAULT (1 + 1), d DECIMAL(10,-2))",
        "CREATE TABLE video (a CHECK (a > 1 AND (a < 9 OR a IN (11, 12))), b VARCHAR(3))",
        "CREATE TABLE video (\"as\" TEXT, generated TEXT, `check` TEXT DEFAULT ' AS (upper(b)) ' -- AS\n)",
        "CREATE TABLE \"a \"\"t\"(a /* AS (1) */ TEXT)", "CREATE INDEX i ON video (a, b DESC)",
        "CREATE UNIQUE INDEX i ON video (a COLLATE NOCASE) WHERE a > 1",
        "CREATE INDEX i ON video (a) WHERE (a = 'f') AND b IS NOT NULL", "create table t(a)",
        "CREATE TABLE video (a CHECK (CASE (a) WHEN (1) THEN (2) ELSE (3) END BETWEEN (1) AND (2)))",
        "CREATE TABLE video (cost$as INTEGER, a$b DEFAULT '\xEF\xBB\xBF')",
        "CREATE TABLE video (\xEF\xBB\xBF"
        "a)",
        "CREATE TABLE video (\xC3\xA4"
        "AS TEXT)"})
    ExpectForeign(created, "");
}

// Nobody evaluates what other people's tables say.
TEST(SchemaCheckTest, WhatOtherPeoplesTablesComputeIsNot) {
  for (const std::string created :
       {"CREATE TABLE mine (a DEFAULT (datetime('now')), b CHECK (length(b) < 10))",
        "CREATE TABLE mine (a CHECK (CAST(a AS TEXT) LIKE 'x%' OR a -> '$.x'))",
        "CREATE TABLE mine (a REFERENCES photo_image (id), b DEFAULT (random()))"}) {
    const std::string index = "CREATE INDEX i ON mine (lower(a)) WHERE hex(a) <> '' || 'x'";
    EXPECT_FALSE(FindForeignPart({{created, "mine"}, {index, "mine"}})) << created;
  }
}

TEST(SchemaCheckTest, WhatForeignKeysWriteAlongIs) {
  for (const char* action : {"CASCADE", "SET NULL", "set default"}) {
    const std::string mine =
        std::string("CREATE TABLE mine (a REFERENCES photo_image (id) ON DELETE ") + action + ")";
    ExpectForeign(mine, "");
    const auto foreign = FindForeignPart({{mine, "mine"}, {"CREATE INDEX i ON \"Mine\" (hex(a))", "mine"}});
    ASSERT_TRUE(foreign) << action;
    EXPECT_EQ(foreign->what, "hex() in the index i");
  }
  ExpectForeign("CREATE TABLE mine (a REFERENCES photo_image ON DELETE CASCADE, CHECK (abs(a)))",
                "abs() in the table mine");
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
  for (const char* column : {"b AS (a)", "b GENERATED ALWAYS AS (a)", "b TEXT as(a)", "b/**/AS(a)"}) {
    ExpectForeign("CREATE TABLE t (a, " + std::string(column) + ")", "a generated column in the table t");
    ExpectForeign("CREATE TABLE video (a, " + std::string(column) + ")",
                  "a generated column in the table video");
  }
  ExpectForeign("CREATE TABLE t (a DEFAULT ''' b AS (''', b AS (a))", "a generated column in the table t");
  ExpectForeign(
      "CREATE TABLE t (a, b DEFAULT 1 \xEF\xBB\xBF"
      "AS (a))",
      "a generated column in the table t");
}

TEST(SchemaCheckTest, CallsAre) {
  ExpectForeign("CREATE TABLE video (a DEFAULT (random()))", "random() in the table video");
  ExpectForeign("CREATE TABLE video (a CHECK (1 AND (zeroblob (9))))", "zeroblob() in the table video");
  ExpectForeign("CREATE TABLE video (a, CHECK (a LIKE 'x'))", "LIKE() in the table video");
  ExpectForeign("CREATE TABLE Video (a CHECK (\"abs\"(a)))", "\"abs\"() in the table Video");
  ExpectForeign("CREATE TABLE [video] (a CHECK ('abs'(a)))", "'abs'() in the table [video]");
  ExpectForeign("CREATE TABLE video (a CHECK (a) CHECK (abs(a)))", "abs() in the table video");
  ExpectForeign("CREATE TABLE video (a, CHECK (a -> '$.x'))", "-> in the table video");
  ExpectForeign("CREATE INDEX i ON video (lower(a))", "lower() in the index i");
  ExpectForeign("CREATE INDEX i ON video (a) WHERE [abs](a)", "[abs]() in the index i");
  ExpectForeign("CREATE UNIQUE INDEX i ON video (a ->> 'x')", "an expression in the index i");
}

// They are evaluated for each row that is written, however many there are.
TEST(SchemaCheckTest, CostlyExpressionsAre) {
  ExpectForeign("CREATE INDEX i ON video (path || path)", "an expression in the index i");
  ExpectForeign("CREATE INDEX i ON video (path, a AND b)", "an expression in the index i");
  ExpectForeign("CREATE INDEX i ON video ((path))", "an expression in the index i");
  ExpectForeign("CREATE INDEX i ON video (a - b)", "an expression in the index i");
  ExpectForeign("CREATE INDEX i ON video (a) WHERE path || path", "a computation (|) in the index i");
  ExpectForeign("CREATE TABLE video (a CHECK (a * a > 1))", "a computation (*) in the table video");
  const auto longer = [](int terms) {
    std::string text = "CREATE INDEX i ON video (a) WHERE a";
    for (int i = 0; i < terms; ++i) text += " OR b";
    return text;
  };
  ExpectForeign(longer(31), "");
  ExpectForeign(longer(32), "a long condition in the index i");
}

constexpr const char* kBroken = "a variable, or a quote or comment without end in the table t";

// SQLite takes each for one token, up to the parenthesis that closes.
TEST(SchemaCheckTest, VariablesAre) {
  for (const std::string variable : {"$in(')", "@and(')", "#or(')", ":not(')", "$x::in(')", "?1"})
    ExpectForeign("CREATE TABLE t (a DEFAULT (" + variable + "), b AS (hex(1)), c DEFAULT '')", kBroken);
}

TEST(SchemaCheckTest, TextsWithoutAnEndAre) {
  for (const std::string rest : {"'x", "\"x", "[x", "`x", "/* x", "'x''"})
    ExpectForeign("CREATE TABLE t (a " + rest, kBroken);
  ExpectForeign("CREATE TABLE t (a) /* x", kBroken);
  ExpectForeign("CREATE TABLE t (a CHECK (1)", "a parenthesis without end in the table t");
  ExpectForeign("CREATE INDEX i ON t (a", "a parenthesis without end in the index i");
  ExpectForeign("CREATE INDEX i ON video (a))", "a parenthesis too many in the index i");
}

TEST(SchemaCheckTest, WhatIsMadeOutToBeSqlitesOwnIs) {
  const std::string index = "the index i of a table of SQLite's own";
  ExpectForeign("CREATE INDEX i ON sqlite_master (sql)", index);
  ExpectForeign("CREATE INDEX i ON \"SQLite_Schema\" (sql)", index);
  const auto by_row =
      FindForeignPart({{"CREATE TABLE t (a)", "t"}, {"CREATE INDEX i ON t (a)", "sqlite_master"}});
  ASSERT_TRUE(by_row);
  EXPECT_EQ(by_row->what, index);
  ExpectForeign("CREATE TABLE sqlite_schema (sql)", "the table sqlite_schema with a name of SQLite's own");
}

TEST(SchemaCheckTest, WhatStandsBehindATableIs) {
  ExpectForeign("CREATE TABLE t AS SELECT 1", "AS behind the name in the table t");
  ExpectForeign("CREATE TABLE t (a); CREATE VIEW v AS SELECT 1", "; behind the columns in the table t");
  ExpectForeign("CREATE TABLE t (a) AS SELECT 1", "AS behind the columns in the table t");
  ExpectForeign("CREATE TABLE t (a) (a)", "( behind the columns in the table t");
}

TEST(SchemaCheckTest, WhatIsShownStaysShortAndPlain) {
  ExpectForeign("CREATE VIEW \"\x1B[2J\" AS SELECT 1", "the view \"?[2J\"");
  ExpectForeign("CREATE VIEW " + std::string(100, 'v') + " AS SELECT 1", "the view " + std::string(64, 'v'));
}

// A person may copy it into a shell.
TEST(SchemaCheckTest, TheRemedyNamesPlainNamesAlone) {
  const auto remedy = [](const char* created) { return FindForeignPart({{created, ""}})->remedy; };
  EXPECT_EQ(remedy("CREATE VIEW mine AS SELECT 1"),
            "Remove it (sqlite3 FILE 'DROP VIEW mine'), or keep it in a database of its own.");
  EXPECT_EQ(remedy("CREATE VIRTUAL TABLE mine USING fts5 (a)"),
            "Remove it (sqlite3 FILE 'DROP TABLE mine'), or keep it in a database of its own.");
  EXPECT_EQ(remedy("CREATE INDEX mine ON video (hex(a))"),
            "Remove it (sqlite3 FILE 'DROP INDEX mine'), or keep it in a database of its own.");
  EXPECT_EQ(remedy("CREATE VIEW \"'; rm x; '\" AS SELECT 1"),
            "Remove it with sqlite3, or keep it in a database of its own.");
  EXPECT_EQ(remedy("CREATE TABLE mine (a, b AS (a))"), "Keep that table in a database of its own.");
  EXPECT_EQ(remedy("CREATE TABLE video (a, b AS (a))"), "Put a copy of the file back that has none.");
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
  const std::string refusal =
      "Its schema is not ours: the view v. "
      "Remove it (sqlite3 FILE 'DROP VIEW v'), or keep it in a database of its own.";
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(ErrorOf(db, "PRAGMA case_sensitive_like=true"), "(none)");
  for (const char* sql : {"SELECT a FROM t", "INSERT INTO t VALUES (1)", "PRAGMA quick_check", "BEGIN"})
    EXPECT_EQ(ErrorOf(db, sql), refusal) << sql;
  EXPECT_EQ(ErrorOf(db, "PRAGMA case_sensitive_like=true; SELECT a FROM t"), refusal);
}

TEST_F(ForeignSchemaTest, IsNotOpenedForReading) {
  Make("CREATE TABLE t (a); CREATE VIEW v AS SELECT 1");
  EXPECT_EQ(KAVODBConnectReadOnly(file().c_str()), nullptr);
  EXPECT_STREQ(KAVODBConnectErrorGet(),
               "Its schema is not ours: the view v. "
               "Remove it (sqlite3 FILE 'DROP VIEW v'), or keep it in a database of its own.");
}

// What is computed in a table of the script, or of the service's catalogue, is evaluated.
TEST_F(ForeignSchemaTest, EachTableOfALibraryIsTakenForOne) {
  Make(SchemaScript("pphoto.sql"));
  const auto found =
      Column(Send(OpenSqlite(file()),
                  "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT GLOB 'sqlite_*'"),
             "name");
  ASSERT_GT(found.size(), 10U);
  std::vector<std::string> tables{"entry", "fact"};
  for (const auto& name : found) tables.push_back(name.value_or(""));
  for (const std::string& table : tables) {
    ExpectForeign("CREATE TABLE " + table + " (a CHECK (hex(a)))", "hex() in the table " + table);
    ExpectForeign("CREATE TABLE mine_" + table + " (a CHECK (hex(a)))", "");
    ExpectForeign("CREATE TABLE " + table + "_mine (a CHECK (hex(a)))", "");
  }
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
  const std::string refusal =
      "Its schema is not ours: more than a library has. "
      "Keep what is no library's in a database of its own.";
  add(1, 1000);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), "(none)");
  add(1000, 1001);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), refusal);
  add(1001, 3000);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), refusal);
}

TEST_F(ForeignSchemaTest, WithALongTextIsToo) {
  Make("CREATE TABLE t (a /*" + std::string(300'000, ' ') + "*/)");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: more than a library has. "
            "Keep what is no library's in a database of its own.");
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
            "Its schema is not ours: a generated column in the table sqlite_stat1. "
            "Keep that table in a database of its own.");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60))
      << "unbounded it takes minutes";
}

// The time for a statement counts from its preparation.
TEST_F(ForeignSchemaTest, ManyStatisticsAreNotReadToTheirEnd) {
  Make(
      "CREATE TABLE t (a); INSERT INTO t VALUES (1); ANALYZE; INSERT INTO sqlite_stat1 "
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) SELECT 't', NULL, "
      "'1' FROM n");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: more than a library has. "
            "Keep what is no library's in a database of its own.");
}

TEST_F(ForeignSchemaTest, ThatIsHiddenBehindAnotherTypeIsToo) {
  Make(
      "CREATE TABLE t (a); CREATE VIEW v AS SELECT 1; PRAGMA writable_schema = ON; "
      "UPDATE sqlite_schema SET type = 'table', name = 't' WHERE name = 'v'");
  EXPECT_NE(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"), "(none)");
}

TEST_F(ForeignSchemaTest, InAnotherEncodingIsToo) {
  Make("PRAGMA encoding = 'UTF-16'; CREATE TABLE t (a); CREATE VIEW v AS SELECT 1");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: the view v. "
            "Remove it (sqlite3 FILE 'DROP VIEW v'), or keep it in a database of its own.");
}

// What comes after the look is looked at as well, before anything of it runs.
TEST_F(ForeignSchemaTest, ThatComesLaterIsNeverRun) {
  const std::string refusal = "Its schema is not ours: ";
  for (const char* later :
       {"CREATE VIRTUAL TABLE v USING fts5 (a)", "CREATE VIEW v AS SELECT 1 AS a",
        "CREATE TABLE v (b, a AS (hex(b)))",
        "CREATE TABLE v (a); CREATE TRIGGER x AFTER INSERT ON t BEGIN DELETE FROM t; END"}) {
    const Connection db = OpenSqlite(file());
    Send(db, "CREATE TABLE t (a); INSERT INTO t VALUES (1)");
    Make(later);
    EXPECT_EQ(ErrorOf(db, "SELECT a FROM v").substr(0, refusal.size()), refusal) << later;
    EXPECT_EQ(ErrorOf(db, "INSERT INTO t VALUES (2)").substr(0, refusal.size()), refusal) << later;
    std::filesystem::remove(file());
  }
}

TEST_F(ForeignSchemaTest, ThatComesUnderAKeptStatementIsNeverRun) {
  Make("CREATE TABLE t (a, b); INSERT INTO t VALUES ('x', 'y')");
  ASSERT_EQ(KAVODBLend(file().c_str()), 0);
  {
    const Connection db = OpenSqlite(file());
    EXPECT_EQ(Value(db, "SELECT b AS v FROM t WHERE a = 'x'"), "y");
    Make("ALTER TABLE t ADD COLUMN c");
    EXPECT_EQ(Value(db, "SELECT b AS v FROM t WHERE a = 'x'"), "y") << "a plain change is gone along with";
    Make("ALTER TABLE t ADD COLUMN d AS (hex(b))");
    EXPECT_EQ(ErrorOf(db, "SELECT b AS v FROM t WHERE a = 'x'"),
              "Its schema is not ours: a generated column in the table t. "
              "Keep that table in a database of its own.");
  }
  KAVODBLendEnd();
}

// The batch is not lost by it.
TEST_F(ForeignSchemaTest, APlainChangeBetweenBatchesIsGoneAlongWith) {
  Make("CREATE TABLE t (a)");
  ASSERT_EQ(KAVODBLend(file().c_str()), 0);
  {
    const Connection db = OpenSqlite(file());
    for (const char* change : {"CREATE TABLE u (a)", "CREATE INDEX i ON t (a)", "DROP TABLE u"}) {
      Send(db, "INSERT INTO t VALUES ('x')");
      Make(change);
      ASSERT_EQ(KAVODBBatchBegin(), 0);
      EXPECT_EQ(ErrorOf(db, "INSERT INTO t VALUES ('y')"), "(none)") << change;
      EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
    }
    EXPECT_EQ(Value(db, "SELECT count(*) AS v FROM t"), "6");
  }
  KAVODBLendEnd();
}

TEST_F(ForeignSchemaTest, AnIndexOfTheSchemaDoesNotAnswerInItsPlace) {
  Make("CREATE TABLE t (a); CREATE TABLE d (a); CREATE INDEX x ON d (a); CREATE VIEW v AS SELECT 1");
  Make(
      "PRAGMA writable_schema = ON; UPDATE sqlite_schema SET tbl_name = 'sqlite_master', sql = 'CREATE INDEX "
      "x ON sqlite_master(sql)' WHERE name = 'x'");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: the index x of a table of SQLite's own. "
            "Remove it (sqlite3 FILE 'DROP INDEX x'), or keep it in a database of its own.");
}

TEST_F(ForeignSchemaTest, ThatSqliteCannotReadIsToo) {
  Make(
      "CREATE TABLE t (a); PRAGMA writable_schema = ON; INSERT INTO sqlite_schema VALUES ('table', 'u', 'u', "
      "2, 'CREATE TABLE u (a,)')");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t"),
            "Its schema is not ours: malformed database schema (u) - near \")\": syntax error. "
            "Keep what is no library's in a database of its own.");
}

TEST_F(ForeignSchemaTest, AWideTableIsNone) {
  std::string columns = "c";
  for (int i = 1; i < 2000; ++i) columns += ", c" + std::to_string(i);
  Make("CREATE TABLE t (" + columns + ")");
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT c FROM t"), "(none)");
}

TEST_F(ForeignSchemaTest, WithManyTextsIsToo) {
  const auto add = [&](int from, int to) {
    for (int i = from; i < to; ++i)
      Make("CREATE TABLE t" + std::to_string(i) + " (a /*" + std::string(200'000, ' ') + "*/)");
  };
  add(0, 5);
  EXPECT_EQ(ErrorOf(OpenSqlite(file()), "SELECT a FROM t0"), "(none)");
  add(5, 6);
  EXPECT_NE(ErrorOf(OpenSqlite(file()), "SELECT a FROM t0").find("more than a library has"),
            std::string::npos);
}

TEST_F(ForeignSchemaTest, TheCacheThatAFileAsksForIsNotItsSize) {
  Make("CREATE TABLE t (a); PRAGMA default_cache_size = 100000");
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(ErrorOf(db, "SELECT a FROM t"), "(none)");
  EXPECT_EQ(Column(Send(db, "PRAGMA cache_size"), "cache_size").at(0), "-2000");
}

TEST_F(ForeignSchemaTest, AValueHasABound) {
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(Value(db, "SELECT length(zeroblob(67108864)) AS v"), "67108864");
  EXPECT_EQ(ErrorOf(db, "SELECT length(zeroblob(67108865))"), "string or blob too big");
}

}  // namespace
