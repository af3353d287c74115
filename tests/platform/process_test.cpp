#include "platform/process.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/text.h"
#include "process/spawn.h"
#include "support/appliance_tree.h"
#include "support/silent_spawn.h"
#include "support/temp_dir.h"

namespace {

using namespace std::chrono_literals;
using KAVOUtils::ProcessRunner;

constexpr const char* kTool = "/usr/kavo/bin/tool";

// True while process ID is there and is not just waiting to be collected.
bool IsAlive(pid_t id) {
  std::ifstream stat("/proc/" + std::to_string(id) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  const std::size_t state = text.rfind(')');
  return state != std::string::npos && text.size() > state + 2 && text[state + 2] != 'Z';
}

// A process that was killed a moment ago may still be going.
bool EndsSoon(pid_t id) {
  for (int tries = 0; tries < 6'000; ++tries) {
    if (!IsAlive(id)) return true;
    usleep(10'000);
  }
  return false;
}

class Process : public testing::Test {
 protected:
  // An executable of the tree that runs SCRIPT.
  void AddProgram(const std::string& program, const std::string& script) {
    const std::filesystem::path path = tree_.root().string() + program;
    WriteFile(path, "#!/bin/sh\n" + script);
    chmod(path.c_str(), 0755);
  }
  SpawnRequest Script(const std::string& script) {
    return {.program = "/bin/sh", .arguments = {"sh", "-c", script}, .capture = true};
  }
  // The process ids that the script of REQUEST, which has until LIMIT, has written: again with three times as
  // long until there are COUNT, since a busy machine may leave it no time to start what it is to start.
  std::vector<pid_t> IdsOfHung(SpawnRequest request, std::chrono::milliseconds limit, std::size_t count) {
    std::vector<pid_t> ids;
    for (; ids.size() < count && limit < 60s; limit *= 3) {
      std::filesystem::remove(dir_ / "ids");
      request.limit = limit;
      const auto start = std::chrono::steady_clock::now();
      EXPECT_FALSE(RunProgram(request));
      EXPECT_LT(std::chrono::steady_clock::now() - start, limit + 18s);
      ids = Ids();
      for (const pid_t id : ids) EXPECT_TRUE(EndsSoon(id)) << id;
    }
    return ids;
  }
  // The process ids that a script has written to the file "ids".
  std::vector<pid_t> Ids() {
    std::istringstream in(ReadFile(dir_ / "ids"));
    return {std::istream_iterator<pid_t>(in), std::istream_iterator<pid_t>()};
  }

  ApplianceTree tree_;
  TempDir dir_;
};

TEST_F(Process, CapturesWhatAProgramPrints) {
  AddProgram(kTool, "printf 'one\\ntwo'");
  ProcessRunner runner(kTool, kTool);
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "one\ntwo");
}

TEST_F(Process, CapturesNothingUnlessAsked) {
  AddProgram(kTool, "echo text");
  ProcessRunner runner(kTool, kTool);
  EXPECT_EQ(runner.run(true, false), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "");
}

TEST_F(Process, NulBytesAreCapturedAsBlanks) {
  AddProgram(kTool, "printf 'one\\0two\\0\\0\\n'");
  ProcessRunner runner(kTool, kTool);
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "one two  \n");
}

TEST_F(Process, MoreThanTheCapIsAFailure) {
  AddProgram(kTool, "head -c $1 /dev/zero");
  const std::string cap = std::to_string(kMaxCapturedOutput);
  ProcessRunner whole(kTool, kTool, cap.c_str());
  EXPECT_EQ(whole.run(true, true), 0);
  EXPECT_EQ(std::string_view(whole.getCapturedOutput()).size(), kMaxCapturedOutput);
  const std::string more = std::to_string(kMaxCapturedOutput + 1);
  ProcessRunner part(kTool, kTool, more.c_str());
  EXPECT_LT(part.run(true, true), 0);
  EXPECT_STREQ(part.getCapturedOutput(), "");
  EXPECT_EQ(part.run(true, false), 0);
}

TEST_F(Process, ASecondRunStartsWithoutTheFirstOnesOutput) {
  AddProgram(kTool, "echo text");
  ProcessRunner runner(kTool, kTool);
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "text\n");
}

