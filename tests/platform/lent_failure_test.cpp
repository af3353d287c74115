// When nothing more can be done with a lent database, and when it can.
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/connection_lending.h"
#include "platform/database_fixture.h"

namespace fs = std::filesystem;

namespace {

class LentFailureTest : public testing::Test {
 protected:
  void SetUp() override {
    Make(file());
    ASSERT_EQ(KAVODBLend(file().c_str()), 0) << KAVODBLentErrorGet();
  }
  void TearDown() override { KAVODBLendEnd(); }

  static void Make(const std::string& name) {
    Send(OpenSqlite(name), "PRAGMA journal_mode=WAL; CREATE TABLE t (n text UNIQUE)");
  }
  std::string file() const { return dir_ / "photo.db"; }
  std::string Path(std::string_view name) const { return dir_ / name; }
  Connection Open() const { return OpenSqlite(file()); }
  static int Execute(const Connection& connection, const char* sql) {
    return KAVODBExecute(connection.get(), sql, nullptr);
  }

  // The lent file takes no page more.
  void FillUp() const {
    Send(Open(), "PRAGMA max_page_count = 1");
    EXPECT_EQ(Execute(Open(), "INSERT INTO t VALUES (hex(zeroblob(100000)))"), -1);
  }

 private:
  TempDir dir_;
};

TEST_F(LentFailureTest, AFileThatIsWellHasNone) {
  Send(Open(), "INSERT INTO t VALUES ('a')");
  EXPECT_EQ(KAVODBLentFailureGet(), nullptr);
}

TEST_F(LentFailureTest, AStatementThatIsWrongIsNoFailureOfTheFile) {
  Send(Open(), "INSERT INTO t VALUES ('a')");
  EXPECT_EQ(Execute(Open(), "INSERT INTO t VALUES ('a')"), -1);
  EXPECT_EQ(Execute(Open(), "SELECT nothing"), -1);
  EXPECT_EQ(KAVODBLentFailureGet(), nullptr);
}

TEST_F(LentFailureTest, AFileThatWasRemovedOrReplaced) {
  fs::rename(file(), Path("away.db"));
  EXPECT_STREQ(KAVODBLentFailureGet(), "it was removed or replaced");
}

TEST_F(LentFailureTest, AnotherFileInItsPlace) {
  Make(Path("other.db"));
  fs::rename(Path("other.db"), file());
  EXPECT_STREQ(KAVODBLentFailureGet(), "it was removed or replaced");
}

TEST_F(LentFailureTest, AFullDisk) {
  FillUp();
  EXPECT_STREQ(KAVODBLentFailureGet(), "database or disk is full");
}

TEST_F(LentFailureTest, TheFirstReasonHoldsAfterTheLoan) {
  FillUp();
  fs::rename(file(), Path("away.db"));
  EXPECT_STREQ(KAVODBLentFailureGet(), "database or disk is full");
  KAVODBLendEnd();
  EXPECT_STREQ(KAVODBLentFailureGet(), "database or disk is full");
}

TEST_F(LentFailureTest, ALoanThatSucceedsBeginsAnew) {
  FillUp();
  ASSERT_NE(KAVODBLentFailureGet(), nullptr);
  ASSERT_EQ(KAVODBLend(file().c_str()), 0) << KAVODBLentErrorGet();
  EXPECT_EQ(KAVODBLentFailureGet(), nullptr);
}

TEST_F(LentFailureTest, WithoutALoanThereIsNone) {
  KAVODBLendEnd();
  fs::remove(file());
  EXPECT_EQ(KAVODBLentFailureGet(), nullptr);
}

}  // namespace
