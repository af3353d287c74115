// Statements of batches on a lent PostgreSQL connection, which stay prepared, against the same ones sent as
// texts.
#include <gmock/gmock.h>

#include <random>

#include "platform/connection_lending.h"
#include "platform/database_fixture.h"
#include "platform/private_cluster.h"

namespace {

using testing::HasSubstr;

constexpr const char* kLentDatabase = "photo";
constexpr const char* kOtherDatabase = "postgres";
constexpr const char* kUser = "postgres";

constexpr const char* kSchema =
    "DROP TABLE IF EXISTS part, t; CREATE TABLE t (id SERIAL PRIMARY KEY, a TEXT UNIQUE, n INTEGER, b "
    "BIGINT, "
    "r DOUBLE PRECISION, d DATE); CREATE TABLE part (id INTEGER REFERENCES t (id) ON DELETE CASCADE)";

// Each again and again, with other values, kinds of values and errors between them.
const std::vector<std::string> kStatements = {
    "INSERT INTO t (a, n, b, r) VALUES('one', 1, 2, 3)",
    "INSERT INTO t (a, n, b, r) VALUES('two', '1', '2', '3')",
    "INSERT INTO t (a, n, b, r) VALUES('it''s \\ 100% \"_\"; --', -5, -6, -7)",
    "INSERT INTO t (a, n, b, r) VALUES('one', 1, 2, 3)",
    "INSERT INTO t (a, n, b, r) VALUES(5, 99999999999, 99999999999, 1)",
    "INSERT INTO t (a, n, b, r) VALUES(5, 2147483647, 99999999999, 1)",
    "INSERT INTO t (a, n, b, r) VALUES(6, -2147483648, -99999999999, 1)",
    "INSERT INTO t (a, n, b, r) VALUES('', 'word', 1, 1)",
    "INSERT INTO t (a, n, b, r) VALUES('r', 1, 51.508722, 0.1)",
    "INSERT INTO t (a, d) VALUES('d', date '2020-02-29')",
    "INSERT INTO t (a, d) VALUES('\xff', '2020-02-29')",
    "INSERT INTO t (a, d) VALUES('e', '2020-02-30')",
    "INSERT INTO t (a) VALUES('semicolon');",
    "SELECT * FROM t WHERE a = 'one'",
    "SELECT * FROM t WHERE a = 'none'",
    "SELECT * FROM t WHERE n = 1 AND 'x' = 'x' ORDER BY id",
    "SELECT * FROM t WHERE n = '1' ORDER BY id",
    "SELECT * FROM t WHERE n = 99999999999",
    "SELECT * FROM t WHERE n = '99999999999'",
    "SELECT * FROM t WHERE a = 5",
    "SELECT * FROM t WHERE n / 2 = 0 AND n > -3 ORDER BY id",
    "SELECT * FROM t WHERE n / 0 = 0",
    "SELECT * FROM t WHERE a IN ('one', 'two') AND n != 2 ORDER BY 1",
    "SELECT count(*) AS n FROM t WHERE a || 'x' = 'onex'",
    "SELECT * FROM t WHERE a LIKE 't%' ORDER BY id LIMIT 1",
    "SELECT * FROM t WHERE id > 0 ORDER BY id DESC LIMIT 1",
    "UPDATE t SET n = 8, r = '0.5' WHERE a = 'one'",
    "UPDATE t SET n = 9 WHERE a = 'none'",
    "UPDATE t SET a = 'two' WHERE a = 'one'",
    "UPDATE t SET a = replace(a, 'o', 'O') WHERE a = 'two'",
    "INSERT INTO part VALUES(1)",
    "INSERT INTO part VALUES(99999)",
    "INSERT INTO part SELECT id FROM t WHERE n = 1",
    "DELETE FROM t WHERE id = 1",
    "DELETE FROM t WHERE a = 'tw' OR a = 'nobody'",
    "SELECT * FROM part ORDER BY id",
    "SELECT nothing FROM t WHERE a = 'one'",
    "SELECT a FROM t WHERE a = 'one' AND",
    "INSERT INTO nowhere (a) VALUES('one')",
    "SELECT * FROM t ORDER BY id",
};

// An error tells where a literal stands in a text; a parameter stands nowhere.
std::string WithoutPlace(std::string error) {
  error.resize(std::min(error.find(" at character "), error.size()));
  while (!error.empty() && error.back() == '\n') error.pop_back();
  return error;
}

// Rows, changes or the error of SQL.
std::string Told(const Connection& connection, const std::string& sql) {
  KAVODB_RESULT* raw = nullptr;
  if (KAVODBExecute(connection.get(), sql.c_str(), &raw) == -1)
    return WithoutPlace(KAVODBErrorGet(connection.get()));
  const Result result(raw);
  std::string told = std::to_string(KAVODBAffectedRows(connection.get(), raw)) + " changed;";
  KAVODB_ROW row = nullptr;
  while (KAVODBFetchRow(raw, &row) == 0) {
    for (const char* column : {"id", "a", "n", "b", "r", "d"}) {
      const char* value = KAVODBFetchField(raw, row, column);
      told += std::string(" ") + (value != nullptr ? value : "null");
    }
    told += ";";
  }
  return told;
}

class PostgresKeptStatements : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    cluster_ = std::make_unique<PrivateCluster>();
    if (!cluster_->Make()) cluster_.reset();
  }
  static void TearDownTestSuite() { cluster_.reset(); }

  void SetUp() override {
    if (cluster_ == nullptr) GTEST_SKIP() << "no PostgreSQL server could be started";
    outside_ = Open(kLentDatabase);
    Send(outside_, kSchema);
    ASSERT_EQ(KAVODBLendDatabase(kUser, kLentDatabase), 0) << KAVODBLentErrorGet();
    ASSERT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet();
  }
  void TearDown() override { KAVODBLendEnd(); }

  static Connection Open(const char* database) {
    return Connection(KAVODBConnect(nullptr, kUser, nullptr, database));
  }
  static Connection Lent() { return Open(kLentDatabase); }
  static std::string Kept() {
    return Value(Lent(), "SELECT count(*) AS v FROM pg_prepared_statements WHERE name LIKE 'lumivault%'");
  }
  static void NextBatch() {
    ASSERT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
    ASSERT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet();
  }
  // What is committed.
  std::string Committed(const std::string& value) {
    return Value(outside_, "SELECT " + value + " AS v FROM t");
  }
  const Connection& outside() const { return outside_; }

 private:
  static inline std::unique_ptr<PrivateCluster> cluster_;
  Connection outside_;
};

