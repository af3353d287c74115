// A lent PostgreSQL connection, on a server of the test's own.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

#include "platform/cluster_test.h"
#include "platform/connection_lending.h"
#include "platform/database_fixture.h"
#include "platform/files.h"
#include "support/silent_spawn.h"

namespace {

using std::chrono::milliseconds;

constexpr const char* kUser = "postgres";
constexpr const char* kDatabase = "photo";

class PostgresLendingTest : public OnPrivateCluster<testing::Test> {
 protected:
  void SetUp() override {
    OnPrivateCluster::SetUp();
    if (IsSkipped()) return;
    outside_ = OpenPostgres();
    ASSERT_NE(outside_, nullptr) << KAVODBConnectErrorGet();
    Send(outside_, "DROP TABLE IF EXISTS t; CREATE TABLE t (n integer UNIQUE)");
    ASSERT_EQ(KAVODBLendDatabase(kUser, kDatabase), 0) << KAVODBLentErrorGet();
  }
  void TearDown() override { KAVODBLendEnd(); }

  // A connection that was opened before the lending.
  const Connection& outside() const { return outside_; }
  std::string Rows() const { return Value(outside_, "SELECT count(*) AS v FROM t"); }
  static std::string Pid(const Connection& connection) {
    return Value(connection, "SELECT pg_backend_pid() AS v");
  }
  static void BeginBatch() { ASSERT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet(); }
  static int Execute(const Connection& connection, const char* sql) {
    return KAVODBExecute(connection.get(), sql, nullptr);
  }
  // Waits until CONDITION, a statement with one value, is true.
  static void AwaitTrue(const Connection& from, const std::string& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (Value(from, "SELECT (" + condition + ")::text AS v") != "true") {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << condition;
      std::this_thread::sleep_for(milliseconds(5));
    }
  }
  static void Terminate(const Connection& from, const std::string& pid) {
    Send(from, "SELECT pg_terminate_backend(" + pid + ")");
    AwaitTrue(from, "SELECT count(*) = 0 FROM pg_stat_activity WHERE pid = " + pid);
  }

 private:
  Connection outside_;
};

TEST_F(PostgresLendingTest, SameDatabaseIsHandedOut) {
  const Connection first = OpenPostgres();
  EXPECT_EQ(Pid(OpenPostgres()), Pid(first));
  EXPECT_NE(Pid(outside()), Pid(first));
  EXPECT_EQ(KAVODBDatabaseTypeGet(first.get()), KAVODB_TYPE_POSTGRES);
}

TEST_F(PostgresLendingTest, OtherDatabasesFilesAndThreadsHaveTheirOwn) {
  const std::string lent = Pid(OpenPostgres());
  const Connection other(KAVODBConnect(nullptr, kUser, nullptr, "postgres"));
  EXPECT_NE(Pid(other), lent);
  TempDir dir;
  EXPECT_EQ(KAVODBDatabaseTypeGet(OpenSqlite(dir / "photo").get()), KAVODB_TYPE_SQLITE);
  EXPECT_NE(std::async(std::launch::async, [] { return Pid(OpenPostgres()); }).get(), lent);
}

TEST_F(PostgresLendingTest, HandleOutlivesTheLending) {
  const Connection handle = OpenPostgres();
  KAVODBLendEnd();
  EXPECT_EQ(Value(handle, "SELECT 7 AS v"), "7");
  EXPECT_NE(Pid(OpenPostgres()), Pid(handle));
}

TEST_F(PostgresLendingTest, TransactionLeftOpenEndsWithItsHandle) {
  Send(OpenPostgres(), "BEGIN; INSERT INTO t VALUES (1)");
  EXPECT_EQ(Rows(), "0");
  Send(OpenPostgres(), "INSERT INTO t VALUES (1)");
  EXPECT_EQ(Rows(), "1");
}

TEST_F(PostgresLendingTest, NothingIsLentWithoutUserOrDatabase) {
  EXPECT_EQ(KAVODBLendDatabase(kUser, nullptr), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The user or the database is null.");
  EXPECT_EQ(KAVODBLendDatabase(nullptr, kDatabase), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The user or the database is null.");
}

// The words before it are libpq's own.
TEST_F(PostgresLendingTest, ALoanThatFailsTellsWhyInOneLineAndNothingIsLent) {
  EXPECT_EQ(KAVODBLendDatabase(kUser, "nowhere"), -1);
  EXPECT_THAT(KAVODBLentErrorGet(), testing::EndsWith("FATAL:  database \"nowhere\" does not exist"));
  EXPECT_EQ(std::string(KAVODBLentErrorGet()).find('\n'), std::string::npos);
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "No connection is lent.");
}

TEST_F(PostgresLendingTest, AFailedConnectTellsWhy) {
  EXPECT_EQ(KAVODBConnect(nullptr, kUser, nullptr, "nowhere"), nullptr);
  EXPECT_THAT(KAVODBConnectErrorGet(), testing::EndsWith("FATAL:  database \"nowhere\" does not exist"));
  EXPECT_NE(OpenPostgres(), nullptr);
  EXPECT_STREQ(KAVODBConnectErrorGet(), "");
}

using PostgresBatchTest = PostgresLendingTest;

TEST_F(PostgresBatchTest, CommitMakesAllOfItVisibleAtOnce) {
  BeginBatch();
  Send(OpenPostgres(), "INSERT INTO t VALUES (1)");
  Send(OpenPostgres(), "INSERT INTO t VALUES (2)");
  EXPECT_EQ(Rows(), "0");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Rows(), "2");
}

TEST_F(PostgresBatchTest, RollbackLeavesNothing) {
  BeginBatch();
  Send(OpenPostgres(), "INSERT INTO t VALUES (1)");
  KAVODBBatchRollback();
  EXPECT_EQ(Rows(), "0");
}

TEST_F(PostgresBatchTest, FailedStatementsTakeBackThemselvesAlone) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, "INSERT INTO t VALUES (1)");
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (1)"), -1);
  EXPECT_EQ(Execute(handle, "SELECT nothing FROM t"), -1);
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (2); INSERT INTO t VALUES (1)"), -1);
  Send(handle, "INSERT INTO t VALUES (3)");
  EXPECT_EQ(Value(handle, "SELECT sum(n) AS v FROM t"), "4");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Value(outside(), "SELECT sum(n) AS v FROM t"), "4");
}

