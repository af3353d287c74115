// Whose a path is where that cannot be told.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "platform/index.h"
#include "platform/share.h"
#include "support/appliance_tree.h"
#include "support/child_processes.h"
#include "support/failing_memory.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

// What read() does in this program.
enum class Reading { kAll, kByBytes, kFails, kEndsEarly, kFailsOfMounts, kOpensNoMounts };
Reading reading = Reading::kAll;
bool memory_is_out = false;

bool IsListOfMounts(int descriptor) {
  char path[4096];
  const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
  return length > 0 && std::string(path, static_cast<std::size_t>(length)).ends_with("/mountinfo");
}

}  // namespace

// NOLINTNEXTLINE(misc-definitions-in-headers, readability-identifier-naming): the C library's
extern "C" __attribute__((visibility("default"))) ssize_t read(int descriptor, void* buffer, size_t size) {
  if (reading == Reading::kFails || (reading == Reading::kFailsOfMounts && IsListOfMounts(descriptor))) {
    errno = EIO;
    return -1;
  }
  if (reading == Reading::kEndsEarly) return 0;
  const size_t wanted = reading == Reading::kByBytes ? std::min<size_t>(size, 1) : size;
  return static_cast<ssize_t>(syscall(SYS_read, descriptor, buffer, wanted));
}

// NOLINTNEXTLINE(misc-definitions-in-headers, readability-identifier-naming): the same, of files that are
// there
extern "C" __attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  if (reading == Reading::kOpensNoMounts && std::string(path).ends_with("/mountinfo")) {
    errno = EMFILE;
    return -1;
  }
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, 0600));
}

namespace {

constexpr uid_t kNobody = 65534;

class UnknownOwner : public testing::Test {
 protected:
  void SetUp() override {
    tree_.AddUser("alice");
    WriteFile(list(), "bob=/photos\n");
    memory_is_short = [](std::size_t) { return memory_is_out; };
  }
  void TearDown() override {
    reading = Reading::kAll;
    memory_is_out = false;
  }
  fs::path list() const { return tree_.root() / "etc/kavo/personal.conf"; }

  // Of a path that is somebody's, of one that is nobody's, and of one in a home.
  std::string Owners() const {
    return Owner("/photos/a.jpg") + " " + Owner(tree_.shared() / "a.jpg") + " " +
           Owner(tree_.personal("alice") / "a.jpg");
  }
  // The same as somebody for whom permissions count.
  std::string OwnersToAnybody() const {
    const uid_t user = geteuid();
    fs::permissions(tree_.root().parent_path(), fs::perms::all);
    EXPECT_EQ(seteuid(user == 0 ? kNobody : user), 0);
    std::string owners = Owners();
    EXPECT_EQ(seteuid(user), 0);
    return owners;
  }
  static std::string Owner(const std::string& path) {
    char user[492] = "before";
    const int personal = KAVOIndexIsPersonalPackagePath(path.c_str(), "photo", user, sizeof user);
    if (personal == 0) return "(shared)";
    return *user == '\0' ? "(unknown)" : user;
  }
  static std::string FolderOf(const char* user) {
    char folder[4096] = "";
    return KAVOIndexPersonalPhotoPathGet(user, folder, sizeof folder) == 0 ? folder : "(none)";
  }