TEST_F(PostgresKeptStatements, DoWhatTheyDoAsTexts) {
  const Connection plain = Open(kOtherDatabase);
  Send(plain, kSchema);
  for (int round = 0; round < 8; ++round) {
    for (const std::string& sql : kStatements) EXPECT_EQ(Told(Lent(), sql), Told(plain, sql)) << sql;
    NextBatch();
    EXPECT_EQ(Told(outside(), "SELECT * FROM t ORDER BY id"), Told(plain, "SELECT * FROM t ORDER BY id"));
  }
  EXPECT_GT(std::stoi(Kept()), 10);
}

TEST_F(PostgresKeptStatements, DoWhatTheyDoAsTextsInAnyOrder) {
  const auto seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const Connection plain = Open(kOtherDatabase);
  Send(plain, kSchema);
  for (int step = 0; step < 1'500; ++step) {
    const std::string& sql = kStatements[random() % kStatements.size()];
    ASSERT_EQ(Told(Lent(), sql), Told(plain, sql)) << sql << ", step " << step;
    if (random() % 50 == 0) NextBatch();
  }
}

TEST_F(PostgresKeptStatements, AreKeptOnceForAllTheirValues) {
  Send(Lent(), "INSERT INTO t (a, n) VALUES('one', 1)");
  Send(Lent(), "INSERT INTO t (a, n) VALUES('two', 2)");
  NextBatch();
  Send(Lent(), "INSERT INTO t (a, n) VALUES('three', 3)");
  EXPECT_EQ(Kept(), "1");
  NextBatch();
  EXPECT_EQ(Committed("sum(n)"), "6");
}

TEST_F(PostgresKeptStatements, OutsideOfBatchesNothingIsKept) {
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  Send(Lent(), "INSERT INTO t (a) VALUES('one')");
  EXPECT_EQ(Kept(), "0");
}

TEST_F(PostgresKeptStatements, MoreThanAreKeptAreAnswered) {
  for (int column = 0; column < 200; ++column) {
    const std::string name = "c" + std::to_string(column);
    Send(Lent(), "INSERT INTO t (a) VALUES('" + name + "')");
    EXPECT_EQ(Value(Lent(), "SELECT a AS " + name + ", a AS v FROM t WHERE a = '" + name + "'"), name);
  }
  EXPECT_EQ(Kept(), "64");
}

