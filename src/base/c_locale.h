#ifndef BASE_C_LOCALE_H_
#define BASE_C_LOCALE_H_

#include <locale.h>

// Numbers in stored texts have a decimal point whatever locale the calling process has set. While one of
// these lives, printf, scanf and strtod of this thread follow the "C" locale.
class CLocale {
 public:
  CLocale();
  ~CLocale();
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;

 private:
  locale_t previous_;
};

#endif  // BASE_C_LOCALE_H_
