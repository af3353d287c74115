#ifndef TESTS_SUPPORT_COMMA_LOCALE_H_
#define TESTS_SUPPORT_COMMA_LOCALE_H_

#include <locale>

// Sets a decimal comma, and foreign names of days and months, for the whole process while it lives, as a
// calling program may with its locale. It is one of the machine's, or made with localedef for these tests;
// where neither is possible a test that needs it says SKIPPED.
class CommaLocale {
 public:
  CommaLocale();
  ~CommaLocale();
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  // True when numbers are really printed with a comma now.
  bool active() const { return active_; }
  // True when the names of days are really other ones than the "C" locale's now.
  static bool foreign_days();

 private:
  bool active_;
};

// The same for the C++ streams: every stream made while it lives writes 1.234,5, in any thread. Needs no
// locale of the machine.
class CommaStreams {
 public:
  CommaStreams();
  ~CommaStreams();
  CommaStreams(const CommaStreams&) = delete;
  CommaStreams& operator=(const CommaStreams&) = delete;

 private:
  std::locale previous_;
};

#endif  // TESTS_SUPPORT_COMMA_LOCALE_H_
