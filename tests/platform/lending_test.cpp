#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/connection_lending.h"
#include "platform/database_fixture.h"
#include "platform/files.h"

namespace fs = std::filesystem;

namespace {

class LendingTest : public testing::Test {
 protected:
  void SetUp() override {
    Send(OpenSqlite(file()),
         "PRAGMA journal_mode=WAL; CREATE TABLE t (n integer UNIQUE);"
         "CREATE TABLE parent (id integer PRIMARY KEY);"
         "CREATE TABLE child (id integer REFERENCES parent (id) ON DELETE CASCADE)");
  }
  void TearDown() override { KAVODBLendEnd(); }

  std::string file() const { return dir_ / "photo.db"; }
  std::string Path(std::string_view name) const { return dir_ / name; }
  const fs::path& folder() const { return dir_.path(); }

  void Lend() const { ASSERT_EQ(KAVODBLend(file().c_str()), 0) << KAVODBLentErrorGet(); }
  void BeginBatch() const { ASSERT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet(); }
  Connection Open() const { return OpenSqlite(file()); }

  // What a process that knows nothing of the lending sees.
  std::string Outside(const std::string& sql) const {
    sqlite3* raw = nullptr;
    sqlite3_open(file().c_str(), &raw);
    std::string value;
    const auto keep = [](void* out, int, char** values, char**) {
      *static_cast<std::string*>(out) = values[0] != nullptr ? values[0] : "NULL";
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(raw, sql.c_str(), keep, &value, nullptr), SQLITE_OK) << sqlite3_errmsg(raw);
    sqlite3_close(raw);
    return value;
  }
  std::string Rows() const { return Outside("SELECT count(*) FROM t"); }

  // Whether the handle is a hand-out: it then shares the connection's temporary tables.
  static bool IsLent(const Connection& connection) {
    EXPECT_NE(connection, nullptr);
    return KAVODBExecute(connection.get(), "SELECT * FROM temp.mark", nullptr) == 0;
  }
  void LendMarked() const {
    Lend();
    Send(Open(), "CREATE TEMP TABLE mark (n)");
  }

