#ifndef BASE_ONE_EVENT_H_
#define BASE_ONE_EVENT_H_

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

#include "base/limits.h"

// While one lives, one event is dealt with in its thread: what settings and folders say is asked once and
// holds to its end; the next event asks anew. One may begin within another, whose answers then hold.
class OneEvent {
 public:
  OneEvent() {
    if (depth_++ == 0) number_ = ++last_;
  }
  ~OneEvent() { --depth_; }
  OneEvent(const OneEvent&) = delete;
  OneEvent& operator=(const OneEvent&) = delete;

  // Which event goes on in this thread, kNone outside of all. No two have the same number.
  static constexpr unsigned long kNone = 0;
  static unsigned long Current() { return depth_ > 0 ? number_ : kNone; }

 private:
  static inline std::atomic<unsigned long> last_{kNone};
  static inline thread_local unsigned long number_ = kNone;
  static inline thread_local int depth_ = 0;
};

// The path that an event has asked about last. It owns no memory, so a static one may be used to the very end
// of a process, and threads that meet in it at most ask once more.
class PathOfEvent {
 public:
  // The event that goes on has noted this PATH.
  bool Is(std::string_view path) const {
    return event_ != OneEvent::kNone && event_ == OneEvent::Current() &&
           path == std::string_view(path_.data(), length_);
  }
  // Nothing outside of events, nor a path that is longer than any that can be opened.
  void Note(std::string_view path) {
    Forget();
    if (path.size() > path_.size()) return;
    std::copy(path.begin(), path.end(), path_.begin());
    length_ = path.size();
    event_ = OneEvent::Current();
  }
  void Forget() { event_ = OneEvent::kNone; }

 private:
  unsigned long event_ = OneEvent::kNone;
  std::size_t length_ = 0;
  std::array<char, kPathSize> path_{};
};

#endif  // BASE_ONE_EVENT_H_