  ApplianceTree tree_;
};

constexpr const char* kKnown = "bob (shared) alice";
constexpr const char* kUnknown = "(unknown) (unknown) (unknown)";

TEST_F(UnknownOwner, AListThatIsThereIsKnown) {
  EXPECT_EQ(Owners(), kKnown);
}

TEST_F(UnknownOwner, AListThatIsMissingIsEmpty) {
  fs::remove(list());
  EXPECT_EQ(Owners(), "(shared) (shared) alice");
  fs::remove(list().parent_path());
  EXPECT_EQ(Owners(), "(shared) (shared) alice");
}

TEST_F(UnknownOwner, AReadErrorMakesEveryPathUnknown) {
  reading = Reading::kFails;
  EXPECT_EQ(Owners(), kUnknown);
  reading = Reading::kAll;
  EXPECT_EQ(Owners(), kKnown);
}

TEST_F(UnknownOwner, AListThatEndsEarlyMakesEveryPathUnknown) {
  reading = Reading::kEndsEarly;
  EXPECT_EQ(Owners(), kUnknown);
}

TEST_F(UnknownOwner, AListThatComesInPiecesIsWhole) {
  reading = Reading::kByBytes;
  EXPECT_EQ(Owners(), kKnown);
}

TEST_F(UnknownOwner, AFolderOrAFifoInItsPlaceMakesEveryPathUnknown) {
  fs::remove(list());
  fs::create_directory(list());
  EXPECT_EQ(Owners(), kUnknown);
  fs::remove(list());
  mkfifo(list().c_str(), 0644);
  EXPECT_EQ(Owners(), kUnknown);
}

TEST_F(UnknownOwner, AListThatIsTooLargeMakesEveryPathUnknown) {
  WriteFile(list(), "bob=/photos\n#" + std::string(1 << 20, 'x'));
  EXPECT_EQ(Owners(), kUnknown);
  EXPECT_EQ(Owners(), kUnknown);
  WriteFile(list(), "bob=/photos\n");
  EXPECT_EQ(Owners(), kKnown);
}

TEST_F(UnknownOwner, AListThatMayNotBeReadMakesEveryPathUnknown) {
  fs::permissions(list(), fs::perms::none);
  EXPECT_EQ(OwnersToAnybody(), kUnknown);
}

TEST_F(UnknownOwner, AHomeThatMayNotBeLookedIntoIsUnknown) {
  const fs::path home = tree_.personal("alice").parent_path();
  EXPECT_EQ(OwnersToAnybody(), kKnown);
  fs::permissions(home, fs::perms::none);
  EXPECT_EQ(OwnersToAnybody(), "bob (shared) (unknown)");
  fs::permissions(home, fs::perms::owner_all);
}

TEST_F(UnknownOwner, WithoutMemoryEveryPathIsUnknown) {
  const std::string path = tree_.shared() / "a.jpg";
  char user[492] = "before";
  memory_is_out = true;
  const int personal = KAVOIndexIsPersonalPackagePath(path.c_str(), "photo", user, sizeof user);
  memory_is_out = false;
  EXPECT_NE(personal, 0);
  EXPECT_STREQ(user, "");
}

TEST_F(UnknownOwner, WithoutMemoryEveryPathMayLieOnAForeignMount) {
  const std::string path = tree_.shared() / "a.jpg";
  memory_is_out = true;
  const bool foreign = IndexIsPathRemoteOrImageMount(path.c_str());
  const bool none = IndexIsPathRemoteOrImageMount(nullptr);
  memory_is_out = false;
  EXPECT_TRUE(foreign);
  EXPECT_FALSE(none);
}

TEST_F(UnknownOwner, HasNoFolderAndNoPreferences) {
  char folder[4096];
  EXPECT_NE(KAVOUserPreferenceDirGet("", folder, sizeof folder), 0);
  EXPECT_EQ(FolderOf(""), "(none)");
}

TEST_F(UnknownOwner, AUserHasNoFolderWhileTheListCannotBeRead) {
  reading = Reading::kFails;
  EXPECT_EQ(FolderOf("alice"), "(none)");
}

TEST_F(UnknownOwner, APathInAnUnknownFolderMayLieOnAForeignMount) {
  EXPECT_FALSE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
  reading = Reading::kFails;
  EXPECT_TRUE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
}

// A process of its own reads the list of mounts anew.
TEST_F(UnknownOwner, WithoutAListOfMountsEveryPathMayLieOnAForeignMount) {
  EXPECT_FALSE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
  EXPECT_TRUE(RunChildren(1, [&](int) {
    reading = Reading::kFailsOfMounts;
    EXPECT_TRUE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
    EXPECT_FALSE(IndexIsPathRemoteOrImageMount("/proc")) << "nobody's";
    reading = Reading::kAll;
    EXPECT_FALSE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
    return HasFailure() ? 1 : 0;
  }));
}

// As without a descriptor for it.
TEST_F(UnknownOwner, NorWithOneThatCannotBeOpened) {
  EXPECT_TRUE(RunChildren(1, [&](int) {
    reading = Reading::kOpensNoMounts;
    EXPECT_TRUE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
    reading = Reading::kAll;
    EXPECT_FALSE(IndexIsPathRemoteOrImageMount(tree_.shared().c_str()));
    return HasFailure() ? 1 : 0;
  }));
}

TEST_F(UnknownOwner, OfAnotherPackageAPathIsNeverPersonal) {
  reading = Reading::kFails;
  char user[492] = "before";
  EXPECT_EQ(KAVOIndexIsPersonalPackagePath("/photos", "music", user, sizeof user), 0);
  EXPECT_STREQ(user, "before");
}

}  // namespace
