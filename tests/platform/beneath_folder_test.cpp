// Opening folders below a folder whose owner may be hostile.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "core/descriptor.h"
#include "platform/files.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class BeneathFolderTest : public testing::Test {
 protected:
  BeneathFolderTest() {
    fs::create_directories(root() / "a/b");
    fs::create_directories(dir_.path() / "outside/b");
    root_ = Descriptor(open(root().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  }

  fs::path root() const { return dir_.path() / "photo"; }
  Descriptor Open(const char* path) const { return Descriptor(KAVOBeneathOpenFolder(root_.get(), path)); }
  static bool Same(const Descriptor& opened, const fs::path& folder) {
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
  Descriptor root_;
};

TEST_F(BeneathFolderTest, TheFolderItselfAndThoseBelow) {
  EXPECT_TRUE(Same(Open(""), root()));
  EXPECT_TRUE(Same(Open("a"), root() / "a"));
  EXPECT_TRUE(Same(Open("a/b"), root() / "a/b"));
}

TEST_F(BeneathFolderTest, WhatIsOpenedCanBeListed) {
  WriteFile(root() / "a/b/c.jpg", "x");
  const Descriptor opened = Open("a/b");
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

}  // namespace
