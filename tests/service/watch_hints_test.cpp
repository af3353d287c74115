// What waits until it has settled.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "watch/hint_store.h"
#include "watch/line_output.h"
#include "watch/mount_changes.h"
#include "watch/patience.h"
#include "watch/retry_list.h"
#include "watch/run_order.h"
#include "watch/told_problems.h"
#include "watch/watch_news.h"
#include "watch/watched_tree.h"

namespace {

using std::chrono::milliseconds;
using Strings = std::vector<std::string>;

constexpr milliseconds kSettle{100};
constexpr milliseconds kQuiet{5'000};
constexpr Moment kBegin{std::chrono::hours(1)};

class HintStoreTest : public testing::Test {
 protected:
  void Tell(const std::string& path, HintState state, Reach reach = Reach::kName) {
    store_.Add({path, reach, state}, now_);
  }
  void Grows(const std::string& path) { Tell(path, HintState::kGrowing); }
  void Closes(const std::string& path) { Tell(path, HintState::kComplete); }
  void Pass(milliseconds time) { now_ += time; }
  // "path" for a name, "path/" for a folder, "path/*" for a tree.
  Strings Take() {
    Strings taken;
    for (const Hint& hint : store_.Take(now_)) {
      const char* reach = hint.reach == Reach::kName ? "" : hint.reach == Reach::kFolder ? "/" : "/*";
      taken.push_back(hint.path + reach);
    }
    return taken;
  }

  HintStore store_{{kSettle, kQuiet}};
  Moment now_ = kBegin;
};

TEST_F(HintStoreTest, AClosedFileIsTakenWhenItHasSettled) {
  Closes("a.jpg");
  EXPECT_EQ(store_.NextDue(), now_ + kSettle);
  Pass(kSettle - milliseconds(1));
  EXPECT_EQ(Take(), Strings());
  Pass(milliseconds(1));
  EXPECT_EQ(Take(), Strings({"a.jpg"}));
  EXPECT_TRUE(store_.empty());
  EXPECT_FALSE(store_.NextDue());
}

TEST_F(HintStoreTest, WhatIsClosedAgainSettlesAnew) {
  Closes("a.jpg");
  Pass(kSettle / 2);
  Closes("a.jpg");
  Pass(kSettle / 2);
  EXPECT_EQ(Take(), Strings());
  Pass(kSettle / 2);
  EXPECT_EQ(Take(), Strings({"a.jpg"}));
}

TEST_F(HintStoreTest, WhatGrowsWaitsForItsClose) {
  Grows("a.jpg");
  for (int i = 0; i < 1'000; ++i) {
    Pass(kQuiet - milliseconds(1));
    Grows("a.jpg");
    ASSERT_EQ(Take(), Strings());
  }
  EXPECT_TRUE(store_.IsGrowing("a.jpg"));
  Closes("a.jpg");
  EXPECT_FALSE(store_.IsGrowing("a.jpg"));
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"a.jpg"}));
}

TEST_F(HintStoreTest, WhatNobodyClosesIsTakenWhenItIsQuiet) {
  Grows("d/a.jpg");
  EXPECT_EQ(store_.NextDue(), now_ + kQuiet);
  Pass(kQuiet - milliseconds(1));
  EXPECT_EQ(Take(), Strings());
  Pass(milliseconds(1));
  EXPECT_EQ(Take(), Strings({"d/a.jpg"}));
}

TEST_F(HintStoreTest, ATouchDoesNotEndTheGrowing) {
  Grows("a.jpg");
  Tell("a.jpg", HintState::kTouched);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings());
  Tell("b.jpg", HintState::kTouched);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"b.jpg"}));
}

TEST_F(HintStoreTest, WhatGrowsAgainAfterItsCloseWaits) {
  Closes("a.jpg");
  Pass(kSettle / 2);
  Grows("a.jpg");
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings());
}

TEST_F(HintStoreTest, AGrowingFileHoldsUpNoOther) {
  Grows("a.jpg");
  Closes("b.jpg");
  EXPECT_EQ(store_.NextDue(), now_ + kSettle);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"b.jpg"}));
  EXPECT_EQ(store_.size(), 1U);
}

