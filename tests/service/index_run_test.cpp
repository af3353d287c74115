// A run over a real folder and a real catalogue, with workers that keep the rows in memory.
#include "run/index_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "changes/library_catalogue.h"
#include "support/scripted_workers.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;
using testing::IsEmpty;

using Names = std::set<std::string>;

// A thousand runs, each of which waits for the disk.
struct InMemory {
  InMemory() {
    if (fs::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
  }
  ~InMemory() { unsetenv("TMPDIR"); }
};

class IndexRunTest : public testing::Test {
 protected:
  IndexRunTest() { fs::create_directory(root()); }

  fs::path root() const { return dir_.path() / "photos"; }
  void Make(const std::string& path) const {
    fs::create_directories((root() / path).parent_path());
    WriteFile(root() / path, path);
  }
  void MakeTree(int files = 10) const {
    for (const std::string folder : {"a", "b", "b/c"}) {
      for (int i = 0; i < files; ++i) Make(folder + "/" + std::to_string(i) + ".jpg");
    }
  }
  // Moves, deletes, changes and additions at once.
  void ChangeTree() const {
    fs::rename(root() / "b", root() / "z");
    fs::rename(root() / "a/1.jpg", root() / "a/renamed.jpg");
    for (const char* gone : {"a/0.jpg", "a/2.jpg", "z/c/1.jpg"}) fs::remove(root() / gone);
    Make("a/new.jpg");
    Make("n/new.jpg");
    std::ofstream(root() / "z/2.jpg", std::ios::app) << "more";
  }

  // What a worker does to the rows.
  ItemResult Work(const WorkItem& item) {
    const std::string to = library().Below(item.path);
    const std::string from = library().Below(item.from);
    switch (item.action) {
      case ItemAction::kAdd:
        rows_.insert(to);
        break;
      case ItemAction::kMove:
      case ItemAction::kRename:
      case ItemAction::kParkRows:
        if (rows_.erase(from) == 0) return ItemResult::Failed("there is nothing to move");
        rows_.insert(to);
        break;
      case ItemAction::kDelete:
        rows_.erase(to);
        break;
      default:
        break;
    }
    return ItemResult::Stored();
  }

  Library library() const {
    Library library;
    library.folder = root();
    library.user = "somebody";
    return library;
  }

