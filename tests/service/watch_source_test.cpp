// What the kernel tells of a folder, as hints.
#include <gtest/gtest.h>
#include <sys/inotify.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "support/temp_dir.h"
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
    ASSERT_TRUE(source_.Begin());
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
  InotifySource source_{
      root(), std::nullopt, *this, loop_,
      [this](int queue, const char* path, unsigned mask) { return AddWatch(queue, path, mask); }};
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
  EXPECT_TRUE(source_.Begin());
  Settle();
  EXPECT_TRUE(lost_);
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

}  // namespace
