// Somebody exchanges a folder for a link to a foreign folder, without a pause, while we work in it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "core/find_below.h"
#include "core/open_below.h"
#include "platform/files.h"
#include "support/scaled.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr int kOpens = Scaled(200'000, 20'000);

class Attacker {
 public:
  Attacker(const fs::path& a, const fs::path& b)
      : thread_([this, a, b] {
          while (!stop_) renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
        }) {}
  ~Attacker() {
    stop_ = true;
    thread_.join();
  }
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// photo/trip is a folder of the user's, photo/bait a link to the foreign folder.
class RaceTest : public testing::Test {
 protected:
  RaceTest() {
    WriteFile(photo() / "trip" / "a.jpg", "mine");
    WriteFile(foreign(), "foreign");
    chmod(foreign().c_str(), 0600);
    fs::create_directory_symlink(dir_.path() / "foreign", photo() / "bait");
    struct stat status {};
    stat(foreign().c_str(), &status);
    foreign_inode_ = status.st_ino;
    setenv("LUMIVAULT_ROOT", (dir_.path() / "appliance").c_str(), 1);
  }
  ~RaceTest() override { unsetenv("LUMIVAULT_ROOT"); }

  fs::path photo() const { return dir_.path() / "photo"; }
  fs::path foreign() const { return dir_.path() / "foreign" / "a.jpg"; }
  std::string target() const { return (photo() / "trip" / "a.jpg").string(); }
  Attacker Attack() const { return Attacker(photo() / "trip", photo() / "bait"); }

  struct Count {
    int opened = 0;
    int leaked = 0;
  };
  // Opens with OPEN again and again under attack, and on until DONE(counts) is true: the attacker may be
  // stopped for long, before it has begun as well as with the link in its place.
  template <typename Open, typename Done>
  Count OpenUnderAttack(Open&& open_target, Done&& done) const {
    const Attacker attacker = Attack();
    Count count;
    for (int i = 0; i < kOpens || !done(count); ++i) {
      const FileDescriptor opened = open_target();
      const auto status = opened ? StatusOf(opened) : std::nullopt;
      if (!status.has_value()) continue;
      ++count.opened;
      if (status->st_ino == foreign_inode_) ++count.leaked;
    }
    return count;
  }

  static constexpr auto kSomeOpened = [](const Count& count) { return count.opened > 0; };

  TempDir dir_;
  ino_t foreign_inode_ = 0;
};

TEST_F(RaceTest, TheAttackWorksAgainstACheckOfTheLastNameAlone) {
  const Count count = OpenUnderAttack(
      [&] { return FileDescriptor(open(target().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)); },
      [](const Count& until_now) { return until_now.leaked > 0; });
  EXPECT_GT(count.leaked, 0);
}

TEST_F(RaceTest, NothingForeignIsOpenedAtOnce) {
  const FileDescriptor root(open(photo().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!OpenBelowAtOnce(root.get(), ".", O_PATH, 0) && errno == ENOSYS) GTEST_SKIP() << "no openat2 here";
  const Count count =
      OpenUnderAttack([&] { return OpenBelowAtOnce(root.get(), "trip/a.jpg", O_RDONLY, 0); }, kSomeOpened);
  EXPECT_GT(count.opened, 0);
  EXPECT_EQ(count.leaked, 0);
}

TEST_F(RaceTest, NothingForeignIsOpenedStepwise) {
  const FileDescriptor root(open(photo().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Count count =
      OpenUnderAttack([&] { return OpenBelowStepwise(root.get(), "trip/a.jpg", O_RDONLY, 0); }, kSomeOpened);
  EXPECT_GT(count.opened, 0);
  EXPECT_EQ(count.leaked, 0);
}

TEST_F(RaceTest, NothingForeignIsRead) {
  const Count count = OpenUnderAttack(
      [&] { return FileDescriptor(KAVOBeneathOpen(photo().c_str(), target().c_str())); }, kSomeOpened);
  EXPECT_GT(count.opened, 0);
  EXPECT_EQ(count.leaked, 0);
}

TEST_F(RaceTest, NothingForeignIsRemoved) {
  constexpr int kRemovals = Scaled(20'000, 2'000);
  int removed = 0;
  {
    const Attacker attacker = Attack();
    for (int i = 0; i < kRemovals || removed == 0; ++i) {
      if (RemoveBelow(photo(), target()) != 0) continue;
      ++removed;
      const FileDescriptor again(
          open((photo() / "trip" / "a.jpg").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
      const FileDescriptor other(
          open((photo() / "bait" / "a.jpg").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }
  }
  EXPECT_GT(removed, 0);
  // Its number alone would not tell: a file that is made again often gets that of the removed one.
  EXPECT_EQ(ReadFile(foreign()), "foreign");
}

TEST_F(RaceTest, NothingForeignIsGivenAMode) {
  int changed = 0;
  {
    const Attacker attacker = Attack();
    for (int i = 0; i < kOpens / 2 || changed == 0; ++i) {
      const mode_t mode = i % 2 == 0 ? 0777 : 0755;
      if (KAVOBeneathMode(photo().c_str(), target().c_str(), mode) == 0) ++changed;
    }
  }
  struct stat status {};
  EXPECT_GT(changed, 0);
  ASSERT_EQ(stat(foreign().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

}  // namespace