// Of such texts the server runs nothing, not even what would have kept the statements before them.
TEST_F(PostgresBatchTest, TextsThatCannotBeReadTakeBackThemselvesAlone) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, "INSERT INTO t VALUES (1)");
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUE (2)"), -1);
  Send(handle, "UPDATE t SET n = 5");
  EXPECT_EQ(Execute(handle, "SELECT '\xff'"), -1);
  Send(handle, "INSERT INTO t VALUES (6)");
  EXPECT_EQ(Execute(handle, "SAVEPOINT \xff"), -1);
  Send(handle, "INSERT INTO t VALUES (7) -- and no line end");
  EXPECT_EQ(Execute(handle, "DELETE FROM t; INSERT INTO t VALUES ('\xff')"), -1);
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Value(outside(), "SELECT string_agg(n::text, ' ' ORDER BY n) AS v FROM t"), "5 6 7");
}

// The quote in a quoted name begins no literal: what seems to stand in one is a statement.
TEST_F(PostgresBatchTest, WhatStandsBetweenQuotedNamesIsKeptAmongFailures) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, R"(SELECT 1 AS "'"; INSERT INTO t VALUES (1); SELECT 1 AS "'")");
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (1)"), -1);
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Rows(), "1");
}

TEST_F(PostgresBatchTest, SavepointsOfTheCallerHoldAmongFailures) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, "INSERT INTO t VALUES (1)");
  Send(handle, "SAVEPOINT kept");
  Send(handle, "INSERT INTO t VALUES (2)");
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (1)"), -1);
  Send(handle, "RELEASE kept");
  Send(handle, "SAVEPOINT undone");
  Send(handle, "INSERT INTO t VALUES (3)");
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (2)"), -1);
  Send(handle, "INSERT INTO t VALUES (4)");
  Send(handle, "ROLLBACK TO undone; RELEASE undone");
  EXPECT_EQ(Execute(handle, "RELEASE undone"), -1);
  Send(handle, "INSERT INTO t VALUES (5)");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Value(outside(), "SELECT string_agg(n::text, ' ' ORDER BY n) AS v FROM t"), "1 2 5");
}

TEST_F(PostgresBatchTest, RowsAndCountsAreThoseOfTheStatement) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, "INSERT INTO t VALUES (1), (2), (3)");
  EXPECT_EQ(KAVODBAffectedRows(handle.get(), Send(handle, "UPDATE t SET n = n + 10").get()), 3);
  EXPECT_EQ(KAVODBAffectedRows(handle.get(), Send(handle, "-- nothing\n;").get()), 0);
  EXPECT_EQ(Column(Send(handle, "UPDATE t SET n = n RETURNING n - 10 AS n"), "n"),
            (std::vector<std::optional<std::string>>{"1", "2", "3"}));
  KAVODB_RESULT* rows = nullptr;
  ASSERT_EQ(KAVODBSelectLimit(handle.get(), "SELECT n FROM t ORDER BY n", 1, 1, &rows), 0);
  EXPECT_EQ(Column(Result(rows), "n"), (std::vector<std::optional<std::string>>{"12"}));
}