TEST_F(Process, AnExitStatusAboveZeroIsNoFailure) {
  AddProgram(kTool, "echo text; exit 3");
  ProcessRunner runner(kTool, kTool);
  EXPECT_EQ(runner.run(true, true), 3);
  EXPECT_STREQ(runner.getCapturedOutput(), "text\n");
}

TEST_F(Process, ArgumentsArriveByteForByte) {
  AddProgram(kTool, "for a in \"$@\"; do printf '<%s>' \"$a\"; done");
  ProcessRunner runner(kTool, kTool, "-rf", "$(touch x)", "`touch x`", "a b", "line\nend", "'\"\\", "@args",
                       "x.jpg|");
  runner.addArguments("; touch x", "\xFF\xFE");
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(),
               "<-rf><$(touch x)><`touch x`><a b><line\nend><'\"\\><@args><x.jpg|><; touch x><\xFF\xFE>");
}

TEST_F(Process, TheFirstNullEndsTheArguments) {
  AddProgram(kTool, "echo $#");
  ProcessRunner runner(kTool, kTool, "1", nullptr, "2");
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "1\n");
}

TEST_F(Process, TheCommandLineIsTheArgumentVector) {
  ProcessRunner runner(kTool, kTool, "-K", "Exif.Image.Make");
  runner.addArguments("-Pt", "/a b.jpg");
  EXPECT_STREQ(runner.toString(), "/usr/kavo/bin/tool -K Exif.Image.Make -Pt /a b.jpg");
}

TEST_F(Process, AMissingProgramIsNotRun) {
  ProcessRunner runner(kTool, kTool);
  EXPECT_LT(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "");
  EXPECT_EQ(RLIBCExec(kTool, nullptr, nullptr, nullptr, nullptr), -1);
}

TEST_F(Process, AFileWithoutTheRightToRunIsNotRun) {
  AddProgram(kTool, "exit 0");
  chmod((tree_.root().string() + kTool).c_str(), 0644);
  EXPECT_EQ(RLIBCExec(kTool, nullptr, nullptr, nullptr, nullptr), -1);
}

TEST_F(Process, AFolderIsNotRun) {
  if (!SpawnTellsOfFailure()) GTEST_SKIP() << kSilentSpawn;
  std::filesystem::create_directories(tree_.root().string() + kTool);
  EXPECT_EQ(RLIBCExec(kTool, nullptr, nullptr, nullptr, nullptr), -1);
}

TEST_F(Process, ANullProgramIsNotRun) {
  EXPECT_EQ(RLIBCExec(nullptr, "-f", nullptr, nullptr, nullptr), -1);
  ProcessRunner runner(nullptr);
  EXPECT_LT(runner.run(true, true), 0);
}

TEST_F(Process, NothingIsLeftRunningUnwaited) {
  AddProgram(kTool, "touch " + dir_ / "ran");
  ProcessRunner runner(kTool, kTool);
  EXPECT_LT(runner.run(false, true), 0);
  EXPECT_NE(access((dir_ / "ran").c_str(), F_OK), 0);
}

TEST_F(Process, ACrashIsAFailure) {
  AddProgram(kTool, "echo text; kill -SEGV $$");
  ProcessRunner runner(kTool, kTool);
  EXPECT_LT(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "");
}

TEST_F(Process, AProgramHasThirtySeconds) {
  EXPECT_EQ(SpawnRequest{}.limit, 30s);
}

TEST_F(Process, AHungProgramIsKilledWithItsChildren) {
  const SpawnRequest request = Script("sleep 1000 & echo $$ $! >" + dir_ / "ids" + "; sleep 1000");
  EXPECT_EQ(IdsOfHung(request, 1s, 2).size(), 2U);
}