 private:
  TempDir dir_;
};

TEST_F(LendingTest, NothingIsLentUntilItIs) {
  Send(Open(), "CREATE TEMP TABLE mark (n)");
  EXPECT_FALSE(IsLent(Open()));
}

TEST_F(LendingTest, SameFileIsHandedOut) {
  LendMarked();
  EXPECT_TRUE(IsLent(Open()));
  EXPECT_EQ(KAVODBDatabaseTypeGet(Open().get()), KAVODB_TYPE_SQLITE);
}

TEST_F(LendingTest, SameFileIsKnownByAnyName) {
  LendMarked();
  fs::create_hard_link(file(), Path("second.db"));
  EXPECT_TRUE(IsLent(OpenSqlite(Path("second.db"))));
  fs::create_directory_symlink(fs::path(file()).parent_path(), Path("folder"));
  EXPECT_TRUE(IsLent(OpenSqlite(Path("folder/photo.db"))));
}

TEST_F(LendingTest, LinkIsRefusedAsIfNothingWereLent) {
  LendMarked();
  fs::create_symlink(file(), Path("link.db"));
  EXPECT_EQ(OpenSqlite(Path("link.db")), nullptr);
  EXPECT_EQ(KAVODBLend(Path("link.db").c_str()), -1);
}

TEST_F(LendingTest, OtherFilesAreOpened) {
  LendMarked();
  EXPECT_FALSE(IsLent(OpenSqlite(Path("other.db"))));
}

TEST_F(LendingTest, FileThatTookItsPlaceIsOpened) {
  LendMarked();
  fs::copy_file(file(), Path("copy.db"));
  fs::rename(Path("copy.db"), file());
  EXPECT_FALSE(IsLent(Open()));
}

TEST_F(LendingTest, FileThatWasRemovedIsMadeAnew) {
  LendMarked();
  fs::remove(file());
  const Connection fresh = Open();
  EXPECT_FALSE(IsLent(fresh));
  EXPECT_EQ(Value(fresh, "SELECT count(*) AS v FROM sqlite_schema"), "0");
}

TEST_F(LendingTest, EndedLendingHandsNothingOut) {
  LendMarked();
  KAVODBLendEnd();
  EXPECT_FALSE(IsLent(Open()));
  KAVODBLendEnd();
}

TEST_F(LendingTest, HandleOutlivesTheLending) {
  Lend();
  const Connection handle = Open();
  KAVODBLendEnd();
  Send(handle, "INSERT INTO t VALUES (1)");
  EXPECT_EQ(Rows(), "1");
}

TEST_F(LendingTest, SeveralHandOutsAtOnce) {
  LendMarked();
  const Connection outer = Open();
  const Result rows = Send(outer, "SELECT 1 AS n UNION ALL SELECT 2");
  {
    const Connection inner = Open();
    EXPECT_TRUE(IsLent(inner));
    Send(inner, "INSERT INTO t VALUES (1)");
    EXPECT_EQ(KAVODBExecute(inner.get(), "garbage", nullptr), -1);
  }
  EXPECT_STREQ(KAVODBErrorGet(outer.get()), "");
  EXPECT_EQ(Column(rows, "n").size(), 2U);
  EXPECT_EQ(Value(outer, "SELECT count(*) AS v FROM t"), "1");
}

TEST_F(LendingTest, OtherThreadsOpenTheirOwn) {
  LendMarked();
  std::thread([&] { EXPECT_FALSE(IsLent(Open())); }).join();
}

constexpr const char* kLikeProbe = "SELECT 'A' LIKE 'a' AS v";

TEST_F(LendingTest, LetterCaseOfLikeIsResetAtTheHandOut) {
  Lend();
  for (const char* set :
       {"PRAGMA case_sensitive_like=true;", "pragma case_sensitive_like(1)",
        "/* */ PRAGMA case_sensitive_like = ON", "PRAGMA main.case_sensitive_like = 'yes'"}) {
    const Connection first = Open();
    Send(first, set);
    EXPECT_EQ(Value(first, kLikeProbe), "0") << set;
    EXPECT_EQ(Value(Open(), kLikeProbe), "1") << set;
  }
}

TEST_F(LendingTest, LetterCaseOfLikeBelongsToTheHandle) {
  Lend();
  const Connection outer = Open();
  const Connection inner = Open();
  Send(outer, "PRAGMA case_sensitive_like=true; SELECT 1");
  EXPECT_EQ(Value(inner, kLikeProbe), "1");
  EXPECT_EQ(Value(outer, kLikeProbe), "0");
  Send(outer, "PRAGMA case_sensitive_like=false");
  EXPECT_EQ(Value(outer, kLikeProbe), "1");
}

TEST_F(LendingTest, ForeignKeysAreOn) {
  Lend();
  EXPECT_EQ(Value(Open(), "SELECT foreign_keys AS v FROM pragma_foreign_keys"), "1");
  BeginBatch();
  Send(Open(), "INSERT INTO parent VALUES (1); INSERT INTO child VALUES (1); DELETE FROM parent");
  EXPECT_EQ(Value(Open(), "SELECT count(*) AS v FROM child"), "0");
}

TEST_F(LendingTest, CommitsReachTheDisk) {
  Lend();
  EXPECT_EQ(Value(Open(), "SELECT synchronous AS v FROM pragma_synchronous"), "2");
}

TEST_F(LendingTest, TransactionLeftOpenEndsWithItsHandle) {
  Lend();
  Send(Open(), "BEGIN; INSERT INTO t VALUES (1)");
  EXPECT_EQ(Value(Open(), "SELECT count(*) AS v FROM t"), "0");
  BeginBatch();
}

TEST_F(LendingTest, TransactionOfAnotherHandleGoesOn) {
  Lend();
  const Connection outer = Open();
  Send(outer, "BEGIN; INSERT INTO t VALUES (1)");
  Send(Open(), "INSERT INTO t VALUES (2)");
  Send(outer, "COMMIT");
  EXPECT_EQ(Rows(), "2");
}

TEST_F(LendingTest, FailuresHaveAReason) {
  EXPECT_EQ(KAVODBLend(nullptr), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The file is null.");
  EXPECT_EQ(KAVODBLend(Path("missing.db").c_str()), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "No such file or directory");
  EXPECT_FALSE(fs::exists(Path("missing.db")));
  WriteFile(Path("text.db"), std::string(8'192, 'x'));
  EXPECT_EQ(KAVODBLend(Path("text.db").c_str()), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "file is not a database");
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "No connection is lent.");
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "No batch is open.");
  KAVODBBatchRollback();
}

class BatchTest : public LendingTest {
 protected:
  void SetUp() override {
    LendingTest::SetUp();
    Lend();
    WriteFile(SideFile(), "title");
  }
  std::string SideFile() const { return Path("@eaDir/a.jpg/KAVOPHOTO_TITLE"); }
  int Remove() const { return KAVOBeneathRemove(folder().c_str(), SideFile().c_str()); }
  bool OnDisk() const { return fs::exists(SideFile()); }
  bool Visible() const { return KAVOBeneathExist(folder().c_str(), SideFile().c_str()) != 0; }
};

TEST_F(BatchTest, CommitMakesAllOfItVisibleAtOnce) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  Send(Open(), "INSERT INTO t VALUES (2)");
  EXPECT_EQ(Rows(), "0");
  ASSERT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Rows(), "2");
}

