#ifndef TESTS_SUPPORT_SYSLOG_CAPTURE_H_
#define TESTS_SUPPORT_SYSLOG_CAPTURE_H_

#include <string>
#include <vector>

// What this process would have written to the system log since the last Clear. The test programs define
// syslog themselves, so calls from the libraries arrive here too; nothing reaches the real log.
class SyslogCapture {
 public:
  struct Line {
    int priority;
    std::string text;
  };

  static void Clear();
  static const std::vector<Line>& Lines();

  // The messages alone, with the line number of the source replaced: "photo_index.cpp:# Bad parameter." and
  // "photo_database.cpp (#) Bad parameter.". One that is no error has its priority in front: "[6] ...".
  static std::vector<std::string> Messages();
};

#endif  // TESTS_SUPPORT_SYSLOG_CAPTURE_H_
