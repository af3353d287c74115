#include "platform/exiv2_scope.h"

#include <clocale>

namespace {

std::mutex& TheMutex() {
  static std::mutex mutex;
  return mutex;
}

locale_t TheCLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

// Sets the locale of new streams. The same call of the standard library would change the C locale of the
// process as well.
void SetStreamLocale(const std::locale& locale) {
  const std::string process_locale = setlocale(LC_ALL, nullptr);
  std::locale::global(locale);
  setlocale(LC_ALL, process_locale.c_str());
}

}  // namespace

Exiv2Scope::Exiv2Scope()
    : lock_(TheMutex()), previous_level_(Exiv2::LogMsg::level()), previous_locale_(uselocale(TheCLocale())) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  const std::locale streams;
  if (streams == std::locale::classic()) return;
  SetStreamLocale(std::locale::classic());
  previous_streams_ = streams;
}

Exiv2Scope::~Exiv2Scope() {
  if (previous_streams_) SetStreamLocale(*previous_streams_);
  uselocale(previous_locale_);
  Exiv2::LogMsg::setLevel(previous_level_);
}