TEST_F(HintStoreTest, WhatChangesWithoutEndIsTakenNowAndThen) {
  int taken = 0;
  for (int i = 0; i < 4'000; ++i) {
    Closes("a.jpg");
    Pass(kSettle / 2);
    taken += Take().empty() ? 0 : 1;
  }
  // 200 seconds.
  EXPECT_GE(taken, 6);
  EXPECT_LE(taken, 7);
}

TEST_F(HintStoreTest, TheNamesOfAMoveAreTakenTogether) {
  Closes("a.jpg");
  Pass(milliseconds(3));
  Closes("b.jpg");
  EXPECT_EQ(store_.NextDue(), now_ + kSettle);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"a.jpg", "b.jpg"}));
}

// A burst goes on for half a second and is cut then.
TEST_F(HintStoreTest, WhatIsDueSoonGoesAlong) {
  Closes("first.jpg");
  const Moment end = now_ + 6 * kSettle;
  now_ = end - kSettle + kSettle / 4;
  Closes("soon.jpg");
  Pass(milliseconds(1));
  Closes("later.jpg");
  now_ = end;
  EXPECT_EQ(Take(), Strings({"first.jpg", "soon.jpg"}));
}

TEST_F(HintStoreTest, ALongTimeToSettleIsKept) {
  constexpr milliseconds kLongSettle{60'000};
  HintStore store({kLongSettle, kLongSettle + kQuiet});
  store.Add({"a.jpg", Reach::kName, HintState::kComplete}, now_);
  EXPECT_EQ(store.NextDue(), now_ + kLongSettle);
}

TEST_F(HintStoreTest, AMoveIsNotCutByTheEndOfAPart) {
  for (int i = 0; i < 49; ++i) {
    Closes(std::to_string(i) + ".jpg");
    Pass(milliseconds(10));
  }
  Tell("a.jpg", HintState::kMoved);
  Tell("b.jpg", HintState::kMoved);
  Pass(milliseconds(90));
  Tell("b.jpg", HintState::kMoved);
  Tell("c.jpg", HintState::kMoved);
  Closes("z.jpg");
  Pass(milliseconds(20));
  const Strings taken = Take();
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg"})
    EXPECT_EQ(std::count(taken.begin(), taken.end(), name), 1) << name;
  EXPECT_EQ(std::count(taken.begin(), taken.end(), "z.jpg"), 0);
}

TEST_F(HintStoreTest, WhatMovedAndIsWrittenThenGrows) {
  Tell("a.jpg", HintState::kMoved);
  Grows("a.jpg");
  Closes("b.jpg");
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"b.jpg"}));
}

TEST_F(HintStoreTest, ABurstThatGoesOnIsTakenInParts) {
  int taken = 0;
  std::size_t most = 0;
  for (int i = 0; i < 1'000; ++i) {
    Closes(std::to_string(i) + ".jpg");
    Pass(milliseconds(10));
    const std::size_t count = Take().size();
    taken += count > 0 ? 1 : 0;
    most = std::max(most, count);
  }
  // A part each half a second.
  EXPECT_GE(taken, 15);
  EXPECT_LE(taken, 25);
  EXPECT_LE(most, 65U);
}

TEST_F(HintStoreTest, TheLargerReachStays) {
  Tell("d", HintState::kComplete, Reach::kTree);
  Tell("d", HintState::kTouched);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"d/*"}));
}

TEST_F(HintStoreTest, TheLibraryItselfCanBeMeant) {
  Tell("", HintState::kComplete, Reach::kTree);
  Closes("a.jpg");
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"/*", "a.jpg"}));
}

TEST_F(HintStoreTest, WhatIsPutBackComesAgain) {
  Closes("a.jpg");
  Tell("d", HintState::kComplete, Reach::kTree);
  Pass(kSettle);
  const std::vector<Hint> taken = store_.Take(now_);
  store_.PutBack(taken, now_ + kSettle);
  EXPECT_EQ(Take(), Strings());
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"a.jpg", "d/*"}));
}

