// What the plug-in, the platform and the service share about files and processes.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <utility>

#include "base/file_descriptor.h"
#include "base/file_id.h"
#include "base/process_start.h"
#include "base/read_on.h"
#include "support/silent_spawn.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

bool IsOpen(int number) {
  return fcntl(number, F_GETFD) >= 0;
}

FileDescriptor OpenNothing() {
  return FileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

TEST(FileDescriptorTest, ClosesAtItsEnd) {
  int number = -1;
  {
    const FileDescriptor owned = OpenNothing();
    number = owned.get();
    EXPECT_TRUE(owned);
    EXPECT_TRUE(IsOpen(number));
  }
  EXPECT_FALSE(IsOpen(number));
}

TEST(FileDescriptorTest, ZeroIsOneAndMinusOneIsNone) {
  FileDescriptor input(0);
  EXPECT_TRUE(input);
  EXPECT_EQ(input.Release(), 0);
  EXPECT_FALSE(input);
  EXPECT_FALSE(FileDescriptor());
}

TEST(FileDescriptorTest, WhatItHadIsClosedAtOnceWhenItGetsAnother) {
  FileDescriptor owned = OpenNothing();
  FileDescriptor other = OpenNothing();
  const int first = owned.get();
  const int second = other.get();
  owned = std::move(other);
  EXPECT_FALSE(IsOpen(first));
  EXPECT_EQ(owned.get(), second);
  EXPECT_FALSE(other);  // NOLINT(bugprone-use-after-move): what it is then is what is asked
}

TEST(FileDescriptorTest, StaysOpenWhenItIsMovedToItself) {
  FileDescriptor owned = OpenNothing();
  FileDescriptor& same = owned;
  owned = std::move(same);
  EXPECT_TRUE(IsOpen(owned.get()));
}

TEST(FileDescriptorTest, ClosingLeavesErrnoAsItWas) {
  FileDescriptor wrong(1'000'000);
  errno = ENOENT;
  wrong.Close();
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(wrong);
}

class FilesTest : public testing::Test {
 protected:
  fs::path Make(const char* name, const std::string& text) const {
    std::ofstream(dir_ / name) << text;
    return dir_.path() / name;
  }

  const TempDir dir_;
};

TEST_F(FilesTest, OneFileUnderTwoNamesHasOneId) {
  const fs::path file = Make("a", "x");
  fs::create_hard_link(file, dir_ / "b");
  const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  const auto id = IdOfOpen(opened.get());
  ASSERT_TRUE(id);
  EXPECT_EQ(id, IdOfName((dir_ / "b").c_str()));
  EXPECT_EQ(id, IdBehind(file.c_str()));
}

TEST_F(FilesTest, TwoFilesHaveTwoIds) {
  const fs::path file = Make("a", "x");
  const fs::path other = Make("b", "x");
  EXPECT_NE(IdBehind(file.c_str()), IdBehind(other.c_str()));
  FileId elsewhere = *IdBehind(file.c_str());
  ++elsewhere.device;
  EXPECT_NE(IdBehind(file.c_str()), elsewhere);
}

TEST_F(FilesTest, ALinkIsAFileOfItsOwnByItsName) {
  const fs::path file = Make("a", "x");
  fs::create_symlink("a", dir_ / "link");
  const FileDescriptor folder(open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_EQ(IdBehind((dir_ / "link").c_str()), IdBehind(file.c_str()));
  EXPECT_NE(IdOfName(folder.get(), "link"), IdOfName(folder.get(), "a"));
  EXPECT_EQ(IdOfName(folder.get(), "a"), IdBehind(file.c_str()));
}

TEST_F(FilesTest, WhatIsNotThereHasNoId) {
  EXPECT_FALSE(IdBehind((dir_ / "none").c_str()));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(IdOfName((dir_ / "none").c_str()));
  EXPECT_FALSE(IdOfOpen(-1));
  EXPECT_EQ(errno, EBADF);
}

TEST_F(FilesTest, AFileIsReadToItsEnd) {
  const std::string content = std::string(100'000, 'a') + '\0' + "end";
  const fs::path file = Make("a", content);
  const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text = "before ";
  EXPECT_TRUE(ReadOn(opened.get(), text.max_size(), text));
  EXPECT_EQ(text, "before " + content);
}

TEST_F(FilesTest, ReadingEndsAtTheBound) {
  const fs::path file = Make("a", std::string(200'000, 'a'));
  const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  EXPECT_TRUE(ReadOn(opened.get(), 20'000, text));
  EXPECT_GE(text.size(), 20'000U);
  EXPECT_LT(text.size(), 40'000U);
  const std::size_t length = text.size();
  EXPECT_TRUE(ReadOn(opened.get(), length, text));
  EXPECT_EQ(text.size(), length);
}

TEST_F(FilesTest, WhatCannotBeReadTellsWhy) {
  const FileDescriptor folder(open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::string text = "before";
  EXPECT_FALSE(ReadOn(folder.get(), text.max_size(), text));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(text, "before");
}

TEST_F(FilesTest, APipeGivesWhatIsInItNow) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
  const FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  ASSERT_EQ(write(writing.get(), "abc", 3), 3);
  std::string text;
  EXPECT_FALSE(ReadOn(reading.get(), text.max_size(), text));
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(text, "abc");
}

class ProcessStartTest : public testing::Test {
 protected:
  // The exit status of a shell that runs SCRIPT.
  static int StatusOf(const ProcessStart& start, const std::string& script) {
    pid_t id = 0;
    if (start.Run("/bin/sh", {"sh", "-c", script}, {"GIVEN=yes"}, id) != 0) return -1;
    int status = 0;
    waitpid(id, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

TEST_F(ProcessStartTest, ArgumentsAndEnvironmentAreWhatIsGiven) {
  EXPECT_EQ(StatusOf(ProcessStart(), "test \"$GIVEN$HOME\" = yes && exit 7"), 7);
}

TEST_F(ProcessStartTest, DescriptorsAreGivenUnderTheirNumbers) {
  const FileDescriptor given(open("/proc/self/status", O_RDONLY | O_CLOEXEC));
  ProcessStart start;
  start.Give(given.get(), 8);
  start.GiveNothing(9, O_WRONLY);
  EXPECT_EQ(StatusOf(start, "grep -q Name: <&8 && test \"$(readlink /proc/$$/fd/9)\" = /dev/null && exit 7"),
            7);
}

TEST_F(ProcessStartTest, DescriptorsAreClosedInItAlone) {
  const FileDescriptor kept(open("/dev/null", O_RDONLY));
  const std::string there = "test -e /proc/$$/fd/" + std::to_string(kept.get()) + " && exit 7";
  EXPECT_EQ(StatusOf(ProcessStart(), there), 7);
  ProcessStart start;
  start.Close(kept.get());
  EXPECT_EQ(StatusOf(start, there), 1);
  EXPECT_TRUE(IsOpen(kept.get()));
}

TEST_F(ProcessStartTest, SignalsComeThroughAsBefore) {
  signal(SIGUSR1, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR2);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  ProcessStart reset;
  reset.ResetSignals();
  EXPECT_EQ(StatusOf(reset, "kill -USR1 $$; exit 7"), -1);
  EXPECT_EQ(StatusOf(ProcessStart(), "kill -USR1 $$; exit 7"), 7) << "ignored unless it is reset";
  EXPECT_EQ(StatusOf(ProcessStart(), "kill -USR2 $$; exit 7"), -1) << "blocked here alone";
  pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  signal(SIGUSR1, SIG_DFL);
}

TEST_F(ProcessStartTest, ItLeadsAGroupWhereThatIsWanted) {
  const std::string leads = "test $(cut -d ' ' -f 5 /proc/$$/stat) = $$ && exit 7";
  ProcessStart start;
  start.ResetSignals();
  start.LeadGroup();
  EXPECT_EQ(StatusOf(start, leads), 7);
  EXPECT_EQ(StatusOf(ProcessStart(), leads), 1);
}

// It would run without what it needs.
TEST_F(ProcessStartTest, NothingIsStartedAfterAStepThatFailed) {
  const TempDir dir;
  const std::string touched = dir / "touched";
  ProcessStart start;
  start.Give(-1, 8);
  start.GiveNothing(9, O_RDONLY);
  start.LeadGroup();
  pid_t id = -2;
  EXPECT_EQ(start.Run("/bin/sh", {"sh", "-c", "touch " + touched}, {}, id), EBADF);
  EXPECT_EQ(id, -2);
  EXPECT_FALSE(fs::exists(touched));
}

TEST_F(ProcessStartTest, AProgramThatIsNotThereTellsWhy) {
  if (!SpawnTellsOfFailure()) GTEST_SKIP() << kSilentSpawn;
  pid_t id = 0;
  EXPECT_EQ(ProcessStart().Run("/nowhere/at/all", {"all"}, {}, id), ENOENT);
}

}  // namespace
