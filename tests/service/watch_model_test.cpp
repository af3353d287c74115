// Random things happen to a folder that is watched, and the watcher is killed now and then; the library must
// equal one made of the folder from nothing.
//
// LUMIVAULT_SEED plays a run again, LUMIVAULT_OPERATIONS makes it longer.
#include <signal.h>

#include <cstdio>
#include <random>

#include "folder_model.h"
#include "support/watch_test.h"

namespace {

constexpr unsigned kOperations = 150;
constexpr unsigned kOperationsBetweenComparisons = 50;
constexpr std::size_t kLongestBurst = 8;
constexpr std::size_t kLongestPause = 120;  // milliseconds
constexpr std::size_t kRareKill = 12;

class WatchModelTest : public WatchTest {
 protected:
  void KillAndWatch() {
    StopWatch(SIGKILL);
    Watch();
  }
  // Bursts of changes, with pauses that end in the middle of runs.
  unsigned Burst(FolderModel& model) {
    unsigned done = 0;
    for (std::size_t left = 1 + model.Random(kLongestBurst); left > 0; --left, ++done) model.Step();
    model.Seen();
    std::this_thread::sleep_for(std::chrono::milliseconds(model.Random(kLongestPause)));
    if (model.Random(kRareKill) == 0) KillAndWatch();
    return done;
  }
};

TEST_F(WatchModelTest, TheLibraryFollows) {
  const unsigned seed = FromEnvironment("LUMIVAULT_SEED", std::random_device()());
  const unsigned operations = FromEnvironment("LUMIVAULT_OPERATIONS", kOperations);
  std::printf("LUMIVAULT_SEED=%u\n", seed);
  std::fflush(stdout);
  SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed));
  FolderModel model(folder(), seed);
  Watch();
  unsigned compared = 0;
  for (unsigned done = 0; done < operations && !HasFailure();) {
    SCOPED_TRACE("operation " + std::to_string(done));
    ASSERT_NO_FATAL_FAILURE(done += Burst(model));
    if (done < compared + kOperationsBetweenComparisons) continue;
    ASSERT_NO_FATAL_FAILURE(CatchUp());
    // What was renamed while a run came to it is made good by a later run.
    const std::vector<std::string> fresh = ExportOfNew();
    EXPECT_TRUE(Eventually([&] { return Exported(folder()) == fresh; }));
    if (HasFailure()) ExpectAsNew();
    compared = done;
  }
}

}  // namespace