TEST_F(HintStoreTest, WhatIsPutBackGoesAlongWithWhatIsTakenBefore) {
  store_.PutBack({{"a.jpg", Reach::kName, HintState::kComplete}}, now_ + 100 * kSettle);
  EXPECT_EQ(store_.NextDue(), now_ + 100 * kSettle);
  Closes("b.jpg");
  EXPECT_EQ(store_.NextDue(), now_ + kSettle);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"a.jpg", "b.jpg"}));
}

TEST_F(HintStoreTest, WhatIsPutBackDisturbsNothingThatGrows) {
  Grows("a.jpg");
  store_.PutBack({{"a.jpg", Reach::kName, HintState::kComplete}}, now_);
  EXPECT_TRUE(store_.IsGrowing("a.jpg"));
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings());
}

TEST_F(HintStoreTest, EverythingIsTakenButWhatGrows) {
  Grows("a.jpg");
  Closes("b.jpg");
  EXPECT_EQ(store_.TakeAll().size(), 1U);
  EXPECT_TRUE(store_.IsGrowing("a.jpg"));
}

TEST_F(HintStoreTest, TenThousandNamesOfAFolderAreTheFolder) {
  for (int i = 0; i < 10'000; ++i) Closes("d/" + std::to_string(i) + ".jpg");
  EXPECT_EQ(store_.size(), 10'000U);
  for (int i = 10'000; i < 60'000; ++i) Closes("d/" + std::to_string(i) + ".jpg");
  EXPECT_EQ(store_.size(), 1U);
  Closes("e/a.jpg");
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"d/", "e/a.jpg"}));
}

TEST_F(HintStoreTest, TheTreesAmongThemStay) {
  Tell("d/new", HintState::kComplete, Reach::kTree);
  for (int i = 0; i <= 10'000; ++i) Closes("d/" + std::to_string(i) + ".jpg");
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"d/", "d/new/*"}));
}

