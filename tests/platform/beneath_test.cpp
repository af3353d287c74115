#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <filesystem>
#include <string>

#include "base/file_descriptor.h"
#include "core/find_below.h"
#include "core/open_below.h"
#include "platform/beneath_fixture.h"
#include "platform/connection_lending.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/open_watch.h"

namespace fs = std::filesystem;

namespace {

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

TEST_F(BeneathTest, AFolderIsGoneWhenNothingBearsItsName) {
  const auto gone = [&](const std::string& name) {
    return KAVOBeneathFolderGone(root().c_str(), (root() / name).c_str());
  };
  EXPECT_NE(gone("@eaDir/a.jpg"), 0);
  fs::create_directories(root() / "@eaDir/a.jpg");
  EXPECT_EQ(gone("@eaDir/a.jpg"), 0);
  fs::create_directory_symlink(root(), root() / "@eaDir/b.jpg");
  EXPECT_EQ(gone("@eaDir/b.jpg"), 0) << "a link is something";
  EXPECT_EQ(KAVOBeneathFolderGone(root().c_str(), "/nowhere"), 0) << "not below the root: not told";
  EXPECT_EQ(KAVOBeneathFolderGone(nullptr, nullptr), 0);
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