TEST_F(Process, AProgramThatIgnoresSignalsIsKilled) {
  SpawnRequest request = Script("trap '' TERM INT HUP CHLD; while :; do sleep 0.05; done");
  request.limit = 300ms;
  EXPECT_FALSE(RunProgram(request));
}

TEST_F(Process, AClosedOutputDoesNotHideAHungProgram) {
  SpawnRequest request = Script("exec >&-; sleep 1000");
  request.limit = 300ms;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(RunProgram(request));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

TEST_F(Process, ChildrenThatItLeavesBehindAreNotWaitedFor) {
  const auto start = std::chrono::steady_clock::now();
  const auto result = RunProgram(Script("sleep 1000 & echo $! >" + dir_ / "ids" + "; echo done"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "done\n");
  ASSERT_EQ(Ids().size(), 1U);
  EXPECT_TRUE(EndsSoon(Ids().front()));
}

TEST_F(Process, ManyChildrenOfOneProgramAllEnd) {
  const SpawnRequest request = Script("for i in 1 2 3 4 5 6 7 8; do (echo $$ >/dev/null; sh -c 'echo $$ >>" +
                                      dir_ / "ids" + "; sleep 1000; :') & done; wait");
  EXPECT_EQ(IdsOfHung(request, 800ms, 8).size(), 8U);
}

TEST_F(Process, WhatIsBeyondTheCapIsDropped) {
  const auto result = RunProgram(Script("head -c 20000000 /dev/zero | tr '\\0' x; exit 2"));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 2);
  EXPECT_FALSE(result->complete);
  EXPECT_EQ(result->output.size(), kMaxCapturedOutput);
  EXPECT_EQ(result->output.find_first_not_of('x'), std::string::npos);
}

TEST_F(Process, AnEndlessOutputEndsWithTheTime) {
  SpawnRequest request = Script("yes");
  request.limit = 300ms;
  EXPECT_FALSE(RunProgram(request));
}

TEST_F(Process, ItHasTheStandardDescriptorsOnly) {
  const int leaked = open("/dev/null", O_RDONLY);  // as a careless library would have it
  const auto result =
      RunProgram(Script("n=0; while [ $n -lt 64 ]; do [ -e /proc/$$/fd/$n ] && echo $n && readlink "
                        "/proc/$$/fd/$n; n=$((n+1)); done; :"));
  close(leaked);
  ASSERT_TRUE(result);
  EXPECT_THAT(result->output, testing::MatchesRegex("0\n/dev/null\n1\npipe:.*\n2\n/dev/null\n"));
}

TEST_F(Process, SignalsThatTheCallerIgnoresEndIt) {
  signal(SIGPIPE, SIG_IGN);
  const auto result = RunProgram(Script("kill -PIPE $$; echo alive"));
  signal(SIGPIPE, SIG_DFL);
  EXPECT_FALSE(result);
}

TEST_F(Process, SignalsThatTheCallerBlocksEndIt) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto result = RunProgram(Script("kill -TERM $$; echo alive"));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_FALSE(result);
}

TEST_F(Process, NumbersAreWrittenInTheCLocale) {
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  const auto result = RunProgram(Script("env | grep LC_ALL"));
  unsetenv("LC_ALL");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "LC_ALL=C\n");
}

TEST_F(Process, ACallerThatIgnoresItsChildrenGetsTheStatus) {
  signal(SIGCHLD, SIG_IGN);
  const auto result = RunProgram(Script("echo text; exit 7"));
  const auto after = signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(after, SIG_IGN);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 7);
}

TEST_F(Process, ACallerThatCollectsEveryChildGetsTheStatus) {
  signal(SIGCHLD, [](int) {
    const int kept = errno;
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    errno = kept;
  });
  const auto result = RunProgram(Script("exit 7"));
  signal(SIGCHLD, SIG_DFL);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 7);
}

