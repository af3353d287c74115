#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "core/find_below.h"
#include "core/open_below.h"
#include "platform/connection_lending.h"
#include "platform/files.h"
#include "platform/substitute_loan.h"
#include "platform/text.h"
#include "support/open_watch.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class BeneathTest : public testing::Test {
 protected:
  BeneathTest() {
    fs::create_directories(root());
    WriteFile(outside() / "a.jpg", "foreign");
    setenv("LUMIVAULT_ROOT", (dir_.path() / "appliance").c_str(), 1);
  }
  ~BeneathTest() override {
    KAVODBLendEnd();
    unsetenv("LUMIVAULT_ROOT");
  }

  fs::path root() const { return dir_.path() / "photo"; }
  fs::path outside() const { return dir_.path() / "outside"; }
  std::string Path(const std::string& relative) const { return (root() / relative).string(); }

  int Open(const std::string& relative) const {
    return KAVOBeneathOpen(root().c_str(), Path(relative).c_str());
  }
  int Exist(const std::string& relative) const {
    return KAVOBeneathExist(root().c_str(), Path(relative).c_str());
  }
  int Remove(const std::string& relative) const {
    return KAVOBeneathRemove(root().c_str(), Path(relative).c_str());
  }
  int Mode(const std::string& relative, mode_t mode) const {
    return KAVOBeneathMode(root().c_str(), Path(relative).c_str(), mode);
  }

  void BeginBatch() {
    LendSubstitute(loan_);
    ASSERT_EQ(KAVODBBatchBegin(), 0);
  }
  static std::vector<PendingRemoval> TakePendingRemovals() { return Session::OfThread().pending()->Take(); }

  TempDir dir_;

 private:
  LoanScript loan_;
};

mode_t ModeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

std::string ContentOf(int descriptor) {
  const FileDescriptor owned(descriptor);
  char text[64] = {};
  return read(owned.get(), text, sizeof(text) - 1) >= 0 ? text : "unreadable";
}

TEST_F(BeneathTest, OpensARegularFileForReading) {
  WriteFile(root() / "trip" / "a.jpg", "mine");
  EXPECT_EQ(ContentOf(Open("trip/a.jpg")), "mine");
  EXPECT_EQ(Exist("trip/a.jpg"), 1);
}

