#ifndef TESTS_SUPPORT_TURKISH_LOCALE_H_
#define TESTS_SUPPORT_TURKISH_LOCALE_H_

// Letter case as it is in Turkish, for the whole process while it lives: "I" and "i" are two letters, as a
// calling program may have it with its locale. It is the machine's, or made with localedef for these tests;
// where neither is possible a test that needs it says SKIPPED.
class TurkishLocale {
 public:
  TurkishLocale();
  ~TurkishLocale();
  TurkishLocale(const TurkishLocale&) = delete;
  TurkishLocale& operator=(const TurkishLocale&) = delete;

  // True when the C library really tells the two apart now.
  bool active() const { return active_; }

 private:
  bool active_;
};

#endif  // TESTS_SUPPORT_TURKISH_LOCALE_H_
