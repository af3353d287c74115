// Transactions on the lent connection of a real database.
#include "database/transaction.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include "database/database_reader.h"
#include "database/savepoint.h"
#include "library/library.h"
#include "platform/connection_lending.h"
#include "platform/files.h"
#include "support/media_maker.h"
#include "support/service_test.h"
#include "worker/lent_database.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kMark = "UPDATE photo_image SET title = 'changed'";
const RunName kRun{"catalogue", "run"};

class TransactionTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 8, 8);
    Index();
    generation_ = Generation();
    WriteFile(SideFile(), "title");
    library_.folder = folder();
    ASSERT_EQ(KAVODBLend(library_.database().c_str()), 0) << KAVODBLentErrorGet();
    rows_.emplace(library_);
    lent_.emplace(library_.database(), *rows_);
  }
  void TearDown() override {
    lent_.reset();
    rows_.reset();
    KAVODBLendEnd();
  }

  fs::path SideFile() const { return File("@eaDir/a.jpg/KAVOPHOTO_TITLE"); }
  void Consume() const { ASSERT_EQ(KAVOBeneathRemove(folder().c_str(), SideFile().c_str()), 0); }
  std::string Generation() const {
    return Value("SELECT number FROM lumivault_fact WHERE name = 'generation'");
  }
  bool IsChanged() const { return Value("SELECT title FROM photo_image") == "changed"; }
  void ChangeAndConsume() {
    ASSERT_TRUE(rows_->Database().Run(kMark));
    Consume();
  }
  void ExpectNothingKept() {
    EXPECT_FALSE(IsChanged());
    EXPECT_EQ(Generation(), generation_);
    EXPECT_TRUE(fs::exists(SideFile()));
    EXPECT_TRUE(Transaction(*lent_)) << "the next one can be begun";
  }

  Library library_;
  std::string generation_;
  std::optional<RowLookup> rows_;
  std::optional<LentDatabase> lent_;
};

TEST_F(TransactionTest, ACommitKeepsRowsAndRemovesWhatWasConsumed) {
  Transaction transaction(*lent_);
  ChangeAndConsume();
  ConsumedFiles(transaction).AreInRows();
  const auto generation = transaction.Commit(kRun);
  ASSERT_TRUE(generation);
  EXPECT_FALSE(transaction);
  EXPECT_TRUE(IsChanged());
  EXPECT_EQ(Generation(), std::to_string(*generation));
  EXPECT_EQ(*generation, std::stoull(generation_) + 1);
  EXPECT_FALSE(fs::exists(SideFile()));
}

TEST_F(TransactionTest, ItsEndWithoutACommitTakesAllBack) {
  {
    const Transaction transaction(*lent_);
    ChangeAndConsume();
  }
  ExpectNothingKept();
}

TEST_F(TransactionTest, AnExceptionTakesAllBack) {
  try {
    const Transaction transaction(*lent_);
    ChangeAndConsume();
    throw std::runtime_error("in the middle");
  } catch (const std::runtime_error&) {
    ExpectNothingKept();
  }
}

TEST_F(TransactionTest, ASpoiledOneIsNotKept) {
  {
    Transaction transaction(*lent_);
    ChangeAndConsume();
    transaction.Spoil();
    EXPECT_FALSE(transaction.Commit(kRun));
  }
  ExpectNothingKept();
}

TEST_F(TransactionTest, ASecondOneIsRefusedAndLeavesTheFirst) {
  Transaction transaction(*lent_);
  ChangeAndConsume();
  EXPECT_FALSE(Transaction(*lent_));
  EXPECT_TRUE(transaction.Commit(kRun));
  EXPECT_TRUE(IsChanged());
}

TEST_F(TransactionTest, WhatIsConsumedForNothingStays) {
  Transaction transaction(*lent_);
  {
    const ConsumedFiles consumed(transaction);
    Consume();
  }
  EXPECT_TRUE(transaction.Commit(kRun));
  EXPECT_TRUE(fs::exists(SideFile()));
}

TEST_F(TransactionTest, WhatWasConsumedBeforeIsNotForgottenWithWhatComesLater) {
  Transaction transaction(*lent_);
  Consume();
  { const ConsumedFiles consumed(transaction); }
  EXPECT_TRUE(transaction.Commit(kRun));
  EXPECT_FALSE(fs::exists(SideFile()));
}

TEST_F(TransactionTest, ASavepointThatIsNotKeptIsUndoneAlone) {
  Transaction transaction(*lent_);
  {
    const Savepoint part(rows_->Database(), transaction);
    ASSERT_TRUE(rows_->Database().Run(kMark));
  }
  EXPECT_FALSE(transaction.spoiled());
  EXPECT_TRUE(transaction.Commit(kRun));
  EXPECT_FALSE(IsChanged());
}

TEST_F(TransactionTest, AValueThatIsNoNumberIsToldInWordsUntilTheNextStatement) {
  DatabaseReader& database = rows_->Database();
  EXPECT_FALSE(database.Query({"n"}, "SELECT @KAVO:VAR AS n", std::string("seven")));
  EXPECT_EQ(Unreadable(database).message,
            "the database cannot be read: it has a text where a number belongs");
  EXPECT_FALSE(database.Query({"n"}, "SELECT n"));
  EXPECT_EQ(Unreadable(database).message, "the database cannot be read: no such column: n");
}

TEST_F(TransactionTest, ASavepointThatCannotBeUndoneSpoilsTheTransaction) {
  {
    Transaction transaction(*lent_);
    {
      const Savepoint part(rows_->Database(), transaction);
      ChangeAndConsume();
      ASSERT_TRUE(rows_->Database().Run("RELEASE part"));
    }
    EXPECT_TRUE(transaction.spoiled());
    EXPECT_FALSE(transaction.Commit(kRun));
  }
  ExpectNothingKept();
}

}  // namespace
