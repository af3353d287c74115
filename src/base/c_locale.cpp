#include "base/c_locale.h"

namespace {

// Made once and kept: a locale object is immutable and any thread may use it.
locale_t TheCLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace

CLocale::CLocale() : previous_(uselocale(TheCLocale())) {}
CLocale::~CLocale() {
  uselocale(previous_);
}
