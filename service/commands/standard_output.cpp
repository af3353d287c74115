#include "commands/standard_output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

#include "common/unwaiting_output.h"

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

// Or for a signal.
void WaitForReader(const StopSignals& stops) {
  std::array<pollfd, 2> events{pollfd{STDOUT_FILENO, POLLOUT, 0}, pollfd{stops.descriptor(), POLLIN, 0}};
  while (poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
  }
}

// A terminal may say that it takes something, and have no room for what is next.
void PauseUntil(const StopSignals& stops) {
  constexpr int kPause = 10;  // milliseconds
  pollfd event{stops.descriptor(), POLLIN, 0};
  poll(&event, 1, kPause);
}

int DrainUnless(const StopSignals& stops) {
  static const UnwaitingOutput output(STDOUT_FILENO);
  bool waited = false;
  for (std::string_view rest = Buffer(); !rest.empty();) {
    if (stops.Pending()) return Note(EINTR);
    const auto taken = output.Write(rest);
    if (!taken) return Note(errno);
    rest.remove_prefix(*taken);
    const bool again = std::exchange(waited, *taken == 0);
    if (waited && again) PauseUntil(stops);
    if (waited && !again) WaitForReader(stops);
  }
  Buffer().clear();
  return first_error;
}

int Drain() {
  std::string_view rest = Buffer();
  while (!rest.empty()) {
    const ssize_t written = write(STDOUT_FILENO, rest.data(), rest.size());
    if (written < 0 && errno != EINTR) return Note(errno);
    rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  Buffer().clear();
  return first_error;
}

}  // namespace

int Write(std::string_view text, const StopSignals* stops) {
  Buffer() += text;
  if (Buffer().size() < kBufferBytes) return first_error;
  return stops != nullptr ? DrainUnless(*stops) : Drain();
}

int WriteOut(std::string_view text) {
  Buffer() += text;
  return Drain();
}
