#include "db/session.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>

#include "platform/connection_lending.h"
#include "platform/database.h"
#include "platform/files.h"
#include "platform/substitute_loan.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class SessionTest : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(SideFile(), "title");
    LendSubstitute(script_);
  }
  void TearDown() override { KAVODBLendEnd(); }

  std::string SideFile() const { return dir_ / "@eaDir/a.jpg/KAVOPHOTO_TITLE"; }
  void Consume() const { ASSERT_EQ(KAVOBeneathRemove(dir_.path().c_str(), SideFile().c_str()), 0); }
  bool Visible() const { return KAVOBeneathExist(dir_.path().c_str(), SideFile().c_str()) != 0; }
  void BeginAndConsume() const {
    ASSERT_EQ(KAVODBBatchBegin(), 0);
    Consume();
  }
  // No batch is open, for the session or for the engine, and nothing waits.
  void ExpectOver() const {
    EXPECT_FALSE(script_.open);
    EXPECT_EQ(Session::OfThread().pending(), nullptr);
    EXPECT_EQ(KAVODBBatchMark(), 0);
  }
  void ExpectNothingKept() const {
    ExpectOver();
    EXPECT_TRUE(fs::exists(SideFile()));
    EXPECT_TRUE(Visible());
  }

  TempDir dir_;
  LoanScript script_;
};

TEST_F(SessionTest, ACommitRemovesWhatWasConsumed) {
  BeginAndConsume();
  EXPECT_TRUE(fs::exists(SideFile()));
  EXPECT_EQ(KAVODBBatchCommit(), 0);
  ExpectOver();
  EXPECT_FALSE(fs::exists(SideFile()));
}

TEST_F(SessionTest, ABatchThatIsNotBegunIsNotOpen) {
  script_.begin = LoanFails::kByResult;
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "refused");
  ExpectNothingKept();
  EXPECT_TRUE(script_.lent);
}

TEST_F(SessionTest, AnExceptionOutOfABeginLeavesNoTransaction) {
  script_.begin = LoanFails::kByException;
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  ExpectNothingKept();
  EXPECT_TRUE(script_.lent);
  script_.begin = LoanFails::kNot;
  EXPECT_EQ(KAVODBBatchBegin(), 0);
}

class FailedCommitTest : public SessionTest, public testing::WithParamInterface<LoanFails> {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    script_.commit = GetParam();
    BeginAndConsume();
  }
};

TEST_P(FailedCommitTest, KeepsNothing) {
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  ExpectNothingKept();
  EXPECT_TRUE(script_.lent);
  EXPECT_EQ(KAVODBBatchCommit(), -1);
  EXPECT_STREQ(KAVODBLentErrorGet(), "No batch is open.");
}

TEST_P(FailedCommitTest, EndsTheLendingWhereNoRollbackIsToBeHad) {
  for (const LoanFails fails : {LoanFails::kByResult, LoanFails::kByException}) {
    script_.roll_back = fails;
    EXPECT_EQ(KAVODBBatchCommit(), -1);
    ExpectNothingKept();
    EXPECT_FALSE(script_.lent);
    LendSubstitute(script_);
    BeginAndConsume();
  }
}

INSTANTIATE_TEST_SUITE_P(Ways, FailedCommitTest,
                         testing::Values(LoanFails::kByResult, LoanFails::kByException), [](const auto& way) {
                           return way.param == LoanFails::kByResult ? "ByResult" : "ByException";
                         });

TEST_F(SessionTest, ARollbackDropsWhatWasConsumed) {
  BeginAndConsume();
  KAVODBBatchRollback();
  ExpectNothingKept();
  EXPECT_TRUE(script_.lent);
}

TEST_F(SessionTest, TheEndOfTheLendingRollsBack) {
  BeginAndConsume();
  KAVODBLendEnd();
  ExpectNothingKept();
  EXPECT_FALSE(script_.lent);
}

TEST_F(SessionTest, TheEndOfTheThreadEndsTheLending) {
  LoanScript others;
  std::thread([&] {
    LendSubstitute(others);
    EXPECT_EQ(KAVODBBatchBegin(), 0);
    EXPECT_TRUE(others.open);
  }).join();
  EXPECT_FALSE(others.open);
  EXPECT_FALSE(others.lent);
}

TEST_F(SessionTest, AnotherThreadSeesNothingOfIt) {
  BeginAndConsume();
  EXPECT_EQ(KAVODBBatchBegin(), -1);
  EXPECT_EQ(KAVODBConnect(nullptr, nullptr, nullptr, ""), nullptr);
  std::thread([&] {
    EXPECT_TRUE(Visible());
    EXPECT_EQ(Session::OfThread().pending(), nullptr);
    EXPECT_STREQ(KAVODBConnectErrorGet(), "");
    EXPECT_EQ(KAVODBBatchBegin(), -1);
    EXPECT_STREQ(KAVODBLentErrorGet(), "No connection is lent.");
  }).join();
  EXPECT_STREQ(KAVODBConnectErrorGet(), "No database is named.");
  EXPECT_STREQ(KAVODBLentErrorGet(), "A batch is open.");
  EXPECT_FALSE(Visible());
}

}  // namespace