// Its number may be that of another program by then.
TEST_F(Process, AProgramThatAnotherThreadCollectsIsAFailure) {
  if (SpawnCopiesThreads()) GTEST_SKIP() << kCopiedThreads;
  constexpr int kRounds = 50;  // the two threads race for the child: the thief wins one of them
  for (int round = 0; round < kRounds; ++round) {
    std::atomic<bool> collected = false;
    std::atomic<bool> over = false;
    std::thread thief([&] {
      while (!collected && !over) collected = waitpid(-1, nullptr, WNOHANG) > 0;
    });
    const auto result = RunProgram(Script("sleep 0.05"));
    over = true;
    thief.join();
    if (!collected) continue;
    EXPECT_FALSE(result);
    EXPECT_EQ(RLIBCErrGet(), ECHILD);
    return;
  }
  GTEST_SKIP() << "the other thread never collected the program first";
}

TEST_F(Process, AFailureIsNoted) {
  auto hung = Script("sleep 10");
  hung.limit = 50ms;
  EXPECT_FALSE(RunProgram(hung));
  EXPECT_EQ(RLIBCErrGet(), ETIMEDOUT);
  EXPECT_EQ(RLIBCExec("/missing", nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(RLIBCErrGet(), ENOENT);
  EXPECT_EQ(RLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(RLIBCErrGet(), EINVAL);
}

// It may be another program, and is not the one of the tree.
TEST_F(Process, AProgramWhosePlaceIsTooLongIsNotRun) {
  setenv("LUMIVAULT_ROOT", ("/" + std::string(5'000, 'x')).c_str(), 1);
  EXPECT_EQ(RLIBCExec("/usr/bin/php", "-v", nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(RLIBCErrGet(), ENAMETOOLONG);
}

TEST_F(Process, NoDescriptorAndNoZombieStays) {
  if (!SpawnTellsOfFailure()) GTEST_SKIP() << kSilentSpawn;
  const auto count = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
  };
  while (waitpid(-1, nullptr, 0) > 0) {  // what earlier tests have killed may be dying still
  }
  const auto before = count();
  for (int run = 0; run < 20; ++run) EXPECT_TRUE(RunProgram(Script("echo text")));
  EXPECT_FALSE(RunProgram({.program = "/nonexistent/program", .arguments = {"x"}, .capture = true}));
  EXPECT_EQ(count(), before);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(Process, ACallerWithoutStandardOutputGetsTheCapture) {
  const int saved = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  const auto result = RunProgram(Script("echo text"));
  dup2(saved, STDOUT_FILENO);
  close(saved);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "text\n");
}

TEST_F(Process, ExecGivesTheExitStatus) {
  AddProgram(kTool, "test \"$1\" = -f && test \"$2\" = '/a b' && test $# = 2 && exit 5");
  EXPECT_EQ(RLIBCExec(kTool, "-f", "/a b", nullptr, "unseen"), 5);
}

TEST_F(Process, ExecFindsTheShellWithAPrivateTree) {
  EXPECT_EQ(RLIBCExec("/bin/sh", "-c", "exit 4", nullptr, nullptr), 4);
}

TEST_F(Process, ExecLeavesStandardOutputAloneAndKeepsErrors) {
  AddProgram(kTool, "echo noise; echo trouble >&2");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(RLIBCExec(kTool, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "trouble\n");
}

TEST_F(Process, AProgramOfTheTreeWinsOverTheBuiltInTool) {
  AddProgram("/usr/kavo/bin/exiv2", "echo \"$@\"");
  ProcessRunner runner("/usr/kavo/bin/exiv2", "/usr/kavo/bin/exiv2", "-pa", "/x.jpg");
  EXPECT_EQ(runner.run(true, true), 0);
  EXPECT_STREQ(runner.getCapturedOutput(), "-pa /x.jpg\n");
}

TEST_F(Process, TheBuiltInToolAnswersWithoutOne) {
  ProcessRunner runner("/usr/kavo/bin/exiv2", "/usr/kavo/bin/exiv2", "-pa", "/nonexistent.jpg");
  EXPECT_EQ(runner.run(true, true), 255);
  ProcessRunner other("/usr/kavo/bin/exiv2", "/usr/kavo/bin/exiv2", "rm", "/nonexistent.jpg");
  EXPECT_LT(other.run(true, true), 0);
}

}  // namespace
