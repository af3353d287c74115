// Output that goes to somebody who takes none of it.
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <set>

#include "base/file_descriptor.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kPipeBytes = 4096;

class StalledReaderTest : public ServiceTest {
 protected:
  void SetUp() override {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    reader_ = FileDescriptor(ends.front());
    writer_ = FileDescriptor(ends.back());
    ASSERT_EQ(fcntl(writer_.get(), F_SETPIPE_SZ, kPipeBytes), kPipeBytes);
    MakeJpeg(File("a.jpg"), 8, 8);
  }

  // Under way, with the pipe full.
  std::unique_ptr<ProgramRun> StartStalled(const std::vector<std::string>& arguments) const {
    std::vector<std::string> shell{"-c", "exec \"$@\" >&" + std::to_string(writer_.get()), "sh",
                                   LUMIVAULT_PROGRAM};
    shell.insert(shell.end(), arguments.begin(), arguments.end());
    shell.push_back("--root=" + state().string());
    const std::map<std::string, std::string> as_it_is;
    auto run = std::make_unique<ProgramRun>(shell, scratch() / "stalled", as_it_is, std::nullopt, "/bin/sh");
    EXPECT_TRUE(Eventually([&] {
      int waiting = 0;
      return ioctl(reader_.get(), FIONREAD, &waiting) == 0 && waiting == kPipeBytes;
    }));
    return run;
  }
  static int StatusAfter(ProgramRun& run, int signal) {
    run.Signal(signal);
    EXPECT_TRUE(Eventually([&] {
      siginfo_t info{};
      const auto id = static_cast<id_t>(run.pid());
      return waitid(P_PID, id, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == run.pid();
    })) << "still there";
    run.Signal(SIGKILL);
    return run.Wait().status;
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.insert(entry.path().filename());
    return names;
  }

 private:
  FileDescriptor reader_;
  FileDescriptor writer_;
};

TEST_F(StalledReaderTest, KeepsNoExportFromBeingStopped) {
  Index();
  Query(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
      "INSERT INTO photo_image (path, name) SELECT 'x' || i, 'x' FROM n");
  const auto at_rest = Names();
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_EQ(StatusAfter(*StartStalled({"export", folder()}), number), kKilledBy + number);
    EXPECT_EQ(Names(), at_rest) << "nothing of it stays in the folder";
  }
}

TEST_F(StalledReaderTest, OfARunsReportHoldsNoLibrary) {
  constexpr int kFailed = 100;
  for (int i = 0; i < kFailed; ++i) WriteFile(File("bad" + std::to_string(i) + ".jpg"), "");
  const auto run = StartStalled({"index", "--quiet", folder()});
  const RunResult other = Run({"index", "--quiet", folder()});
  EXPECT_EQ(other.status, 0) << other.err;
  EXPECT_EQ(StatusAfter(*run, SIGTERM), kKilledBy + SIGTERM);
}

}  // namespace
