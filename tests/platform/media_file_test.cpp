// How a process that holds a library's folder opens the files below it, links above all.
#include "platform/media_file.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr uid_t kOne = 20001;
constexpr uid_t kOther = 20002;

class MediaFileTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(library());
    chmod(dir_.path().c_str(), 0755);
  }
  void TearDown() override {
    KAVOMediaKeep(nullptr);
    KAVOMediaFolderHold(nullptr);
  }
  static std::string TextOf(const std::string& path) {
    const FileDescriptor file(KAVOMediaOpen(path.c_str()));
    std::string text(16, '\0');
    const ssize_t count = file ? pread(file.get(), text.data(), text.size(), 0) : 0;
    return text.substr(0, static_cast<std::size_t>(count));
  }

  fs::path library() const { return dir_.path() / "library"; }
  fs::path outside() const { return dir_.path() / "outside"; }
  void Hold() const { ASSERT_EQ(KAVOMediaFolderHold(library().c_str()), 0); }
  // 0, or why the file NAME of the library is not opened.
  int Open(const std::string& name) const {
    const FileDescriptor opened(KAVOMediaOpen((library() / name).c_str()));
    return opened ? 0 : errno;
  }
  static void Own(const fs::path& path, uid_t owner) {
    ASSERT_EQ(lchown(path.c_str(), owner, owner), 0) << path;
  }
  void Link(const std::string& name, const fs::path& target) const {
    fs::create_symlink(target, library() / name);
  }
  // As another user in another process.
  int OpenAs(uid_t user, const std::string& name) const {
    const pid_t child = fork();
    if (child == 0) {
      const bool other = setgroups(0, nullptr) == 0 && setgid(user) == 0 && setuid(user) == 0;
      _exit(other ? Open(name) : ENOTRECOVERABLE);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status);
  }

  TempDir dir_;
};

class MediaFileOfRootTest : public MediaFileTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root reads files of several people";
    MediaFileTest::SetUp();
    WriteFile(outside() / "a.jpg", "a");
    Own(outside() / "a.jpg", kOther);
    Own(outside(), kOther);
    chmod(outside().c_str(), 0700);
    Link("a.jpg", outside() / "a.jpg");
  }
};

TEST_F(MediaFileTest, WhatIsKeptIsOpenedOnceUntilItIsKeptNoMore) {
  Hold();
  const std::string path = library() / "a.jpg";
  WriteFile(path, "first");
  WriteFile(library() / "b.jpg", "other");
  ASSERT_EQ(KAVOMediaKeep(path.c_str()), 0);
  fs::remove(path);
  WriteFile(path, "second");
  EXPECT_EQ(TextOf(path), "first");
  EXPECT_EQ(TextOf(path), "first") << "a second copy";
  EXPECT_EQ(TextOf(library() / "b.jpg"), "other");
  ASSERT_EQ(KAVOMediaKeep(nullptr), 0);
  EXPECT_EQ(TextOf(path), "second");
}

TEST_F(MediaFileTest, WhatCannotBeKeptIsOpenedEachTime) {
  Hold();
  const std::string path = library() / "a.jpg";
  EXPECT_EQ(KAVOMediaKeep(path.c_str()), -1);
  EXPECT_EQ(errno, ENOENT);
  WriteFile(path, "now");
  EXPECT_EQ(TextOf(path), "now");
}

TEST_F(MediaFileTest, RegularFileIsOpened) {
  WriteFile(library() / "trip/a.jpg", "a");
  Hold();
  EXPECT_EQ(Open("trip/a.jpg"), 0);
}

TEST_F(MediaFileTest, LinkToAFileIsFollowed) {
  WriteFile(outside() / "a.jpg", "a");
  Link("a.jpg", "../outside/a.jpg");
  Link("b.jpg", outside() / "a.jpg");
  Hold();
  EXPECT_EQ(Open("a.jpg"), 0);
  EXPECT_EQ(Open("b.jpg"), 0);
}

TEST_F(MediaFileTest, LinkInThePlaceOfAFolderIsNot) {
  WriteFile(outside() / "a.jpg", "a");
  Link("trip", outside());
  Hold();
  EXPECT_EQ(Open("trip/a.jpg"), ELOOP);
}

TEST_F(MediaFileTest, PathElsewhereIsRefused) {
  WriteFile(outside() / "a.jpg", "a");
  Hold();
  EXPECT_EQ(KAVOMediaOpen((outside() / "a.jpg").c_str()), -1);
  EXPECT_EQ(errno, EXDEV);
  EXPECT_EQ(Open("../outside/a.jpg"), EXDEV);
}

TEST_F(MediaFileTest, FolderThatWasExchangedIsStillTheHeldOne) {
  WriteFile(library() / "a.jpg", "a");
  Hold();
  fs::rename(library(), dir_.path() / "moved");
  fs::create_directory(library());
  EXPECT_EQ(Open("a.jpg"), 0);
}

