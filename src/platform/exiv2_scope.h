#ifndef PLATFORM_EXIV2_SCOPE_H_
#define PLATFORM_EXIV2_SCOPE_H_

#include <locale.h>

#include <exiv2/exiv2.hpp>
#include <locale>
#include <mutex>
#include <optional>
#include <string>

#include "platform/api.h"

// While one of these lives, the library answers as in a process of its own: in the "C" locale, whatever
// locale the calling program has set, reads HEIF, and without a word on standard error. Its settings belong
// to the whole process, so one thread at a time has one; they are put back at the end.
class KAVO_API Exiv2Scope {
 public:
  Exiv2Scope();
  ~Exiv2Scope();
  Exiv2Scope(const Exiv2Scope&) = delete;
  Exiv2Scope& operator=(const Exiv2Scope&) = delete;

 private:
  std::unique_lock<std::mutex> lock_;
  Exiv2::LogMsg::Level previous_level_;
  locale_t previous_locale_;
  // Only where the program has set one: streams inside the library would print "1.234,5".
  std::optional<std::locale> previous_streams_;
};

#endif  // PLATFORM_EXIV2_SCOPE_H_
