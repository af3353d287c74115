// A supervisor over workers that follow a script, in a loop whose time stands still until it waits.
#ifndef TESTS_SERVICE_SUPERVISOR_FIXTURE_H_
#define TESTS_SERVICE_SUPERVISOR_FIXTURE_H_

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "run/supervisor.h"
#include "support/scripted_workers.h"

inline constexpr std::chrono::milliseconds kFileTimeout{7'000};
inline constexpr int kMostTurns = 20'000;

// What a run was told.
struct RecordingObserver : RunObserver {
  void LibraryOpen() override { events.emplace_back("open"); }
  void ItemDone(const WorkItem& item, const ItemResult& result) override {
    events.push_back(item.path);
    results[item.path].push_back(result);
  }
  void BatchKept(std::uint64_t generation) override { generations.push_back(generation); }
  void Tick(Moment now) override { ticks.push_back(now); }

  std::vector<std::string> events;
  std::map<std::string, std::vector<ItemResult>> results;
  std::vector<std::uint64_t> generations;
  std::vector<Moment> ticks;
};

class SupervisorTest : public testing::Test {
 protected:
  // A queue of so many photos.
  WorkQueue Photos(int count) {
    return WorkQueue([this, next = 0, count]() mutable -> std::optional<WorkItem> {
      if (next == count) return std::nullopt;
      return WorkItem{ItemKind::kPhoto, Name(next++)};
    });
  }
  static std::string Name(int number) { return "/p/" + std::to_string(1000 + number); }

  std::unique_ptr<Supervisor> Supervise(WorkQueue& queue, std::size_t workers) {
    return std::make_unique<Supervisor>(
        SupervisorOptions{Library{"/p", "somebody"}, {"writer", "run"}, workers, kFileTimeout}, queue, told_,
        workers_, loop_);
  }

  Outcome<Done> RunOver(int count, std::size_t workers = 1) {
    WorkQueue queue = Photos(count);
    const auto supervisor = Supervise(queue, workers);
    TurnUntilFinished(*supervisor);
    return supervisor->outcome();
  }

  void TurnUntilFinished(const Supervisor& supervisor) {
    for (int turns = 0; !supervisor.finished(); ++turns) {
      ASSERT_LT(turns, kMostTurns) << "it comes to no end";
      loop_.Turn();
    }
    EXPECT_EQ(workers_.alive(), 0U);
  }

  // Turns until COUNT items are told of.
  void TurnUntilDone(std::size_t count) {
    for (int turns = 0; told_.results.size() < count; ++turns) {
      ASSERT_LT(turns, kMostTurns);
      loop_.Turn();
    }
  }

  void FailAt(const std::string& path, Fault fault) {
    workers_.item_script = [=](const WorkItem& item) { return item.path == path ? fault : Fault::kNone; };
  }

  void ExpectStoredBut(int count, const std::string& path) {
    for (int i = 0; i < count; ++i) {
      if (Name(i) == path) continue;
      ASSERT_EQ(told_.results[Name(i)].size(), 1U) << Name(i);
      EXPECT_TRUE(told_.results[Name(i)][0].done()) << Name(i);
      EXPECT_TRUE(committed_.contains(Name(i)));
    }
  }
  const ItemResult& ResultOf(const std::string& path) {
    EXPECT_EQ(told_.results[path].size(), 1U);
    if (told_.results[path].empty()) told_.results[path].emplace_back();
    return told_.results[path][0];
  }

  SteppedLoop loop_;
  std::multiset<std::string> committed_;
  ScriptedWorkers workers_{loop_, [this](const WorkItem& item) {
                             committed_.insert(item.path);
                             return ItemResult::Stored();
                           }};
  RecordingObserver told_;
};

#endif  // TESTS_SERVICE_SUPERVISOR_FIXTURE_H_
