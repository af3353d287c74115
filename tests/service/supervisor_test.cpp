// Who is given what, who is to blame for what goes wrong, and what is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>

#include "service/supervisor_fixture.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kSegmentationFault = "killed by signal 11 (Segmentation fault)";
constexpr const char* kKilled = "killed by signal 9 (Killed): its last words";
constexpr const char* kNonsense = "the worker's answer makes no sense";

TEST_F(SupervisorTest, EveryItemIsDoneOnceAndToldInOrder) {
  EXPECT_TRUE(RunOver(100));
  ASSERT_EQ(told_.events.size(), 101U);
  EXPECT_EQ(told_.events.front(), "open");
  for (int i = 0; i < 100; ++i) EXPECT_EQ(told_.events[static_cast<std::size_t>(i) + 1], Name(i));
  EXPECT_EQ(committed_.size(), 100U);
}

TEST_F(SupervisorTest, NothingToDoStartsNobody) {
  EXPECT_TRUE(RunOver(0, 4));
  EXPECT_THAT(workers_.databases(), IsEmpty());
  EXPECT_THAT(told_.events, IsEmpty());
}

TEST_F(SupervisorTest, EachGenerationOfTheDatabaseIsPassedOn) {
  EXPECT_TRUE(RunOver(3 * static_cast<int>(kBatchSize)));
  ASSERT_FALSE(told_.generations.empty());
  for (std::size_t i = 0; i < told_.generations.size(); ++i) EXPECT_EQ(told_.generations[i], i + 1);
}

// The first makes the database; the others open what it made.
TEST_F(SupervisorTest, FurtherWorkersComeWhenTheFirstHasOpenedTheLibrary) {
  EXPECT_TRUE(RunOver(200, 3));
  EXPECT_THAT(workers_.databases(), ElementsAre("", "database", "database"));
  EXPECT_EQ(workers_.most_alive(), 3U);
}

TEST_F(SupervisorTest, AFewItemsAreNotWorthASecondWorker) {
  EXPECT_TRUE(RunOver(7, 4));
  EXPECT_EQ(workers_.databases().size(), 1U);
}

TEST_F(SupervisorTest, TheItemThatAWorkerDiesOfHasFailedAndTheOthersAreDone) {
  FailAt(Name(5), Fault::kDies);
  EXPECT_TRUE(RunOver(40));
  ExpectStoredBut(40, Name(5));
  EXPECT_EQ(ResultOf(Name(5)).reason, kSegmentationFault);
  EXPECT_EQ(ResultOf(Name(5)).outcome, ItemOutcome::kCrashed);
  EXPECT_THAT(workers_.databases(), ElementsAre("", "database"));
}

TEST_F(SupervisorTest, EachItemThatAWorkerDiesOfCostsOneWorker) {
  workers_.item_script = [](const WorkItem& item) {
    return item.path == Name(2) || item.path == Name(3) || item.path == Name(38) ? Fault::kDies
                                                                                 : Fault::kNone;
  };
  EXPECT_TRUE(RunOver(40));
  for (const int dead : {2, 3, 38}) EXPECT_EQ(ResultOf(Name(dead)).outcome, ItemOutcome::kCrashed);
  EXPECT_EQ(workers_.databases().size(), 4U);
  EXPECT_EQ(told_.results.size(), 40U);
}

// Somebody else may have killed it.
TEST_F(SupervisorTest, AnItemWhoseWorkerWasKilledIsTriedAloneBeforeItIsLeft) {
  FailAt(Name(5), Fault::kKilled);
  EXPECT_TRUE(RunOver(40));
  ExpectStoredBut(40, Name(5));
  EXPECT_EQ(ResultOf(Name(5)).outcome, ItemOutcome::kNotKept);
  EXPECT_EQ(ResultOf(Name(5)).reason, kKilled);
  EXPECT_EQ(workers_.databases().size(), 3U);
}

TEST_F(SupervisorTest, OfABatchWhoseGuiltyItemIsNotKnownEachIsTriedAlone) {
  workers_.tells_place = false;
  FailAt(Name(2), Fault::kDies);
  EXPECT_TRUE(RunOver(6));
  ExpectStoredBut(6, Name(2));
  EXPECT_EQ(ResultOf(Name(2)).reason, kSegmentationFault);
  EXPECT_EQ(committed_.size(), 5U);
}

TEST_F(SupervisorTest, AFileThatTakesTooLongFailsWithTheTimeThatItHad) {
  FailAt(Name(5), Fault::kSilent);
  EXPECT_TRUE(RunOver(40));
  ExpectStoredBut(40, Name(5));
  EXPECT_EQ(ResultOf(Name(5)).reason, "timed out after 7 s");
  EXPECT_GE(loop_.Elapsed(), kFileTimeout);
  EXPECT_LT(loop_.Elapsed(), kFileTimeout + milliseconds(200));
}

