// Output that goes to somebody who takes none of it.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <set>
#include <thread>

#include "base/file_descriptor.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

// A run whose output somebody may take or not.
class StalledOutputTest : public ServiceTest {
 protected:
  void SetUp() override { MakeJpeg(File("a.jpg"), 8, 8); }

  // REDIRECTION is the shell's.
  std::unique_ptr<ProgramRun> StartInto(const std::string& redirection,
                                        const std::vector<std::string>& arguments) const {
    std::vector<std::string> shell{"-c", "exec \"$@\" " + redirection, "sh", LUMIVAULT_PROGRAM};
    shell.insert(shell.end(), arguments.begin(), arguments.end());
    shell.push_back("--root=" + state().string());
    const std::map<std::string, std::string> environment{{"TERM", "xterm"}};
    return std::make_unique<ProgramRun>(shell, scratch() / "stalled", environment, std::nullopt, "/bin/sh");
  }
  void AddRows(int count) const {
    Query("WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
          std::to_string(count) + ") INSERT INTO photo_image (path, name) SELECT 'x' || i, 'x' FROM n");
  }
  static bool Ends(const ProgramRun& run) {
    return Eventually([&] {
      siginfo_t info{};
      const auto id = static_cast<id_t>(run.pid());
      return waitid(P_PID, id, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == run.pid();
    });
  }
  static int StatusAfter(ProgramRun& run, int signal) {
    run.Signal(signal);
    EXPECT_TRUE(Ends(run)) << "still there";
    run.Signal(SIGKILL);
    return run.Wait().status;
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.insert(entry.path().filename());
    return names;
  }
};

// Standard output is a pipe that nobody reads.
class StalledReaderTest : public StalledOutputTest {
 protected:
  void SetUp() override {
    StalledOutputTest::SetUp();
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    reader_ = FileDescriptor(ends.front());
    writer_ = FileDescriptor(ends.back());
    room_ = fcntl(writer_.get(), F_SETPIPE_SZ, 1);
    ASSERT_GT(room_, 0);
  }
  // Under way, with the pipe full.
  std::unique_ptr<ProgramRun> StartStalled(const std::vector<std::string>& arguments) const {
    auto run = StartInto(">/proc/self/fd/" + std::to_string(writer_.get()), arguments);
    EXPECT_TRUE(Eventually([&] {
      int waiting = 0;
      return ioctl(reader_.get(), FIONREAD, &waiting) == 0 && waiting == room_;
    }));
    return run;
  }

 private:
  FileDescriptor reader_;
  FileDescriptor writer_;
  int room_ = 0;
};

class StalledExportTest : public StalledReaderTest, public testing::WithParamInterface<int> {};

TEST_P(StalledExportTest, CanBeStopped) {
  constexpr int kRows = 1000;
  Index();
  AddRows(kRows);
  const auto at_rest = Names();
  EXPECT_EQ(StatusAfter(*StartStalled({"export", folder()}), GetParam()), kKilledBy + GetParam());
  EXPECT_EQ(Names(), at_rest) << "nothing of it stays in the folder";
}

INSTANTIATE_TEST_SUITE_P(Signals, StalledExportTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(StalledReaderTest, OfARunsReportHoldsNoLibrary) {
  constexpr int kFailed = 1000;
  for (int i = 0; i < kFailed; ++i) WriteFile(File("bad" + std::to_string(i) + ".jpg"), "");
  const auto run = StartStalled({"index", "--quiet", folder()});
  const RunResult other = Run({"index", "--quiet", folder()});
  EXPECT_EQ(other.status, 0) << other.err;
  EXPECT_EQ(StatusAfter(*run, SIGTERM), kKilledBy + SIGTERM);
}

class StalledTerminalTest : public StalledOutputTest {
 protected:
  void SetUp() override {
    StalledOutputTest::SetUp();
    screen_ = FileDescriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!screen_ || grantpt(screen_.get()) != 0 || unlockpt(screen_.get()) != 0)
      GTEST_SKIP() << "no terminals here";
    name_ = ptsname(screen_.get());
    line_ = FileDescriptor(open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(line_);
  }
  const std::string& name() const { return name_; }
  // A run that is long enough to tell of its progress.
  void AddPhotos() const {
    constexpr int kPhotos = 300;
    for (int i = 0; i < kPhotos; ++i) fs::copy_file(File("a.jpg"), File("b" + std::to_string(i) + ".jpg"));
  }
  std::string Screen() const {
    constexpr std::size_t kMost = 65536;
    std::string text(kMost, '\0');
    const ssize_t count = read(screen_.get(), text.data(), text.size());
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
  }
  // As Ctrl-S does.
  void StopOutput() const { ASSERT_EQ(tcflow(line_.get(), TCOOFF), 0); }
  // It writes no more, and has not written all.
  static bool IsStalled(const ProgramRun& run) {
    constexpr std::chrono::milliseconds kAWhile{300};
    constexpr long kMuch = 2'000;
    const long before = WrittenBy(run.pid());
    std::this_thread::sleep_for(kAWhile);
    return before > kMuch && WrittenBy(run.pid()) == before;
  }

 private:
  static long WrittenBy(pid_t process) {
    std::ifstream counters("/proc/" + std::to_string(process) + "/io");
    std::string name;
    long count = 0;
    while (counters >> name >> count && name != "wchar:") {
    }
    return count;
  }

  FileDescriptor screen_;
  FileDescriptor line_;
  std::string name_;
};

// Which says that it takes something as long as it takes a byte.
TEST_F(StalledTerminalTest, KeepsNoExportFromBeingStopped) {
  constexpr int kRows = 10'000;
  Index();
  AddRows(kRows);
  const auto run = StartInto(">" + name(), {"export", folder()});
  EXPECT_TRUE(Eventually([&] { return IsStalled(*run); }));
  EXPECT_EQ(StatusAfter(*run, SIGTERM), kKilledBy + SIGTERM);
}

TEST_F(StalledTerminalTest, HoldsNoRunByNotTakingItsProgress) {
  AddPhotos();
  StopOutput();
  const auto run = StartInto("2>" + name(), {"index", folder()});
  EXPECT_TRUE(Ends(*run)) << "still there";
  run->Signal(SIGKILL);
  EXPECT_EQ(run->Wait().status, 0);
}

TEST_F(StalledTerminalTest, ShowsTheProgressWhenItTakesIt) {
  AddPhotos();
  EXPECT_EQ(StartInto("2>" + name(), {"index", folder()})->Wait().status, 0);
  const std::string screen = Screen();
  EXPECT_TRUE(screen.starts_with("\r")) << screen;
  EXPECT_NE(screen.find(" of 301"), std::string::npos) << screen;
  EXPECT_TRUE(screen.ends_with("\x1b[K\r\x1b[K")) << "it is taken off at the end: " << screen;
}

}  // namespace
