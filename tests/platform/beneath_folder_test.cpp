// Opening folders below a folder whose owner may be hostile.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>

#include "base/file_descriptor.h"
#include "platform/files.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class BeneathFolderTest : public testing::Test {
 protected:
  BeneathFolderTest() {
    fs::create_directories(root() / "a/b");
    fs::create_directories(dir_.path() / "outside/b");
    root_ = FileDescriptor(open(root().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  }

  fs::path root() const { return dir_.path() / "photo"; }
  FileDescriptor Open(const char* path) const {
    return FileDescriptor(KAVOBeneathOpenFolder(root_.get(), path));
  }
  static bool Same(const FileDescriptor& opened, const fs::path& folder) {
    struct stat one {};
    struct stat other {};
    return opened && fstat(opened.get(), &one) == 0 && stat(folder.c_str(), &other) == 0 &&
           one.st_dev == other.st_dev && one.st_ino == other.st_ino;
  }
  void ExpectRefused(const char* path, int error) const {
    errno = 0;
    EXPECT_FALSE(Open(path)) << path;
    EXPECT_EQ(errno, error) << path;
  }

 private:
  TempDir dir_;
  FileDescriptor root_;
};

TEST_F(BeneathFolderTest, TheFolderItselfAndThoseBelow) {
  EXPECT_TRUE(Same(Open(""), root()));
  EXPECT_TRUE(Same(Open("a"), root() / "a"));
  EXPECT_TRUE(Same(Open("a/b"), root() / "a/b"));
}

TEST_F(BeneathFolderTest, WhatIsOpenedCanBeListed) {
  WriteFile(root() / "a/b/c.jpg", "x");
  const FileDescriptor opened = Open("a/b");
  const fs::directory_iterator entries("/proc/self/fd/" + std::to_string(opened.get()));
  EXPECT_EQ(entries->path().filename(), "c.jpg");
}

TEST_F(BeneathFolderTest, ALinkOnTheWayIsNotFollowed) {
  fs::create_directory_symlink(root().parent_path() / "outside", root() / "link");
  fs::create_directory_symlink("a", root() / "inside");
  for (const char* path : {"link", "link/b", "inside/b"}) {
    EXPECT_FALSE(Open(path)) << path;
    EXPECT_TRUE(errno == ELOOP || errno == ENOTDIR) << path << ": " << errno;
  }
}

TEST_F(BeneathFolderTest, NoPathLeadsOut) {
  for (const char* path : {"..", "../outside", "a/../../outside", "/"}) ExpectRefused(path, EXDEV);
}

TEST_F(BeneathFolderTest, AFileOrAPipeIsNoFolder) {
  WriteFile(root() / "file", "x");
  ASSERT_EQ(mkfifo((root() / "pipe").c_str(), 0600), 0);
  ExpectRefused("file", ENOTDIR);
  ExpectRefused("pipe", ENOTDIR);
}

TEST_F(BeneathFolderTest, WhatIsNotThereIsAnError) {
  ExpectRefused("nothing", ENOENT);
  ExpectRefused(nullptr, EINVAL);
  EXPECT_EQ(KAVOBeneathOpenFolder(-1, "a"), -1);
  EXPECT_EQ(errno, EBADF);
}

// The folder itself, as it is named.
class BeneathRootTest : public testing::Test {
 protected:
  BeneathRootTest() {
    fs::create_directory(folder());
    fs::create_directory_symlink("photo", dir_.path() / "link");
    fs::current_path(dir_.path());
  }
  ~BeneathRootTest() override { fs::current_path("/"); }

  fs::path folder() const { return dir_.path() / "photo"; }
  fs::path link() const { return dir_.path() / "link"; }
  static std::string RootOf(const char* named) {
    std::array<char, PATH_MAX> path{};
    errno = 0;
    const int length = KAVOBeneathRootGet(named, path.data(), PATH_MAX);
    return length == static_cast<int>(std::string(path.data()).size()) ? path.data() : "";
  }
  static void ExpectRefused(const char* named, int error) {
    EXPECT_EQ(RootOf(named), "");
    EXPECT_EQ(errno, error);
  }
  static void Own(const fs::path& path, uid_t owner) {
    ASSERT_EQ(lchown(path.c_str(), owner, owner), 0) << path;
  }

 private:
  TempDir dir_;
};

TEST_F(BeneathRootTest, IsNamedWithoutLinks) {
  for (const std::string& named :
       {folder().string(), link().string(), link().string() + "/", folder().string() + "/../link",
        std::string("link"), std::string("./photo/.")})
    EXPECT_EQ(RootOf(named.c_str()), folder().string()) << named;
}

TEST_F(BeneathRootTest, WhatIsNoFolderIsAnError) {
  WriteFile(folder() / "file", "x");
  ExpectRefused((folder() / "file").c_str(), ENOTDIR);
  ExpectRefused((folder() / "nothing").c_str(), ENOENT);
  ExpectRefused("", ENOENT);
  ExpectRefused(nullptr, EINVAL);
}

TEST_F(BeneathRootTest, AFolderThatWasRemovedHasNoName) {
  fs::current_path(folder());
  fs::remove(folder());
  ExpectRefused(".", ENOENT);
}

TEST_F(BeneathRootTest, ANameThatIsTooLongIsNotCut) {
  const std::string whole = folder();
  std::string out(whole.size() + 1, 'x');
  EXPECT_EQ(KAVOBeneathRootGet(whole.c_str(), out.data(), static_cast<int>(whole.size())), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(KAVOBeneathRootGet(whole.c_str(), out.data(), static_cast<int>(out.size())),
            static_cast<int>(whole.size()));
}

TEST_F(BeneathRootTest, ALinkLeadsRootToAFolderOfItsMakersAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be several users";
  constexpr uid_t kMaker = 20001;
  Own(link(), kMaker);
  ExpectRefused(link().c_str(), EPERM);
  ExpectRefused("link", EPERM);
  Own(folder(), kMaker);
  EXPECT_EQ(RootOf(link().c_str()), folder().string());
  Own(link(), kMaker + 1);
  ExpectRefused(link().c_str(), EPERM);
  Own(link(), 0);
  EXPECT_EQ(RootOf(link().c_str()), folder().string());
}

// Each of several has to count.
TEST_F(BeneathRootTest, ALinkBehindAnotherOneIsLookedAtToo) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be several users";
  constexpr uid_t kMaker = 20001;
  const fs::path first = folder().parent_path() / "first";
  fs::create_directory_symlink("link", first);
  EXPECT_EQ(RootOf(first.c_str()), folder().string());
  Own(link(), kMaker);
  ExpectRefused(first.c_str(), EPERM);
}

}  // namespace