TEST_F(BeneathTest, AMissingFileIsAbsentAndTheErrorIsKept) {
  errno = 0;
  EXPECT_EQ(Open("trip/a.jpg"), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(RLIBCErrGet(), ENOENT);
  EXPECT_STREQ(RLIBCErrorGetFile(), "beneath.cpp");
  EXPECT_GT(RLIBCErrorGetLine(), 0);
  EXPECT_EQ(Exist("trip/a.jpg"), 0);
  EXPECT_EQ(Remove("trip/a.jpg"), -1);
}

TEST_F(BeneathTest, TheRootMayBeReachedThroughALink) {
  WriteFile(root() / "a.jpg", "mine");
  fs::create_directory_symlink(root(), dir_.path() / "link");
  const std::string link = dir_ / "link";
  EXPECT_EQ(ContentOf(KAVOBeneathOpen(link.c_str(), (link + "/a.jpg").c_str())), "mine");
  EXPECT_EQ(ContentOf(KAVOBeneathOpen((link + "/").c_str(), (link + "/a.jpg").c_str())), "mine");
}

TEST_F(BeneathTest, ALinkIsNeverReadRemovedOrGivenAMode) {
  fs::create_symlink(outside() / "a.jpg", root() / "a.jpg");
  chmod((outside() / "a.jpg").c_str(), 0600);
  EXPECT_EQ(Open("a.jpg"), -1);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_EQ(Exist("a.jpg"), 0);
  EXPECT_EQ(Remove("a.jpg"), -1);
  EXPECT_EQ(Mode("a.jpg", 0777), -1);
  EXPECT_TRUE(fs::is_symlink(root() / "a.jpg"));
  EXPECT_EQ(ReadFile(outside() / "a.jpg"), "foreign");
  EXPECT_EQ(ModeOf(outside() / "a.jpg"), 0600U);
}

TEST_F(BeneathTest, ALinkOnTheWayIsNotFollowed) {
  fs::create_directory_symlink(outside(), root() / "trip");
  chmod((outside() / "a.jpg").c_str(), 0600);
  EXPECT_EQ(Open("trip/a.jpg"), -1);
  EXPECT_EQ(Exist("trip/a.jpg"), 0);
  EXPECT_EQ(Remove("trip/a.jpg"), -1);
  EXPECT_EQ(Mode("trip/a.jpg", 0777), -1);
  EXPECT_EQ(ReadFile(outside() / "a.jpg"), "foreign");
  EXPECT_EQ(ModeOf(outside() / "a.jpg"), 0600U);
}

TEST_F(BeneathTest, PathsOutsideTheRootAreRefusedOnWholeComponents) {
  WriteFile(dir_.path() / "photo2" / "a.jpg", "neighbour");
  const std::string neighbour = dir_ / "photo2/a.jpg";
  EXPECT_EQ(KAVOBeneathOpen(root().c_str(), neighbour.c_str()), -1);
  EXPECT_EQ(errno, EXDEV);
  EXPECT_EQ(Open("../outside/a.jpg"), -1);
  EXPECT_EQ(Remove("../outside/a.jpg"), -1);
  EXPECT_TRUE(fs::exists(outside() / "a.jpg"));
}

TEST_F(BeneathTest, ARelativePathDoesNotClimb) {
  EXPECT_EQ(RelativeTo("/photo", "/photo/a/b.jpg"), "a/b.jpg");
  EXPECT_EQ(RelativeTo("/photo//", "/photo"), ".");
  EXPECT_EQ(RelativeTo("/", "/photo"), "photo");
  EXPECT_EQ(RelativeTo("/photo", "/photo/..a/b..jpg"), "..a/b..jpg");
  for (const char* path :
       {"/photo/..", "/photo/../a", "/photo/a/..", "/photo/a/../b", "/photo2", "photo", ""}) {
    EXPECT_EQ(RelativeTo("/photo", path), std::nullopt) << path;
  }
}

TEST_F(BeneathTest, NullArgumentsFail) {
  EXPECT_EQ(KAVOBeneathOpen(nullptr, "/a"), -1);
  EXPECT_EQ(KAVOBeneathRemove("/", nullptr), -1);
  EXPECT_EQ(KAVOBeneathExist(nullptr, nullptr), 0);
  EXPECT_EQ(KAVOBeneathMode(nullptr, nullptr, 0777), -1);
}

// A blocked open would end the program by the alarm.
class SpecialFileTest : public BeneathTest {
 protected:
  SpecialFileTest() { alarm(60); }
  ~SpecialFileTest() override { alarm(0); }

  void ExpectUntouchable(const std::string& name) {
    EXPECT_EQ(Open(name), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Exist(name), 0);
    EXPECT_EQ(Remove(name), -1);
    EXPECT_TRUE(fs::exists(fs::symlink_status(root() / name)));
  }
};

TEST_F(SpecialFileTest, AFifoDoesNotBlock) {
  ASSERT_EQ(mkfifo(Path("a.jpg").c_str(), 0600), 0);
  ExpectUntouchable("a.jpg");
  EXPECT_EQ(Mode("a.jpg", 0777), -1);
  EXPECT_EQ(ModeOf(root() / "a.jpg"), 0600U);
}

TEST_F(SpecialFileTest, AFifoIsNotEvenOpened) {
  ASSERT_EQ(mkfifo(Path("a.jpg").c_str(), 0600), 0);
  const OpenWatch watch(Path("a.jpg"));
  EXPECT_EQ(Open("a.jpg"), -1);
  EXPECT_EQ(Exist("a.jpg"), 0);
  EXPECT_EQ(Remove("a.jpg"), -1);
  EXPECT_EQ(Mode("a.jpg", 0777), -1);
  EXPECT_FALSE(watch.WasOpened());
}

TEST_F(SpecialFileTest, ASocketIsRefused) {
  const FileDescriptor socket_descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  Path("a.jpg").copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(socket_descriptor.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ExpectUntouchable("a.jpg");
}

TEST_F(SpecialFileTest, ADeviceIsRefused) {
  EXPECT_EQ(KAVOBeneathOpen("/dev", "/dev/null"), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(KAVOBeneathExist("/dev", "/dev/null"), 0);
}

TEST_F(SpecialFileTest, AFolderNamedAsAPhotoIsNoFile) {
  fs::create_directories(root() / "a.jpg");
  ExpectUntouchable("a.jpg");
}

TEST_F(BeneathTest, GivesExactlyTheModeToFilesAndFolders) {
  WriteFile(root() / "trip" / "a.jpg", "mine");
  const mode_t old_mask = umask(077);
  EXPECT_EQ(Mode("trip/a.jpg", 0777), 0);
  EXPECT_EQ(Mode("trip", 0777), 0);
  EXPECT_EQ(KAVOBeneathMode(root().c_str(), root().c_str(), 0711), 0);
  umask(old_mask);
  EXPECT_EQ(ModeOf(root() / "trip" / "a.jpg"), 0777U);
  EXPECT_EQ(ModeOf(root() / "trip"), 0777U);
  EXPECT_EQ(ModeOf(root()), 0711U);
}

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

TEST_F(BeneathTest, TheSettingKeepLeavesModesAlone) {
  WriteFile(dir_.path() / "appliance/var/packages/Lumivault/etc/settings.conf", "file_modes=keep\n");
  WriteFile(root() / "a.jpg", "mine");
  chmod(Path("a.jpg").c_str(), 0640);
  EXPECT_EQ(Mode("a.jpg", 0777), 0);
  EXPECT_EQ(ModeOf(root() / "a.jpg"), 0640U);
  EXPECT_EQ(Mode("missing.jpg", 0777), -1);
}

TEST_F(BeneathTest, SettingsThatCannotBeReadLeaveModesAlone) {
  const std::string too_large = "file_modes=open\n" + std::string((1 << 20) + 1, '#');
  WriteFile(dir_.path() / "appliance/var/packages/Lumivault/etc/settings.conf", too_large);
  WriteFile(root() / "a.jpg", "mine");
  chmod(Path("a.jpg").c_str(), 0640);
  EXPECT_EQ(Mode("a.jpg", 0777), 0);
  EXPECT_EQ(ModeOf(root() / "a.jpg"), 0640U);
}

TEST_F(BeneathTest, AModeThatIsThereAlreadyDoesNotTouchTheFile) {
  WriteFile(root() / "a.jpg", "mine");
  chmod(Path("a.jpg").c_str(), 0777);
  struct stat before {
  }, after{};
  ASSERT_EQ(stat(Path("a.jpg").c_str(), &before), 0);
  LetTheClockMoveOn();
  EXPECT_EQ(Mode("a.jpg", 0777), 0);
  ASSERT_EQ(stat(Path("a.jpg").c_str(), &after), 0);
  EXPECT_EQ(before.st_ctim.tv_sec, after.st_ctim.tv_sec);
  EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);
}

TEST_F(BeneathTest, RemovesARegularFileAtOnceWithoutABatch) {
  WriteFile(root() / "a.jpg", "mine");
  EXPECT_EQ(Remove("a.jpg"), 0);
  EXPECT_FALSE(fs::exists(root() / "a.jpg"));
}

TEST_F(BeneathTest, WhileABatchIsOpenARemovalWaits) {
  WriteFile(root() / "a.jpg", "mine");
  BeginBatch();
  EXPECT_EQ(Exist("a.jpg"), 1);
  EXPECT_EQ(Remove("a.jpg"), 0);
  EXPECT_EQ(Exist("a.jpg"), 0);
  EXPECT_TRUE(fs::exists(root() / "a.jpg"));
  EXPECT_EQ(Remove("missing.jpg"), -1);

  const auto pending = TakePendingRemovals();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].path, Path("a.jpg"));
  EXPECT_EQ(RemoveBelow(pending[0].root, pending[0].path, pending[0].state), 0);
  EXPECT_FALSE(fs::exists(root() / "a.jpg"));
}

