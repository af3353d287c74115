#ifndef TESTS_SUPPORT_OPEN_WATCH_H_
#define TESTS_SUPPORT_OPEN_WATCH_H_

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

// Tells whether anybody opens PATH, also without reading, while the object lives.
class OpenWatch {
 public:
  // A watch that cannot be had fails the test, since nothing would be seen.
  explicit OpenWatch(const std::string& path) : queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_GE(inotify_add_watch(queue_, path.c_str(), IN_OPEN), 0) << path << ": " << std::strerror(errno);
  }
  ~OpenWatch() { close(queue_); }
  OpenWatch(const OpenWatch&) = delete;
  OpenWatch& operator=(const OpenWatch&) = delete;

  bool WasOpened() const {
    char event[sizeof(inotify_event) + 256];
    return read(queue_, event, sizeof(event)) > 0;
  }

 private:
  int queue_;
};

#endif  // TESTS_SUPPORT_OPEN_WATCH_H_
