#include "run/worker_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include "common/display.h"
#include "common/error_text.h"
#include "common/read_pipe.h"
#include "run/worker_environment.h"
#include "work/worker_arguments.h"
#include "work/worker_memory.h"

namespace {

// Above every number that a worker gets its descriptors under.
constexpr int kFirstFreeDescriptor = 16;
constexpr std::chrono::milliseconds kPatience{2000};
constexpr const char* kOpenFiles = "/proc/self/fd/";

struct Pair {
  FileDescriptor ours;
  FileDescriptor theirs;
};

// Empty where DESCRIPTOR is none.
FileDescriptor CopyUp(int descriptor) {
  return FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
}

FileDescriptor MovedUp(int descriptor) {
  const FileDescriptor low(descriptor);
  return CopyUp(low.get());
}

std::optional<Pair> MakeSocketPair() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return std::nullopt;
  return Pair{FileDescriptor(ends[0]), MovedUp(ends[1])};
}

// The reading end is ours and theirs. Neither end ever waits: a worker that writes more than it reads back
// loses the rest.
std::optional<Pair> MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) return std::nullopt;
  return Pair{MovedUp(ends[0]), MovedUp(ends[1])};
}

// As the system's calls want them.
std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// What a new process is given.
class SpawnSetup {
 public:
  SpawnSetup() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  void Give(const FileDescriptor& from, int as) {
    posix_spawn_file_actions_adddup2(&actions_, from.get(), as);
  }
  void GiveNothing(int as, int flags) {
    posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", flags, 0);
  }

  // 0 and the process, or an errno value.
  int Spawn(int program, const std::vector<std::string>& arguments,
            const std::vector<std::string>& environment, pid_t& pid) const {
    const std::string path = kOpenFiles + std::to_string(program);
    return posix_spawn(&pid, path.c_str(), &actions_, &attributes_, Pointers(arguments).data(),
                       Pointers(environment).data());
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

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

}  // namespace

Outcome<std::unique_ptr<StartedWorker>> WorkerProcess::Start(const WorkerStart& start,
                                                             const std::string& database,
                                                             const FileDescriptor& turn) {
  auto sockets = MakeSocketPair();
  auto log = MakePipe();
  if (!sockets || !log) return Failure{ExitStatus::kFatal, "a worker cannot be started: " + ErrorText(errno)};
  SpawnSetup setup;
  setup.GiveNothing(STDIN_FILENO, O_RDONLY);
  setup.GiveNothing(STDOUT_FILENO, O_WRONLY);
  setup.Give(log->theirs, STDERR_FILENO);
  setup.Give(sockets->theirs, kWorkerSocket);
  setup.Give(log->ours, kWorkerLogPipe);
  const FileDescriptor shared_turn = CopyUp(turn.get());
  if (shared_turn) setup.Give(shared_turn, kWorkerTurn);
  if (!shared_turn) setup.GiveNothing(kWorkerTurn, O_RDONLY);
  const FileDescriptor view = CopyUp(start.view);
  if (view) setup.Give(view, kWorkerView);
  pid_t pid = 0;
  const FileDescriptor executable = CopyUp(start.program);
  const auto environment = start.identity ? EnvironmentForAnother() : OwnEnvironment();
  const int error = setup.Spawn(executable.get(), ArgumentsOf(start, database), environment, pid);
  if (error != 0) return Failure{ExitStatus::kFatal, "a worker cannot be started: " + ErrorText(error)};
  return std::unique_ptr<StartedWorker>(
      new WorkerProcess(pid, Channel(std::move(sockets->ours)), std::move(log->ours)));
}

void WorkerProcess::Kill() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  static_cast<void>(AwaitEnd(kPatience));
}

std::string WorkerProcess::AwaitEnd(std::chrono::milliseconds patience) {
  const std::optional<int> status = Reap(std::exchange(pid_, 0), patience);
  if (!status) return "cannot be ended";
  const std::string last_line = Visible(LastLine(ReadPipe(log_.get())));
  return EndText(*status) + (last_line.empty() ? "" : ": " + last_line);
}