TEST_F(BeneathTest, AFileThatIsWrittenAgainIsNotTheOneThatIsPending) {
  WriteFile(root() / "a.jpg", "mine");
  BeginBatch();
  EXPECT_EQ(Remove("a.jpg"), 0);
  LetTheClockMoveOn();
  WriteFile(root() / "a.jpg", "more");
  EXPECT_EQ(Exist("a.jpg"), 1);

  const auto pending = TakePendingRemovals();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(RemoveBelow(pending[0].root, pending[0].path, pending[0].state), -1);
  EXPECT_EQ(ReadFile(root() / "a.jpg"), "more");
}

TEST_F(BeneathTest, TheSameStateIsPendingOnce) {
  WriteFile(root() / "a.jpg", "mine");
  BeginBatch();
  EXPECT_EQ(Remove("a.jpg"), 0);
  EXPECT_EQ(Remove("a.jpg"), 0);
  EXPECT_EQ(TakePendingRemovals().size(), 1U);
}

// The walk that stands in for openat2 on older kernels answers as openat2 does.
using OpenFunction = FileDescriptor (*)(int, const std::string&, int, mode_t);

struct Way {
  const char* name;
  OpenFunction open;
};

class OpenWayTest : public BeneathTest, public testing::WithParamInterface<Way> {
 protected:
  OpenWayTest() : folder_(open(root().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

  void SetUp() override {
    if (!GetParam().open(folder_.get(), ".", O_PATH, 0) && errno == ENOSYS) GTEST_SKIP() << "no openat2 here";
  }
  // 0 or errno.
  int Try(const std::string& relative, int flags = O_RDONLY) const {
    return GetParam().open(folder_.get(), relative, flags, 0600) ? 0 : errno;
  }

  FileDescriptor folder_;
};

TEST_P(OpenWayTest, OpensFilesFoldersAndTheRootItself) {
  WriteFile(root() / "b" / "c" / "a.jpg", "mine");
  EXPECT_EQ(Try("b/c/a.jpg"), 0);
  EXPECT_EQ(Try("b//c/./a.jpg"), 0);
  EXPECT_EQ(Try("b/c", O_PATH | O_DIRECTORY), 0);
  EXPECT_EQ(Try(".", O_PATH | O_DIRECTORY), 0);
}

TEST_P(OpenWayTest, TellsWhyItFails) {
  WriteFile(root() / "file", "mine");
  fs::create_symlink("file", root() / "link");
  fs::create_directory_symlink(outside(), root() / "folder");
  fs::create_symlink("round", root() / "round");
  EXPECT_EQ(Try("missing"), ENOENT);
  EXPECT_EQ(Try("missing/a"), ENOENT);
  EXPECT_EQ(Try("file/a"), ENOTDIR);
  EXPECT_EQ(Try("link"), ELOOP);
  EXPECT_EQ(Try("link", O_PATH), ELOOP);
  EXPECT_EQ(Try("folder/a.jpg"), ELOOP);
  EXPECT_EQ(Try("folder", O_PATH | O_DIRECTORY), ELOOP);
  EXPECT_EQ(Try("round"), ELOOP);
  EXPECT_EQ(Try("../outside/a.jpg"), EXDEV);
  EXPECT_EQ(Try("/file"), EXDEV);
  EXPECT_EQ(Try("/"), EXDEV);
}

TEST_P(OpenWayTest, CreatesAFileOnce) {
  EXPECT_EQ(Try("fresh", O_RDWR | O_CREAT | O_EXCL), 0);
  EXPECT_EQ(Try("fresh", O_RDWR | O_CREAT | O_EXCL), EEXIST);
  EXPECT_EQ(ModeOf(root() / "fresh"), 0600U);
}

INSTANTIATE_TEST_SUITE_P(Ways, OpenWayTest,
                         testing::Values(Way{"AtOnce", &OpenBelowAtOnce},
                                         Way{"Stepwise", &OpenBelowStepwise}),
                         [](const auto& way) { return std::string(way.param.name); });

// Links of a user on the way to the root, in a process that may do more than that user.
class TrustTest : public BeneathTest {
 protected:
  static constexpr uid_t kUser = 12345;

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    fs::create_directory_symlink(root(), dir_.path() / "link");
    WriteFile(root() / "a.jpg", "mine");
  }
  int OpenThroughLink() const {
    const std::string link = dir_ / "link";
    return KAVOBeneathOpen(link.c_str(), (link + "/a.jpg").c_str());
  }
  void Own(const fs::path& path) const { ASSERT_EQ(lchown(path.c_str(), kUser, kUser), 0); }
};

TEST_F(TrustTest, AUsersLinkIntoSomebodyElsesFolderIsRefused) {
  Own(dir_.path() / "link");
  EXPECT_EQ(OpenThroughLink(), -1);
  EXPECT_EQ(errno, EPERM);
}

TEST_F(TrustTest, AUsersLinkToAFolderOfTheirOwnIsFollowed) {
  Own(dir_.path() / "link");
  Own(root());
  EXPECT_EQ(ContentOf(OpenThroughLink()), "mine");
}

TEST_F(TrustTest, ARelativeLinkOfTheAdministratorIsFollowed) {
  fs::remove(dir_.path() / "link");
  fs::create_directory_symlink("./outside/../photo", dir_.path() / "link");
  EXPECT_EQ(ContentOf(OpenThroughLink()), "mine");
}

TEST_F(TrustTest, ALinkLoopEnds) {
  fs::remove(dir_.path() / "link");
  fs::create_directory_symlink("link", dir_.path() / "link");
  EXPECT_EQ(OpenThroughLink(), -1);
  EXPECT_EQ(errno, ELOOP);
}

}  // namespace
