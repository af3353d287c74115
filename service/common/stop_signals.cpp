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

bool StopIsPending() {
  sigset_t heeded = HeededStopSignals();
  sigset_t pending;
  sigset_t both;
  return sigpending(&pending) == 0 && sigandset(&both, &heeded, &pending) == 0 && sigisemptyset(&both) == 0;
}

int StopSignals::Take() {
  signalfd_siginfo event{};
  const bool arrived = read(events_.get(), &event, sizeof(event)) == static_cast<ssize_t>(sizeof(event));
  return arrived ? static_cast<int>(event.ssi_signo) : 0;
}
