#include "common/stop_signals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "base/heeded_signals.h"

StopSignals::StopSignals() {
  const sigset_t stops = HeededStopSignals();
  sigprocmask(SIG_BLOCK, &stops, &previous_);
  events_ = FileDescriptor(signalfd(-1, &stops, SFD_NONBLOCK | SFD_CLOEXEC));
}

StopSignals::~StopSignals() {
  sigprocmask(SIG_SETMASK, &previous_, nullptr);
}

bool StopSignals::Pending() const {
  pollfd events{events_.get(), POLLIN, 0};
  return poll(&events, 1, 0) > 0;
}

int PendingStop() {
  const sigset_t heeded = HeededStopSignals();
  sigset_t pending;
  if (sigpending(&pending) != 0) return 0;
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    if (sigismember(&heeded, number) == 1 && sigismember(&pending, number) == 1) return number;
  }
  return 0;
}

int StopSignals::Take() {
  signalfd_siginfo event{};
  const bool arrived = read(events_.get(), &event, sizeof(event)) == static_cast<ssize_t>(sizeof(event));
  return arrived ? static_cast<int>(event.ssi_signo) : 0;
}
