// What a worker is started with, whatever the number of descriptors that are left for it.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>

#include <chrono>
#include <fstream>

#include "base/file_descriptor.h"
#include "run/worker_process.h"
#include "support/temp_dir.h"
#include "work/worker_arguments.h"

namespace {

constexpr rlim_t kFirstLimit = 17;  // copies are made from number 16 on
constexpr rlim_t kLastLimit = 64;

class WorkerStartTest : public testing::Test {
 protected:
  // In the place of the worker's program a shell, which runs what the plug-in's argument names.
  WorkerStartTest() : shell_(open("/bin/sh", O_PATH | O_CLOEXEC)), view_(open("/", O_PATH | O_CLOEXEC)) {
    getrlimit(RLIMIT_NOFILE, &before_);
    start_.program = shell_.get();
    start_.plugin = dir_ / "script";
    start_.view = view_.get();
    start_.library.folder = dir_.path();
  }
  ~WorkerStartTest() override { setrlimit(RLIMIT_NOFILE, &before_); }

  void Script(const std::string& text) const { std::ofstream(dir_ / "script") << text; }
  // How it ended, or why it was not started.
  std::string Outcome(rlim_t limit) const {
    rlimit few = before_;
    few.rlim_cur = limit;
    setrlimit(RLIMIT_NOFILE, &few);
    auto worker = WorkerProcess::Start(start_, "", turn_);
    setrlimit(RLIMIT_NOFILE, &before_);
    return worker ? (*worker)->AwaitEnd(std::chrono::seconds(30)).text : worker.failure().message;
  }

  const TempDir dir_;
  rlimit before_{};
  const FileDescriptor shell_;
  const FileDescriptor view_;
  const FileDescriptor turn_{open("/dev/null", O_RDWR | O_CLOEXEC)};
  WorkerStart start_;
};

std::string Leads(int descriptor, const std::string& to) {
  return "case $(readlink /proc/$$/fd/" + std::to_string(descriptor) + ") in " + to +
         ") ;; *) exit 9; esac\n";
}

// One that lacked its socket, its log or the view would fail in ways that nobody understands.
TEST_F(WorkerStartTest, HasAllDescriptorsOrIsNotStarted) {
  Script(Leads(0, "/dev/null") + Leads(1, "/dev/null") + Leads(2, "pipe:*") +
         Leads(kWorkerSocket, "socket:*") + Leads(kWorkerLogPipe, "pipe:*") +
         Leads(kWorkerTurn, "/dev/null") + Leads(kWorkerView, "/"));
  bool refused = false;
  bool started = false;
  for (rlim_t limit = kFirstLimit; limit <= kLastLimit; ++limit) {
    const std::string outcome = Outcome(limit);
    if (outcome == "ended with exit status 0") {
      started = true;
    } else {
      refused = true;
      EXPECT_EQ(outcome, "a worker cannot be started: Too many open files") << limit;
      EXPECT_FALSE(started) << limit;
    }
  }
  EXPECT_TRUE(refused);
  EXPECT_TRUE(started);
}

TEST_F(WorkerStartTest, TellsItsLastLine) {
  Script("echo first >&2; echo last >&2; exit 3");
  EXPECT_EQ(Outcome(before_.rlim_cur), "ended with exit status 3: last");
}

// Whoever judges the file that it was at goes by the signal, whatever the words are.
TEST_F(WorkerStartTest, TellsTheSignalThatEndedItBesideItsLastLine) {
  Script("echo last >&2; kill -9 $$");
  auto worker = WorkerProcess::Start(start_, "", turn_);
  ASSERT_TRUE(worker);
  const WorkerEnd end = (*worker)->AwaitEnd(std::chrono::seconds(30));
  EXPECT_EQ(end.signal, SIGKILL);
  EXPECT_EQ(end.text, "killed by signal 9 (Killed): last");
}

TEST_F(WorkerStartTest, OneThatEndsByItselfWasEndedByNoSignal) {
  Script("exit 9");
  auto worker = WorkerProcess::Start(start_, "", turn_);
  ASSERT_TRUE(worker);
  EXPECT_EQ((*worker)->AwaitEnd(std::chrono::seconds(30)).signal, std::nullopt);
}

}  // namespace