TEST_F(BatchTest, RollbackLeavesNothing) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  KAVODBBatchRollback();
  EXPECT_EQ(Rows(), "0");
  Send(Open(), "INSERT INTO t VALUES (2)");
  EXPECT_EQ(Rows(), "1");
}

TEST_F(BatchTest, FailedStatementLeavesTheBatchOpen) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  EXPECT_EQ(KAVODBExecute(Open().get(), "INSERT INTO t VALUES (2), (1)", nullptr), -1);
  Send(Open(), "INSERT INTO t VALUES (3)");
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_EQ(Outside("SELECT group_concat(n) FROM t"), "1,3");
}

TEST_F(BatchTest, SecondBeginIsRefused) {
  BeginBatch();
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "A batch is open.");
  Send(Open(), "INSERT INTO t VALUES (1)");
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_EQ(Rows(), "1");
}

TEST_F(BatchTest, EndOfTheLendingRollsBack) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  ASSERT_EQ(Remove(), 0);
  KAVODBLendEnd();
  EXPECT_EQ(Rows(), "0");
  EXPECT_TRUE(Visible());
}

TEST_F(BatchTest, LendingAnotherFileRollsBack) {
  Send(OpenSqlite(Path("other.db")), "CREATE TABLE t (n)");
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  ASSERT_EQ(Remove(), 0);
  ASSERT_EQ(KAVODBLend(Path("other.db").c_str()), 0);
  EXPECT_EQ(Rows(), "0");
  EXPECT_TRUE(Visible());
  EXPECT_EQ(KAVODBBatchCommit(), -1);
}

TEST_F(BatchTest, ReplacedFileBeginsNoBatch) {
  fs::copy_file(file(), Path("copy.db"));
  fs::rename(Path("copy.db"), file());
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The lent file was replaced.");
}

TEST_F(BatchTest, FileThatIsReplacedDuringTheBatchKeepsNothing) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  ASSERT_EQ(Remove(), 0);
  fs::rename(file(), Path("lent.db"));
  Send(OpenSqlite(file()), "CREATE TABLE t (n integer)");
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The lent file was replaced.");
  EXPECT_TRUE(Visible());
  EXPECT_EQ(Rows(), "0");
  KAVODBLendEnd();
  EXPECT_EQ(Value(OpenSqlite(Path("lent.db")), "SELECT count(*) AS v FROM t"), "0");
}

TEST_F(BatchTest, RemovalWithoutABatchIsDoneAtOnce) {
  ASSERT_EQ(Remove(), 0);
  EXPECT_FALSE(OnDisk());
}

TEST_F(BatchTest, RemovalWaitsForTheCommit) {
  BeginBatch();
  ASSERT_EQ(Remove(), 0);
  EXPECT_TRUE(OnDisk());
  EXPECT_FALSE(Visible());
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_FALSE(OnDisk());
}

TEST_F(BatchTest, SideFileThatWasWrittenAgainStays) {
  BeginBatch();
  ASSERT_EQ(Remove(), 0);
  LetTheClockMoveOn();
  WriteFile(SideFile(), "other");
  EXPECT_TRUE(Visible());
  ASSERT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(ReadFile(SideFile()), "other");
}

TEST_F(BatchTest, SideFileThatWasConsumedAgainIsRemoved) {
  BeginBatch();
  ASSERT_EQ(Remove(), 0);
  LetTheClockMoveOn();
  WriteFile(SideFile(), "other");
  ASSERT_EQ(Remove(), 0);
  EXPECT_FALSE(Visible());
  ASSERT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_FALSE(OnDisk());
}

