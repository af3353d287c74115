#include "process/own_child_signal.h"

namespace {

// The kernel then reaps children at once and their status is lost.
bool DropsChildren(const struct sigaction& action) {
  return action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0;
}

}  // namespace

OwnChildSignal::OwnChildSignal() {
  sigset_t child;
  sigemptyset(&child);
  sigaddset(&child, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &child, &previous_mask_);
  sigaction(SIGCHLD, nullptr, &previous_action_);
  if (!DropsChildren(previous_action_)) return;
  struct sigaction waits {};
  waits.sa_handler = SIG_DFL;
  replaced_ = sigaction(SIGCHLD, &waits, nullptr) == 0;
}

OwnChildSignal::~OwnChildSignal() {
  if (replaced_) sigaction(SIGCHLD, &previous_action_, nullptr);
  pthread_sigmask(SIG_SETMASK, &previous_mask_, nullptr);
}
