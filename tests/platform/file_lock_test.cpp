#include "core/file_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "support/child_processes.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

namespace {

constexpr int kWriters = 16;
constexpr int kLines = 2'000;

class FileLockTest : public testing::Test {
 protected:
  FileLockTest() { setenv("LUMIVAULT_ROOT", (dir_.path() / "appliance").c_str(), 1); }
  ~FileLockTest() override { unsetenv("LUMIVAULT_ROOT"); }

  std::string queue() const { return dir_ / "face.queue"; }

  TempDir dir_;
};

// "w7 12 xxxx...": writer, number, and as many letters as the number says.
std::string LineOf(int writer, int number) {
  constexpr int kLongest = 300;
  const int letters = (writer * kLines + number) % kLongest;
  return "w" + std::to_string(writer) + " " + std::to_string(number) + " " + std::to_string(letters) + " " +
         std::string(static_cast<std::size_t>(letters), 'x') + "\n";
}

// Appends in two writes, so that only a lock keeps a line in one piece.
void AppendInTwoWrites(int descriptor, const std::string& line) {
  const std::size_t half = line.size() / 2;
  lseek(descriptor, 0, SEEK_END);
  EXPECT_EQ(write(descriptor, line.data(), half), static_cast<ssize_t>(half));
  lseek(descriptor, 0, SEEK_END);
  EXPECT_EQ(write(descriptor, line.data() + half, line.size() - half),
            static_cast<ssize_t>(line.size() - half));
}

bool AppendLocked(const std::string& file, const std::string& line) {
  int descriptor = -1;
  if (RLIBCFileLockByFile(file.c_str(), 1, &descriptor) == 0) return false;
  AppendInTwoWrites(descriptor, line);
  RLIBCFileUnlockByFile(descriptor);
  return true;
}

int WriteLocked(const std::string& file, int writer) {
  for (int number = 0; number < kLines; ++number) {
    if (!AppendLocked(file, LineOf(writer, number))) return 1;
  }
  return 0;
}

// What became of the lines: torn ones, and those of each writer in the order of the file.
struct Outcome {
  int torn = 0;
  std::map<int, std::vector<int>> numbers;
};

Outcome Examine(const std::string& content) {
  Outcome outcome;
  std::istringstream stream(content);
  for (std::string line; std::getline(stream, line);) {
    int writer = -1;
    int number = -1;
    const bool read = sscanf(line.c_str(), "w%d %d ", &writer, &number) == 2;  // NOLINT(cert-err34-c)
    if (read && line + "\n" == LineOf(writer, number)) {
      outcome.numbers[writer].push_back(number);
    } else {
      ++outcome.torn;
    }
  }
  return outcome;
}

void ExpectAllInOrder(const Outcome& outcome) {
  EXPECT_EQ(outcome.torn, 0);
  EXPECT_EQ(outcome.numbers.size(), static_cast<std::size_t>(kWriters));
  for (const auto& [writer, numbers] : outcome.numbers) {
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(kLines)) << writer;
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end())) << writer;
  }
}

TEST_F(FileLockTest, LinesOfManyProcessesStayWhole) {
  EXPECT_TRUE(RunChildren(kWriters, [&](int writer) { return WriteLocked(queue(), writer); }));
  ExpectAllInOrder(Examine(ReadFile(queue())));
}

TEST_F(FileLockTest, WithoutTheLockTheSameLinesAreTorn) {
  WriteFile(queue(), "");
  RunChildren(kWriters, [&](int writer) {
    const FileDescriptor descriptor(open(queue().c_str(), O_RDWR | O_CLOEXEC));
    for (int number = 0; number < kLines; ++number)
      AppendInTwoWrites(descriptor.get(), LineOf(writer, number));
    return 0;
  });
  EXPECT_GT(Examine(ReadFile(queue())).torn, 0);
}

