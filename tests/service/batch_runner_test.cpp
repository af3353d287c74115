// The batch loop of a worker over substitutes: whatever fails around it, once or for ever, by its answer or
// by an exception, what is told is true and nothing is left open.
#include "worker/batch_runner.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/substitute_batch.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;

constexpr milliseconds kStep{20};  // so that three items or so are one transaction

using Names = std::vector<std::string>;

WorkItem Photo(const std::string& path) {
  return {ItemKind::kPhoto, path};
}

Batch BatchOf(const Names& names) {
  Batch batch{{"catalogue", "run"}, {}};
  for (const std::string& name : names) batch.items.push_back(Photo(name));
  return batch;
}

Names Numbered(int count) {
  Names names;
  for (int i = 0; i < count; ++i) names.push_back("photo " + std::to_string(i));
  return names;
}

class BatchRunnerTest : public testing::Test {
 protected:
  bool Run(const Names& names) { return runner_.Run(BatchOf(names)); }
  // What was told, in the order of the items.
  std::vector<ItemResult> Told() const {
    std::vector<ItemResult> told;
    for (const Results& results : around_.giver.taken) {
      EXPECT_EQ(results.first, told.size());
      told.insert(told.end(), results.items.begin(), results.items.end());
    }
    return told;
  }
  std::vector<ItemOutcome> Outcomes() const {
    std::vector<ItemOutcome> outcomes;
    for (const ItemResult& result : Told()) outcomes.push_back(result.outcome);
    return outcomes;
  }
  std::vector<std::size_t> Sizes() const {
    std::vector<std::size_t> sizes;
    for (const Results& results : around_.giver.taken) sizes.push_back(results.items.size());
    return sizes;
  }
  static std::set<std::string> Set(const Names& names) { return {names.begin(), names.end()}; }

  SubstituteBatch around_{kStep};
  BatchRunner runner_{around_.Seams()};
};

TEST_F(BatchRunnerTest, StoresAllAndTellsEach) {
  const Names names = Numbered(5);
  EXPECT_TRUE(Run(names));
  ASSERT_EQ(Outcomes(), std::vector<ItemOutcome>(5, ItemOutcome::kStored));
  EXPECT_EQ(Told()[4].fingerprint, "of photo 4");
  EXPECT_EQ(around_.database.kept(), Set(names));
  EXPECT_EQ(around_.database.removed(), Set(names));
}

TEST_F(BatchRunnerTest, ATransactionTakesNoLongerThanFiftyMilliseconds) {
  around_.step = milliseconds(10);
  EXPECT_TRUE(Run(Numbered(12)));
  EXPECT_EQ(Sizes(), std::vector<std::size_t>({5, 5, 2}));
}

TEST_F(BatchRunnerTest, EachTransactionTellsItsGeneration) {
  EXPECT_TRUE(Run(Numbered(4)));
  ASSERT_EQ(Sizes(), std::vector<std::size_t>({3, 1}));
  EXPECT_EQ(around_.giver.taken[0].generations, std::vector<std::uint64_t>({1}));
  EXPECT_EQ(around_.giver.taken[1].generations, std::vector<std::uint64_t>({2}));
}

TEST_F(BatchRunnerTest, ReadsNoFurtherAheadThanThirtyTwoFiles) {
  around_.step = milliseconds(0);
  EXPECT_TRUE(Run(Numbered(40)));
  EXPECT_EQ(Sizes(), std::vector<std::size_t>({32, 8}));
}

TEST_F(BatchRunnerTest, ALostTransactionIsMadeAnewItemByItem) {
  EXPECT_TRUE(Run({"a", "poison", "c"}));
  ASSERT_EQ(Outcomes(),
            std::vector<ItemOutcome>({ItemOutcome::kStored, ItemOutcome::kNotKept, ItemOutcome::kStored}));
  EXPECT_EQ(Told()[1].reason, "not kept by the database: poisoned");
  EXPECT_EQ(around_.database.kept(), Set({"a", "c"}));
  EXPECT_EQ(around_.database.removed(), Set({"a", "c"}));
  EXPECT_EQ(around_.giver.taken[0].generations, std::vector<std::uint64_t>({1, 2}));
  EXPECT_EQ(around_.reads, Names({"a", "poison", "c", "a", "poison", "c"}));
}

// How long another worker waits for its turn to write, which is PATIENCE at the most.
Moment::duration WaitForTurn(const WriteTurn& turn, milliseconds patience) {
  const Moment start = Clock::now();
  std::thread([&] { const WriteTurn::Holder other(turn, patience); }).join();
  return Clock::now() - start;
}

