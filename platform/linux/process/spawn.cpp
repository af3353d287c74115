#include "process/spawn.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "process/own_child_signal.h"
#include "process/spawn_setup.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kPipeCapacity = std::size_t{64} << 10;
constexpr int kLastReads = 16;  // more than a pipe holds at its largest default
constexpr milliseconds kFirstPause{1};
constexpr milliseconds kLongestPause{16};

class Descriptor {
 public:
  Descriptor() = default;
  ~Descriptor() { Reset(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return value_; }
  void Reset(int value = -1) {
    if (value_ >= 0) close(value_);
    value_ = value;
  }

 private:
  int value_ = -1;
};

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

bool Open(Pipe& pipe) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  pipe.reading.Reset(ends[0]);
  pipe.writing.Reset(ends[1]);
  return fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
}

// A started program. Its process stays a zombie, and so its number ours, until the object has killed its
// group and collected it.
class Child {
 public:
  explicit Child(pid_t id) : id_(id) {}
  ~Child() {
    KillGroup();
    int ignored = 0;
    if (id_ > 0) Collect(ignored);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool HasEnded() const {
    siginfo_t info{};
    const int result = waitid(P_PID, static_cast<id_t>(id_), &info, WEXITED | WNOHANG | WNOWAIT);
    return (result == 0 && info.si_pid == id_) || (result < 0 && errno == ECHILD);
  }
  void KillGroup() const {
    if (id_ > 0) kill(-id_, SIGKILL);
  }
  // Its exit status, or nothing when a signal ended it.
  std::optional<int> Finish() {
    int status = 0;
    if (!Collect(status) || !WIFEXITED(status)) return std::nullopt;
    return WEXITSTATUS(status);
  }

 private:
  bool Collect(int& status) {
    pid_t collected = -1;
    do {
      collected = waitpid(id_, &status, 0);
    } while (collected < 0 && errno == EINTR);
    id_ = -1;
    return collected > 0;
  }

  pid_t id_;
};

// Takes what is in the pipe, one read at most; closes it at its end. False when there was nothing to take.
bool ReadSome(Descriptor& pipe, std::string& output) {
  if (pipe.get() < 0) return false;
  std::array<char, kPipeCapacity> buffer;
  const ssize_t count = read(pipe.get(), buffer.data(), buffer.size());
  if (count < 0) return errno == EINTR;
  if (count == 0) {
    pipe.Reset();
    return false;
  }
  const std::size_t room = kMaxCapturedOutput - output.size();
  output.append(buffer.data(), std::min(room, static_cast<std::size_t>(count)));
  return true;
}

void Pause(const Descriptor& pipe, milliseconds pause) {
  pollfd readable{pipe.get(), POLLIN, 0};  // a closed one is ignored and the call just waits
  poll(&readable, 1, static_cast<int>(pause.count()));
}

// Reads until the program has ended. False when its time is over first.
bool Supervise(const Child& child, Descriptor& pipe, std::string& output, Clock::time_point deadline) {
  milliseconds pause = kFirstPause;
  while (!child.HasEnded()) {
    if (Clock::now() >= deadline) return false;
    if (ReadSome(pipe, output)) continue;
    Pause(pipe, pause);
    pause = std::min(pause * 2, kLongestPause);
  }
  // Children that it left behind may hold the pipe open, and would keep writing.
  child.KillGroup();
  for (int count = 0; count < kLastReads && ReadSome(pipe, output); ++count) {
  }
  return true;
}

pid_t Start(const SpawnRequest& request, int output) {
  const ChildDescriptors descriptors(output, request.keep_errors);
  const ChildAttributes attributes;
  const std::vector<std::string> environment = ChildEnvironment();
  pid_t id = -1;
  const int error = posix_spawn(&id, request.program.c_str(), descriptors.get(), attributes.get(),
                                PointersTo(request.arguments).data(), PointersTo(environment).data());
  return error == 0 ? id : -1;
}

}  // namespace

std::optional<SpawnResult> RunProgram(const SpawnRequest& request) {
  Pipe pipe;
  if (request.capture && !Open(pipe)) return std::nullopt;
  const OwnChildSignal own_children;
  const Clock::time_point deadline = Clock::now() + request.limit;
  const pid_t id = Start(request, pipe.writing.get());
  if (id < 0) return std::nullopt;
  Child child(id);
  pipe.writing.Reset();

  SpawnResult result;
  if (!Supervise(child, pipe.reading, result.output, deadline)) return std::nullopt;
  const std::optional<int> status = child.Finish();
  if (!status) return std::nullopt;
  result.status = *status;
  return result;
}
