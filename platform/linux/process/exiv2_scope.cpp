#include "platform/exiv2_scope.h"

#include <clocale>
#include <utility>

#include "platform/heif_reading.h"

namespace {

std::mutex& TheMutex() {
  static std::mutex mutex;
  return mutex;
}

// What else is put back. Of the one scope that lives: the class is part of the binary interface.
struct Kept {
  HeifReading heif{};
  std::string process_locale;
};
std::optional<Kept>& WhatIsKept() {
  static std::optional<Kept> kept;
  return kept;
}

locale_t TheCLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

// Sets the locale of new streams. The same call of the standard library would change the C locale of the
// process, which is PROCESS_LOCALE, as well.
void SetStreamLocale(const std::locale& locale, const std::string& process_locale) {
  std::locale::global(locale);
  setlocale(LC_ALL, process_locale.c_str());
}

}  // namespace

Exiv2Scope::Exiv2Scope()
    : lock_(TheMutex()), previous_level_(Exiv2::LogMsg::level()), previous_locale_(nullptr) {
  std::string process_locale = setlocale(LC_ALL, nullptr);
  WhatIsKept().emplace().process_locale = std::move(process_locale);
  previous_locale_ = uselocale(TheCLocale());
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  const std::locale streams;
  if (streams == std::locale::classic()) return;
  previous_streams_ = streams;
  SetStreamLocale(std::locale::classic(), WhatIsKept()->process_locale);
}

Exiv2Scope::~Exiv2Scope() {
  try {
    if (previous_streams_) SetStreamLocale(*previous_streams_, WhatIsKept()->process_locale);
  } catch (...) {  // the program's streams keep the locale "C"
  }
  WhatIsKept().reset();
  uselocale(previous_locale_);
  Exiv2::LogMsg::setLevel(previous_level_);
}