TEST_F(PostgresKeptStatements, AColumnThatAnotherProgramAddsIsSeen) {
  Send(Lent(), "INSERT INTO t (a) VALUES('one')");
  EXPECT_EQ(Value(Lent(), "SELECT * FROM t WHERE a = 'one'"), "(none)");
  NextBatch();
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  Send(outside(), "ALTER TABLE t ADD COLUMN v TEXT DEFAULT 'new'");
  ASSERT_EQ(KAVODBBatchBegin(), 0);
  Send(Lent(), "INSERT INTO t (a) VALUES('two')");
  EXPECT_EQ(Value(Lent(), "SELECT * FROM t WHERE a = 'one'"), "new");
  NextBatch();
  EXPECT_EQ(Committed("count(*)"), "2");
}

// As a pooler does that gives every transaction another session.
TEST_F(PostgresKeptStatements, ThoseThatTheSessionHasLostAreDoneOnce) {
  Send(Lent(), "INSERT INTO t (a, n) VALUES('one', 1)");
  Send(Lent(), "DEALLOCATE ALL");
  Send(Lent(), "INSERT INTO t (a, n) VALUES('two', 2)");
  Send(Lent(), "INSERT INTO t (a, n) VALUES('three', 3)");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Committed("count(*) || ' ' || sum(n)"), "3 6");
}

// And its session may have kept another statement under that name.
TEST_F(PostgresKeptStatements, ANameThatIsTakenIsNoObstacle) {
  Send(Lent(), "PREPARE lumivault_0 AS DELETE FROM t");
  Send(Lent(), "INSERT INTO t (a, n) VALUES('one', 1)");
  Send(Lent(), "INSERT INTO t (a, n) VALUES('two', 2)");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Committed("count(*) || ' ' || sum(n)"), "2 3");
}

TEST_F(PostgresKeptStatements, AreMadeAnewWithTheSession) {
  const std::string insert = "INSERT INTO t (a, n) VALUES('one', 1)";
  Send(Lent(), insert);
  const std::string pid = Value(Lent(), "SELECT pg_backend_pid() AS v");
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  Send(outside(), "DELETE FROM t; SELECT pg_terminate_backend(" + pid + ")");
  while (Value(outside(), "SELECT count(*) AS v FROM pg_stat_activity WHERE pid = " + pid) != "0") {
  }
  ASSERT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet();
  Send(Lent(), insert);
  EXPECT_EQ(Kept(), "1");
  EXPECT_EQ(KAVODBBatchCommit(), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(Committed("count(*)"), "1");
}

// Whether it has happened nobody can tell, so it is not sent again and the batch is lost.
TEST_F(PostgresKeptStatements, OneThatDiesOnTheWayTakesTheBatchAlong) {
  Send(Lent(), "INSERT INTO t (a, n) VALUES('before', 1)");
  const Connection handle = Lent();
  EXPECT_EQ(KAVODBExecute(handle.get(),
                          "INSERT INTO t (n) SELECT id FROM (VALUES (1)) AS x (id) WHERE "
                          "pg_terminate_backend(pg_backend_pid(), 0)",
                          nullptr),
            -1);
  EXPECT_EQ(KAVODBExecute(handle.get(), "INSERT INTO t (a, n) VALUES('behind', 1)", nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(handle.get()), "The batch was rolled back.");
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_EQ(Committed("count(*)"), "0");
  ASSERT_EQ(KAVODBBatchBegin(), 0) << KAVODBLentErrorGet();
  Send(Lent(), "INSERT INTO t (a, n) VALUES('before', 1)");
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  EXPECT_EQ(Committed("count(*)"), "1");
}

// In a table of few rows they are read one after another; when it has grown an index is worth it.
TEST_F(PostgresKeptStatements, ArePlannedAnewAsTablesGrow) {
  constexpr int kBatches = 100;
  ASSERT_EQ(KAVODBBatchCommit(), 0);
  Send(outside(), "ALTER TABLE t SET (autovacuum_enabled = off); INSERT INTO t (a) VALUES ('x'); ANALYZE t");
  ASSERT_EQ(KAVODBBatchBegin(), 0);
  for (int i = 0; i < 10; ++i) Send(Lent(), "SELECT * FROM t WHERE a = 'x'");
  const auto plan = [] {
    const std::string name =
        Value(Lent(), "SELECT name AS v FROM pg_prepared_statements WHERE statement LIKE '%WHERE a = $1'");
    return Column(Send(Lent(), "EXPLAIN EXECUTE " + name + "('x')"), "QUERY PLAN").front().value_or("");
  };
  EXPECT_THAT(plan(), HasSubstr("Seq Scan"));
  Send(Lent(), "INSERT INTO t (a) SELECT 'y' || i FROM generate_series(1, 20000) i");
  EXPECT_THAT(plan(), HasSubstr("Seq Scan"));
  for (int i = 0; i < kBatches; ++i) NextBatch();
  EXPECT_THAT(plan(), HasSubstr("Index"));
}

}  // namespace