  struct Ended {
    Outcome<Done> outcome;
    IndexReport report;
    int stopped_by;
  };
  Ended Update(bool accepts_loss = true) {
    Catalogue catalogue = std::move(*Catalogue::Open(dir_ / "catalogue.db"));
    IndexRun run({2, milliseconds(7'000), true, accepts_loss}, library(), catalogue, workers(), loop_);
    run_ = &run;
    auto outcome = run.Update();
    run_ = nullptr;
    return {outcome, run.report(), run.stopped_by()};
  }

  // Of what WANTED may have changed.
  Ended UpdatePart(const std::vector<std::pair<std::string, Reach>>& wanted,
                   const std::string& unsettled = "") {
    NewWorkers();
    WalkScope scope;
    for (const auto& [path, reach] : wanted) scope.Add(path, reach);
    Catalogue catalogue = std::move(*Catalogue::Open(dir_ / "catalogue.db"));
    IndexRun run({2, milliseconds(7'000), true, false}, library(), catalogue, workers(), loop_);
    auto outcome = run.Update({scope, [&](const std::string& path) { return path == unsettled; }});
    return {outcome, run.report(), run.stopped_by()};
  }

  // Anew for each run, so that steps count from its beginning.
  ScriptedWorkers& workers() {
    if (!workers_) NewWorkers();
    return *workers_;
  }
  void NewWorkers() {
    workers_ = std::make_unique<ScriptedWorkers>(loop_, [this](const WorkItem& item) { return Work(item); });
  }

  Names OnDisk() const {
    Names names;
    for (const auto& entry : fs::recursive_directory_iterator(root()))
      names.insert(fs::relative(entry.path(), root()));
    return names;
  }
  // The library itself may have a row.
  Names Rows() const {
    Names names = rows_;
    names.erase("");
    return names;
  }

  const InMemory in_memory_;
  TempDir dir_;
  SteppedLoop loop_;
  Names rows_;
  std::unique_ptr<ScriptedWorkers> workers_;
  IndexRun* run_ = nullptr;
};

TEST_F(IndexRunTest, AFirstRunSendsEverythingAndTheNextNothing) {
  MakeTree();
  const Ended first = Update();
  EXPECT_TRUE(first.outcome);
  EXPECT_EQ(first.report.added, 30U);
  EXPECT_EQ(Rows(), OnDisk());
  NewWorkers();
  const Ended second = Update();
  EXPECT_EQ(second.report.unchanged, 30U);
  EXPECT_EQ(workers().steps(), 0U) << "no worker was started";
}

// Nothing else tells that the library was ever stored.
TEST_F(IndexRunTest, TheAlbumOfAnEmptyLibraryIsSentUntilItIsThere) {
  const auto refused = [](const WorkItem&) { return ItemResult{ItemOutcome::kNotKept, "refused", ""}; };
  for (int run = 0; run < 2; ++run) {
    workers_ = std::make_unique<ScriptedWorkers>(loop_, refused);
    EXPECT_EQ(Update().report.failed.size(), 1U) << run;
  }
  NewWorkers();
  EXPECT_EQ(Update().report.folders, 1U);
  NewWorkers();
  EXPECT_EQ(Update().report.folders, 0U);
  EXPECT_EQ(workers().steps(), 0U);
}

TEST_F(IndexRunTest, ChangesOfAllKindsMakeTheRowsTrue) {
  MakeTree();
  Update();
  ChangeTree();
  const Ended changed = Update();
  EXPECT_TRUE(changed.outcome);
  EXPECT_THAT(changed.report.failed, IsEmpty());
  EXPECT_EQ(Rows(), OnDisk());
  EXPECT_EQ(changed.report.deleted, 3U);
}

TEST_F(IndexRunTest, OfAPartNothingElseIsSent) {
  MakeTree();
  Update();
  Make("a/new.jpg");
  Make("b/new.jpg");
  fs::remove(root() / "b/1.jpg");
  const Ended part = UpdatePart({{"a/new.jpg", Reach::kName}, {"a/0.jpg", Reach::kName}});
  EXPECT_EQ(part.report.added, 1U);
  EXPECT_EQ(part.report.deleted, 0U);
  EXPECT_TRUE(Rows().contains("a/new.jpg"));
  EXPECT_FALSE(Rows().contains("b/new.jpg"));
  EXPECT_EQ(UpdatePart({{"b", Reach::kTree}}).report.deleted, 1U);
  EXPECT_EQ(Rows(), OnDisk());
}

TEST_F(IndexRunTest, AMoveWithinAPartIsAMove) {
  MakeTree();
  Update();
  fs::rename(root() / "a/1.jpg", root() / "b/moved.jpg");
  const Ended part = UpdatePart({{"a/1.jpg", Reach::kName}, {"b/moved.jpg", Reach::kName}});
  EXPECT_EQ(part.report.moved, 1U);
  EXPECT_EQ(part.report.added, 0U);
}

TEST_F(IndexRunTest, APartIsNotEnoughBeforeEverythingWasLookedAt) {
  MakeTree();
  EXPECT_EQ(UpdatePart({{"a/0.jpg", Reach::kName}}).report.added, 30U);
  Make("b/new.jpg");
  EXPECT_EQ(UpdatePart({{"a/0.jpg", Reach::kName}}).report.added, 0U);
}

TEST_F(IndexRunTest, APartIsNotEnoughWhereTheFolderIsAnother) {
  MakeTree();
  Update();
  fs::rename(root(), dir_.path() / "away");
  fs::create_directory(root());
  Make("c/new.jpg");
  const Ended part = UpdatePart({{"a/0.jpg", Reach::kName}});
  EXPECT_EQ(part.report.added, 1U);
  EXPECT_EQ(part.report.withheld_reason, "the folder is not the one that was indexed before");
  EXPECT_TRUE(Rows().contains("a/1.jpg"));
}

TEST_F(IndexRunTest, AfterAPartAnotherFolderIsStillAnother) {
  MakeTree();
  Update();
  fs::rename(root(), dir_.path() / "away");
  fs::create_directory(root());
  for (int i = 0; i < 2; ++i) {
    UpdatePart({{"nowhere", Reach::kName}});
    EXPECT_EQ(Rows().size(), 33U) << "nothing was deleted";
  }
}

TEST_F(IndexRunTest, OfAnEmptiedFolderNoPartIsBelieved) {
  MakeTree(1);
  Update();
  for (const char* folder : {"a", "b"}) fs::remove_all(root() / folder);
  const Ended part = UpdatePart({{"a", Reach::kTree}});
  EXPECT_EQ(part.report.deleted, 0U);
  EXPECT_EQ(part.report.withheld_reason, "the folder is empty");
  Make("c/new.jpg");
  EXPECT_EQ(UpdatePart({{"a", Reach::kTree}}).report.deleted, 2U);
}

TEST_F(IndexRunTest, WhatIsBeingWrittenWaits) {
  MakeTree();
  Update();
  Make("a/growing.jpg");
  Make("a/new.jpg");
  EXPECT_EQ(UpdatePart({{"a", Reach::kTree}}, "a/growing.jpg").report.added, 1U);
  EXPECT_FALSE(Rows().contains("a/growing.jpg"));
  EXPECT_EQ(UpdatePart({{"a/growing.jpg", Reach::kName}}).report.added, 1U);
}

TEST_F(IndexRunTest, AFileThatKillsItsWorkerIsNotTriedAgain) {
  MakeTree();
  workers().item_script = [](const WorkItem& item) {
    return item.path.ends_with("a/3.jpg") ? Fault::kDies : Fault::kNone;
  };
  const Ended first = Update();
  ASSERT_EQ(first.report.failed.size(), 1U);
  EXPECT_FALSE(first.report.failed[0].known);
  NewWorkers();
  const Ended second = Update();
  EXPECT_EQ(workers().steps(), 0U);
  ASSERT_EQ(second.report.failed.size(), 1U);
  EXPECT_TRUE(second.report.failed[0].known);
}

// Tells the run to stop, as soon as the loop is asked.
class StopAtOnce : public EventHandler {
 public:
  StopAtOnce(EventLoop& loop, IndexRun*& run) : loop_(loop), run_(run) { loop_.Add(*this); }
  ~StopAtOnce() override { loop_.Remove(*this); }
  Awaited Awaits() const override { return {-1, false, loop_.Now()}; }
  void Expire() override { run_->Stop(SIGINT); }

 private:
  EventLoop& loop_;
  IndexRun*& run_;
};

// What was not looked at is not gone.
TEST_F(IndexRunTest, ASignalEndsTheLookAtTheFolderAndNothingIsDeleted) {
  MakeTree();
  Update();
  ChangeTree();
  const Names rows = rows_;
  NewWorkers();
  {
    const StopAtOnce stop(loop_, run_);
    const Ended stopped = Update();
    EXPECT_TRUE(stopped.outcome);
    EXPECT_EQ(stopped.stopped_by, SIGINT);
    EXPECT_TRUE(stopped.report.interrupted);
    EXPECT_EQ(stopped.report.deleted, 0U);
  }
  EXPECT_EQ(workers().steps(), 0U);
  EXPECT_EQ(rows_, rows);
  Update();
  EXPECT_EQ(Rows(), OnDisk());
}

TEST_F(IndexRunTest, TheBrakeHoldsWhatIsGoneUntilItIsAccepted) {
  for (int i = 0; i < 120; ++i) Make("a/" + std::to_string(i) + ".jpg");
  Make("b/kept.jpg");
  Update();
  fs::remove_all(root() / "a");
  const Ended held = Update(false);
  EXPECT_EQ(held.report.withheld_reason, "120 of 121 files are gone");
  EXPECT_EQ(Rows().size(), 123U);
  Update();
  EXPECT_EQ(Rows(), OnDisk());
}

// Whatever goes wrong at whichever step of a run: no row of a file that is there is lost, and the next run
// that nothing happens to makes all of them true.
class RunFaults : public IndexRunTest, public testing::WithParamInterface<std::tuple<Fault, bool>> {};

TEST_P(RunFaults, CostNoRowAndAreMadeGoodByTheNextRun) {
  const auto [fault, for_ever] = GetParam();
  for (std::size_t nth = 0;; ++nth) {
    fs::remove_all(root());
    fs::remove_all(dir_.path() / "catalogue.db");
    rows_.clear();
    NewWorkers();
    MakeTree(3);
    Update();
    ASSERT_EQ(Rows(), OnDisk());
    const Names before = Rows();
    ChangeTree();

    NewWorkers();
    workers().script = [&, fault = fault, for_ever = for_ever](std::size_t step) {
      return step == nth || (for_ever && step > nth) ? fault : Fault::kNone;
    };
    Update();
    const bool reached = workers().steps() > nth;
    for (const std::string& name : OnDisk()) {
      ASSERT_TRUE(!before.contains(name) || rows_.contains(name)) << name << " at step " << nth;
    }

    // A file that its worker died of is known as such: another look at it makes sure.
    for (const auto& entry : fs::recursive_directory_iterator(root())) {
      if (entry.is_regular_file()) std::ofstream(entry.path(), std::ios::app) << "changed";
    }
    for (int again = 0; again < 2; ++again) {
      NewWorkers();
      ASSERT_TRUE(Update().outcome) << "step " << nth;
    }
    ASSERT_EQ(Rows(), OnDisk()) << "step " << nth;
    if (!reached) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Runs, RunFaults,
                         testing::Combine(testing::Values(Fault::kNoStart, Fault::kDies, Fault::kKilled,
                                                          Fault::kNonsense, Fault::kSilent, Fault::kUnusable),
                                          testing::Bool()));

}  // namespace
