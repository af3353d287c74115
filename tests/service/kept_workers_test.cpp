// Which workers a run finds that an earlier one has left.
#include "run/kept_workers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "support/temp_dir.h"
#include "work/database_file.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;

// One that waits for work, and takes its TIME to end.
class IdleWorker : public StartedWorker {
 public:
  IdleWorker(std::vector<milliseconds>& ended, milliseconds time) : ended_(ended), time_(time) {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    channel_ = std::make_unique<Channel>(FileDescriptor(ends[0]));
    theirs_ = FileDescriptor(ends[1]);
  }
  Channel& channel() override { return *channel_; }
  void Kill() override {}
  WorkerEnd AwaitEnd(milliseconds patience) override {
    ended_.push_back(patience);
    std::this_thread::sleep_for(std::min(time_, patience));
    return {};
  }

 private:
  std::vector<milliseconds>& ended_;
  milliseconds time_;
  std::unique_ptr<Channel> channel_;
  FileDescriptor theirs_;
};

class KeptWorkersTest : public testing::Test {
 protected:
  KeptWorkersTest() {
    fs::create_directories(dir_.path() / "photos");
    for (const char* file : {"program", "plugin"}) WriteFile(dir_.path() / file, "1");
    start_.library.folder = dir_.path() / "photos";
    start_.library.user = "somebody";
    WriteFile(start_.library.database(), "rows");
    start_.plugin = dir_.path() / "plugin";
    start_.memory = 100;
    OpenProgram("program");
  }
  void OpenProgram(const std::string& name) {
    program_ = FileDescriptor(open((dir_.path() / name).c_str(), O_RDONLY | O_CLOEXEC));
    start_.program = program_.get();
  }
  void Leave(milliseconds time = milliseconds(0)) {
    auto rest =
        workers_.Keep(std::make_unique<IdleWorker>(ended_, time), FileIdentity(start_.library.database()));
    EXPECT_EQ(rest, nullptr);
  }
  // One was left, and START is what the next run has.
  bool IsFoundAgain() {
    workers_.Use(start_);
    return !workers_.empty();
  }
  void UseAndLeave() {
    workers_.Use(start_);
    Leave();
  }

  TempDir dir_;
  FileDescriptor program_;
  WorkerStart start_;
  std::vector<milliseconds> ended_;
  KeptWorkers workers_;
};

TEST_F(KeptWorkersTest, TheNextRunFindsThem) {
  UseAndLeave();
  EXPECT_TRUE(IsFoundAgain());
  EXPECT_TRUE(ended_.empty());
}

TEST_F(KeptWorkersTest, TheOwnersRunDoesNotFindThoseOfRoot) {
  UseAndLeave();
  start_.identity = WorkerIdentity{1'000, 1'000};
  EXPECT_FALSE(IsFoundAgain());
  EXPECT_EQ(ended_.size(), 1U);
}

TEST_F(KeptWorkersTest, AnotherLimitMakesOthers) {
  UseAndLeave();
  start_.memory = 200;
  EXPECT_FALSE(IsFoundAgain());
}

TEST_F(KeptWorkersTest, AnotherProgramMakesOthers) {
  UseAndLeave();
  WriteFile(dir_.path() / "new", "1");
  OpenProgram("new");
  EXPECT_FALSE(IsFoundAgain());
}

TEST_F(KeptWorkersTest, AProgramThatWasWrittenAnewMakesOthers) {
  UseAndLeave();
  const std::array<timespec, 2> times{timespec{1, 0}, timespec{1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (dir_.path() / "program").c_str(), times.data(), 0), 0);
  EXPECT_FALSE(IsFoundAgain());
}

TEST_F(KeptWorkersTest, AnotherPluginMakesOthers) {
  UseAndLeave();
  WriteFile(dir_.path() / "new", "1");
  fs::rename(dir_.path() / "new", dir_.path() / "plugin");
  EXPECT_FALSE(IsFoundAgain());
}

TEST_F(KeptWorkersTest, AnotherFolderInThePlaceMakesOthers) {
  UseAndLeave();
  fs::rename(dir_.path() / "photos", dir_.path() / "aside");
  fs::create_directories(dir_.path() / "photos");
  fs::rename(dir_.path() / "aside/.KAVOHGADB", dir_.path() / "photos/.KAVOHGADB");
  EXPECT_FALSE(IsFoundAgain());
}

TEST_F(KeptWorkersTest, AnotherDatabaseMakesOthers) {
  UseAndLeave();
  WriteFile(dir_.path() / "new", "rows");
  fs::rename(dir_.path() / "new", start_.library.database());
  EXPECT_FALSE(IsFoundAgain());
}

TEST_F(KeptWorkersTest, ThoseThatHangAreWaitedForTogether) {
  workers_.Use(start_);
  for (int i = 0; i < 3; ++i) Leave(milliseconds(100));
  workers_.EndAll();
  ASSERT_EQ(ended_.size(), 3U);
  EXPECT_LE(ended_[2], ended_[0] - milliseconds(200));
  EXPECT_TRUE(workers_.empty());
}

}  // namespace