TEST_F(HintStoreTest, TooManyTreesAreTheTreeAboveThem) {
  for (int i = 0; i <= 10'000; ++i) Tell("d/" + std::to_string(i), HintState::kComplete, Reach::kTree);
  Pass(kSettle);
  EXPECT_EQ(Take(), Strings({"d/*"}));
}

TEST_F(HintStoreTest, TooManyFoldersAreTheLibrary) {
  for (int i = 0; i <= 100'000; ++i) Closes(std::to_string(i) + "/a.jpg");
  EXPECT_LE(store_.size(), 2U);
  Pass(kSettle);
  EXPECT_EQ(Take().front(), "/*");
}

TEST_F(HintStoreTest, AFolderThatStandsForItsNamesSettlesToo) {
  for (int i = 0; i <= 10'000; ++i) Closes("d/" + std::to_string(i) + ".jpg");
  Pass(kSettle / 2);
  Grows("d/x.jpg");
  Pass(kSettle / 2);
  EXPECT_EQ(Take(), Strings());
  Pass(kSettle / 2);
  EXPECT_EQ(Take(), Strings({"d/"}));
}

class RetryListTest : public testing::Test {
 protected:
  using Paths = std::set<std::string>;
  void Run(const Paths& undone, const WalkScope& scope = WalkScope::Whole()) {
    list_.NoteRun(undone, scope, now_);
  }
  static WalkScope Names(const Paths& names) {
    WalkScope scope;
    for (const std::string& name : names) scope.Add(name, Reach::kName);
    return scope;
  }
  // To the moment when something is due.
  milliseconds Wait() {
    const Moment due = list_.NextDue().value_or(now_);
    const auto time = std::chrono::duration_cast<milliseconds>(due - now_);
    now_ = due;
    return time;
  }

  RetryList list_;
  Moment now_ = kBegin;
};

TEST_F(RetryListTest, WhatIsNotDoneIsTriedLessAndLessOften) {
  milliseconds expected(100);
  for (int tried = 0; tried < 20; ++tried) {
    Run({"a.jpg"});
    EXPECT_EQ(Wait(), expected);
    EXPECT_EQ(list_.Take(now_), Strings({"a.jpg"}));
    EXPECT_FALSE(list_.NextDue()) << "its run is to come";
    expected = std::min(expected * 2, milliseconds(300'000));
  }
  EXPECT_EQ(expected, milliseconds(300'000));
}

TEST_F(RetryListTest, NothingIsTakenBeforeItsTime) {
  Run({"a.jpg"});
  now_ += milliseconds(99);
  EXPECT_EQ(list_.Take(now_), Strings());
}

TEST_F(RetryListTest, WhatIsDoneIsForgotten) {
  for (int tried = 0; tried < 3; ++tried) {
    Run({"a.jpg"});
    Wait();
    list_.Take(now_);
  }
  Run({});
  EXPECT_EQ(list_.size(), 0U);
  Run({"a.jpg"});
  EXPECT_EQ(Wait(), milliseconds(100)) << "it begins anew";
}

TEST_F(RetryListTest, ARunOverAPartSaysNothingOfTheRest) {
  Run({"a.jpg", "b.jpg"});
  Run({}, Names({"a.jpg", "c.jpg"}));
  Wait();
  EXPECT_EQ(list_.Take(now_), Strings({"b.jpg"}));
}

TEST_F(RetryListTest, EachHasItsOwnPatience) {
  Run({"a.jpg"});
  Wait();
  Run({"a.jpg"}, Names({"a.jpg"}));
  Run({"b.jpg"}, Names({"b.jpg"}));
  Wait();
  EXPECT_EQ(list_.Take(now_), Strings({"b.jpg"}));
  EXPECT_EQ(Wait(), milliseconds(100));
  EXPECT_EQ(list_.Take(now_), Strings({"a.jpg"}));
}

TEST_F(RetryListTest, TooManyAreTheLibrary) {
  Paths many;
  for (int i = 0; i < 1'000; ++i) many.insert(std::to_string(i));
  Run(many);
  EXPECT_EQ(list_.size(), 1'000U);
  many.insert("x");
  milliseconds expected(100);
  for (int tried = 0; tried < 5; ++tried) {
    Run(many);
    EXPECT_EQ(Wait(), expected);
    EXPECT_EQ(list_.Take(now_), Strings({""}));
    expected *= 2;
  }
  Run({"x"});
  EXPECT_EQ(list_.size(), 1U);
  Wait();
  EXPECT_EQ(list_.Take(now_), Strings({"x"}));
}

TEST_F(RetryListTest, ItKnowsWhatLiesBelowAFolder) {
  Run({"d/e/a.jpg", "f"});
  EXPECT_TRUE(list_.HasBelow("d"));
  EXPECT_TRUE(list_.HasBelow("d/e"));
  for (const char* path : {"d/e/a.jpg", "f", "d/a", "", "g"}) EXPECT_FALSE(list_.HasBelow(path)) << path;
}

TEST_F(RetryListTest, ItKnowsWhichFoldersAboveAPathAreNotDone) {
  Run({"d", "d/e/f", "d/x.jpg"});
  EXPECT_EQ(list_.Above("d/e/f/a.jpg"), Strings({"d/e/f", "d"}));
  EXPECT_EQ(list_.Above("d/e/f"), Strings({"d"}));
  EXPECT_EQ(list_.Above("d"), Strings());
  EXPECT_EQ(list_.Above("g/a.jpg"), Strings());
}

class ToldProblemsTest : public testing::Test {
 protected:
  // Which of them are news.
  Strings News(const std::vector<std::pair<std::string, std::string>>& problems, bool looked_at = true) {
    std::vector<FileProblem> found;
    for (const auto& [path, reason] : problems) found.push_back({path, reason});
    told_.Compare(found, [&](const std::string&) { return looked_at; });
    Strings news;
    for (const FileProblem& problem : found) {
      if (!problem.known) news.push_back(problem.path);
    }
    return news;
  }
  ToldProblems told_;
};

TEST_F(ToldProblemsTest, OneThatGoesOnIsNewsOnce) {
  EXPECT_EQ(News({{"a", "closed"}, {"b", "full"}}), Strings({"a", "b"}));
  EXPECT_EQ(News({{"a", "closed"}, {"b", "full"}}), Strings());
  EXPECT_EQ(News({{"a", "gone"}, {"b", "full"}}), Strings({"a"})) << "for another reason";
}

TEST_F(ToldProblemsTest, OneThatComesAgainIsNewsAgain) {
  News({{"a", "closed"}});
  EXPECT_EQ(News({}, false), Strings());
  EXPECT_EQ(News({{"a", "closed"}}), Strings()) << "nobody has looked at it meanwhile";
  EXPECT_EQ(News({}), Strings());
  EXPECT_EQ(News({{"a", "closed"}}), Strings({"a"}));
}

class WatchedTreeTest : public testing::Test {
 protected:
  WatchedTreeTest() {
    tree_.Put("", 1);
    tree_.Put("a", 2);
    tree_.Put("a/b", 3);
    tree_.Put("c", 4);
  }
  using Numbers = std::vector<int>;
  WatchedTree tree_;
};

TEST_F(WatchedTreeTest, ANumberHasItsPath) {
  EXPECT_EQ(tree_.PathsOf(1), Strings({""}));
  EXPECT_EQ(tree_.PathsOf(3), Strings({"a/b"}));
  EXPECT_EQ(tree_.PathsOf(9), Strings());
  EXPECT_TRUE(tree_.Contains("a/b"));
  EXPECT_FALSE(tree_.Contains("a/x"));
}

TEST_F(WatchedTreeTest, WhatGoesTakesAllBelowAlong) {
  EXPECT_EQ(tree_.Remove("a"), Numbers({3, 2}));
  EXPECT_EQ(tree_.PathsOf(3), Strings());
  EXPECT_EQ(tree_.size(), 2U);
  EXPECT_EQ(tree_.Remove("a"), Numbers());
}

TEST_F(WatchedTreeTest, AFolderWithTwoNamesKeepsItsNumberUntilBothAreGone) {
  EXPECT_EQ(tree_.Put("c/again", 2), Numbers());
  EXPECT_EQ(tree_.PathsOf(2), Strings({"a", "c/again"}));
  EXPECT_EQ(tree_.Remove("a"), Numbers({3}));
  EXPECT_EQ(tree_.PathsOf(2), Strings({"c/again"}));
  EXPECT_EQ(tree_.Remove("c"), Numbers({2, 4}));
}

TEST_F(WatchedTreeTest, AnotherFolderUnderANameFreesTheOldNumber) {
  EXPECT_EQ(tree_.Put("a", 7), Numbers({3, 2}));
  EXPECT_EQ(tree_.PathsOf(7), Strings({"a"}));
  EXPECT_EQ(tree_.PathsOf(2), Strings());
}

TEST_F(WatchedTreeTest, AFolderInsideItselfIsSeen) {
  tree_.Put("a/b/a", 2);
  EXPECT_TRUE(tree_.HasAbove("a/b/a", 2));
  EXPECT_FALSE(tree_.HasAbove("a", 2));
  EXPECT_TRUE(tree_.HasAbove("a/b", 1));
}

TEST_F(WatchedTreeTest, ANumberThatTheKernelTakesIsNotGivenBack) {
  tree_.RemoveWatch(3);
  EXPECT_FALSE(tree_.Contains("a/b"));
  EXPECT_EQ(tree_.Remove("a"), Numbers({2}));
}

TEST(MountPoints, AreReadWithTheirBlanks) {
  const auto mounts = ParseMountPoints(
      "22 1 8:1 / / rw - ext4 /dev/a rw\n30 22 0:40 /sub /mnt/a\\040b\\134c rw shared:1 - tmpfs tmpfs "
      "rw\nbroken\n");
  ASSERT_EQ(mounts.size(), 2U);
  EXPECT_EQ(mounts.begin()->path, "/");
  EXPECT_EQ(mounts.rbegin()->path, "/mnt/a b\\c");
  EXPECT_EQ(mounts.rbegin()->id, "30 0:40 /sub");
}

TEST(WatchTextTest, CountsAndTimesReadAsPeopleSayThem) {
  EXPECT_EQ(Counted(0, "row"), "0 rows");
  EXPECT_EQ(Counted(1, "row"), "1 row");
  EXPECT_EQ(Counted(2, "row"), "2 rows");
  EXPECT_EQ(TextOf(milliseconds(300'000)), "5 minutes");
  EXPECT_EQ(TextOf(milliseconds(60'000)), "1 minute");
  EXPECT_EQ(TextOf(milliseconds(90'000)), "90 seconds");
  EXPECT_EQ(TextOf(milliseconds(1'000)), "1 second");
  EXPECT_EQ(TextOf(milliseconds(1'500)), "1.5 seconds");
}

TEST(WatchTextTest, ARowThatIsKeptIsToldOfAsOne) {
  IndexReport report;
  report.library.folder = "/p";
  report.withheld_reason = "why";
  report.withheld = {"/p/a.jpg"};
  EXPECT_NE(WatchText({WatchEvent::kRun, "/p", "", report})
                .find("/p: 1 row was kept: why (lumivault index --accept-loss deletes it)\n"),
            std::string::npos);
  report.withheld.emplace_back("/p/b.jpg");
  EXPECT_NE(WatchText({WatchEvent::kRun, "/p", "", report})
                .find("/p: 2 rows were kept: why (lumivault index --accept-loss deletes them)\n"),
            std::string::npos);
}

class LineOutputTest : public testing::Test {
 protected:
  LineOutputTest() { OpenPipe(); }
  void OpenPipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    ours_ = FileDescriptor(ends[0]);
    theirs_ = FileDescriptor(ends[1]);
  }
  // What has come by now.
  std::size_t ReadAll() {
    std::size_t size = 0;
    std::vector<char> buffer(std::size_t{1} << 16);
    for (ssize_t count = 0; (count = read(ours_.get(), buffer.data(), buffer.size())) > 0;)
      size += static_cast<std::size_t>(count);
    return size;
  }
  // Somebody reads while the output comes to its end.
  bool IsAllThereAtTheEnd(const std::string& text) {
    OpenPipe();
    std::size_t came = 0;
    std::atomic<bool> ended = false;
    std::thread reader([&] {
      while (!ended) came += ReadAll();
    });
    { LineOutput(theirs_.get(), loop_).Put(text); }
    ended = true;
    reader.join();
    return came + ReadAll() == text.size();
  }

  EventLoop loop_;
  FileDescriptor ours_;
  FileDescriptor theirs_;
};

constexpr std::size_t kLong = std::size_t{3} << 20;

TEST_F(LineOutputTest, ALongLineIsNotDropped) {
  LineOutput output(theirs_.get(), loop_);
  output.Put(std::string(kLong, 'x') + "\n");
  std::size_t came = 0;
  for (std::size_t more = 1; more > 0; came += more) {
    more = ReadAll();
    loop_.Poll();
  }
  EXPECT_EQ(came, kLong + 1);
}

TEST_F(LineOutputTest, WhatWaitsIsWrittenAtTheEnd) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  bool all = false;
  // A reader may get no time on a busy machine.
  while (!all && std::chrono::steady_clock::now() < end) all = IsAllThereAtTheEnd(std::string(kLong, 'x'));
  EXPECT_TRUE(all);
}

TEST_F(LineOutputTest, WhatNobodyReadsIsGivenUp) {
  const auto begin = std::chrono::steady_clock::now();
  { LineOutput(theirs_.get(), loop_).Put(std::string(kLong, 'x') + "\n"); }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(PatienceTest, GrowsToItsBound) {
  Patience patience;
  EXPECT_EQ(patience.Next(milliseconds(100), milliseconds(350)), milliseconds(100));
  EXPECT_EQ(patience.Next(milliseconds(100), milliseconds(350)), milliseconds(200));
  EXPECT_EQ(patience.Next(milliseconds(100), milliseconds(350)), milliseconds(350));
  patience.Reset();
  EXPECT_EQ(patience.Next(milliseconds(100), milliseconds(350)), milliseconds(100));
}

TEST(RunOrderTest, NothingLongBeginsWithinSomethingShort) {
  RunOrder order;
  const RunOrder::Running first(order, true);
  EXPECT_TRUE(order.MayBegin(true));
  {
    const RunOrder::Running part(order, false);
    EXPECT_FALSE(order.MayBegin(true));
    EXPECT_TRUE(order.MayBegin(false));
  }
  EXPECT_TRUE(order.MayBegin(true));
}

}  // namespace
