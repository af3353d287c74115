// How a run ends: signals, the closing of the database, and workers that stay for the next run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "service/supervisor_fixture.h"

namespace {

using std::chrono::milliseconds;
using testing::IsEmpty;

using SupervisorEndTest = SupervisorTest;

TEST_F(SupervisorEndTest, ASignalLetsWorkersCommitWhatTheyHave) {
  WorkQueue queue = Photos(200);
  const auto supervisor = Supervise(queue, 1);
  TurnUntilDone(1);
  workers_.deaf = true;
  loop_.Turn();
  loop_.Turn();
  supervisor->Stop();
  TurnUntilFinished(*supervisor);
  EXPECT_TRUE(supervisor->outcome());
  EXPECT_LT(told_.results.size(), 200U);
  EXPECT_EQ(told_.results.size(), committed_.size()) << "what was committed is told";
  EXPECT_EQ(workers_.databases().size(), 1U);
}

TEST_F(SupervisorEndTest, AWorkerThatDoesNotCommitInTwoSecondsIsEnded) {
  FailAt(Name(5), Fault::kSilent);
  WorkQueue queue = Photos(40);
  const auto supervisor = Supervise(queue, 1);
  for (int i = 0; i < 30; ++i) loop_.Turn();
  workers_.deaf = true;
  const auto asked = loop_.Elapsed();
  supervisor->Stop();
  TurnUntilFinished(*supervisor);
  EXPECT_GE(loop_.Elapsed() - asked, milliseconds(2'000));
  EXPECT_LT(loop_.Elapsed() - asked, milliseconds(2'200));
  EXPECT_THAT(told_.results, IsEmpty()) << "nothing of its transaction is kept";
}

TEST_F(SupervisorEndTest, ASecondSignalEndsWorkersAtOnce) {
  FailAt(Name(5), Fault::kSilent);
  WorkQueue queue = Photos(40);
  const auto supervisor = Supervise(queue, 1);
  for (int i = 0; i < 30; ++i) loop_.Turn();
  workers_.deaf = true;
  const auto asked = loop_.Elapsed();
  supervisor->Stop();
  supervisor->Stop();
  TurnUntilFinished(*supervisor);
  EXPECT_LT(loop_.Elapsed() - asked, milliseconds(200));
}

TEST_F(SupervisorEndTest, AWorkerThatDoesNotCloseTheDatabaseIsWaitedForTenSeconds) {
  workers_.deaf = true;
  EXPECT_TRUE(RunOver(3));
  EXPECT_GE(loop_.Elapsed(), milliseconds(10'000));
  EXPECT_LT(loop_.Elapsed(), milliseconds(10'200));
}

TEST_F(SupervisorEndTest, ASignalCutsThatWaitShort) {
  workers_.deaf = true;
  WorkQueue queue = Photos(3);
  const auto supervisor = Supervise(queue, 1);
  TurnUntilDone(3);
  for (int i = 0; i < 5; ++i) loop_.Turn();
  supervisor->Stop();
  TurnUntilFinished(*supervisor);
  EXPECT_LT(loop_.Elapsed(), milliseconds(2'500));
}

// Keeps what a run leaves for the next one.
class KeepingStarter : public WorkerStarter {
 public:
  explicit KeepingStarter(WorkerStarter& starter) : starter_(starter) {}

  Outcome<std::unique_ptr<StartedWorker>> Start(const std::string& database) override {
    if (!kept_) return starter_.Start(database);
    return std::unique_ptr<StartedWorker>(std::make_unique<Opened>(std::exchange(kept_, nullptr)));
  }
  bool keeps() const override { return true; }
  std::unique_ptr<StartedWorker> Keep(std::unique_ptr<StartedWorker> worker, const std::string&) override {
    kept_ = std::move(worker);
    return nullptr;
  }
  bool has_kept() const { return kept_ != nullptr; }
  void Forget() { kept_ = nullptr; }

 private:
  struct Opened : StartedWorker {
    explicit Opened(std::unique_ptr<StartedWorker> one) : worker(std::move(one)) {}
    std::optional<std::string> opened() const override { return "database"; }
    Channel& channel() override { return worker->channel(); }
    void Kill() override { worker->Kill(); }
    WorkerEnd AwaitEnd(std::chrono::milliseconds patience) override { return worker->AwaitEnd(patience); }
    std::unique_ptr<StartedWorker> worker;
  };

  WorkerStarter& starter_;
  std::unique_ptr<StartedWorker> kept_;
};

class KeptWorkerTest : public SupervisorTest {
 protected:
  Outcome<Done> RunKept(int count) {
    WorkQueue queue = Photos(count);
    Supervisor supervisor(SupervisorOptions{Library{"/p", "somebody"}, {"writer", "run"}, 1, kFileTimeout},
                          queue, told_, keeping_, loop_);
    for (int turns = 0; !supervisor.finished() && turns < kMostTurns; ++turns) loop_.Turn();
    EXPECT_TRUE(supervisor.finished());
    return supervisor.outcome();
  }

  KeepingStarter keeping_{workers_};
};

TEST_F(KeptWorkerTest, AWorkerIsThereForTheNextRun) {
  EXPECT_TRUE(RunKept(3));
  EXPECT_TRUE(keeping_.has_kept());
  EXPECT_EQ(workers_.alive(), 1U);
  EXPECT_TRUE(RunKept(5));
  EXPECT_EQ(workers_.databases().size(), 1U) << "started once";
  EXPECT_EQ(committed_.size(), 8U);
}

TEST_F(KeptWorkerTest, OneThatDiedMeanwhileIsReplaced) {
  EXPECT_TRUE(RunKept(3));
  workers_.KillLast();
  EXPECT_TRUE(RunKept(3));
  EXPECT_EQ(workers_.databases().size(), 2U);
  EXPECT_EQ(committed_.size(), 6U);
}

TEST_F(KeptWorkerTest, AfterAFailureNoneIsKept) {
  workers_.item_script = [](const WorkItem&) { return Fault::kUnusable; };
  EXPECT_FALSE(RunKept(1));
  EXPECT_FALSE(keeping_.has_kept());
}

}  // namespace
