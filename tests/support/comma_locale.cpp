#include "support/comma_locale.h"

#include <locale.h>
#include <stdlib.h>

#include <string>

#include "support/temp_dir.h"

namespace {

bool Set(const char* name) {
  return setlocale(LC_NUMERIC, name) != nullptr && std::string(localeconv()->decimal_point) == ",";
}

// Makes the locale once for the process; the folder has to stay, because the C library looks it up there.
bool SetMade() {
  static const TempDir dir;
  [[maybe_unused]] static const bool made = [] {
    WriteFile(dir / "source",
              "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping -1\nEND LC_NUMERIC\n");
    setenv("LOCPATH", dir.path().c_str(), 1);
    // Its status tells of the other categories, which are not asked for.
    const std::string command =
        "localedef -c -f UTF-8 -i '" + dir / "source" + "' '" + dir / "comma" + "' >/dev/null 2>&1";
    return system(command.c_str()) != -1;  // NOLINT(cert-env33-c): a text of the tests alone
  }();
  return Set("comma");
}

}  // namespace

CommaLocale::CommaLocale() : active_(Set("de_DE.UTF-8") || Set("fr_FR.UTF-8") || SetMade()) {}
CommaLocale::~CommaLocale() {
  setlocale(LC_NUMERIC, "C");
}
