#include "commands/standard_output.h"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <string>

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

// The first error: a later call may succeed, with a part of the text missing.
int first_error = 0;

std::string& Buffer() {
  static std::string buffer;
  return buffer;
}

int Note(int error) {
  if (first_error == 0) first_error = error;
  Buffer().clear();
  return first_error;
}

// False when STOPS has a signal. Nothing else interrupts a write that waits for a reader.
bool WaitForReader(const StopSignals& stops) {
  std::array<pollfd, 2> events{pollfd{STDOUT_FILENO, POLLOUT, 0}, pollfd{stops.descriptor(), POLLIN, 0}};
  while (poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
  }
  return events.back().revents == 0;
}

int Drain(const StopSignals* stops) {
  std::string_view rest = Buffer();
  while (!rest.empty()) {
    if (stops != nullptr && !WaitForReader(*stops)) return Note(EINTR);
    // What a pipe that is not full takes without waiting.
    const std::size_t size = stops != nullptr ? std::min<std::size_t>(rest.size(), PIPE_BUF) : rest.size();
    const ssize_t written = write(STDOUT_FILENO, rest.data(), size);
    if (written < 0 && errno != EINTR) return Note(errno);
    rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  Buffer().clear();
  return first_error;
}

}  // namespace

int Write(std::string_view text, const StopSignals* stops) {
  Buffer() += text;
  return Buffer().size() < kBufferBytes ? first_error : Drain(stops);
}

int WriteOut(std::string_view text) {
  Buffer() += text;
  return Drain(nullptr);
}