TEST_F(PostgresBatchTest, RemovalsOfSideFilesWaitForTheCommit) {
  TempDir dir;
  const std::string file = dir / "@eaDir/a.jpg/KAVOPHOTO_TITLE";
  WriteFile(file, "title");
  BeginBatch();
  EXPECT_EQ(KAVOBeneathRemove(dir.path().c_str(), file.c_str()), 0);
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(PostgresBatchTest, VacuumWaitsForTheCommit) {
  BeginBatch();
  Send(OpenPostgres(), "INSERT INTO t VALUES (1)");
  Send(OpenPostgres(), "VACUUM ANALYZE");
  EXPECT_EQ(Value(OpenPostgres(), "SELECT count(*) AS v FROM pg_stats WHERE tablename = 't'"), "0");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Value(outside(), "SELECT count(*) AS v FROM pg_stats WHERE tablename = 't'"), "1");
}

TEST_F(PostgresBatchTest, LostConnectionLosesTheWholeBatch) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, "INSERT INTO t VALUES (1)");
  Terminate(outside(), Pid(handle));
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (2)"), -1);
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (3)"), -1);
  EXPECT_STREQ(KAVODBErrorGet(handle.get()), "The batch was rolled back.");
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The batch was rolled back.");
  EXPECT_EQ(Rows(), "0");
}

TEST_F(PostgresBatchTest, LossThatNoStatementMetFailsTheCommit) {
  BeginBatch();
  const Connection handle = OpenPostgres();
  Send(handle, "INSERT INTO t VALUES (1)");
  Terminate(outside(), Pid(handle));
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "The connection was lost inside a transaction.");
  EXPECT_EQ(Rows(), "0");
}

TEST_F(PostgresBatchTest, TheNextBatchHasANewConnection) {
  const Connection handle = OpenPostgres();
  ASSERT_TRUE(cluster().Stop("immediate"));
  ASSERT_TRUE(cluster().Start());
  BeginBatch();
  Send(handle, "INSERT INTO t VALUES (1)");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Rows(), "1");
}

// Each waits for a lock that the other one holds; the batch has taken in too much to be sent again.
TEST_F(PostgresBatchTest, DeadlockWithOthersLosesTheWholeBatch) {
  Send(outside(), "INSERT INTO t VALUES (1), (2)");
  Send(outside(), "SET deadlock_timeout = '1h'; BEGIN; UPDATE t SET n = 10 WHERE n = 1");
  BeginBatch();
  const Connection handle = OpenPostgres();
  // It looks for a circle once, that long after it began to wait.
  Send(handle, "SET deadlock_timeout = '1s'; UPDATE t SET n = 20 WHERE n = 2");
  std::future<int> other =
      std::async(std::launch::async, [&] { return Execute(outside(), "UPDATE t SET n = 21 WHERE n = 2"); });
  const Connection watcher(KAVODBConnect(nullptr, kUser, nullptr, "postgres"));
  AwaitTrue(watcher, "SELECT count(*) > 0 FROM pg_locks WHERE NOT granted");
  EXPECT_EQ(Execute(handle, "UPDATE t SET n = 11 WHERE n = 1"), -1);
  EXPECT_STREQ(KAVODBErrorGet(handle.get()), "ERROR:  deadlock detected");
  EXPECT_EQ(Execute(handle, "INSERT INTO t VALUES (3)"), -1);
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_EQ(other.get(), 0);
  Send(outside(), "ROLLBACK; RESET deadlock_timeout");
  EXPECT_EQ(Value(outside(), "SELECT sum(n) AS v FROM t"), "3");
}

TEST_F(PostgresBatchTest, TheNextOneWaitsForTheEndOfTheOther) {
  BeginBatch();
  Send(OpenPostgres(), "INSERT INTO t VALUES (1)");
  std::future<std::string> other = std::async(std::launch::async, [] {
    EXPECT_EQ(KAVODBLendDatabase(kUser, kDatabase), 0);
    EXPECT_EQ(KAVODBBatchBegin(), 0);
    const std::string seen = Value(OpenPostgres(), "SELECT max(n) AS v FROM t");
    KAVODBLendEnd();
    return seen;
  });
  EXPECT_EQ(other.wait_for(milliseconds(200)), std::future_status::timeout);
  Send(OpenPostgres(), "INSERT INTO t VALUES (2)");
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_EQ(other.get(), "2");
}