TEST_F(FileLockTest, ThreadsOfOneProcessExcludeEachOther) {
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 200; ++n) {
        const FileDescriptor locked = LockFile(queue(), milliseconds(10'000));
        if (++inside != 1) ++overlaps;
        std::this_thread::yield();
        // Another descriptor of the file that is closed must not take the lock with it.
        const FileDescriptor other(open(queue().c_str(), O_RDONLY | O_CLOEXEC));
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(overlaps, 0);
}

// Takes the file away as its reader does; what stood in it.
std::string TakeAway(const std::string& file) {
  int descriptor = -1;
  EXPECT_NE(RLIBCFileLockByFile(file.c_str(), 1, &descriptor), 0);
  const std::string aside = file + ".taken";
  fs::rename(file, aside);
  std::string taken = ReadFile(aside);
  RLIBCFileUnlockByFile(descriptor);
  return taken;
}

// The writers are processes and the reader is this one: an emulator may hang where a program with threads
// makes processes.
TEST_F(FileLockTest, NothingIsLostWhenTheReaderTakesTheFileAway) {
  constexpr int kRotations = 200;
  std::vector<pid_t> writers;
  for (int writer = 0; writer < kWriters; ++writer)
    writers.push_back(StartChild([&] { return WriteLocked(queue(), writer); }));
  std::string taken;
  for (int i = 0; i < kRotations; ++i) taken += TakeAway(queue());
  for (const pid_t writer : writers) EXPECT_EQ(WaitFor(writer), 0);
  ExpectAllInOrder(Examine(taken + (fs::exists(queue()) ? ReadFile(queue()) : "")));
}

// A process that has the lock and keeps it until it is killed, which happens after SECONDS unless they are 0.
pid_t StartHolder(const std::string& file, unsigned seconds = 0) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  const pid_t holder = StartChild([&] {
    const FileDescriptor locked = LockFile(file, milliseconds(1'000));
    alarm(seconds);
    if (write(ready[1], "r", 1) != 1) return 1;
    pause();
    return 0;
  });
  char answer = 0;
  EXPECT_EQ(read(ready[0], &answer, 1), 1);
  close(ready[0]);
  close(ready[1]);
  return holder;
}

TEST_F(FileLockTest, AKilledHolderLetsTheNextOneIn) {
  const pid_t holder = StartHolder(queue());
  EXPECT_FALSE(LockFile(queue(), milliseconds(0)));
  kill(holder, SIGKILL);
  WaitFor(holder);
  const auto start = steady_clock::now();
  EXPECT_TRUE(LockFile(queue(), milliseconds(10'000)));
  EXPECT_LT(steady_clock::now() - start, milliseconds(5'000));
}

TEST_F(FileLockTest, AHungHolderIsNotWaitedForWithoutEnd) {
  const pid_t holder = StartHolder(queue());
  kill(holder, SIGSTOP);
  const auto start = steady_clock::now();
  errno = 0;
  EXPECT_FALSE(LockFile(queue(), milliseconds(300)));
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_GE(steady_clock::now() - start, milliseconds(300));
  EXPECT_LT(steady_clock::now() - start, milliseconds(8'000)) << "that is how long it waits by itself";
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre("Another process holds the lock of " + queue() + "; gave up."));
  kill(holder, SIGKILL);
  WaitFor(holder);
}

// Whoever keeps it would make each photo of a run wait.
TEST_F(FileLockTest, WhoHasWaitedInVainForAFileWaitsNoMoreUntilHeHasGotIt) {
  const pid_t holder = StartHolder(queue());
  const auto fails_within = [&](milliseconds limit) {
    const auto start = steady_clock::now();
    EXPECT_FALSE(AppendLocked(queue(), "line\n"));
    EXPECT_EQ(errno, ETIMEDOUT);
    const auto waited = steady_clock::now() - start;
    EXPECT_LT(waited, limit);
    return waited;
  };
  EXPECT_GE(fails_within(milliseconds(30'000)), milliseconds(10'000));
  for (int job = 0; job < 2; ++job) fails_within(milliseconds(5'000));
  const std::string other = dir_ / "other.queue";
  const pid_t others_holder = StartHolder(other, 1);
  EXPECT_TRUE(AppendLocked(other, "line\n")) << "it was not waited for";
  kill(holder, SIGKILL);
  WaitFor(holder);
  EXPECT_TRUE(AppendLocked(queue(), "line\n"));
  const pid_t next = StartHolder(queue(), 1);
  EXPECT_TRUE(AppendLocked(queue(), "line\n")) << "it was not waited for again";
  WaitFor(others_holder);
  WaitFor(next);
}

TEST_F(FileLockTest, UnlockingFreesTheFileEvenIfAChildHasItOpen) {
  int descriptor = -1;
  ASSERT_NE(RLIBCFileLockByFile(queue().c_str(), 1, &descriptor), 0);
  const pid_t child = StartChild([] { return pause(); });
  RLIBCFileUnlockByFile(descriptor);
  EXPECT_TRUE(LockFile(queue(), milliseconds(0)));
  kill(child, SIGKILL);
  WaitFor(child);
}

TEST_F(FileLockTest, TheFileIsMadeForAllUsers) {
  const mode_t old_mask = umask(077);
  EXPECT_TRUE(AppendLocked(queue(), "line\n"));
  umask(old_mask);
  struct stat status {};
  ASSERT_EQ(stat(queue().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0777U);
}

TEST_F(FileLockTest, WithKeepTheFileHasWhatTheUmaskLeaves) {
  WriteFile(dir_.path() / "appliance/var/packages/Lumivault/etc/settings.conf", "file_modes=keep\n");
  const mode_t old_mask = umask(027);
  EXPECT_TRUE(AppendLocked(queue(), "line\n"));
  umask(old_mask);
  struct stat status {};
  ASSERT_EQ(stat(queue().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(FileLockTest, LinksAndSpecialFilesAreRefused) {
  WriteFile(dir_.path() / "secret", "secret");
  fs::create_symlink(dir_.path() / "secret", queue());
  ASSERT_EQ(mkfifo((dir_ / "fifo").c_str(), 0600), 0);
  alarm(60);
  EXPECT_FALSE(AppendLocked(queue(), "line\n"));
  EXPECT_FALSE(AppendLocked(dir_ / "fifo", "line\n"));
  EXPECT_FALSE(AppendLocked("/dev/null", "line\n"));
  EXPECT_FALSE(AppendLocked(dir_ / "missing/face.queue", "line\n"));
  alarm(0);
  EXPECT_EQ(ReadFile(dir_.path() / "secret"), "secret");
}

// It could be anybody's.
TEST_F(FileLockTest, AFileWithASecondNameIsRefused) {
  WriteFile(dir_.path() / "secret", "secret");
  fs::create_hard_link(dir_.path() / "secret", queue());
  EXPECT_FALSE(AppendLocked(queue(), "line\n"));
  EXPECT_EQ(errno, EMLINK);
  EXPECT_EQ(ReadFile(dir_.path() / "secret"), "secret");
  fs::remove(dir_.path() / "secret");
  EXPECT_TRUE(AppendLocked(queue(), "line\n"));
}

// In a folder that others write to, who may have moved it there.
class ForeignQueueTest : public FileLockTest {
 protected:
  static constexpr uid_t kOwner = 20'001;
  static constexpr gid_t kGroup = 20'003;

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
    fs::permissions(dir_.path(), fs::perms::all);
    fs::create_directories(queue_.parent_path());
    fs::create_directories(dir_ / "appliance/var/services");
    fs::create_directory_symlink(dir_.path() / "tree", dir_ / "appliance/var/services/photo");
    Folder(kOwner, 0777);
  }

  // The folder of the queue, and the queue with a text of its owner's.
  void Folder(uid_t owner, mode_t mode) const { Give(queue_.parent_path(), owner, mode); }
  void File(uid_t owner, mode_t mode) const {
    WriteFile(queue_, "secret");
    Give(queue_, owner, mode);
  }
  static void Give(const fs::path& path, uid_t owner, mode_t mode) {
    ASSERT_EQ(chown(path.c_str(), owner, kGroup), 0);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
  }
  bool Append() const {
    return AppendLocked(dir_ / "appliance/var/services/photo/@eaDir/face.queue", "line\n");
  }

  const fs::path queue_ = dir_.path() / "tree/@eaDir/face.queue";
};

TEST_F(ForeignQueueTest, WhatOnlyItsOwnerMayWriteIsNotWrittenByRoot) {
  for (const mode_t mode : {0600U, 0644U, 0664U, 0770U}) {
    SCOPED_TRACE(mode);
    File(kOwner, mode);
    errno = 0;
    EXPECT_FALSE(Append());
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(ReadFile(queue_), "secret");
  }
}

TEST_F(ForeignQueueTest, WhatOthersMayWriteIsWritten) {
  File(kOwner, 0602);
  EXPECT_TRUE(Append());
}

TEST_F(ForeignQueueTest, OnesOwnIsWritten) {
  File(0, 0600);
  EXPECT_TRUE(Append());
}

// As it is made with kept modes, by somebody who has made its folder so, too.
TEST_F(ForeignQueueTest, WhatStandsInItsOwnersFolderIsWrittenWhereNobodyElseWritesThere) {
  const auto is_written = [&](uid_t folders_owner, mode_t folders_mode) {
    Folder(folders_owner, folders_mode);
    File(kOwner, 0644);
    return Append();
  };
  EXPECT_TRUE(is_written(kOwner, 0755));
  EXPECT_FALSE(is_written(kOwner, 0757));
  EXPECT_FALSE(is_written(kOwner, 0775));
  EXPECT_FALSE(is_written(kOwner + 1, 0755));
}

TEST_F(ForeignQueueTest, WhoIsNotRootWritesWhatHeMay) {
  File(kOwner, 0660);
  EXPECT_EQ(WaitFor(StartChild([&] {
              if (setgid(kGroup) != 0 || setuid(kOwner + 1) != 0) return 2;
              return Append() ? 0 : 1;
            })),
            0);
  EXPECT_EQ(ReadFile(queue_), "secretline\n");
}

TEST_F(FileLockTest, BelowTheSharedFolderOnlyTheFolderItselfMayBeALink) {
  const fs::path shared = dir_.path() / "appliance/var/services/photo";
  fs::create_directories(dir_.path() / "volume" / "@eaDir");
  fs::create_directories(shared.parent_path());
  fs::create_directory_symlink(dir_.path() / "volume", shared);
  EXPECT_TRUE(AppendLocked(shared / "@eaDir" / "face.queue", "line\n"));
  EXPECT_EQ(ReadFile(dir_.path() / "volume" / "@eaDir" / "face.queue"), "line\n");

  fs::create_directories(dir_.path() / "elsewhere");
  fs::remove_all(dir_.path() / "volume" / "@eaDir");
  fs::create_directory_symlink(dir_.path() / "elsewhere", dir_.path() / "volume" / "@eaDir");
  EXPECT_FALSE(AppendLocked(shared / "@eaDir" / "face.queue", "line\n"));
  EXPECT_TRUE(fs::is_empty(dir_.path() / "elsewhere"));
}

TEST_F(FileLockTest, NullArgumentsFail) {
  int descriptor = -1;
  EXPECT_EQ(RLIBCFileLockByFile(nullptr, 1, &descriptor), 0);
  EXPECT_EQ(RLIBCFileLockByFile(queue().c_str(), 1, nullptr), 0);
  RLIBCFileUnlockByFile(-1);
}

}  // namespace
