#ifndef BASE_HEEDED_SIGNALS_H_
#define BASE_HEEDED_SIGNALS_H_

#include <signal.h>

// The signals that stop a program, but for those that it ignores since it was started, as nohup and the
// shells of background jobs have it. While it is blocked a signal waits, ignored or not.
inline sigset_t HeededStopSignals() {
  sigset_t heeded;
  sigemptyset(&heeded);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&heeded, number);
  }
  return heeded;
}

#endif  // BASE_HEEDED_SIGNALS_H_
