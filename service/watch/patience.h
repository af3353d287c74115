#ifndef SERVICE_WATCH_PATIENCE_H_
#define SERVICE_WATCH_PATIENCE_H_

#include <algorithm>
#include <chrono>

// How long to wait before something that has failed is tried again: longer each time.
class Patience {
 public:
  // From FIRST to MOST.
  std::chrono::milliseconds Next(std::chrono::milliseconds first, std::chrono::milliseconds most) {
    last_ = std::clamp(last_ * 2, first, most);
    return last_;
  }
  void Reset() { last_ = {}; }

 private:
  std::chrono::milliseconds last_{};
};

#endif  // SERVICE_WATCH_PATIENCE_H_
