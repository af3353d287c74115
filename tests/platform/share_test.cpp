#include "platform/share.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "platform/files.h"
#include "platform/text.h"
#include "share/share_folder.h"
#include "support/appliance_tree.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {
// Is exchanged for each folder that is made beside it, as soon as that is there; null for no such thing.
const char* exchanged_for = nullptr;
}  // namespace

extern "C" __attribute__((visibility("default"))) int mkdirat(int folder, const char* name,
                                                              mode_t mode) noexcept {
  using Function = int (*)(int, const char*, mode_t);
  static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "mkdirat"));
  const int result = next(folder, name, mode);
  if (result == 0 && exchanged_for != nullptr) {
    EXPECT_EQ(renameat2(folder, name, folder, exchanged_for, RENAME_EXCHANGE), 0);
  }
  return result;
}

namespace {

class ShareTest : public testing::Test {
 protected:
  std::string FixedPath(const std::string& path) const { return (tree_.root().string() + path); }

  ApplianceTree tree_;
};

// "(none)" when there is no such share.
std::string SharePath(const char* name, int size = 4096) {
  std::string out(4096, '\0');
  return KAVOSharePathGet(name, out.data(), size) == 0 ? out.c_str() : "(none)";
}

mode_t ModeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST_F(ShareTest, AShareIsTheTargetOfItsLink) {
  EXPECT_EQ(SharePath("photo"), tree_.shared());
  KAVOSHARE* share = nullptr;
  ASSERT_EQ(KAVOShareGet("homes", &share), 0);
  const std::unique_ptr<KAVOSHARE, decltype(&KAVOShareFree)> owned(share, &KAVOShareFree);
  EXPECT_STREQ(share->szName, "homes");
  EXPECT_EQ(share->szPath, tree_.root().parent_path() / "volume" / "homes");
}

TEST_F(ShareTest, AShareThatIsNoLinkIsItsFixedPath) {
  fs::create_directories(FixedPath("/var/services/music"));
  EXPECT_EQ(SharePath("music"), FixedPath("/var/services/music"));
  fs::create_directory_symlink("music", FixedPath("/var/services/sound"));
  EXPECT_EQ(SharePath("sound"), FixedPath("/var/services/music"));
}

TEST_F(ShareTest, WithoutASharedTreePhotoStillHasAPath) {
  fs::remove(FixedPath("/var/services/photo"));
  EXPECT_EQ(SharePath("photo"), FixedPath("/var/services/photo"));
  KAVOSHARE* share = nullptr;
  EXPECT_EQ(KAVOShareGet("photo", &share), -1);
  EXPECT_EQ(share, nullptr);
}

TEST_F(ShareTest, OtherSharesMustExist) {
  fs::remove(FixedPath("/var/services/homes"));
  KAVOSHARE* share = nullptr;
  EXPECT_EQ(KAVOShareGet("homes", &share), -1);
  EXPECT_EQ(SharePath("homes"), "(none)");
  EXPECT_EQ(SharePath("nowhere"), "(none)");
}

TEST_F(ShareTest, ANameIsOneComponent) {
  for (const char* name : {"", ".", "..", "../services/photo", "photo/2024"})
    EXPECT_EQ(SharePath(name), "(none)");
  EXPECT_EQ(KAVOShareGet(nullptr, nullptr), -1);
  EXPECT_EQ(KAVOSharePathGet(nullptr, nullptr, 0), -1);
  KAVOShareFree(nullptr);
}

TEST_F(ShareTest, APathThatDoesNotFitIsAFailure) {
  const int length = static_cast<int>(tree_.shared().string().size());
  EXPECT_EQ(SharePath("photo", length + 1), tree_.shared());
  EXPECT_EQ(SharePath("photo", length), "(none)");
}

TEST_F(ShareTest, FixedPathsStandBehindTheRootThatTheEnvironmentNames) {
  char out[4096];
  const auto fixed = [&](const char* path) -> std::string {
    return KAVOFixedPathGet(path, out, sizeof(out)) >= 0 ? out : "(failed)";
  };
  EXPECT_EQ(fixed("/usr/bin/php"), FixedPath("/usr/bin/php"));
  setenv("LUMIVAULT_ROOT", "/elsewhere//", 1);
  EXPECT_EQ(fixed("/usr/bin/php"), "/elsewhere/usr/bin/php");
  unsetenv("LUMIVAULT_ROOT");
  EXPECT_EQ(fixed("/usr/bin/php"), "/usr/bin/php");
  EXPECT_EQ(KAVOFixedPathGet("/usr/bin/php", out, 13), 12);
  EXPECT_EQ(KAVOFixedPathGet("/usr/bin/php", out, 12), -1);
  EXPECT_EQ(KAVOFixedPathGet(nullptr, out, 12), -1);
}

// Some places below it could still be named and others not.
TEST_F(ShareTest, BelowARootThatIsTooLongThereIsNoPlaceAtAll) {
  std::string out(8192, '\0');
  const auto length = [&](std::size_t root) {
    setenv("LUMIVAULT_ROOT", ("/" + std::string(root - 1, 'x')).c_str(), 1);
    const int got = KAVOFixedPathGet("/usr/bin/php", out.data(), static_cast<int>(out.size()));
    const std::string services = ShareFolder("photo");
    unsetenv("LUMIVAULT_ROOT");
    EXPECT_EQ(got<0, services.size()> PATH_MAX) << root;
    return got;
  };
  EXPECT_EQ(length(3072), 3072 + 12);
  EXPECT_EQ(length(3073), -1);
  EXPECT_EQ(RLIBCErrGet(), ENAMETOOLONG);
  EXPECT_EQ(length(5000), -1);
}

class SideFolderTest : public ShareTest {};

std::string SidePath(const std::string& path, const char* item, int size = 4096) {
  std::string out(4096, '\0');
  return KAVOEAPath(0, path.c_str(), item, out.data(), size, 0) == 0 ? out.c_str() : "(failed)";
}

TEST_F(SideFolderTest, TheItemsOfAFileLieBesideIt) {
  EXPECT_EQ(SidePath("/p/trip/a.jpg", "KAVOPHOTO_TITLE"), "/p/trip/@eaDir/a.jpg/KAVOPHOTO_TITLE");
  EXPECT_EQ(SidePath("/a.jpg", "x"), "/@eaDir/a.jpg/x");
  EXPECT_EQ(SidePath("a.jpg", "x"), "@eaDir/a.jpg/x");
}

TEST_F(SideFolderTest, TheItemsOfAFolderLieInIt) {
  const std::string folder = tree_.shared() / "trip";
  fs::create_directories(folder);
  EXPECT_EQ(SidePath(folder, "KAVOPHOTO_PUBLIC"), folder + "/@eaDir/KAVOPHOTO_PUBLIC");
  EXPECT_EQ(SidePath(folder + "//", "KAVOPHOTO_PUBLIC"), folder + "/@eaDir/KAVOPHOTO_PUBLIC");
  EXPECT_EQ(SidePath("/", "x"), "/@eaDir/x");
}

TEST_F(SideFolderTest, ASidePathThatDoesNotFitIsAFailure) {
  const std::string expected = "/p/@eaDir/a.jpg/x";
  const int length = static_cast<int>(expected.size());
  EXPECT_EQ(SidePath("/p/a.jpg", "x", length + 1), expected);
  EXPECT_EQ(SidePath("/p/a.jpg", "x", length), "(failed)");
  EXPECT_EQ(KAVOEAPath(0, nullptr, "x", nullptr, 0, 0), -1);
}

TEST_F(SideFolderTest, MakesTheFolderForAllUsersWhateverTheUmask) {
  const mode_t old_mask = umask(077);
  EXPECT_EQ(KAVOEAMKDir(0, (tree_.shared() / "@eaDir" / "a.jpg").c_str()), 0);
  umask(old_mask);
  EXPECT_EQ(ModeOf(tree_.shared() / "@eaDir"), 0777U);
  EXPECT_EQ(ModeOf(tree_.shared() / "@eaDir" / "a.jpg"), 0777U);
  EXPECT_EQ(KAVOEAMKDir(0, (tree_.shared() / "@eaDir" / "a.jpg").c_str()), 0);
}

// Whoever owns the folder above may put a neighbour's private folder into its place.
TEST_F(SideFolderTest, AnothersFolderThatTakesItsPlaceKeepsItsMode) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give folders to others";
  constexpr uid_t kNeighbour = 20'002;
  const fs::path folder = tree_.shared() / "private";
  fs::create_directory(folder);
  ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
  ASSERT_EQ(chown(folder.c_str(), kNeighbour, kNeighbour), 0);
  exchanged_for = "private";
  const mode_t old_mask = umask(022);
  KAVOEAMKDir(0, (tree_.shared() / "@eaDir").c_str());
  umask(old_mask);
  exchanged_for = nullptr;
  ASSERT_EQ(ModeOf(folder), 0755U) << "the one that was made";
  EXPECT_EQ(ModeOf(tree_.shared() / "@eaDir"), 0700U);
}

