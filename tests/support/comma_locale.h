#ifndef TESTS_SUPPORT_COMMA_LOCALE_H_
#define TESTS_SUPPORT_COMMA_LOCALE_H_

// Sets a decimal comma for the whole process while it lives, as a calling program may with its locale. It is
// one of the machine's, or made with localedef for these tests; where neither is possible a test that needs
// it says SKIPPED.
class CommaLocale {
 public:
  CommaLocale();
  ~CommaLocale();
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  // True when numbers are really printed with a comma now.
  bool active() const { return active_; }

 private:
  bool active_;
};

#endif  // TESTS_SUPPORT_COMMA_LOCALE_H_
