#include "support/syslog_capture.h"

#include <stdarg.h>
#include <stdio.h>

#include <regex>

namespace {

// LOG_ERR; its header may bring a syslog of its own.
constexpr int kError = 3;

std::vector<SyslogCapture::Line>& Captured() {
  static std::vector<SyslogCapture::Line> lines;
  return lines;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void Capture(int priority, const char* format, va_list arguments) {
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return;
  Captured().push_back({priority, std::string(text, static_cast<std::size_t>(length))});
  free(text);
}
#pragma GCC diagnostic pop

}  // namespace

void SyslogCapture::Clear() {
  Captured().clear();
}
const std::vector<SyslogCapture::Line>& SyslogCapture::Lines() {
  return Captured();
}

std::vector<std::string> SyslogCapture::Messages() {
  static const std::regex with_colon("^([a-z_]+\\.cpp):[0-9]+ ");
  static const std::regex with_parentheses("^([a-z_]+\\.cpp) \\([0-9]+\\) ");
  std::vector<std::string> messages;
  for (const Line& line : Captured()) {
    std::string text = std::regex_replace(line.text, with_colon, "$1:# ");
    text = std::regex_replace(text, with_parentheses, "$1 (#) ");
    messages.push_back(line.priority == kError ? text : "[" + std::to_string(line.priority) + "] " + text);
  }
  return messages;
}

// The names that plain and fortified calls of syslog end in.
extern "C" {

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}

void vsyslog(int priority, const char* format, va_list arguments) {
  Capture(priority, format, arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...);
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}

void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments);
void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments) {
  Capture(priority, format, arguments);
}

}  // extern "C"