TEST_F(SideFolderTest, WithKeepTheUmaskDecides) {
  tree_.Set("file_modes", "keep");
  const mode_t old_mask = umask(027);
  EXPECT_EQ(KAVOEAMKDir(0, (tree_.shared() / "@eaDir").c_str()), 0);
  umask(old_mask);
  EXPECT_EQ(ModeOf(tree_.shared() / "@eaDir"), 0750U);
}

TEST_F(SideFolderTest, TheFolderOfARootWithoutASharedTreeIsMadeWithItsParents) {
  fs::remove_all(FixedPath("/var/services"));
  EXPECT_EQ(KAVOEAMKDir(0, FixedPath("/var/services/photo/@eaDir").c_str()), 0);
  EXPECT_EQ(ModeOf(FixedPath("/var/services/photo/@eaDir")), 0777U);
  EXPECT_EQ(ModeOf(FixedPath("/var/services")) & 0022U, 0U);
}

TEST_F(SideFolderTest, IsMadeThroughTheLinkOfTheSharedFolder) {
  EXPECT_EQ(KAVOEAMKDir(0, FixedPath("/var/services/photo/@eaDir").c_str()), 0);
  EXPECT_TRUE(fs::is_directory(tree_.shared() / "@eaDir"));
}

TEST_F(SideFolderTest, AVolumeThatIsNotThereDoesNotComeToLife) {
  fs::remove_all(tree_.shared());
  EXPECT_NE(KAVOEAMKDir(0, FixedPath("/var/services/photo/@eaDir").c_str()), 0);
  EXPECT_FALSE(fs::exists(tree_.shared()));
}