TEST_F(BatchTest, ForgottenRemovalsAreThoseSinceTheMark) {
  const std::string kept = Path("@eaDir/b.jpg/KAVOPHOTO_TITLE");
  WriteFile(kept, "kept");
  BeginBatch();
  EXPECT_EQ(KAVODBBatchMark(), 0);
  ASSERT_EQ(Remove(), 0);
  const int mark = KAVODBBatchMark();
  EXPECT_EQ(mark, 1);
  ASSERT_EQ(KAVOBeneathRemove(folder().c_str(), kept.c_str()), 0);
  EXPECT_EQ(KAVODBBatchMark(), 2);
  KAVODBBatchForgetRemovals(mark);
  EXPECT_EQ(KAVODBBatchMark(), 1);
  EXPECT_NE(KAVOBeneathExist(folder().c_str(), kept.c_str()), 0);
  ASSERT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_FALSE(OnDisk());
}

TEST_F(BatchTest, ForgettingWithoutABatchIsHarmless) {
  KAVODBBatchForgetRemovals(0);
  KAVODBBatchForgetRemovals(-1);
  KAVODBBatchForgetRemovals(7);
  EXPECT_EQ(KAVODBBatchMark(), 0);
}

TEST_F(BatchTest, RemovalIsDroppedByARollback) {
  BeginBatch();
  ASSERT_EQ(Remove(), 0);
  KAVODBBatchRollback();
  EXPECT_TRUE(Visible());
  BeginBatch();
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_TRUE(OnDisk());
}

// As when the disk is full: the statement fails and SQLite ends the transaction by itself.
TEST_F(BatchTest, BatchThatSqliteRolledBackKeepsNothing) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  ASSERT_EQ(Remove(), 0);
  EXPECT_EQ(KAVODBExecute(Open().get(), "INSERT OR ROLLBACK INTO t VALUES (1)", nullptr), -1);
  const Connection late = Open();
  EXPECT_EQ(KAVODBExecute(late.get(), "INSERT INTO t VALUES (2)", nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(late.get()), "The batch was rolled back.");
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The batch was rolled back.");
  EXPECT_EQ(Rows(), "0");
  EXPECT_TRUE(Visible());
}

TEST_F(BatchTest, ConnectionIsUsableAfterALostBatch) {
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (1)");
  EXPECT_EQ(KAVODBExecute(Open().get(), "INSERT OR ROLLBACK INTO t VALUES (1)", nullptr), -1);
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  BeginBatch();
  Send(Open(), "INSERT INTO t VALUES (3)");
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_EQ(Rows(), "1");
}

TEST_F(BatchTest, HandleOfAnEarlierLoanIsNotPartOfTheBatch) {
  Send(OpenSqlite(Path("other.db")), "CREATE TABLE t (n)");
  const Connection earlier = Open();
  ASSERT_EQ(KAVODBLend(Path("other.db").c_str()), 0);
  BeginBatch();
  Send(earlier, "INSERT INTO t VALUES (1)");
  EXPECT_EQ(Rows(), "1");
}

TEST_F(BatchTest, CommitThatFailsKeepsNothing) {
  BeginBatch();
  ASSERT_EQ(Remove(), 0);
  Send(Open(), "PRAGMA defer_foreign_keys=ON; INSERT INTO t VALUES (1); INSERT INTO child VALUES (9)");
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "FOREIGN KEY constraint failed");
  EXPECT_EQ(Rows(), "0");
  EXPECT_TRUE(Visible());
  BeginBatch();
}

TEST_F(BatchTest, BeginWaitsForAWriterInAnotherProcess) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    sqlite3* raw = nullptr;
    sqlite3_open(file().c_str(), &raw);
    const bool begun = sqlite3_exec(raw, "BEGIN IMMEDIATE; INSERT INTO t VALUES (1)", nullptr, nullptr,
                                    nullptr) == SQLITE_OK;
    const bool told = write(ready[1], "x", 1) == 1;
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    const bool kept = sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    _exit(begun && told && kept ? 0 : 1);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  BeginBatch();
  EXPECT_EQ(Value(Open(), "SELECT count(*) AS v FROM t"), "1") << "the other transaction is at its end";
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(KAVODBBatchCommit(), 0);
}

TEST_F(BatchTest, KilledProcessLeavesNothingOfItsBatch) {
  KAVODBLendEnd();  // no connection may cross a fork
  const pid_t child = fork();
  if (child == 0) {
    const bool lent = KAVODBLend(file().c_str()) == 0 && KAVODBBatchBegin() == 0;
    const Connection db = Open();
    if (!lent || KAVODBExecute(db.get(), "INSERT INTO t VALUES (1)", nullptr) != 0 || Remove() != 0) _exit(1);
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(Rows(), "0");
  EXPECT_TRUE(Visible());
}

}  // namespace