// Whoever began is watched meanwhile, and would be taken for dead.
TEST_F(PostgresBatchTest, ASecondTryToBeginWaitsAsLongAsTheFirstHasLeft) {
  BeginBatch();
  std::future<std::string> other = std::async(std::launch::async, [] {
    EXPECT_EQ(KAVODBLendDatabase(kUser, kDatabase), 0);
    EXPECT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet();
    const std::string patience = Value(OpenPostgres(), "SELECT current_setting('lock_timeout') AS v");
    KAVODBLendEnd();
    return patience;
  });
  const std::string waiting = "FROM pg_stat_activity WHERE wait_event = 'advisory'";
  AwaitTrue(outside(), "SELECT count(*) = 1 " + waiting);
  std::this_thread::sleep_for(milliseconds(1000));
  Terminate(outside(), Value(outside(), "SELECT pid AS v " + waiting));
  AwaitTrue(outside(), "SELECT count(*) = 1 " + waiting);
  AwaitTrue(
      outside(),
      "SELECT substring(query FROM 'lock_timeout = (\\d+); SELECT')::int BETWEEN 1 AND 29000 " + waiting);
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_EQ(other.get(), "30s");
}

TEST_F(PostgresLendingTest, AServerThatIsSlowToComeBackIsWaitedFor) {
  if (SpawnCopiesThreads()) GTEST_SKIP() << kCopiedThreads;
  const Connection handle = OpenPostgres();
  ASSERT_TRUE(cluster().Stop("immediate"));
  std::future<bool> started = std::async(std::launch::async, [] {
    std::this_thread::sleep_for(std::chrono::seconds(2));
    return cluster().Start();
  });
  EXPECT_EQ(Value(handle, "SELECT 7 AS v"), "7");
  EXPECT_EQ(KAVODBLentFailureGet(), nullptr);
  EXPECT_TRUE(started.get());
}

// What two programs do to the same rows in another order is sent again until it fits.
TEST_F(PostgresLendingTest, StatementsOfTheirOwnSurviveADeadlock) {
  Send(outside(), "INSERT INTO t VALUES (1), (2)");
  const Connection other(KAVODBConnect(nullptr, kUser, nullptr, kDatabase));
  // Enough for the circle to be closed before it looks for one, which it does once.
  Send(other, "SET deadlock_timeout = '5s'");
  Send(outside(), "SET deadlock_timeout = '1h'; BEGIN; UPDATE t SET n = -1 WHERE n = 1");
  std::future<int> done = std::async(std::launch::async, [&] {
    return Execute(other, "UPDATE t SET n = n + 20 WHERE n = 2; UPDATE t SET n = n + 10 WHERE n IN (1, -1)");
  });
  AwaitTrue(outside(), "SELECT count(*) > 0 FROM pg_locks WHERE NOT granted");
  Send(outside(), "UPDATE t SET n = 200 WHERE n = 2");
  Send(outside(), "COMMIT; RESET deadlock_timeout");
  EXPECT_EQ(done.get(), 0) << KAVODBErrorGet(other.get());
  EXPECT_EQ(Value(outside(), "SELECT string_agg(n::text, ' ' ORDER BY n) AS v FROM t"), "9 200");
}

// What has waited to the end of its patience is not begun anew.
TEST_F(PostgresLendingTest, ALockThatIsNotGivenUpIsWaitedForOnce) {
  Send(outside(), "BEGIN; LOCK TABLE t");
  const Connection waiter = std::async(std::launch::async, OpenPostgres).get();
  Send(waiter, "SET lock_timeout = '15s'");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Execute(waiter, "INSERT INTO t VALUES (1)"), -1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(29));
  EXPECT_NE(std::string(KAVODBErrorGet(waiter.get())).find("lock timeout"), std::string::npos);
  Send(outside(), "COMMIT");
}

TEST_F(PostgresLendingTest, AStatementThatTakesTooLongIsEnded) {
  const Connection handle = OpenPostgres();
  EXPECT_EQ(Value(handle, "SELECT current_setting('statement_timeout') AS v"), "10min");
  Send(handle, "SET statement_timeout = '50ms'");
  EXPECT_EQ(Execute(handle, "SELECT pg_sleep(5)"), -1);
  EXPECT_STREQ(KAVODBErrorGet(handle.get()), "ERROR:  canceling statement due to statement timeout");
}

}  // namespace
