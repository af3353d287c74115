#ifndef PLATFORM_LINUX_PROCESS_OWN_CHILD_SIGNAL_H_
#define PLATFORM_LINUX_PROCESS_OWN_CHILD_SIGNAL_H_

#include <csignal>

// While one of these lives, the exit status of a child of this thread is ours to collect: a handler of the
// calling program that waits for any child is held back, and a program that ignores its children does not
// lose them unseen.
class OwnChildSignal {
 public:
  OwnChildSignal();
  ~OwnChildSignal();
  OwnChildSignal(const OwnChildSignal&) = delete;
  OwnChildSignal& operator=(const OwnChildSignal&) = delete;

 private:
  sigset_t previous_mask_{};
  struct sigaction previous_action_ {};
  bool replaced_ = false;
};

#endif  // PLATFORM_LINUX_PROCESS_OWN_CHILD_SIGNAL_H_
