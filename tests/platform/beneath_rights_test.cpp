// Whose files root opens to everybody, and whom it reads them for.
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/beneath_fixture.h"
#include "support/open_watch.h"

namespace fs = std::filesystem;

namespace {

// Folder and file belong to different people; the index is root's.
class ModeOfRootTest : public BeneathTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root changes files of several people";
    WriteFile(root() / "trip/a.jpg", "private");
    Own("trip", kOwner);
    Own("trip/a.jpg", kOwner);
    chmod(Path("trip").c_str(), 0755);
    chmod(Path("trip/a.jpg").c_str(), 0600);
  }
  void Own(const std::string& name, uid_t owner) const {
    ASSERT_EQ(lchown(Path(name).c_str(), owner, owner), 0) << name;
  }
  void ExpectRefused(const std::string& name) const {
    const mode_t before = ModeOf(root() / name);
    EXPECT_EQ(Mode(name, 0777), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(ModeOf(root() / name), before);
  }
  static constexpr uid_t kOwner = 20001;
  static constexpr uid_t kOther = 20002;
};

TEST_F(ModeOfRootTest, TheFolderOwnersFileIsOpened) {
  EXPECT_EQ(Mode("trip/a.jpg", 0777), 0);
  EXPECT_EQ(ModeOf(root() / "trip/a.jpg"), 0777U);
}

TEST_F(ModeOfRootTest, AFileWithASecondNameIsNot) {
  fs::create_hard_link(root() / "trip/a.jpg", root() / "trip/b.jpg");
  ExpectRefused("trip/b.jpg");
}

TEST_F(ModeOfRootTest, ASecondNameOfAFileInAnOpenFolderIsNotEither) {
  chmod(Path("trip").c_str(), 0777);
  fs::create_hard_link(root() / "trip/a.jpg", root() / "trip/b.jpg");
  ExpectRefused("trip/b.jpg");
}

TEST_F(ModeOfRootTest, AnothersFileInAFolderIsNot) {
  Own("trip/a.jpg", kOther);
  ExpectRefused("trip/a.jpg");
  chmod(Path("trip").c_str(), 0777);
  ExpectRefused("trip/a.jpg");
  Own("trip", kOther);
  EXPECT_EQ(Mode("trip/a.jpg", 0777), 0);
}

TEST_F(ModeOfRootTest, AnothersFolderInAFolderIsNotEither) {
  fs::create_directory(root() / "trip/day");
  Own("trip/day", kOther);
  ExpectRefused("trip/day");
  ExpectRefused("trip/day/");
}

TEST_F(ModeOfRootTest, WhatOthersHaveInAFolderOfRootsIs) {
  Own("trip", 0);
  EXPECT_EQ(Mode("trip/a.jpg", 0777), 0);
}

TEST_F(ModeOfRootTest, WhatRootMadeIs) {
  Own("trip/a.jpg", 0);
  EXPECT_EQ(Mode("trip/a.jpg", 0777), 0);
}

TEST_F(ModeOfRootTest, AFolderOfManyNamesIs) {
  fs::create_directory(root() / "trip/day");
  Own("trip/day", kOwner);
  EXPECT_EQ(Mode("trip", 0777), 0) << "each folder in it has its name in it";
}

// A private file of another's, with a second name in somebody's folder.
class FurtherNameTest : public ModeOfRootTest {
 protected:
  void SetUp() override {
    ModeOfRootTest::SetUp();
    if (IsSkipped()) return;
    fs::create_hard_link(outside() / "a.jpg", root() / "trip/b.jpg");
    Own("trip/b.jpg", kOther);
    chmod(Path("trip/b.jpg").c_str(), 0600);
  }
};

TEST_F(FurtherNameTest, IsNotReadForTheOwnerOfItsFolderWhoMayNot) {
  EXPECT_EQ(Open("trip/b.jpg"), -1);
  EXPECT_EQ(errno, EPERM);
  chmod(Path("trip/b.jpg").c_str(), 0604);
  EXPECT_EQ(ContentOf(Open("trip/b.jpg")), "foreign");
}

TEST_F(FurtherNameTest, IsNotReadForTheOwnerOfTheRootWhoMayNot) {
  Own("trip", 0);
  Own("", kOwner);
  EXPECT_EQ(Open("trip/b.jpg"), -1);
  EXPECT_EQ(errno, EPERM);
}

TEST_F(FurtherNameTest, IsReadWhereItsFoldersAreItsOwnersOrRoots) {
  Own("trip", kOther);
  EXPECT_EQ(ContentOf(Open("trip/b.jpg")), "foreign");
  Own("trip", 0);
  EXPECT_EQ(ContentOf(Open("trip/b.jpg")), "foreign");
}

TEST_F(FurtherNameTest, IsRootsToReadWhereItIsTheOnlyOne) {
  fs::remove(outside() / "a.jpg");
  EXPECT_EQ(ContentOf(Open("trip/b.jpg")), "foreign");
}

// The rights that a file is read with are the thread's own.
TEST_F(FurtherNameTest, CostsOtherThreadsNoGroup) {
  const gid_t group = 20'003;
  std::atomic<bool> done{false};
  std::atomic<int> without{0};
  std::vector<gid_t> before(static_cast<std::size_t>(getgroups(0, nullptr)));
  ASSERT_GE(getgroups(static_cast<int>(before.size()), before.data()), 0);
  ASSERT_EQ(setgroups(1, &group), 0);
  std::thread other([&] {
    gid_t seen = 0;
    while (!done) without += getgroups(1, &seen) == 1 && seen == group ? 0 : 1;
  });
  bool refused = true;
  for (int i = 0; i < 2000; ++i) refused = Open("trip/b.jpg") == -1 && refused;
  EXPECT_TRUE(refused);
  done = true;
  other.join();
  EXPECT_EQ(without, 0);
  gid_t seen = 0;
  EXPECT_EQ(getgroups(1, &seen), 1);
  EXPECT_EQ(seen, group) << "and this thread has it again";
  setgroups(before.size(), before.data());
}

}  // namespace
