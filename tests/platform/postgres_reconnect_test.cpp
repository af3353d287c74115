#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <thread>

#include "platform/cluster_test.h"
#include "platform/database_fixture.h"
#include "support/silent_spawn.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

class ReconnectTest : public OnPrivateCluster<testing::Test> {
 protected:
  void SetUp() override {
    OnPrivateCluster::SetUp();
    if (IsSkipped()) return;
    db_ = OpenPostgres();
    ASSERT_NE(db_, nullptr);
    Send(db_,
         "DROP TABLE IF EXISTS t; DROP SEQUENCE IF EXISTS s; CREATE TABLE t (n integer); CREATE SEQUENCE s");
  }

  const Connection& db() const { return db_; }
  std::string Pid() const { return Value(db(), "SELECT pg_backend_pid() AS v"); }
  std::string Rows() const { return Value(db(), "SELECT count(*) AS v FROM t"); }
  int Execute(const char* sql) const { return KAVODBExecute(db().get(), sql, nullptr); }

  // Ends the session PID from outside and waits until it is gone.
  static void Terminate(const std::string& pid) {
    const Connection other = OpenPostgres();
    Send(other, "SELECT pg_terminate_backend(" + pid + ")");
    WaitFor(
        [&] { return Value(other, "SELECT count(*) AS v FROM pg_stat_activity WHERE pid = " + pid) == "0"; });
  }

  static void AwaitSleep(const std::string& pid) {
    const Connection other = OpenPostgres();
    WaitFor([&] {
      return Value(other,
                   "SELECT count(*) AS v FROM pg_stat_activity WHERE wait_event = 'PgSleep' AND pid = " +
                       pid) == "1";
    });
  }

  // Runs SQL, which sleeps for long, on the connection of session PID and ATTACK while the server is busy
  // with it.
  int ExecuteUnder(const std::function<void(const std::string& pid)>& attack, const std::string& pid,
                   const std::string& sql, KAVODB_RESULT** result) {
    std::future<int> done =
        std::async(std::launch::async, [&] { return KAVODBExecute(db().get(), sql.c_str(), result); });
    AwaitSleep(pid);
    attack(pid);
    return done.get();
  }

  static void WaitFor(const std::function<bool()>& condition) {
    const Clock::time_point end = Clock::now() + std::chrono::minutes(2);
    while (!condition()) {
      ASSERT_LT(Clock::now(), end) << "it never happened";
      std::this_thread::sleep_for(milliseconds(10));
    }
  }

  static void Restart(const std::string& mode) {
    ASSERT_TRUE(cluster().Stop(mode));
    ASSERT_TRUE(cluster().Start());
  }

 private:
  static inline std::unique_ptr<PrivateCluster> cluster_;
  Connection db_;
};

TEST_F(ReconnectTest, EndedSessionIsNoticedBeforeAWrite) {
  const std::string before = Pid();
  Terminate(before);
  Send(db(), "INSERT INTO t VALUES (1)");
  EXPECT_EQ(Rows(), "1");
  EXPECT_NE(Pid(), before);
}

TEST_F(ReconnectTest, RestartsAreNoticedBeforeAWrite) {
  for (const char* mode : {"fast", "immediate"}) {
    Send(db(), "DELETE FROM t");
    Restart(mode);
    Send(db(), "INSERT INTO t VALUES (1)");
    EXPECT_EQ(Rows(), "1") << mode;
  }
}

TEST_F(ReconnectTest, SessionSettingsHoldAgain) {
  Send(db(), "ALTER DATABASE photo SET standard_conforming_strings = off");
  const Connection other = OpenPostgres();
  const std::string settings =
      "SELECT current_setting('standard_conforming_strings') || ' ' || current_setting('client_encoding') || "
      "' ' "
      "|| current_setting('lock_timeout') AS v";
  EXPECT_EQ(Value(other, settings), "on UTF8 30s");
  Terminate(Value(other, "SELECT pg_backend_pid() AS v"));
  EXPECT_EQ(Value(other, settings), "on UTF8 30s");
  Send(db(), "ALTER DATABASE photo RESET standard_conforming_strings");
}

// A minute in the session PID, nothing in another: time for the attack, and none for the second attempt.
std::string SleepIn(const std::string& pid) {
  return "pg_sleep(CASE WHEN pg_backend_pid() = " + pid + " THEN 60 ELSE 0 END)";
}
std::string SlowSelect(const std::string& pid) {
  return "SELECT pg_backend_pid() AS v, " + SleepIn(pid);
}

TEST_F(ReconnectTest, SelectOnItsWayIsSentOnceMore) {
  const std::string before = Pid();
  KAVODB_RESULT* result = nullptr;
  ASSERT_EQ(ExecuteUnder(Terminate, before, SlowSelect(before), &result), 0) << KAVODBErrorGet(db().get());
  const auto pid = Column(Result(result), "v");
  ASSERT_EQ(pid.size(), 1U);
  EXPECT_NE(pid.front(), before);
}

TEST_F(ReconnectTest, SelectSurvivesARestartOfTheServer) {
  if (SpawnCopiesThreads()) GTEST_SKIP() << kCopiedThreads;
  for (const char* mode : {"fast", "immediate"}) {
    const std::string pid = Pid();
    KAVODB_RESULT* result = nullptr;
    const auto restart = [&](const std::string&) { Restart(mode); };
    EXPECT_EQ(ExecuteUnder(restart, pid, SlowSelect(pid), &result), 0)
        << mode << ": " << KAVODBErrorGet(db().get());
    EXPECT_EQ(KAVODBNumRows(Result(result).get()), 1) << mode;
  }
}