TEST_F(SupervisorTest, WorkThatBelongsToNoFileHasAMinute) {
  workers_.tells_place = false;
  FailAt(Name(0), Fault::kSilent);
  EXPECT_TRUE(RunOver(1));
  // Once in company, once alone.
  EXPECT_EQ(ResultOf(Name(0)).reason, "timed out after 60 s");
  EXPECT_GE(loop_.Elapsed(), milliseconds(120'000));
  EXPECT_LT(loop_.Elapsed(), milliseconds(120'500));
}

TEST_F(SupervisorTest, AWorkerThatDiesWithNothingInHandTakesNothingWithIt) {
  // The second worker waits for what the first is at.
  FailAt(Name(0), Fault::kSilent);
  WorkQueue queue([next = 0]() mutable -> std::optional<WorkItem> {
    if (next == 40) return std::nullopt;
    WorkItem item{ItemKind::kPhoto, Name(next++)};
    item.stage = next > 20 ? 1 : 0;
    return item;
  });
  const auto supervisor = Supervise(queue, 2);
  while (loop_.Elapsed() < milliseconds(1'000)) loop_.Turn();
  ASSERT_EQ(workers_.alive(), 2U);
  ASSERT_FALSE(told_.results.empty());
  workers_.KillLast();
  TurnUntilFinished(*supervisor);
  EXPECT_TRUE(supervisor->outcome());
  ExpectStoredBut(40, Name(0));
}

TEST_F(SupervisorTest, NobodyThatCanBeStartedEndsTheRun) {
  workers_.script = [](std::size_t) { return Fault::kNoStart; };
  const auto outcome = RunOver(3, 2);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().status, ExitStatus::kFatal);
  EXPECT_EQ(outcome.failure().message, "a worker cannot be started: no memory");
  EXPECT_THAT(told_.events, IsEmpty());
}

TEST_F(SupervisorTest, WorkersThatDieAsTheyStartAreTriedThreeTimes) {
  workers_.script = [](std::size_t step) { return step % 2 == 1 ? Fault::kDies : Fault::kNone; };
  const auto outcome = RunOver(3);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().status, ExitStatus::kFatal);
  EXPECT_EQ(outcome.failure().message, std::string("no worker can be started: ") + kSegmentationFault);
  EXPECT_EQ(workers_.databases().size(), 3U);
}

TEST_F(SupervisorTest, AWorkerThatNeverOpensTheLibraryHasAMinute) {
  workers_.script = [](std::size_t step) { return step % 2 == 1 ? Fault::kSilent : Fault::kNone; };
  const auto outcome = RunOver(3);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().message, "no worker can be started: timed out after 60 s");
  EXPECT_GE(loop_.Elapsed(), milliseconds(180'000));
}

TEST_F(SupervisorTest, WhereNoFurtherWorkerStartsThoseThatRunGoOnAlone) {
  // A step behind the entry of a further worker is its start.
  std::size_t known = 1;
  workers_.script = [&](std::size_t) {
    const bool starts = workers_.databases().size() > known;
    known = workers_.databases().size();
    return starts && known > 1 ? Fault::kNoStart : Fault::kNone;
  };
  EXPECT_TRUE(RunOver(100, 2));
  ExpectStoredBut(100, "");
  EXPECT_EQ(workers_.databases().size(), 4U) << "three further ones were tried";
}

TEST_F(SupervisorTest, TheFirstWorkersFailureIsTheRuns) {
  workers_.script = [](std::size_t step) { return step == 1 ? Fault::kUnusable : Fault::kNone; };
  const auto outcome = RunOver(3);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().status, ExitStatus::kDatabase);
  EXPECT_EQ(outcome.failure().message, "the database has failed");
  EXPECT_EQ(workers_.databases().size(), 1U);
}

TEST_F(SupervisorTest, ADatabaseThatFailsUnderWayEndsTheRunAndBlamesNoItem) {
  FailAt(Name(35), Fault::kUnusable);
  const auto outcome = RunOver(100);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().message, "the database has failed");
  for (const auto& [path, results] : told_.results) EXPECT_TRUE(results[0].done()) << path;
  EXPECT_EQ(told_.results.size(), committed_.size());
  EXPECT_FALSE(told_.results.contains(Name(35)));
}

TEST_F(SupervisorTest, AWorkerThatOpensAnotherDatabaseEndsTheRun) {
  std::size_t starts = 0;
  workers_.script = [&](std::size_t) {
    const bool second = workers_.databases().size() == 2 && starts++ == 1;
    return second ? Fault::kOtherDatabase : Fault::kNone;
  };
  const auto outcome = RunOver(200, 2);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().status, ExitStatus::kDatabase);
  EXPECT_EQ(outcome.failure().message,
            "/p/.KAVOHGADB: it was removed or replaced; what was done before is kept");
}

TEST_F(SupervisorTest, AnAnswerThatMakesNoSenseEndsItsWorker) {
  FailAt(Name(5), Fault::kNonsense);
  EXPECT_TRUE(RunOver(40));
  ExpectStoredBut(40, Name(5));
  EXPECT_EQ(ResultOf(Name(5)).reason, kNonsense);
}

std::string UnusableWith(ExitStatus status) {
  return MessageWriter().Number(static_cast<std::uint32_t>(status)).Text("so be it").content();
}

// A worker that a broken file has taken over does not say how the run ends.
TEST_F(SupervisorTest, OnceItIsOpenOnlyTheDatabaseCanEndTheRun) {
  for (const auto status :
       {ExitStatus::kDone, ExitStatus::kFatal, ExitStatus::kUsage, ExitStatus::kSomeFailed,
        ExitStatus::kConfiguration, ExitStatus::kLibraryBusy, ExitStatus::kLoss}) {
    told_ = {};
    workers_.says = [=](const WorkItem& item) -> std::optional<Message> {
      if (item.path != Name(5)) return std::nullopt;
      return Message{MessageType::kUnusable, UnusableWith(status)};
    };
    EXPECT_TRUE(RunOver(40)) << static_cast<int>(status);
    EXPECT_EQ(ResultOf(Name(5)).reason, kNonsense);
    ExpectStoredBut(40, Name(5));
  }
}

TEST_F(SupervisorTest, TheNameOfADatabaseHasABound) {
  workers_.opened = std::string(64, 'd');
  EXPECT_TRUE(RunOver(100, 2));
  EXPECT_THAT(workers_.databases(), ElementsAre("", workers_.opened));
  workers_.opened = std::string(65, 'd');
  const auto outcome = RunOver(100, 2);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().message, std::string("no worker can be started: ") + kNonsense);
}

// Each item has its time, and a batch the time of all of them.
TEST_F(SupervisorTest, AWorkerThatKeepsTellingWhereItIsHasTheTimeOfItsBatch) {
  workers_.pace = milliseconds(6'900);
  EXPECT_TRUE(RunOver(32));
  ExpectStoredBut(32, "");
  told_ = {};
  const auto begin = loop_.Elapsed();
  workers_.loops_at = Name(3);
  WorkQueue queue = Photos(8);
  const auto supervisor = Supervise(queue, 1);
  while (told_.results.empty()) loop_.Turn();
  EXPECT_EQ(ResultOf(Name(3)).reason, "timed out after 268 s") << "a batch of four";
  EXPECT_LT(loop_.Elapsed() - begin, milliseconds(275'000));
}

TEST_F(SupervisorTest, SomethingIsHeardTenTimesASecond) {
  FailAt(Name(0), Fault::kSilent);
  EXPECT_TRUE(RunOver(1));
  for (std::size_t i = 1; i < told_.ticks.size(); ++i)
    EXPECT_LE(told_.ticks[i] - told_.ticks[i - 1], milliseconds(100));
}

TEST_F(SupervisorTest, TwoRunsShareOneLoop) {
  WorkQueue one = Photos(50);
  WorkQueue other = Photos(80);
  RecordingObserver told_other;
  const auto first = Supervise(one, 2);
  Supervisor second({Library{"/q", "another"}, {"writer", "other run"}, 2, kFileTimeout}, other, told_other,
                    workers_, loop_);
  for (int turns = 0; !first->finished() || !second.finished(); ++turns) {
    ASSERT_LT(turns, kMostTurns);
    loop_.Turn();
  }
  EXPECT_EQ(told_.results.size(), 50U);
  EXPECT_EQ(told_other.results.size(), 80U);
}

// Whatever goes wrong at whichever step: it comes to an end, tells of each item at most once, and calls
// nothing stored that was not committed.
class FaultLoop : public SupervisorTest, public testing::WithParamInterface<std::tuple<Fault, bool>> {};

TEST_P(FaultLoop, LosesNothingAndInventsNothing) {
  const auto [fault, for_ever] = GetParam();
  constexpr int kItems = 70;
  for (std::size_t nth = 0;; ++nth) {
    committed_.clear();
    told_ = {};
    ScriptedWorkers workers(loop_, [this](const WorkItem& item) {
      committed_.insert(item.path);
      return ItemResult::Stored();
    });
    workers.script = [&, fault = fault, for_ever = for_ever](std::size_t step) {
      return step == nth || (for_ever && step > nth) ? fault : Fault::kNone;
    };
    WorkQueue queue = Photos(kItems);
    Supervisor supervisor({Library{"/p", "somebody"}, {"writer", "run"}, 2, kFileTimeout}, queue, told_,
                          workers, loop_);
    for (int turns = 0; !supervisor.finished(); ++turns) {
      ASSERT_LT(turns, kMostTurns) << "step " << nth;
      loop_.Turn();
    }
    for (const auto& [path, results] : told_.results) {
      ASSERT_EQ(results.size(), 1U) << path << " at step " << nth;
      ASSERT_TRUE(!results[0].done() || committed_.contains(path)) << path << " at step " << nth;
    }
    ASSERT_TRUE(!supervisor.outcome() || told_.results.size() == kItems) << "step " << nth;
    ASSERT_EQ(workers.alive(), 0U) << "step " << nth;
    if (workers.steps() <= nth) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Supervisor, FaultLoop,
                         testing::Combine(testing::Values(Fault::kNoStart, Fault::kDies, Fault::kKilled,
                                                          Fault::kNonsense, Fault::kSilent, Fault::kUnusable,
                                                          Fault::kOtherDatabase),
                                          testing::Bool()));

}  // namespace
