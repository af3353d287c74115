#include "run/worker_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include "base/process_start.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/read_pipe.h"
#include "run/worker_environment.h"
#include "work/out_of_memory.h"
#include "work/worker_arguments.h"

namespace {

// Above every number that a worker gets its descriptors under: a copy that has one of these would be
// overwritten while the others are put in their places.
constexpr int kFirstFreeDescriptor = 16;
constexpr std::chrono::milliseconds kPatience{2000};
constexpr const char* kOpenFiles = "/proc/self/fd/";

struct Pair {
  FileDescriptor ours;
  FileDescriptor theirs;
};

// Empty where DESCRIPTOR is none, and with errno where it fails.
FileDescriptor DuplicateAboveStandard(int descriptor) {
  if (descriptor < 0) return {};
  return FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
}

FileDescriptor MoveAboveStandard(int descriptor) {
  const FileDescriptor low(descriptor);
  return DuplicateAboveStandard(low.get());
}

// Nothing, with errno, where an end is missing.
std::optional<Pair> Whole(Pair pair) {
  return pair.ours && pair.theirs ? std::optional(std::move(pair)) : std::nullopt;
}

std::optional<Pair> MakeSocketPair() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return std::nullopt;
  return Whole({FileDescriptor(ends[0]), MoveAboveStandard(ends[1])});
}

// The reading end is ours and theirs. Neither end ever waits: a worker that writes more than it reads back
// loses the rest.
std::optional<Pair> MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) return std::nullopt;
  return Whole({MoveAboveStandard(ends[0]), MoveAboveStandard(ends[1])});
}

bool WaitAtMost(pid_t pid, std::chrono::milliseconds limit, int& status) {
  constexpr std::chrono::milliseconds kStep{1};
  for (; waitpid(pid, &status, WNOHANG) == 0; limit -= kStep) {
    if (limit <= kStep) return false;
    std::this_thread::sleep_for(kStep);
  }
  return true;
}

// How PID ended, which is at its end; one that does not end is killed. Nothing when even that does not help:
// a process that waits for a dead device must not make everybody wait.
std::optional<int> Reap(pid_t pid, std::chrono::milliseconds patience) {
  int status = 0;
  if (WaitAtMost(pid, patience, status)) return status;
  kill(pid, SIGKILL);
  if (WaitAtMost(pid, kPatience, status)) return status;
  return std::nullopt;
}

std::string EndText(int status) {
  if (WIFSIGNALED(status)) {
    const int number = WTERMSIG(status);
    return "killed by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
  }
  if (WEXITSTATUS(status) == kOutOfMemoryStatus) return kOutOfMemoryWords;
  return "ended with exit status " + std::to_string(WEXITSTATUS(status));
}

std::string LastLine(const std::string& text) {
  const std::size_t end = text.find_last_not_of('\n');
  if (end == std::string::npos) return "";
  const std::size_t line_end = text.rfind('\n', end);
  return text.substr(line_end == std::string::npos ? 0 : line_end + 1, end + 1 - (line_end + 1));
}

std::vector<std::string> ArgumentsOf(const WorkerStart& start, const std::string& database) {
  std::vector<std::string> arguments{"lumivault-worker",
                                     start.plugin,
                                     start.library.folder,
                                     database,
                                     std::to_string(getpid()),
                                     std::to_string(start.memory),
                                     start.library.shared() ? kSharedArgument : kPersonalArgument};
  if (!start.identity) return arguments;
  arguments.push_back(std::to_string(start.identity->user));
  return arguments;
}

Failure NotStarted(int error) {
  return {ExitStatus::kFatal, "a worker cannot be started: " + ErrorText(error)};
}

}  // namespace

Outcome<std::unique_ptr<StartedWorker>> WorkerProcess::Start(const WorkerStart& start,
                                                             const std::string& database,
                                                             const FileDescriptor& turn) {
  auto sockets = MakeSocketPair();
  auto log = MakePipe();
  const FileDescriptor program = DuplicateAboveStandard(start.program);
  const FileDescriptor shared_turn = DuplicateAboveStandard(turn.get());
  const FileDescriptor view = DuplicateAboveStandard(start.view);
  const bool copied = program && (shared_turn || !turn) && (view || start.view < 0);
  if (!sockets || !log || !copied) return NotStarted(errno);
  ProcessStart setup;
  setup.GiveNothing(STDIN_FILENO, O_RDONLY);
  setup.GiveNothing(STDOUT_FILENO, O_WRONLY);
  setup.Give(log->theirs.get(), STDERR_FILENO);
  setup.Give(sockets->theirs.get(), kWorkerSocket);
  setup.Give(log->ours.get(), kWorkerLogPipe);
  if (shared_turn) setup.Give(shared_turn.get(), kWorkerTurn);
  if (!shared_turn) setup.GiveNothing(kWorkerTurn, O_RDONLY);
  if (view) setup.Give(view.get(), kWorkerView);
  pid_t pid = 0;
  const auto environment = start.identity ? EnvironmentForAnother() : OwnEnvironment();
  const std::string path = kOpenFiles + std::to_string(program.get());
  const int error = setup.Run(path.c_str(), ArgumentsOf(start, database), environment, pid);
  if (error != 0) return NotStarted(error);
  return std::unique_ptr<StartedWorker>(
      new WorkerProcess(pid, Channel(std::move(sockets->ours)), std::move(log->ours)));
}

void WorkerProcess::Kill() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  static_cast<void>(AwaitEnd(kPatience));
}

WorkerEnd WorkerProcess::AwaitEnd(std::chrono::milliseconds patience) {
  // Once only: afterwards the number may be another process's.
  const std::optional<int> status = Reap(std::exchange(pid_, 0), patience);
  if (!status) return {"cannot be ended", {}};
  const std::string last_line = Visible(LastLine(ReadPipe(log_.get())));
  WorkerEnd end{EndText(*status) + (last_line.empty() ? "" : ": " + last_line), {}};
  if (WIFSIGNALED(*status)) end.signal = WTERMSIG(*status);
  return end;
}