// Reading takes as long as a file may; the other workers write meanwhile.
TEST_F(BatchRunnerTest, GivesUpTheTurnToWriteWhileItReadsAgain) {
  constexpr milliseconds kPatience{20'000};
  ASSERT_TRUE(around_.shared_turn);
  around_.at_read = [this, kPatience] { EXPECT_LT(WaitForTurn(around_.turn, kPatience), kPatience); };
  EXPECT_TRUE(Run({"a", "poison", "c"}));
  EXPECT_EQ(around_.reads.size(), 6U);
}

TEST_F(BatchRunnerTest, HasTheTurnWhenItWritesSeveralAndWhenItWritesOneAlone) {
  constexpr milliseconds kPatience{50};
  int writes = 0;
  around_.calls.at_make = [&] {
    ++writes;
    EXPECT_GE(WaitForTurn(around_.turn, kPatience), kPatience) << writes;
  };
  EXPECT_TRUE(Run({"a", "poison", "c"}));
  EXPECT_EQ(writes, 6);
}

// A worker may be silent for as long as it waits for its turn, and again for as long as for the database.
TEST_F(BatchRunnerTest, IsHeardBeforeItWaitsForItsTurnAndBeforeItWaitsForTheDatabase) {
  constexpr milliseconds kPatience{500};
  std::vector<bool> has_turn;
  std::vector<bool> has_begun;
  around_.giver.at_turn_to_none = [&] {
    has_turn.push_back(WaitForTurn(around_.turn, kPatience) >= kPatience);
    has_begun.push_back(around_.database.open());
  };
  EXPECT_TRUE(Run({"a"}));
  EXPECT_EQ(has_turn, std::vector<bool>({false, true, true}));
  EXPECT_EQ(has_begun, std::vector<bool>({false, false, true}));
}

TEST_F(BatchRunnerTest, ASpoiledTransactionIsNotKeptAndNotGoneOnWith) {
  EXPECT_TRUE(Run({"a", "spoil", "c"}));
  EXPECT_EQ(around_.database.kept(), Set({"a", "c"}));
  EXPECT_EQ(around_.database.removed(), Set({"a", "c"}));
  EXPECT_EQ(Sizes(), std::vector<std::size_t>({2, 1}));
  EXPECT_EQ(Outcomes(),
            std::vector<ItemOutcome>({ItemOutcome::kStored, ItemOutcome::kNotKept, ItemOutcome::kStored}));
}

TEST_F(BatchRunnerTest, TheSideFileOfAFailedItemStaysAmongOthersThatGo) {
  EXPECT_TRUE(Run({"a", "refused", "partial"}));
  EXPECT_EQ(around_.database.removed(), Set({"a", "partial"}));
  EXPECT_EQ(Outcomes(),
            std::vector<ItemOutcome>({ItemOutcome::kStored, ItemOutcome::kNotKept, ItemOutcome::kPartial}));
}

TEST_F(BatchRunnerTest, WhatCannotBeOpenedIsToldWithoutACall) {
  EXPECT_TRUE(Run({"unreadable"}));
  EXPECT_EQ(Outcomes(), std::vector<ItemOutcome>({ItemOutcome::kUnopened}));
  EXPECT_TRUE(around_.database.removed().empty());
}

TEST_F(BatchRunnerTest, WhatWasReadTooLateIsPartial) {
  EXPECT_TRUE(Run({"late", "late refused"}));
  EXPECT_EQ(Outcomes(), std::vector<ItemOutcome>({ItemOutcome::kPartial, ItemOutcome::kNotKept}));
}

TEST_F(BatchRunnerTest, ADatabaseThatFailsEndsTheBatch) {
  around_.faults.Set({Seam::kHealth, 2});
  EXPECT_FALSE(Run(Numbered(5)));
  ASSERT_TRUE(runner_.failure());
  EXPECT_EQ(runner_.failure()->status, ExitStatus::kDatabase);
  EXPECT_EQ(runner_.failure()->message, "/photos/.KAVOHGADB: it is full; what was done before is kept");
  EXPECT_TRUE(Told().empty());
  EXPECT_TRUE(around_.database.kept().empty());
}

TEST_F(BatchRunnerTest, ADatabaseThatFailsWithACommitIsNotTriedAgain) {
  around_.faults.Set({Seam::kHealth, 4});  // each of three items has been asked about
  EXPECT_FALSE(Run({"a", "poison", "c"}));
  EXPECT_TRUE(runner_.failure());
  EXPECT_EQ(around_.reads, Names({"a", "poison", "c"}));
}

TEST_F(BatchRunnerTest, AWordThatNobodyHearsIsTheLast) {
  around_.faults.Set({Seam::kTurnTo, 1});
  EXPECT_FALSE(Run(Numbered(5)));
  EXPECT_TRUE(around_.giver.taken.empty());
  EXPECT_EQ(around_.database.kept(), Set({"photo 0"}));
}

TEST_F(BatchRunnerTest, ATransactionThatCannotBeBegunEndsTheBatch) {
  around_.faults.Set({Seam::kBegin, 2});
  EXPECT_FALSE(Run(Numbered(5)));
  ASSERT_TRUE(runner_.failure());
  EXPECT_EQ(runner_.failure()->message, "/photos/.KAVOHGADB: cannot begin; what was done before is kept");
  EXPECT_EQ(Told().size(), 3U);
}

TEST_F(BatchRunnerTest, AWishToStopLetsTheItemInHandBeDone) {
  around_.faults.Set({Seam::kStop, 7, true});  // five files were read before it, and one item written
  EXPECT_FALSE(Run(Numbered(5)));
  EXPECT_FALSE(runner_.failure());
  EXPECT_EQ(Outcomes(), std::vector<ItemOutcome>(2, ItemOutcome::kStored));
  EXPECT_EQ(around_.database.kept(), Set({"photo 0", "photo 1"}));
}

// Every call of each seam.
class BatchFaultTest : public testing::TestWithParam<std::tuple<Seam, bool, FaultWay>> {
 protected:
  // More than are read ahead, some of which go wrong by themselves.
  BatchFaultTest() : names_(Numbered(36)) {
    names_[4] = "refused";
    names_[9] = "poison";
    names_[15] = "spoil";
    names_[20] = "unreadable";
    names_[25] = "partial";
    names_[33] = "late";
  }

  void BeginAnew(const CallFault& fault) {
    around_.emplace(kStep);
    around_->faults.Set(fault);
    told_.clear();
  }

  struct Ran {
    bool whole = false;
    Names left;  // of what was given
  };

  // A worker's turn with NAMES, whose results go into `told_`.
  Ran Run(const Names& names) {
    BatchRunner runner(around_->Seams());
    around_->giver.taken.clear();
    Ran ran;
    try {
      ran.whole = runner.Run(BatchOf(names));
    } catch (const SeamException&) {
      ran.whole = false;
    }
    ran.left = Names(names.begin() + static_cast<std::ptrdiff_t>(TakeTold(names)), names.end());
    ExpectTruth();
    EXPECT_TRUE(!ran.whole || ran.left.empty());
    return ran;
  }
  // How many items of NAMES have their results. Each has one, and none is passed over.
  std::size_t TakeTold(const Names& names) {
    std::size_t next = 0;
    for (const Results& results : around_->giver.taken) {
      EXPECT_EQ(results.first, next);
      EXPECT_LE(next + results.items.size(), names.size());
      for (const ItemResult& result : results.items)
        EXPECT_TRUE(told_.emplace(names.at(next++), result).second);
      for (const std::uint64_t generation : results.generations)
        EXPECT_LE(generation, around_->database.generation());
    }
    return next;
  }
  void ExpectTruth() const {
    EXPECT_FALSE(around_->database.open());
    EXPECT_FALSE(around_->calls.outside());
    EXPECT_FALSE(around_->giver.too_early());
    const std::set<std::string>& kept = around_->database.kept();
    EXPECT_EQ(around_->database.removed(), kept) << "side files of what is kept, and no others";
    for (const auto& [name, result] : told_) {
      const bool stored = result.done() || result.outcome == ItemOutcome::kPartial;
      EXPECT_EQ(stored, kept.contains(name)) << name << ": " << result.reason;
    }
    for (const char* never : {"refused", "poison", "spoil", "unreadable"})
      EXPECT_FALSE(kept.contains(never)) << never;
  }
  // The supervisor gives the rest to the next worker, as it does when one dies.
  void GiveTheRest(const Ran& ran) {
    around_->faults.Set({});
    around_->database.LendAnew();
    EXPECT_TRUE(Run(ran.left).whole);
    EXPECT_EQ(told_.size(), names_.size());
  }

  std::optional<SubstituteBatch> around_;
  Names names_;
  std::map<std::string, ItemResult> told_;
};

TEST_P(BatchFaultTest, LeavesNothingOpenAndTellsTheTruth) {
  const auto [seam, for_ever, way] = GetParam();
  int at = 1;
  for (bool met = true; met && !HasFailure(); ++at) {
    SCOPED_TRACE("call " + std::to_string(at));
    BeginAnew({seam, at, for_ever, way});
    const Ran ran = Run(names_);
    met = around_->faults.met();
    EXPECT_TRUE(met || ran.whole);
    GiveTheRest(ran);
  }
  EXPECT_GT(at, 2) << "the seam is never asked";
}

std::string NameOf(const testing::TestParamInfo<BatchFaultTest::ParamType>& info) {
  constexpr std::array kSeams{"Begin", "Raise", "Commit", "RollBack",   "Mark", "Health", "Make",
                              "Read",  "Clock", "TurnTo", "TurnToNone", "Take", "End",    "Stop"};
  const auto [seam, for_ever, way] = info.param;
  return std::string(kSeams.at(static_cast<std::size_t>(seam))) + (for_ever ? "ForEver" : "Once") +
         (way == FaultWay::kAnswer ? "" : "ByException");
}

INSTANTIATE_TEST_SUITE_P(
    Seams, BatchFaultTest,
    testing::Combine(testing::Values(Seam::kBegin, Seam::kRaise, Seam::kCommit, Seam::kRollBack, Seam::kMark,
                                     Seam::kHealth, Seam::kMake, Seam::kRead, Seam::kClock, Seam::kTurnTo,
                                     Seam::kTurnToNone, Seam::kTake, Seam::kEnd, Seam::kStop),
                     testing::Bool(), testing::Values(FaultWay::kAnswer, FaultWay::kException)),
    NameOf);

}  // namespace
