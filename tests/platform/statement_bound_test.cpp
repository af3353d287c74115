// The time that one statement may take on SQLite.
#include <chrono>

#include "db/sqlite.h"
#include "platform/database_fixture.h"

namespace {

using std::chrono::milliseconds;

constexpr const char* kEndless =
    "WITH RECURSIVE c (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c) SELECT count(*) FROM c";

class StatementBoundTest : public testing::Test {
 protected:
  void SetUp() override {
    db_ = SqliteConnection::Open((dir_ / "photo.db").c_str(), SqliteFile::kMayBeMade, error_);
    ASSERT_NE(db_, nullptr) << error_;
    EXPECT_EQ(db_->statement_bound(), std::chrono::minutes(10));
    db_->set_statement_bound(milliseconds(50));
  }
  [[nodiscard]] bool Run(const char* sql) { return db_->Run(sql, error_); }
  SqliteConnection& db() { return *db_; }
  const std::string& error() const { return error_; }

 private:
  TempDir dir_;
  std::string error_;
  std::unique_ptr<SqliteConnection> db_;
};

TEST_F(StatementBoundTest, EndsWhatTakesTooLong) {
  EXPECT_FALSE(Run(kEndless));
  EXPECT_EQ(error(), "The statement took too long.");
}

TEST_F(StatementBoundTest, HoldsForEachStatementAnew) {
  EXPECT_FALSE(Run(kEndless));
  EXPECT_TRUE(Run("CREATE TABLE t (n); INSERT INTO t VALUES (1)")) << error();
  EXPECT_FALSE(Run(kEndless));
}

TEST_F(StatementBoundTest, AWriteThatIsEndedLeavesNothing) {
  ASSERT_TRUE(Run("CREATE TABLE t (n)"));
  EXPECT_FALSE(
      Run("INSERT INTO t WITH RECURSIVE c (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c) "
          "SELECT n FROM c"));
  ResultSet rows;
  std::string ignored;
  ASSERT_TRUE(db().Execute("SELECT count(*) AS v FROM t", Window{}, rows, ignored));
  EXPECT_STREQ(rows.Value(rows.NextRow(), "v"), "0");
}

}  // namespace