TEST_F(MediaFileTest, SpecialFileIsNotOpened) {
  ASSERT_EQ(mkfifo((library() / "a.jpg").c_str(), 0600), 0);
  Link("b.jpg", "a.jpg");
  Hold();
  EXPECT_EQ(Open("a.jpg"), EINVAL);
  EXPECT_EQ(Open("b.jpg"), EINVAL);
  EXPECT_EQ(Open("."), EINVAL);
}

TEST_F(MediaFileTest, LinkToAnOpenFileOfTheProcessIsNotFollowed) {
  WriteFile(outside() / "a.jpg", "a");
  const FileDescriptor folder(open(outside().c_str(), O_PATH | O_CLOEXEC));
  Link("a.jpg", "/proc/self/fd/" + std::to_string(folder.get()) + "/a.jpg");
  Hold();
  EXPECT_EQ(Open("a.jpg"), ELOOP);
}

TEST_F(MediaFileTest, WithoutAHeldFolderEveryPathCounts) {
  WriteFile(outside() / "a.jpg", "a");
  Link("trip", outside());
  EXPECT_EQ(Open("trip/a.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, LinkOfAnotherIsFollowedAsFarAsItsMakerMayRead) {
  Own(library() / "a.jpg", kOne);
  Hold();
  EXPECT_EQ(Open("a.jpg"), EPERM);
  Own(library() / "a.jpg", kOther);
  EXPECT_EQ(Open("a.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, FileThatOnlyAnotherMayReadInAnOpenFolderIsRefused) {
  chmod(outside().c_str(), 0755);
  chmod((outside() / "a.jpg").c_str(), 0600);
  Own(library() / "a.jpg", kOne);
  Hold();
  EXPECT_EQ(Open("a.jpg"), EPERM);
  chmod((outside() / "a.jpg").c_str(), 0604);
  EXPECT_EQ(Open("a.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, RootsOwnLinkIsFollowed) {
  Hold();
  EXPECT_EQ(Open("a.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, RootsLinkIsFollowedByAUserAsFarAsHisRightsReach) {
  Hold();
  EXPECT_EQ(OpenAs(kOther, "a.jpg"), 0);
  EXPECT_EQ(OpenAs(kOne, "a.jpg"), EPERM);
}

// Root's link leads into a folder of another's, who may put a link there at any time.
class WayOverLinksTest : public MediaFileOfRootTest {
 protected:
  void SetUp() override {
    MediaFileOfRootTest::SetUp();
    if (IsSkipped()) return;
    fs::create_directory(way());
    Own(way(), kOne);
    fs::create_symlink(outside() / "a.jpg", way() / "b.jpg");
    Link("far.jpg", way() / "b.jpg");
    Hold();
  }
  fs::path way() const { return dir_.path() / "way"; }
};

TEST_F(WayOverLinksTest, ALinkBehindRootsCountsAsFarAsItsMakerMayRead) {
  Own(way() / "b.jpg", kOne);
  EXPECT_EQ(Open("far.jpg"), EPERM);
  Own(way() / "b.jpg", kOther);
  EXPECT_EQ(Open("far.jpg"), 0);
  Own(way() / "b.jpg", 0);
  EXPECT_EQ(Open("far.jpg"), 0);
}

TEST_F(WayOverLinksTest, ALinkInThePlaceOfAFolderCountsSoToo) {
  fs::create_directory_symlink(outside(), way() / "x");
  Link("deep.jpg", "../way/x/a.jpg");
  Own(way() / "x", kOne);
  EXPECT_EQ(Open("deep.jpg"), EPERM);
  chmod(outside().c_str(), 0711);
  EXPECT_EQ(Open("deep.jpg"), 0) << "everybody may read it now";
  chmod((outside() / "a.jpg").c_str(), 0600);
  EXPECT_EQ(Open("deep.jpg"), EPERM);
}

TEST_F(WayOverLinksTest, EachMakerOnTheWayHasToBeAbleToRead) {
  fs::create_symlink("b.jpg", way() / "c.jpg");
  Link("chain.jpg", way() / "c.jpg");
  Own(way() / "c.jpg", kOther);
  Own(way() / "b.jpg", kOne);
  EXPECT_EQ(Open("chain.jpg"), EPERM) << "the last maker may not";
  Own(way() / "c.jpg", kOne);
  Own(way() / "b.jpg", kOther);
  EXPECT_EQ(Open("chain.jpg"), EPERM) << "the first maker may not";
  Own(way() / "c.jpg", kOther);
  EXPECT_EQ(Open("chain.jpg"), 0);
}

TEST_F(WayOverLinksTest, AUserReadsOverThemOnlyWhatIsTheMakers) {
  Own(way() / "b.jpg", kOne);
  EXPECT_EQ(OpenAs(kOther, "far.jpg"), EPERM) << "it is the reader's own";
  Own(way() / "b.jpg", kOther);
  EXPECT_EQ(OpenAs(kOther, "far.jpg"), 0);
}

TEST_F(WayOverLinksTest, LinksInACircleEnd) {
  Link("one.jpg", "two.jpg");
  Link("two.jpg", "one.jpg");
  EXPECT_EQ(Open("one.jpg"), ELOOP);
}

// The folder's owner puts another name of a file there, in the place of what root's link leads to.
TEST_F(WayOverLinksTest, RootsLinkToAFurtherNameShowsWhatTheOwnersOfItsFolderMayRead) {
  fs::remove(way() / "b.jpg");
  fs::create_hard_link(outside() / "a.jpg", way() / "b.jpg");
  chmod((outside() / "a.jpg").c_str(), 0600);
  EXPECT_EQ(Open("far.jpg"), EPERM);
  Own(way(), kOther);
  EXPECT_EQ(Open("far.jpg"), 0);
  Own(way(), 0);
  Own(library(), kOne);
  EXPECT_EQ(Open("far.jpg"), EPERM) << "the library's owner may not";
}

// Found as a link, it is none any more when the link is followed.
TEST_F(WayOverLinksTest, ALinkThatIsExchangedForAFurtherNameShowsNoMore) {
  fs::create_directory(library() / "trip");
  Own(library() / "trip", kOne);
  chmod((outside() / "a.jpg").c_str(), 0600);
  const fs::path name = library() / "trip/a.jpg";
  fs::create_hard_link(outside() / "a.jpg", name);
  fs::create_symlink("nowhere", way() / "link");
  fs::rename(way() / "link", library() / "trip/link");
  std::atomic<bool> done{false};
  std::thread exchange([&] {
    while (!done) {
      renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, (library() / "trip/link").c_str(), RENAME_EXCHANGE);
    }
  });
  int opened = 0;
  for (int i = 0; i < 20'000; ++i) opened += Open("trip/a.jpg") == 0 ? 1 : 0;
  done = true;
  exchange.join();
  EXPECT_EQ(opened, 0);
}

// A file with two names, one of them in the folder of somebody who may not read it.
class HardLinkTest : public MediaFileOfRootTest {
 protected:
  void SetUp() override {
    MediaFileOfRootTest::SetUp();
    if (IsSkipped()) return;
    fs::create_directory(library() / "trip");
    fs::create_hard_link(outside() / "a.jpg", library() / "trip/b.jpg");
    chmod((outside() / "a.jpg").c_str(), 0600);
    Hold();
  }
};

TEST_F(HardLinkTest, IsReadWhereTheOwnersOfFolderAndLibraryMay) {
  EXPECT_EQ(Open("trip/b.jpg"), 0) << "root's folders";
  Own(library() / "trip", kOther);
  Own(library(), kOther);
  EXPECT_EQ(Open("trip/b.jpg"), 0) << "of the file's own owner";
}

TEST_F(HardLinkTest, IsNotReadForTheOwnerOfItsFolderWhoMayNot) {
  Own(library() / "trip", kOne);
  EXPECT_EQ(Open("trip/b.jpg"), EPERM);
  chmod((outside() / "a.jpg").c_str(), 0604);
  EXPECT_EQ(Open("trip/b.jpg"), 0);
}

TEST_F(HardLinkTest, IsNotReadForTheOwnerOfTheLibraryWhoMayNot) {
  Own(library(), kOne);
  EXPECT_EQ(Open("trip/b.jpg"), EPERM);
}

TEST_F(HardLinkTest, AFileWithOneNameIsRootsToRead) {
  Own(library() / "trip", kOne);
  Own(library(), kOne);
  fs::remove(outside() / "a.jpg");
  EXPECT_EQ(Open("trip/b.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, RightsAreRootsAgainAfterwards) {
  Own(library() / "a.jpg", kOne);
  Hold();
  EXPECT_EQ(Open("a.jpg"), EPERM);
  EXPECT_EQ(access((outside() / "a.jpg").c_str(), R_OK), 0);
  WriteFile(library() / "mine.jpg", "a");
  chmod((library() / "mine.jpg").c_str(), 0600);
  EXPECT_EQ(Open("mine.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, UserReadsThroughLinksOfAnotherOnlyWhatIsTheMakers) {
  Own(library() / "a.jpg", kOne);
  Hold();
  EXPECT_EQ(OpenAs(kOther, "a.jpg"), EPERM) << "it is the reader's own";
  Own(library() / "a.jpg", kOther);
  EXPECT_EQ(OpenAs(kOther, "a.jpg"), 0) << "so is the link";
  chmod(outside().c_str(), 0755);
  Own(library() / "a.jpg", kOne);
  Own(outside() / "a.jpg", kOne);
  EXPECT_EQ(OpenAs(kOther, "a.jpg"), 0) << "link and file are one person's";
}

TEST_F(MediaFileOfRootTest, LinkOfAnotherInsideTheLibraryIsFollowed) {
  WriteFile(library() / "b.jpg", "b");
  Link("c.jpg", "b.jpg");
  Own(library() / "b.jpg", kOther);
  Own(library() / "c.jpg", kOne);
  Hold();
  EXPECT_EQ(OpenAs(kOther, "c.jpg"), 0);
}

TEST_F(MediaFileOfRootTest, LinkToWhatTheReaderMayNotReadIsRefusedToo) {
  Own(library() / "a.jpg", kOne);
  Hold();
  EXPECT_EQ(OpenAs(kOne, "a.jpg"), EPERM);
}

}  // namespace
