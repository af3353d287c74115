// A signal to stop that comes when nothing is left that it could stop.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>

#include "base/file_descriptor.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace {

constexpr int kTerminated = 128 + SIGTERM;
constexpr int kBusy = 6;

class LateSignalTest : public ServiceTest {
 protected:
  void SetUp() override { MakeJpeg(File("a.jpg"), 8, 8); }
  // When the run makes this call for the file.
  void SignalAt(const std::string& call, const std::string& name) {
    Environment("LD_PRELOAD", FAILING_CALLS);
    Environment("FAIL_CALL", call + "-signalled");
    Environment("FAIL_NAME", name);
  }
};

// The last thing that a run does before its report: it forgets since when the oldest job has waited.
TEST_F(LateSignalTest, CostsNoReport) {
  SignalAt("unlink", "oldest-job");
  const Json::Value report = Index({}, kTerminated);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_FALSE(report["interrupted"].asBool());
}

TEST_F(LateSignalTest, CostsNoReasonWhyARunDidNotBegin) {
  Index();
  const FileDescriptor held(open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  SignalAt("flock", "photos");
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.status, kBusy);
  EXPECT_EQ(result.err, "lumivault: " + folder().string() +
                            ": another run holds the library, or somebody else keeps its folder locked\n");
}

}  // namespace
