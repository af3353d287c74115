#ifndef SERVICE_COMMON_TICKER_H_
#define SERVICE_COMMON_TICKER_H_

#include <chrono>
#include <functional>
#include <utility>

#include "common/event_loop.h"

// Does something again and again while its loop turns, at once for the first time. To be used in the loop's
// thread.
class Ticker : private EventHandler {
 public:
  // LOOP outlives it.
  Ticker(EventLoop& loop, std::chrono::milliseconds interval, std::function<void()> action)
      : loop_(loop), interval_(interval), action_(std::move(action)), next_(loop.Now()) {
    loop_.Add(*this);
  }
  ~Ticker() override { loop_.Remove(*this); }
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

 private:
  Awaited Awaits() const override { return {-1, false, next_}; }
  void Expire() override {
    next_ = loop_.Now() + interval_;
    action_();
  }

  EventLoop& loop_;
  std::chrono::milliseconds interval_;
  std::function<void()> action_;
  Moment next_;
};

#endif  // SERVICE_COMMON_TICKER_H_
