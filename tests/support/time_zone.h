#ifndef TESTS_SUPPORT_TIME_ZONE_H_
#define TESTS_SUPPORT_TIME_ZONE_H_

#include <cstdlib>
#include <ctime>

// Sets the time zone while it lives.
class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
};

#endif  // TESTS_SUPPORT_TIME_ZONE_H_
