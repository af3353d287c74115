#ifndef SERVICE_COMMON_STOP_SIGNALS_H_
#define SERVICE_COMMON_STOP_SIGNALS_H_

#include <signal.h>

#include "base/file_descriptor.h"

// Takes SIGINT, SIGTERM and SIGHUP as events for the life of the object instead of dying of them, but for
// what whoever started the program had ignored. Made before any thread is started.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Readable when one has arrived.
  int descriptor() const { return events_.get(); }
  // The number of the next one, 0 when there is none.
  int Take();
  // One has arrived and was not taken. It reaches the process when the object goes.
  bool Pending() const;

 private:
  sigset_t previous_{};
  FileDescriptor events_;
};

// The number of one that has arrived and that this process holds back, whoever made it do so; 0 when there is
// none.
int PendingStop();

#endif  // SERVICE_COMMON_STOP_SIGNALS_H_
