// What the kernel tells of a folder, as hints.
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mount.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/temp_dir.h"
#include "watch/folders_above.h"
#include "watch/inotify_source.h"

namespace fs = std::filesystem;

namespace {

using Strings = std::set<std::string>;

class WatchSourceTest : public testing::Test, private HintListener {
 protected:
  WatchSourceTest() { fs::create_directories(root()); }

  fs::path root() const { return dir_.path() / "photos"; }
  void Make(const std::string& path) const { WriteFile(root() / path, path); }

  void Begin() {
    ASSERT_TRUE(source_.Begin(std::nullopt));
    Settle();
    hints_.clear();
  }
  // Until there is nothing more to be told.
  void Settle() {
    for (int quiet = 0; quiet < 3;) {
      const std::size_t before = told_;
      loop_.Poll();
      quiet = told_ == before && source_.ready() ? quiet + 1 : 0;
    }
  }
  // "path" for a name, with a "*" behind it for a tree, "+" where it grows.
  Strings Hints() {
    Settle();
    return std::exchange(hints_, {});
  }

  std::size_t room_ = 1'000'000;  // watches that the kernel has
  int error_ = ENOSPC;
  TempDir dir_;
  EventLoop loop_;
  bool lost_ = false;

 private:
  void Hinted(const Hint& hint) override {
    ++told_;
    std::string text = hint.path;
    if (hint.reach == Reach::kTree) text += "*";
    if (hint.state == HintState::kGrowing) text += "+";
    hints_.insert(text);
  }
  void RootLost() override { lost_ = true; }
  int AddWatch(int queue, const char* path, unsigned mask) {
    if (room_ > 0) {
      --room_;
      return inotify_add_watch(queue, path, mask);
    }
    errno = error_;
    return -1;
  }

  Strings hints_;
  std::size_t told_ = 0;

