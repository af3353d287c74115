#include "files/walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "support/child_processes.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class WalkTest : public testing::Test {
 protected:
  fs::path root() const { return dir_.path() / "photos"; }
  void SetUp() override { fs::create_directories(root()); }

  void Touch(const std::string& relative) { WriteFile(root() / relative, "x"); }

  // "folder a", "file a/b.jpg", "skipped c: hidden", "failed d: why"; the root is ".".
  std::vector<std::string> Lines() const {
    auto walk = Walk::Start(root());
    EXPECT_TRUE(walk);
    std::vector<std::string> lines;
    while (const auto entry = walk->Next()) lines.push_back(Line(*entry));
    return lines;
  }

  static std::vector<std::string> Of(const std::vector<std::string>& lines, const std::string& kind) {
    std::vector<std::string> chosen;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(chosen),
                 [&](const std::string& line) { return line.starts_with(kind); });
    return chosen;
  }

 private:
  std::string Line(const WalkEntry& entry) const {
    const std::string base = root();
    const std::string name = entry.path == base ? "." : entry.path.substr(base.size() + 1);
    switch (entry.kind) {
      case EntryKind::kFolder:
        return "folder " + name;
      case EntryKind::kFile:
        return "file " + name;
      case EntryKind::kSkipped:
        return "skipped " + name + ": " + entry.reason;
      case EntryKind::kUnknown:
        return "unknown " + name + ": " + entry.reason;
      case EntryKind::kFailed:
        return "failed " + name + ": " + entry.reason;
    }
    return "";
  }

  TempDir dir_;
};

using Strings = std::vector<std::string>;

TEST_F(WalkTest, AFolderThenItsFilesThenItsSubFoldersEachSorted) {
  for (const char* name : {"b.jpg", "a.jpg", "z/2.jpg", "z/1.jpg", "c/x.jpg", "c/d/y.jpg", "A.jpg"})
    Touch(name);
  EXPECT_EQ(Lines(),
            Strings({"folder .", "file A.jpg", "file a.jpg", "file b.jpg", "folder c", "file c/x.jpg",
                     "folder c/d", "file c/d/y.jpg", "folder z", "file z/1.jpg", "file z/2.jpg"}));
}

TEST_F(WalkTest, NamesAreComparedAsBytes) {
  for (const char* name : {"\xc3\xa9", "z", "e\xcc\x81", "\xff"}) Touch(name);
  EXPECT_EQ(Lines(), Strings({"folder .", "file e\xcc\x81", "file z", "file \xc3\xa9", "file \xff"}));
}

TEST_F(WalkTest, AnEmptyFolderIsStillAFolder) {
  fs::create_directories(root() / "empty");
  EXPECT_EQ(Lines(), Strings({"folder .", "folder empty"}));
}

TEST_F(WalkTest, HiddenNamesAreSkippedWithAllTheyHold) {
  Touch(".hidden.jpg");
  Touch(".folder/a.jpg");
  Touch(".KAVOHGADB2");
  EXPECT_EQ(Lines(), Strings({"folder .", "skipped .KAVOHGADB2: hidden", "skipped .folder: hidden",
                              "skipped .hidden.jpg: hidden"}));
}

TEST_F(WalkTest, SideFoldersAndTheDatabaseAreNotEvenMentioned) {
  for (const char* name : {"@eaDir/a.jpg/KAVOPHOTO_TITLE", "sub/@eaDir/x", ".KAVOHGADB", ".KAVOHGADB-wal",
                           ".KAVOHGADB-shm", ".KAVOHGADB-journal"}) {
    Touch(name);
  }
  EXPECT_EQ(Lines(), Strings({"folder .", "folder sub"}));
}

TEST_F(WalkTest, LinksToFilesCountAndOthersDoNot) {
  Touch("real.jpg");
  Touch("folder/inside.jpg");
  fs::create_symlink("real.jpg", root() / "a.jpg");
  fs::create_directory_symlink("folder", root() / "b");
  fs::create_symlink("nowhere", root() / "c.jpg");
  fs::create_symlink("d.jpg", root() / "d.jpg");
  fs::create_directory_symlink("..", root() / "folder" / "up");
  EXPECT_EQ(Lines(), Strings({"folder .", "file a.jpg", "unknown b: link to a folder",
                              "unknown c.jpg: link that leads nowhere",
                              "unknown d.jpg: link that leads nowhere", "file real.jpg", "folder folder",
                              "file folder/inside.jpg", "unknown folder/up: link to a folder"}));
}

TEST_F(WalkTest, SpecialFilesAreSkippedWhateverTheirNames) {
  ASSERT_EQ(mkfifo((root() / "fifo.jpg").c_str(), 0600), 0);
  fs::create_symlink("fifo.jpg", root() / "link.jpg");
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  const std::string name = root() / "socket.jpg";
  ASSERT_LT(name.size(), sizeof(address.sun_path));
  std::copy(name.begin(), name.end(), address.sun_path);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  close(descriptor);
  EXPECT_EQ(Lines(), Strings({"folder .", "unknown fifo.jpg: special file", "unknown link.jpg: special file",
                              "unknown socket.jpg: special file"}));
}

