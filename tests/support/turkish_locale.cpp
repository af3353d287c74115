#include "support/turkish_locale.h"

#include <locale.h>
#include <stdlib.h>
#include <strings.h>

#include <string>

#include "support/temp_dir.h"

namespace {

constexpr const char* kName = "tr_TR.UTF-8";

bool Set() {
  return setlocale(LC_CTYPE, kName) != nullptr && strcasecmp("TIFF", "tiff") != 0;
}

// Makes the locale once for the process; the folder has to stay, because the C library looks it up there.
bool SetMade() {
  static const TempDir dir;
  [[maybe_unused]] static const bool made = [] {
    setenv("LOCPATH", dir.path().c_str(), 1);
    const std::string command = "localedef -f UTF-8 -i tr_TR '" + dir / kName + "' >/dev/null 2>&1";
    return system(command.c_str()) != -1;  // NOLINT(cert-env33-c): a text of the tests alone
  }();
  return Set();
}

}  // namespace

TurkishLocale::TurkishLocale() : active_(Set() || SetMade()) {}
TurkishLocale::~TurkishLocale() {
  setlocale(LC_CTYPE, "C");
}