 protected:
  InotifySource source_{root(), *this, loop_, [this](int queue, const char* path, unsigned mask) {
                          return AddWatch(queue, path, mask);
                        }};
};

TEST_F(WatchSourceTest, EachFolderIsWatchedThatAWalkEnters) {
  for (const char* folder : {"a/b/c", "d", ".hidden/x", "a/@eaDir/y"})
    fs::create_directories(root() / folder);
  fs::create_directory_symlink("a", root() / "link");
  Begin();
  EXPECT_EQ(source_.watched_folders(), 5U);
}

TEST_F(WatchSourceTest, AFileThatIsMadeGrowsUntilItIsClosed) {
  Begin();
  std::ofstream file(root() / "a.jpg");
  EXPECT_EQ(Hints(), Strings({"a.jpg+"}));
  file << "more" << std::flush;
  EXPECT_EQ(Hints(), Strings({"a.jpg+"}));
  file.close();
  EXPECT_EQ(Hints(), Strings({"a.jpg"}));
}

TEST_F(WatchSourceTest, WhatIsNoPhotoOrHiddenIsNotTold) {
  Make("old.txt");
  Begin();
  for (const char* path : {"notes.txt", ".a.jpg", "@eaDir/a.jpg/title", ".KAVOHGADB-wal"}) Make(path);
  EXPECT_EQ(Hints(), Strings());
  fs::remove(root() / "old.txt");
  EXPECT_EQ(Hints(), Strings({"old.txt"}));
}

TEST_F(WatchSourceTest, ALinkIsThereAtOnce) {
  Make("a.jpg");
  Begin();
  fs::create_symlink("a.jpg", root() / "l.jpg");
  fs::create_hard_link(root() / "a.jpg", root() / "h.jpg");
  EXPECT_EQ(Hints(), Strings({"l.jpg", "h.jpg"}));
  EXPECT_EQ(source_.links(), Strings({"l.jpg"}));
  fs::remove(root() / "l.jpg");
  Hints();
  EXPECT_EQ(source_.links(), Strings());
}

TEST_F(WatchSourceTest, LinksThatWereThereAreKnown) {
  Make("d/a.jpg");
  fs::create_symlink("a.jpg", root() / "d/l.jpg");
  fs::create_symlink("a.jpg", root() / "d/l.txt");
  Begin();
  EXPECT_EQ(source_.links(), Strings({"d/l.jpg"}));
  fs::remove_all(root() / "d");
  Hints();
  EXPECT_EQ(source_.links(), Strings());
}

TEST_F(WatchSourceTest, WhatIsWrittenUnderOneOfTwoNamesMayBeAnywhere) {
  Make("a.jpg");
  fs::create_hard_link(root() / "a.jpg", root() / "h.jpg");
  Begin();
  std::ofstream(root() / "a.jpg", std::ios::app) << "more";
  EXPECT_TRUE(Hints().contains("*"));
}

TEST_F(WatchSourceTest, AFolderThatMovesIsToldOfUnderBothNames) {
  Make("a/b/c.jpg");
  Begin();
  fs::rename(root() / "a", root() / "z");
  EXPECT_EQ(Hints(), Strings({"a*", "z*"}));
  EXPECT_EQ(source_.watched_folders(), 3U);
  Make("z/b/n.jpg");
  EXPECT_EQ(Hints(), Strings({"z/b/n.jpg+", "z/b/n.jpg"}));
}

TEST_F(WatchSourceTest, WhatHasMovedOutIsNotTold) {
  Make("a/b/c.jpg");
  Begin();
  fs::rename(root() / "a", dir_.path() / "out");
  EXPECT_EQ(Hints(), Strings({"a*"}));
  EXPECT_EQ(source_.watched_folders(), 1U);
  WriteFile(dir_.path() / "out/b/n.jpg", "new");
  EXPECT_EQ(Hints(), Strings());
}

TEST_F(WatchSourceTest, WatchesAreGivenBack) {
  Begin();
  for (int i = 0; i < 50; ++i) {
    fs::create_directories(root() / "a/b/c");
    Settle();
    fs::rename(root() / "a", root() / "z");
    Settle();
    fs::remove_all(root() / "z");
    Settle();
  }
  EXPECT_EQ(source_.watched_folders(), 1U);
  EXPECT_TRUE(source_.unwatched().empty());
}

TEST_F(WatchSourceTest, WithoutRoomTheRestIsNamed) {
  fs::create_directories(root() / "a/b/c");
  fs::create_directories(root() / "d");
  room_ = 1;
  Begin();
  EXPECT_EQ(source_.unwatched(), Strings({"a", "d"}));
  fs::remove_all(root() / "d");
  EXPECT_EQ(Hints(), Strings({"d*"}));
  EXPECT_EQ(source_.unwatched(), Strings({"a"}));
  room_ = 100;
  source_.TryAgain();
  Settle();
  EXPECT_EQ(source_.unwatched(), Strings());
  EXPECT_EQ(source_.watched_folders(), 4U);
  Make("a/b/c/n.jpg");
  EXPECT_TRUE(Hints().contains("a/b/c/n.jpg"));
}

TEST_F(WatchSourceTest, WithoutAnyRoomTheLibraryIsNamed) {
  room_ = 0;
  Begin();
  EXPECT_EQ(source_.unwatched(), Strings({""}));
  EXPECT_FALSE(lost_);
}

TEST_F(WatchSourceTest, MoreThanTheQueueHoldsIsTheWholeLibrary) {
  std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
  int most = 0;
  limit >> most;
  if (most == 0 || most > 200'000) GTEST_SKIP() << "the queue of events is " << most << " long";
  fs::create_directories(root() / "a");
  Make("a/a.jpg");
  Begin();
  for (int i = 0; i <= most / 2; ++i) {
    fs::rename(root() / "a/a.jpg", root() / "a/b.jpg");
    fs::rename(root() / "a/b.jpg", root() / "a/a.jpg");
  }
  fs::create_directories(root() / "new/deep");
  EXPECT_TRUE(Hints().contains("*"));
  EXPECT_EQ(source_.overflows(), 1U);
  EXPECT_EQ(source_.watched_folders(), 4U);
  Make("new/deep/n.jpg");
  EXPECT_TRUE(Hints().contains("new/deep/n.jpg"));
}

TEST_F(WatchSourceTest, ARootThatMovesIsLost) {
  Make("a/b.jpg");
  Begin();
  fs::rename(root(), dir_.path() / "elsewhere");
  Settle();
  EXPECT_TRUE(lost_);
  EXPECT_EQ(source_.watched_folders(), 0U);
}

TEST_F(WatchSourceTest, ARootThatIsRemovedIsLost) {
  Begin();
  fs::remove(root());
  Settle();
  EXPECT_TRUE(lost_);
}

TEST_F(WatchSourceTest, ARootThatIsNotThereIsLost) {
  fs::remove(root());
  EXPECT_TRUE(source_.Begin(std::nullopt));
  Settle();
  EXPECT_TRUE(lost_);
}

TEST_F(WatchSourceTest, TheFolderThatIsWatchedIsKnown) {
  Begin();
  EXPECT_TRUE(source_.HasRoot());
  fs::rename(root(), dir_.path() / "elsewhere");
  EXPECT_FALSE(source_.HasRoot());
  fs::create_directory(root());
  EXPECT_FALSE(source_.HasRoot());
  fs::remove(root());
  fs::rename(dir_.path() / "elsewhere", root());
  EXPECT_TRUE(source_.HasRoot());
}

// What is to be watched then lies in another tree, and nothing has told so: a folder above was renamed.
TEST_F(WatchSourceTest, AnotherFolderThatStandsUnderItsPathIsNotWatched) {
  Begin();
  const fs::path aside = dir_.path().string() + ".aside";
  fs::rename(dir_.path(), aside);
  fs::create_directories(root() / "a/b");
  source_.WatchAnew("a");
  Settle();
  EXPECT_TRUE(lost_);
  EXPECT_EQ(source_.watched_folders(), 0U);
  fs::remove_all(aside);
}

TEST_F(WatchSourceTest, ARootThatIsMountedInItselfIsStillOne) {
  fs::create_directories(root() / "a/again");
  if (mount(root().c_str(), (root() / "a/again").c_str(), nullptr, MS_BIND, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  Begin();
  EXPECT_FALSE(lost_);
  fs::rename(root(), dir_.path() / "elsewhere");
  Settle();
  EXPECT_TRUE(lost_);
  EXPECT_EQ(umount((dir_.path() / "elsewhere/a/again").c_str()), 0);
}

TEST_F(WatchSourceTest, WhatCannotBeWatchedForAnyReasonIsNamed) {
  fs::create_directories(root() / "a/b");
  for (const int error : {ENOSPC, ENOMEM, EIO, EINVAL}) {
    error_ = error;
    room_ = 1;
    Begin();
    EXPECT_EQ(source_.unwatched(), Strings({"a"})) << error;
  }
  for (const int error : {ENOENT, EACCES, ENOTDIR}) {
    error_ = error;
    room_ = 1;
    Begin();
    EXPECT_EQ(source_.unwatched(), Strings()) << error;
  }
}

// Each event of a folder asks for a watch.
TEST_F(WatchSourceTest, AFolderThatIsRenamedToAndFroIsWatchedOnce) {
  fs::create_directories(root() / "a");
  Begin();
  const std::size_t before = room_;
  for (int i = 0; i < 1'000; ++i) {
    fs::rename(root() / "a", root() / "b");
    fs::rename(root() / "b", root() / "a");
  }
  Settle();
  EXPECT_LE(before - room_, 5U);
  EXPECT_EQ(source_.watched_folders(), 2U);
}

TEST_F(WatchSourceTest, ALinkThatIsNoFolderIsKnownStill) {
  Make("a.jpg");
  fs::create_symlink("a.jpg", root() / "l.jpg");
  Begin();
  source_.WatchAnew("l.jpg");
  Settle();
  EXPECT_EQ(source_.links(), Strings({"l.jpg"}));
}

TEST_F(WatchSourceTest, ANewFolderHidesNothing) {
  Begin();
  for (int i = 0; i < 100; ++i) {
    const std::string top = std::to_string(i);
    Make(top + "/a/b/c/n.jpg");
    const Strings hints = Hints();
    EXPECT_TRUE(hints.contains(top + "*"));
    Make(top + "/a/b/c/m.jpg");
    EXPECT_TRUE(Hints().contains(top + "/a/b/c/m.jpg"));
  }
}

// A loop that tells how long it would wait.
class AskedLoop : public EventLoop {
 public:
  std::optional<Moment> until;

 protected:
  void Wait(std::vector<pollfd>& descriptors, std::optional<Moment> moment) override {
    until = moment;
    poll(descriptors.data(), descriptors.size(), 0);
  }
};

class FoldersAboveTest : public testing::Test {
 protected:
  FoldersAboveTest() {
    fs::create_directories(path());
    above_.Watch();
  }
  fs::path path() const { return dir_.path() / "d/alice/photos"; }
  int Changes() {
    loop_.Turn();
    return std::exchange(changes_, 0);
  }

  TempDir dir_;
  AskedLoop loop_;
  int changes_ = 0;
  int error_ = 0;  // of each further watch
  FoldersAbove above_{path(), loop_, [this] { ++changes_; },
                      [this](int queue, const char* folder, unsigned mask) {
                        errno = error_;
                        return error_ != 0 ? -1 : inotify_add_watch(queue, folder, mask);
                      }};
};

TEST_F(FoldersAboveTest, WhatHappensInThemIsNotTold) {
  WriteFile(dir_.path() / "d/alice/other", "other");
  fs::remove(dir_.path() / "d/alice/other");
  fs::create_directory(dir_.path() / "d/bob");
  EXPECT_EQ(Changes(), 0);
  EXPECT_FALSE(loop_.until) << "no time is waited for";
}

TEST_F(FoldersAboveTest, OneThatMovesIsTold) {
  fs::rename(dir_.path() / "d/alice", dir_.path() / "d/alice.old");
  EXPECT_EQ(Changes(), 1);
  fs::rename(dir_.path() / "d", dir_.path() / "e");
  EXPECT_EQ(Changes(), 1);
  EXPECT_EQ(Changes(), 0);
}

TEST_F(FoldersAboveTest, OneThatIsRemovedIsTold) {
  fs::remove_all(dir_.path() / "d");
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FoldersAboveTest, AfterTheEndNothingIsTold) {
  above_.End();
  fs::rename(dir_.path() / "d", dir_.path() / "e");
  EXPECT_EQ(Changes(), 0);
}

TEST_F(FoldersAboveTest, WhereOneCannotBeWatchedThePathIsLookedAtNowAndThen) {
  error_ = EACCES;
  above_.Watch();
  EXPECT_EQ(Changes(), 0);
  ASSERT_TRUE(loop_.until);
  const auto wait = *loop_.until - loop_.Now();
  EXPECT_LE(wait, std::chrono::seconds(10));
  EXPECT_GT(wait, std::chrono::seconds(9));
  error_ = 0;
  above_.Watch();
  Changes();
  EXPECT_FALSE(loop_.until);
}

}  // namespace
