#ifndef BASE_ONE_EVENT_H_
#define BASE_ONE_EVENT_H_

// While one lives, one event is dealt with: what settings and folders say is asked once and holds to its end;
// the next event asks anew. One may begin within another, whose answers then hold. As the request context,
// for the one request of a process at a time.
class OneEvent {
 public:
  OneEvent() {
    if (depth_++ == 0) ++number_;
  }
  ~OneEvent() { --depth_; }
  OneEvent(const OneEvent&) = delete;
  OneEvent& operator=(const OneEvent&) = delete;

  // Which event goes on, kNone outside of all.
  static constexpr unsigned long kNone = 0;
  static unsigned long Current() { return depth_ > 0 ? number_ : kNone; }

 private:
  static inline unsigned long number_ = kNone;
  static inline int depth_ = 0;
};

#endif  // BASE_ONE_EVENT_H_