TEST_F(SideFolderTest, ALinkInItsPlaceIsNotFollowed) {
  const TempDir elsewhere;
  fs::create_directory_symlink(elsewhere.path(), tree_.shared() / "@eaDir");
  EXPECT_NE(KAVOEAMKDir(0, (tree_.shared() / "@eaDir" / "a.jpg").c_str()), 0);
  EXPECT_TRUE(fs::is_empty(elsewhere.path()));
}

TEST_F(SideFolderTest, AFileInItsPlaceIsAFailure) {
  WriteFile(tree_.shared() / "@eaDir", "");
  EXPECT_NE(KAVOEAMKDir(0, (tree_.shared() / "@eaDir").c_str()), 0);
  EXPECT_NE(KAVOEAMKDir(0, nullptr), 0);
  EXPECT_NE(KAVOEAMKDir(0, ""), 0);
}

TEST_F(ShareTest, ThePreferenceFolderIsNamedAfterTheUser) {
  char out[4096];
  ASSERT_EQ(KAVOUserPreferenceDirGet("alice", out, sizeof(out)), 0);
  EXPECT_EQ(out, FixedPath("/usr/kavo/etc/preference/alice"));
  for (const char* user : {"", ".", "..", "a/b", "/"}) {
    EXPECT_NE(KAVOUserPreferenceDirGet(user, out, sizeof(out)), 0) << user;
  }
  EXPECT_NE(KAVOUserPreferenceDirGet("alice", out, 5), 0);
  EXPECT_NE(KAVOUserPreferenceDirGet(nullptr, out, sizeof(out)), 0);
}

TEST_F(ShareTest, FileTestsFollowLinks) {
  WriteFile(tree_.shared() / "a.jpg", "12345");
  fs::create_symlink("a.jpg", tree_.shared() / "link");
  fs::create_symlink("missing", tree_.shared() / "dangling");
  std::int64_t size = 0;
  EXPECT_TRUE(IsFileExist((tree_.shared() / "link").c_str(), &size));
  EXPECT_EQ(size, 5);
  EXPECT_NE(RLIBCFileExist((tree_.shared() / "a.jpg").c_str()), 0);
  EXPECT_EQ(RLIBCFileExist((tree_.shared() / "dangling").c_str()), 0);
  EXPECT_FALSE(IsFileExist((tree_.shared() / "missing").c_str(), nullptr));
  EXPECT_FALSE(IsFileExist((tree_.shared() / "a.jpg" / "b").c_str(), nullptr));
  EXPECT_EQ(RLIBCFileCheckDir(tree_.shared().c_str()), 1);
  EXPECT_EQ(RLIBCFileCheckDir((tree_.shared() / "a.jpg").c_str()), 0);
  EXPECT_EQ(RLIBCFileCheckDir(nullptr), 0);
  EXPECT_EQ(RLIBCFileExist(nullptr), 0);
}

// Rows are removed because a file is gone.
TEST_F(ShareTest, WhatCannotBeToldIsNotGone) {
  constexpr uid_t kUser = 12345;
  const fs::path folder = tree_.shared() / "closed";
  WriteFile(folder / "a.jpg", "12345");
  ASSERT_EQ(chmod(folder.c_str(), 0), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(kUser) != 0) _exit(1);
    std::int64_t size = -1;
    const bool kept = RLIBCFileExist((folder / "a.jpg").c_str()) != 0 &&
                      IsFileExist((folder / "a.jpg").c_str(), &size) && size == 0 &&
                      RLIBCFileExist((folder / "missing.jpg").c_str()) != 0;
    _exit(kept ? 0 : 2);
  }
  int status = -1;
  waitpid(child, &status, 0);
  chmod(folder.c_str(), 0755);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(ShareTest, SlashesAtTheEndOfALinksTargetAreDropped) {
  fs::create_directory_symlink(tree_.shared().string() + "//", FixedPath("/var/services/slashes"));
  EXPECT_EQ(SharePath("slashes"), tree_.shared());
}

}  // namespace
