#ifndef SERVICE_COMMON_SIGNAL_EVENTS_H_
#define SERVICE_COMMON_SIGNAL_EVENTS_H_

#include <functional>
#include <utility>

#include "common/event_loop.h"
#include "common/stop_signals.h"

// Tells of each signal that asks the process to stop, from LOOP. SIGNALS and LOOP outlive it.
class SignalEvents : public EventHandler {
 public:
  SignalEvents(StopSignals& signals, EventLoop& loop, std::function<void(int)> stop)
      : signals_(signals), loop_(loop), stop_(std::move(stop)) {
    loop_.Add(*this);
  }
  ~SignalEvents() override { loop_.Remove(*this); }
  SignalEvents(const SignalEvents&) = delete;
  SignalEvents& operator=(const SignalEvents&) = delete;

  Awaited Awaits() const override { return {signals_.descriptor(), false, std::nullopt}; }
  void Serve() override {
    if (const int number = signals_.Take(); number != 0) stop_(number);
  }

 private:
  StopSignals& signals_;
  EventLoop& loop_;
  std::function<void(int)> stop_;
};

#endif  // SERVICE_COMMON_SIGNAL_EVENTS_H_
