#include "process/spawn.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

#include "base/file_descriptor.h"
#include "core/error.h"
#include "process/own_child_signal.h"
#include "process/spawn_setup.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kPipeCapacity = std::size_t{64} << 10;
constexpr int kLastReads = 16;  // more than a pipe holds at its largest default
constexpr milliseconds kFirstPause{1};
constexpr milliseconds kLongestPause{16};
constexpr milliseconds kCollectLimit{1'000};

struct Pipe {
  FileDescriptor reading;
  FileDescriptor writing;
};

bool Open(Pipe& pipe) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  pipe.reading = FileDescriptor(ends[0]);
  pipe.writing = FileDescriptor(ends[1]);
  return fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
}

enum class ChildState {
  kRunning,
  kEnded,  // but not collected, so that its number is still its own
  kLost,   // somebody else has collected it; its number may be that of another program now
};

// A started program. Its process stays a zombie, and so its number ours, until the object has killed its
// group and collected it.
class Child {
 public:
  explicit Child(pid_t id) : id_(id) {}
  ~Child() {
    Kill();
    int ignored = 0;
    if (id_ > 0) Collect(ignored);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  ChildState Look() {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(id_), &info, WEXITED | WNOHANG | WNOWAIT) == 0) {
      return info.si_pid == id_ ? ChildState::kEnded : ChildState::kRunning;
    }
    if (errno != ECHILD) return ChildState::kRunning;
    id_ = -1;
    return ChildState::kLost;
  }
  // With all of its group; itself also when it has joined another one.
  void Kill() const {
    if (id_ <= 0) return;
    kill(-id_, SIGKILL);
    kill(id_, SIGKILL);
  }
  // 0 and its exit status, or why there is none: EINTR when a signal ended it, ECHILD when another thread has
  // collected it. To be called once it has ended.
  int Finish(int& exit_status) {
    int status = 0;
    if (!Collect(status)) return ECHILD;
    if (!WIFEXITED(status)) return EINTR;
    exit_status = WEXITSTATUS(status);
    return 0;
  }

 private:
  // Not even SIGKILL ends a process that waits for a disk that does not answer; it is left to itself then.
  bool Collect(int& status) {
    const Clock::time_point deadline = Clock::now() + kCollectLimit;
    pid_t collected = 0;
    while ((collected = waitpid(id_, &status, WNOHANG)) == 0 && Clock::now() < deadline) {
      std::this_thread::sleep_for(kFirstPause);
    }
    id_ = -1;
    return collected > 0;
  }

  pid_t id_;
};

// Takes what is in the pipe, one read at most; closes it at its end. False when there was nothing to take.
bool ReadSome(FileDescriptor& pipe, SpawnResult& result) {
  if (!pipe) return false;
  std::array<char, kPipeCapacity> buffer;
  const ssize_t count = read(pipe.get(), buffer.data(), buffer.size());
  if (count < 0) return errno == EINTR;
  if (count == 0) {
    pipe = FileDescriptor();
    return false;
  }
  const std::size_t room = kMaxCapturedOutput - result.output.size();
  const std::size_t kept = std::min(room, static_cast<std::size_t>(count));
  result.output.append(buffer.data(), kept);
  if (kept < static_cast<std::size_t>(count)) result.complete = false;
  return true;
}

void Pause(const FileDescriptor& pipe, milliseconds pause) {
  pollfd readable{pipe.get(), POLLIN, 0};  // a closed one is ignored and the call just waits
  poll(&readable, 1, static_cast<int>(pause.count()));
}

// Takes what a program that has ended left in the pipe.
void ReadRest(FileDescriptor& pipe, SpawnResult& result) {
  for (int count = 0; count < kLastReads; ++count) {
    if (!ReadSome(pipe, result)) return;
  }
  // Somebody outside the group writes on.
  result.complete = false;
}

// Reads until the program has ended. 0, or why there is no result: ETIMEDOUT when its time is over first.
int Supervise(Child& child, FileDescriptor& pipe, SpawnResult& result, Clock::time_point deadline) {
  milliseconds pause = kFirstPause;
  ChildState state = ChildState::kRunning;
  while ((state = child.Look()) == ChildState::kRunning) {
    if (Clock::now() >= deadline) return ETIMEDOUT;
    if (ReadSome(pipe, result)) continue;
    Pause(pipe, pause);
    pause = std::min(pause * 2, kLongestPause);
  }
  if (state == ChildState::kLost) return ECHILD;
  // Children that it left behind may hold the pipe open, and would keep writing.
  child.Kill();
  ReadRest(pipe, result);
  return 0;
}

pid_t Start(const SpawnRequest& request, int output) {
  ProcessStart start;
  start.ResetSignals();
  start.LeadGroup();
  GiveStandardStreams(start, output, request.keep_errors);
  pid_t id = -1;
  const int error = start.Run(request.program.c_str(), request.arguments, ChildEnvironment(), id);
  if (error == 0) return id;
  errno = error;
  return -1;
}

// Nothing, noted as ERROR.
std::optional<SpawnResult> Failed(int error) {
  RECORD_ERROR(error);
  return std::nullopt;
}

}  // namespace

std::optional<SpawnResult> RunProgram(const SpawnRequest& request) {
  Pipe pipe;
  if (request.capture && !Open(pipe)) return Failed(errno);
  const OwnChildSignal own_children;
  const Clock::time_point deadline = Clock::now() + request.limit;
  const pid_t id = Start(request, pipe.writing.get());
  if (id < 0) return Failed(errno);
  Child child(id);
  pipe.writing = FileDescriptor();

  SpawnResult result;
  int error = Supervise(child, pipe.reading, result, deadline);
  if (error == 0) error = child.Finish(result.status);
  if (error != 0) return Failed(error);
  return result;
}