TEST_F(WalkTest, AFolderWithAPhotosNameIsAFolder) {
  Touch("a.jpg/b.jpg");
  EXPECT_EQ(Lines(), Strings({"folder .", "folder a.jpg", "file a.jpg/b.jpg"}));
}

TEST_F(WalkTest, AnUnreadableFolderIsReportedAndTheWalkGoesOn) {
  Touch("closed/a.jpg");
  Touch("open/b.jpg");
  ASSERT_EQ(chmod((root() / "closed").c_str(), 0), 0);
  ASSERT_EQ(chmod(root().parent_path().c_str(), 0755), 0);
  const bool fine = RunChildren(1, [&](int) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return 2;
    return Lines() == Strings({"folder .", "failed closed: cannot be opened: Permission denied",
                               "folder open", "file open/b.jpg"})
               ? 0
               : 1;
  });
  EXPECT_TRUE(fine);
  chmod((root() / "closed").c_str(), 0700);
}

TEST_F(WalkTest, AFolderThatGoesWhileOthersAreReadIsReported) {
  Touch("a/1.jpg");
  Touch("b/2.jpg");
  auto walk = Walk::Start(root());
  ASSERT_TRUE(walk);
  ASSERT_TRUE(walk->Next());
  fs::remove_all(root() / "a");
  const auto gone = walk->Next();
  ASSERT_TRUE(gone);
  EXPECT_EQ(gone->kind, EntryKind::kFailed);
  EXPECT_EQ(gone->reason, "cannot be opened: No such file or directory");
  EXPECT_EQ(walk->Next()->kind, EntryKind::kFolder);
}

TEST_F(WalkTest, AFolderSwappedForALinkIsNotEntered) {
  Touch("a/1.jpg");
  const TempDir elsewhere;
  WriteFile(elsewhere / "secret.jpg", "x");
  auto walk = Walk::Start(root());
  ASSERT_TRUE(walk->Next());
  fs::remove_all(root() / "a");
  fs::create_directory_symlink(elsewhere.path(), root() / "a");
  EXPECT_EQ(walk->Next()->kind, EntryKind::kFailed);
  EXPECT_FALSE(walk->Next());
}

TEST_F(WalkTest, PathsBeyondTheLimitAreReportedNotCut) {
  const std::string name(200, 'd');
  FileDescriptor folder(open(root().c_str(), O_RDONLY | O_DIRECTORY));
  for (int depth = 0; depth < 40; ++depth) {
    ASSERT_EQ(mkdirat(folder.get(), name.c_str(), 0700), 0);
    close(openat(folder.get(), "a.jpg", O_CREAT | O_WRONLY, 0600));
    folder = FileDescriptor(openat(folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY));
  }
  const Strings lines = Lines();
  const Strings failed = Of(lines, "failed");
  ASSERT_EQ(failed.size(), 1U);
  EXPECT_TRUE(failed.front().ends_with(": the path is too long"));
  const std::size_t levels = (4095 - root().string().size()) / (name.size() + 1);
  EXPECT_EQ(Of(lines, "folder").size(), levels + 1);
}

TEST_F(WalkTest, AFolderMountedInsideItselfIsNotEnteredAgain) {
  Touch("a/1.jpg");
  fs::create_directories(root() / "a" / "loop");
  constexpr int kNotPermitted = 77;
  const int status = WaitFor(StartChild([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount(root().c_str(), (root() / "a" / "loop").c_str(), nullptr, MS_BIND, nullptr) != 0) {
      return kNotPermitted;
    }
    return Lines() ==
                   Strings({"folder .", "folder a", "file a/1.jpg", "unknown a/loop: folder inside itself"})
               ? 0
               : 1;
  }));
  if (WEXITSTATUS(status) == kNotPermitted) GTEST_SKIP() << "mounting is not permitted here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(WalkTest, ARootThatIsNotThereIsAFailure) {
  const auto walk = Walk::Start(root() / "missing");
  ASSERT_FALSE(walk);
  EXPECT_EQ(walk.failure().status, ExitStatus::kFatal);
}

TEST_F(WalkTest, ARootThatCannotBeListedIsAFailure) {
  ASSERT_EQ(chmod(root().c_str(), 0111), 0);
  ASSERT_EQ(chmod(root().parent_path().c_str(), 0755), 0);
  const bool fine = RunChildren(1, [&](int) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return 2;
    const auto walk = Walk::Start(root());
    if (walk || walk.failure().status != ExitStatus::kFatal) return 1;
    return walk.failure().message == root().string() + ": cannot be opened: Permission denied" ? 0 : 3;
  });
  EXPECT_TRUE(fine);
  chmod(root().c_str(), 0700);
}

TEST_F(WalkTest, ALargeFolderIsWalkedCompletelyAndInOrder) {
  constexpr int kFiles = 5000;
  for (int i = 0; i < kFiles; ++i) Touch("f" + std::to_string(i));
  const Strings files = Of(Lines(), "file");
  EXPECT_EQ(files.size(), static_cast<std::size_t>(kFiles));
  EXPECT_TRUE(std::is_sorted(files.begin(), files.end()));
}

}  // namespace
