#ifndef SERVICE_COMMON_EVENT_LOOP_H_
#define SERVICE_COMMON_EVENT_LOOP_H_

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

using Moment = std::chrono::steady_clock::time_point;

// What somebody waits for.
struct Awaited {
  int descriptor = -1;           // until it can be read, or its other end is gone; -1: none
  bool writable = false;         // or until it takes something
  std::optional<Moment> moment;  // until then at the latest
};

class EventHandler {
 public:
  virtual ~EventHandler() = default;
  // Asked before each wait.
  virtual Awaited Awaits() const = 0;
  // The descriptor is ready.
  virtual void Serve() {}
  // The moment has come.
  virtual void Expire() {}
};

// Where a thread waits for all that it drives: signals, workers, timers. A handler that is served may add
// handlers and remove any, itself too. To be used in one thread; others may have loops of their own.
class EventLoop {
 public:
  EventLoop() = default;
  virtual ~EventLoop() = default;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // HANDLER is served until it is removed, which is before it goes.
  void Add(EventHandler& handler) { handlers_.push_back(&handler); }
  void Remove(const EventHandler& handler);
  // Waits for the first event, and serves what has come, in the order in which handlers were added.
  void Turn() { TurnUntil(std::nullopt); }
  // Serves what has come, without waiting: for those who are busy with something long.
  void Poll() { TurnUntil(Now()); }

  virtual Moment Now() const { return std::chrono::steady_clock::now(); }

 protected:
  // Fills in what is ready of DESCRIPTORS; comes back at UNTIL at the latest.
  virtual void Wait(std::vector<pollfd>& descriptors, std::optional<Moment> until);

 private:
  void TurnUntil(std::optional<Moment> limit);
  void ServeAt(std::size_t place, const Awaited& awaited, bool ready);

  std::vector<EventHandler*> handlers_;  // null: removed while others are served
  int turns_ = 0;                        // one within the other
};

#endif  // SERVICE_COMMON_EVENT_LOOP_H_
