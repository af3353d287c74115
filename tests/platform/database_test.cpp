#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/database_fixture.h"
#include "support/hostile_names.h"

namespace {

using Values = std::vector<std::optional<std::string>>;

class EngineTest : public DatabaseTest {
 protected:
  // A table t of the rows 1 to ROWS.
  void MakeNumbers(int rows) const {
    Send(db(), "CREATE TABLE t (n integer)");
    for (int n = 1; n <= rows; ++n) Send(db(), "INSERT INTO t VALUES (" + std::to_string(n) + ")");
  }

  Values Select(const std::string& sql, int limit, int offset) const {
    KAVODB_RESULT* result = nullptr;
    EXPECT_NE(KAVODBSelectLimit(db().get(), sql.c_str(), limit, offset, &result), -1)
        << KAVODBErrorGet(db().get());
    return Column(Result(result), "n");
  }

  int Affected(const std::string& sql) const { return KAVODBAffectedRows(db().get(), Send(db(), sql).get()); }
};
INSTANTIATE_TEST_SUITE_P(Engines, EngineTest, BothTypes(), TypeName);

TEST_P(EngineTest, TypeIsTheEngine) {
  EXPECT_EQ(KAVODBDatabaseTypeGet(db().get()), GetParam());
}

TEST_P(EngineTest, NullStatementIsAFailure) {
  EXPECT_EQ(KAVODBExecute(db().get(), nullptr, nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(db().get()), "The statement is null.");
  KAVODB_RESULT* result = nullptr;
  EXPECT_EQ(KAVODBSelectLimit(db().get(), nullptr, 1, 0, &result), -1);
  EXPECT_EQ(result, nullptr);
}

TEST_P(EngineTest, FailureLeavesTheResultAloneAndHasAText) {
  char sentinel = 0;
  auto* const before = reinterpret_cast<KAVODB_RESULT*>(&sentinel);
  KAVODB_RESULT* result = before;
  EXPECT_EQ(KAVODBExecute(db().get(), "SELECT x FROM nowhere", &result), -1);
  EXPECT_EQ(result, before);
  EXPECT_STREQ(
      KAVODBErrorGet(db().get()),
      sqlite() ? "no such table: nowhere" : "ERROR:  relation \"nowhere\" does not exist at character 15");
}

TEST_P(EngineTest, ErrorTextIsOneLine) {
  EXPECT_EQ(KAVODBExecute(db().get(), "SELECT \"a\nb\r\" FROM (SELECT 1) AS s WHERE a.\"c\nd\" = 1", nullptr),
            -1);
  const std::string error = KAVODBErrorGet(db().get());
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(error.find_first_of("\r\n"), std::string::npos) << error;
}

TEST_P(EngineTest, ConnectionGoesOnAfterAFailure) {
  EXPECT_EQ(KAVODBExecute(db().get(), "garbage", nullptr), -1);
  EXPECT_EQ(Value(db(), "SELECT 7 AS v"), "7");
}

TEST_P(EngineTest, ConnectionsHaveErrorTextsOfTheirOwn) {
  const Connection other = Open();
  EXPECT_EQ(KAVODBExecute(db().get(), nullptr, nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(other.get()), "");
}

TEST_P(EngineTest, StatementsRunInOrderAndTheLastOneAnswers) {
  const Result result = Send(db(),
                             "CREATE TABLE t (n integer); INSERT INTO t VALUES (1), (2);"
                             "UPDATE t SET n = n + 10; SELECT n FROM t ORDER BY n;  ");
  EXPECT_EQ(Column(result, "n"), (Values{"11", "12"}));
}

TEST_P(EngineTest, RowsOfAnEarlierStatementAreNotThoseOfTheLast) {
  MakeNumbers(3);
  const Result result = Send(db(), "SELECT n FROM t; DELETE FROM t WHERE n = 1");
  EXPECT_EQ(KAVODBNumRows(result.get()), 0);
  EXPECT_EQ(KAVODBAffectedRows(db().get(), result.get()), 1);
}

TEST_P(EngineTest, StatementsBehindAFailureDoNotRun) {
  MakeNumbers(1);
  EXPECT_EQ(KAVODBExecute(db().get(), "INSERT INTO nowhere VALUES (1); DELETE FROM t", nullptr), -1);
  EXPECT_EQ(Value(db(), "SELECT count(*) AS v FROM t"), "1");
}

TEST_P(EngineTest, SemicolonInALiteralDoesNotEndAStatement) {
  EXPECT_EQ(Value(db(), "SELECT 'a;b' AS v"), "a;b");
}

TEST_P(EngineTest, TextWithoutStatementsSucceeds) {
  for (const char* nothing : {"", "  ", ";", "-- comment"}) {
    const Result result = Send(db(), nothing);
    EXPECT_EQ(KAVODBNumRows(result.get()), 0) << nothing;
  }
}

TEST_P(EngineTest, AffectedRowsCountTheChanges) {
  MakeNumbers(3);
  EXPECT_EQ(Affected("UPDATE t SET n = 0 WHERE n > 1"), 2);
  EXPECT_EQ(Affected("UPDATE t SET n = 0 WHERE n > 1"), 0);
  EXPECT_EQ(Affected("DELETE FROM t"), 3);
  EXPECT_EQ(Affected("INSERT INTO t VALUES (1), (2)"), 2);
}

TEST_P(EngineTest, AffectedRowsOfOtherStatementsAreNone) {
  MakeNumbers(2);
  Send(db(), "UPDATE t SET n = n");
  EXPECT_EQ(Affected("SELECT n FROM t"), 0);
  EXPECT_EQ(Affected("CREATE TABLE other (n integer)"), 0);
  EXPECT_EQ(Affected("UPDATE t SET n = n; SELECT n FROM t"), 0);
  EXPECT_EQ(Affected("BEGIN"), 0);
  EXPECT_EQ(Affected("COMMIT"), 0);
}

TEST_P(EngineTest, AffectedRowsOfTheLastStatementCount) {
  MakeNumbers(3);
  EXPECT_EQ(Affected("DELETE FROM t WHERE n > 1; UPDATE t SET n = 5"), 1);
}

TEST_P(EngineTest, AffectedRowsWithoutAResultAreTheConnections) {
  MakeNumbers(3);
  EXPECT_EQ(KAVODBExecute(db().get(), "UPDATE t SET n = 5", nullptr), 0);
  EXPECT_EQ(KAVODBAffectedRows(db().get(), nullptr), 3);
}

TEST_P(EngineTest, ColumnsAreFoundWithoutRegardToCase) {
  const Result result = Send(db(), "SELECT 1 AS resolutionx, 2 AS \"resolutionY\"");
  KAVODB_ROW row = nullptr;
  ASSERT_EQ(KAVODBFetchRow(result.get(), &row), 0);
  EXPECT_STREQ(KAVODBFetchField(result.get(), row, "resolutionX"), "1");
  EXPECT_STREQ(KAVODBFetchField(result.get(), row, "RESOLUTIONy"), "2");
  EXPECT_EQ(KAVODBFetchField(result.get(), row, "resolution"), nullptr);
  EXPECT_EQ(KAVODBFetchField(result.get(), row, ""), nullptr);
}

TEST_P(EngineTest, FirstOfEqualColumnNamesCounts) {
  EXPECT_EQ(Column(Send(db(), "SELECT 1 AS id, 2 AS id"), "id"), Values{"1"});
}

TEST_P(EngineTest, NullIsNotTheEmptyText) {
  EXPECT_EQ(Column(Send(db(), "SELECT NULL AS n UNION ALL SELECT ''"), "n"), (Values{std::nullopt, ""}));
}

TEST_P(EngineTest, ValuesAreTexts) {
  const Result result = Send(db(), "SELECT -5 AS i, 9223372036854775807 AS l, 1.5 AS f, 'x' AS t");
  KAVODB_ROW row = nullptr;
  ASSERT_EQ(KAVODBFetchRow(result.get(), &row), 0);
  EXPECT_STREQ(KAVODBFetchField(result.get(), row, "i"), "-5");
  EXPECT_STREQ(KAVODBFetchField(result.get(), row, "l"), "9223372036854775807");
  EXPECT_STREQ(KAVODBFetchField(result.get(), row, "f"), "1.5");
  EXPECT_STREQ(KAVODBFetchField(result.get(), row, "t"), "x");
}

TEST_P(EngineTest, RowsComeOnceAndStayReadable) {
  MakeNumbers(2);
  const Result result = Send(db(), "SELECT n FROM t ORDER BY n");
  EXPECT_EQ(KAVODBNumRows(result.get()), 2);
  KAVODB_ROW first = nullptr;
  KAVODB_ROW second = nullptr;
  KAVODB_ROW none = nullptr;
  ASSERT_EQ(KAVODBFetchRow(result.get(), &first), 0);
  ASSERT_EQ(KAVODBFetchRow(result.get(), &second), 0);
  EXPECT_EQ(KAVODBFetchRow(result.get(), &none), -1);
  EXPECT_EQ(KAVODBFetchRow(result.get(), &none), -1);
  EXPECT_EQ(none, nullptr);
  EXPECT_STREQ(KAVODBFetchField(result.get(), first, "n"), "1");
  EXPECT_STREQ(KAVODBFetchField(result.get(), second, "n"), "2");
}

TEST_P(EngineTest, LimitAndOffset) {
  MakeNumbers(5);
  const std::string sql = "SELECT n FROM t ORDER BY n";
  EXPECT_EQ(Select(sql, 1, 0), Values{"1"});
  EXPECT_EQ(Select(sql, 2, 1), (Values{"2", "3"}));
  EXPECT_EQ(Select(sql, 2, -1), (Values{"1", "2"}));
  EXPECT_EQ(Select(sql, 9, 4), Values{"5"});
  EXPECT_EQ(Select(sql, 1, 5), Values{});
}

TEST_P(EngineTest, NoLimitAndNoOffset) {
  MakeNumbers(5);
  const std::string sql = "SELECT n FROM t ORDER BY n";
  const Values all{"1", "2", "3", "4", "5"};
  EXPECT_EQ(Select(sql, 0, 0), all);
  EXPECT_EQ(Select(sql, -1, -1), all);
  EXPECT_EQ(Select(sql, 0, 3), (Values{"4", "5"}));
}

TEST_P(EngineTest, LimitOfATextThatEndsOddly) {
  MakeNumbers(3);
  EXPECT_EQ(Select("SELECT n FROM t ORDER BY n ; ", 1, 1), Values{"2"});
  EXPECT_EQ(Select("SELECT n FROM t ORDER BY n -- all of them", 1, 1), Values{"2"});
  EXPECT_EQ(Select(LikePrefix() + "SELECT n FROM t ORDER BY n", 1, 1), Values{"2"});
}

TEST_P(EngineTest, FailedStatementLeavesATransactionOpen) {
  MakeNumbers(0);
  Send(db(), "BEGIN");
  Send(db(), "INSERT INTO t VALUES (1)");
  EXPECT_EQ(KAVODBExecute(db().get(), "garbage", nullptr), -1);
  // On PostgreSQL nothing of such a transaction can be kept, and its COMMIT must not look like a success.
  EXPECT_EQ(KAVODBExecute(db().get(), "commit", nullptr), sqlite() ? 0 : -1);
  EXPECT_STREQ(KAVODBErrorGet(db().get()),
               sqlite() ? "near \"garbage\": syntax error" : "The transaction was rolled back.");
  EXPECT_EQ(Value(db(), "SELECT count(*) AS v FROM t"), sqlite() ? "1" : "0");
}

TEST_P(EngineTest, RollbackIsASuccess) {
  MakeNumbers(0);
  Send(db(), "BEGIN; INSERT INTO t VALUES (1)");
  Send(db(), "ROLLBACK");
  EXPECT_EQ(Value(db(), "SELECT count(*) AS v FROM t"), "0");
}

TEST(NullsTest, AreHarmless) {
  KAVODB_ROW row = nullptr;
  EXPECT_EQ(KAVODBExecute(nullptr, "SELECT 1", nullptr), -1);
  EXPECT_EQ(KAVODBSelectLimit(nullptr, "SELECT 1", 1, 0, nullptr), -1);
  EXPECT_EQ(KAVODBNumRows(nullptr), 0);
  EXPECT_EQ(KAVODBFetchRow(nullptr, &row), -1);
  EXPECT_EQ(KAVODBFetchField(nullptr, row, "n"), nullptr);
  EXPECT_EQ(KAVODBAffectedRows(nullptr, nullptr), 0);
  EXPECT_STREQ(KAVODBErrorGet(nullptr), "No connection.");
  EXPECT_EQ(KAVODBDatabaseTypeGet(nullptr), -1);
  KAVODBFreeResult(nullptr);
  KAVODBClose(nullptr);
}

TEST_P(EngineTest, NullArgumentsOfAResultAreHarmless) {
  const Result result = Send(db(), "SELECT 1 AS n");
  EXPECT_EQ(KAVODBFetchRow(result.get(), nullptr), -1);
  EXPECT_EQ(KAVODBFetchField(result.get(), nullptr, "n"), nullptr);
  KAVODB_ROW row = nullptr;
  ASSERT_EQ(KAVODBFetchRow(result.get(), &row), 0);
  EXPECT_EQ(KAVODBFetchField(result.get(), row, nullptr), nullptr);
}

TEST(ConnectTest, RefusesWhatCannotBeADatabase) {
  const TempDir dir;
  EXPECT_EQ(KAVODBConnect(nullptr, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(KAVODBConnect(nullptr, nullptr, nullptr, ""), nullptr);
  EXPECT_EQ(OpenSqlite(dir / "missing/photo.db"), nullptr);
  EXPECT_EQ(OpenSqlite(dir.path()), nullptr);
}

TEST(ConnectTest, FileThatIsNoDatabaseShowsAtTheFirstStatement) {
  const TempDir dir;
  WriteFile(dir / "photo.db", std::string(8'192, 'x'));
  const Connection db = OpenSqlite(dir / "photo.db");
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(KAVODBExecute(db.get(), "SELECT * FROM sqlite_schema", nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(db.get()), "file is not a database");
}

TEST(ConnectTest, SqliteFileIsMade) {
  const TempDir dir;
  Send(OpenSqlite(dir / "photo.db"), "CREATE TABLE t (n integer)");
  EXPECT_EQ(Value(OpenSqlite(dir / "photo.db"), "SELECT count(*) AS v FROM t"), "0");
}

TEST(ConnectTest, SqliteFileThatIsALinkIsRefused) {
  const TempDir dir;
  Send(OpenSqlite(dir / "photo.db"), "CREATE TABLE t (n integer)");
  ASSERT_EQ(symlink((dir / "photo.db").c_str(), (dir / "link.db").c_str()), 0);
  EXPECT_EQ(OpenSqlite(dir / "link.db"), nullptr);
}

TEST(ConnectTest, SqliteFileIsNotMadeBehindALink) {
  const TempDir dir;
  ASSERT_EQ(symlink((dir / "photo.db").c_str(), (dir / "link.db").c_str()), 0);
  EXPECT_EQ(OpenSqlite(dir / "link.db"), nullptr);
  EXPECT_NE(access((dir / "photo.db").c_str(), F_OK), 0);
}

TEST(ConnectTest, SqliteFileThatIsAPipeIsRefused) {
  const TempDir dir;
  ASSERT_EQ(mkfifo((dir / "photo.db").c_str(), 0600), 0);
  EXPECT_EQ(OpenSqlite(dir / "photo.db"), nullptr);
  EXPECT_STREQ(KAVODBConnectErrorGet(), "Not a regular file.");
}

TEST(ConnectTest, FolderOfAnSqliteFileMayBeALink) {
  const TempDir dir;
  WriteFile(dir / "real/a.jpg", "");
  ASSERT_EQ(symlink((dir / "real").c_str(), (dir / "link").c_str()), 0);
  Send(OpenSqlite(dir / "link/photo.db"), "CREATE TABLE t (n integer)");
  EXPECT_EQ(Value(OpenSqlite(dir / "real/photo.db"), "SELECT count(*) AS v FROM t"), "0");
}

// Links of a user on the way to the folder, in a process that may do more than that user.
class ForeignFolderTest : public testing::Test {
 protected:
  static constexpr uid_t kUser = 12345;

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    Send(OpenSqlite(real("photo.db")), "CREATE TABLE t (n integer)");
    ASSERT_EQ(symlink(real("").c_str(), (dir_ / "link").c_str()), 0);
    ASSERT_EQ(lchown((dir_ / "link").c_str(), kUser, kUser), 0);
  }
  std::string real(const std::string& name) const { return dir_ / ("real/" + name); }
  Connection OpenThroughLink(const std::string& name) const { return OpenSqlite(dir_ / ("link/" + name)); }

  TempDir dir_;

 private:
  const bool made_ = mkdir((dir_ / "real").c_str(), 0755) == 0;
};

TEST_F(ForeignFolderTest, AUsersLinkIntoSomebodyElsesFolderIsRefused) {
  EXPECT_EQ(OpenThroughLink("photo.db"), nullptr);
}

TEST_F(ForeignFolderTest, NothingIsMadeBehindAUsersLink) {
  EXPECT_EQ(OpenThroughLink("new.db"), nullptr);
  EXPECT_NE(access(real("new.db").c_str(), F_OK), 0);
}

TEST_F(ForeignFolderTest, AUsersLinkToAFolderOfTheirOwnIsFollowed) {
  ASSERT_EQ(chown(real("").c_str(), kUser, kUser), 0);
  EXPECT_EQ(Value(OpenThroughLink("photo.db"), "SELECT count(*) AS v FROM t"), "0");
}

TEST(ConnectTest, UnknownServerIsAFailure) {
  const TempDir dir;
  const char* host = std::getenv("PGHOST");
  const std::string before = host != nullptr ? host : "";
  setenv("PGHOST", dir.path().c_str(), 1);
  EXPECT_EQ(OpenPostgres(), nullptr);
  host != nullptr ? setenv("PGHOST", before.c_str(), 1) : unsetenv("PGHOST");
}

TEST(PostgresSessionTest, HasTheSettingsThatLiteralsNeed) {
  if (!PostgresAnswers()) GTEST_SKIP() << "no PostgreSQL server answers";
  setenv("PGOPTIONS", "-c standard_conforming_strings=off", 1);
  setenv("PGCLIENTENCODING", "LATIN1", 1);
  const Connection db = OpenPostgres();
  unsetenv("PGOPTIONS");
  unsetenv("PGCLIENTENCODING");
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(Value(db, "SELECT current_setting('standard_conforming_strings') AS v"), "on");
  EXPECT_EQ(Value(db, "SELECT current_setting('client_encoding') AS v"), "UTF8");
  EXPECT_EQ(Value(db, Fill(KAVODB_TYPE_POSTGRES, "SELECT '@KAVO:VAR' AS v", "\\' OR 1=1 --")),
            "\\' OR 1=1 --");
}

TEST(PostgresSessionTest, TextThatIsNotUtf8IsRefusedAsAWhole) {
  if (!PostgresAnswers()) GTEST_SKIP() << "no PostgreSQL server answers";
  const Connection db = OpenPostgres();
  for (const std::string& bytes : HostileBytes()) {
    const std::string sql = Fill(KAVODB_TYPE_POSTGRES, "SELECT '@KAVO:VAR' AS v", bytes.c_str());
    EXPECT_EQ(KAVODBExecute(db.get(), sql.c_str(), nullptr), -1) << sql;
  }
  EXPECT_EQ(Value(db, "SELECT 7 AS v"), "7");
}

// What others hold locked for a moment is waited for, in this process and from another one.
class BusyTest : public testing::Test {
 protected:
  void SetUp() override { Send(OpenSqlite(file()), "CREATE TABLE t (n integer)"); }
  std::string file() const { return dir_ / "photo.db"; }

 private:
  TempDir dir_;
};

TEST_F(BusyTest, WriterWaitsForAnotherConnection) {
  const Connection holder = OpenSqlite(file());
  const Connection waiter = OpenSqlite(file());
  Send(holder, "BEGIN IMMEDIATE; INSERT INTO t VALUES (1)");
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Send(holder, "COMMIT");
  });
  Send(waiter, "INSERT INTO t VALUES (2)");
  release.join();
  EXPECT_EQ(Value(waiter, "SELECT count(*) AS v FROM t"), "2");
}

TEST_F(BusyTest, WriterWaitsForHalfAMinute) {
  const Connection holder = OpenSqlite(file());
  const Connection waiter = OpenSqlite(file());
  Send(holder, "BEGIN IMMEDIATE; INSERT INTO t VALUES (1)");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(KAVODBExecute(waiter.get(), "INSERT INTO t VALUES (2)", nullptr), -1);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_STREQ(KAVODBErrorGet(waiter.get()), "database is locked");
  EXPECT_GE(waited, std::chrono::seconds(30));
}

TEST_F(BusyTest, WritersOfSeveralProcessesWaitForEachOther) {
  constexpr int kProcesses = 4;
  constexpr int kRows = 25;
  for (int i = 0; i < kProcesses; ++i) {
    if (fork() != 0) continue;
    const Connection db = OpenSqlite(file());
    int failures = 0;
    for (int row = 0; row < kRows; ++row) {
      if (KAVODBExecute(db.get(), "INSERT INTO t VALUES (1)", nullptr) == -1) ++failures;
    }
    _exit(failures);
  }
  for (int i = 0; i < kProcesses; ++i) {
    int status = 0;
    wait(&status);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(Value(OpenSqlite(file()), "SELECT count(*) AS v FROM t"), std::to_string(kProcesses * kRows));
}

TEST(SqliteSettingsTest, SchemaOfAStrangerCannotCallDangerousFunctions) {
  const TempDir dir;
  const Connection db = OpenSqlite(dir / "photo.db");
  EXPECT_EQ(Value(db, "SELECT trusted_schema AS v FROM pragma_trusted_schema"), "0");
  Send(db, "CREATE TABLE t (n); PRAGMA writable_schema=ON");
  EXPECT_EQ(KAVODBExecute(db.get(), "UPDATE sqlite_schema SET sql = 'x'", nullptr), -1);
}

}  // namespace