// The server then closes all sessions without a word and recovers.
TEST_F(ReconnectTest, SelectSurvivesACrashOfItsSession) {
  KAVODB_RESULT* result = nullptr;
  const auto crash = [](const std::string& pid) { kill(std::stoi(pid), SIGKILL); };
  const std::string pid = Pid();
  EXPECT_EQ(ExecuteUnder(crash, pid, SlowSelect(pid), &result), 0) << KAVODBErrorGet(db().get());
  EXPECT_EQ(KAVODBNumRows(Result(result).get()), 1);
}

TEST_F(ReconnectTest, SelectWithALimitIsSentOnceMore) {
  const std::string pid = Pid();
  KAVODB_RESULT* result = nullptr;
  const std::string sql = "SELECT n, " + SleepIn(pid) + " FROM generate_series(1, 3) AS n";
  std::future<int> done = std::async(
      std::launch::async, [&] { return KAVODBSelectLimit(db().get(), sql.c_str(), 1, 1, &result); });
  AwaitSleep(pid);
  Terminate(pid);
  ASSERT_EQ(done.get(), 0) << KAVODBErrorGet(db().get());
  EXPECT_EQ(Column(Result(result), "n"), (std::vector<std::optional<std::string>>{"2"}));
}

// A sequence counts the attempts: it is not taken back when a statement fails.
TEST_F(ReconnectTest, WriteOnItsWayIsNotSentTwice) {
  const std::string pid = Pid();
  const std::string sql = "INSERT INTO t VALUES (nextval('s') + length(" + SleepIn(pid) + "::text))";
  EXPECT_EQ(ExecuteUnder(Terminate, pid, sql, nullptr), -1);
  EXPECT_NE(std::string(KAVODBErrorGet(db().get())).find("terminat"), std::string::npos);
  EXPECT_EQ(Rows(), "0");
  EXPECT_EQ(Value(db(), "SELECT last_value AS v FROM s WHERE is_called"), "1");
}

TEST_F(ReconnectTest, WriteOnItsWayInACrashIsNotSentTwice) {
  if (SpawnCopiesThreads()) GTEST_SKIP() << kCopiedThreads;
  const auto crash = [](const std::string&) { Restart("immediate"); };
  const std::string pid = Pid();
  EXPECT_EQ(ExecuteUnder(crash, pid, "INSERT INTO t SELECT 1 FROM " + SleepIn(pid), nullptr), -1);
  EXPECT_EQ(Rows(), "0");
}

TEST_F(ReconnectTest, WriteBehindASelectIsNotSentTwice) {
  const std::string pid = Pid();
  const std::string sql = "SELECT nextval('s'), " + SleepIn(pid) + "; INSERT INTO t VALUES (1)";
  EXPECT_EQ(ExecuteUnder(Terminate, pid, sql, nullptr), -1);
  EXPECT_EQ(Rows(), "0");
  EXPECT_EQ(Value(db(), "SELECT last_value AS v FROM s WHERE is_called"), "1");
}

TEST_F(ReconnectTest, LostTransactionIsAFailure) {
  Send(db(), "BEGIN");
  Send(db(), "INSERT INTO t VALUES (1)");
  Terminate(Pid());
  EXPECT_EQ(Execute("INSERT INTO t VALUES (2)"), -1);
  EXPECT_STREQ(KAVODBErrorGet(db().get()), "The connection was lost inside a transaction.");
  EXPECT_EQ(Rows(), "0");
}

TEST_F(ReconnectTest, SelectInsideATransactionIsNotSentOnceMore) {
  Send(db(), "BEGIN");
  Send(db(), "INSERT INTO t VALUES (1)");
  const std::string pid = Pid();
  EXPECT_EQ(ExecuteUnder(Terminate, pid, SlowSelect(pid), nullptr), -1);
  EXPECT_EQ(Rows(), "0");
}

TEST_F(ReconnectTest, LongOutageIsAnsweredQuickly) {
  ASSERT_TRUE(cluster().Stop("fast"));
  EXPECT_EQ(Execute("INSERT INTO t VALUES (1)"), -1);
  Clock::duration fastest = seconds(20);  // a busy machine may be late, but not every time
  for (int question = 0; question < 10; ++question) {
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Execute("INSERT INTO t VALUES (1)"), -1);
    EXPECT_STREQ(KAVODBErrorGet(db().get()), "The server cannot be reached.");
    fastest = std::min(fastest, Clock::now() - start);
  }
  EXPECT_LT(fastest, milliseconds(100));
  ASSERT_TRUE(cluster().Start());
  WaitFor([&] { return Execute("INSERT INTO t VALUES (1)") == 0; });
  EXPECT_EQ(Rows(), "1");
}

// Writes go on over restarts at random moments, each repeated by the caller until it succeeds: none is
// missing.
TEST_F(ReconnectTest, RunOverRestartsEndsWithEverythingStored) {
  if (SpawnCopiesThreads()) GTEST_SKIP() << kCopiedThreads;
  const auto seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  Send(db(), "ALTER TABLE t ADD PRIMARY KEY (n)");
  constexpr int kRestarts = 4;
  std::future<void> restarts = std::async(std::launch::async, [&] {
    for (int i = 0; i < kRestarts; ++i) {
      std::this_thread::sleep_for(milliseconds(random() % 300));
      Restart(i % 2 == 0 ? "immediate" : "fast");
    }
  });
  int written = 0;
  while (restarts.wait_for(seconds(0)) != std::future_status::ready) {
    const std::string sql = "INSERT INTO t VALUES (" + std::to_string(++written) + ") ON CONFLICT DO NOTHING";
    WaitFor([&] { return Execute(sql.c_str()) == 0; });
  }
  EXPECT_EQ(Rows(), std::to_string(written));
}

}  // namespace
