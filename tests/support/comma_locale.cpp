#include "support/comma_locale.h"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>

#include <string>

#include "support/temp_dir.h"

namespace {

bool Set(const char* name) {
  if (setlocale(LC_NUMERIC, name) == nullptr || std::string(localeconv()->decimal_point) != ",") return false;
  setlocale(LC_TIME, name);
  return true;
}

constexpr const char* kSource = R"(LC_NUMERIC
decimal_point ","
thousands_sep "."
grouping -1
END LC_NUMERIC
LC_TIME
abday "So";"Mo";"Di";"Mi";"Do";"Fr";"Sa"
day "So";"Mo";"Di";"Mi";"Do";"Fr";"Sa"
abmon "I";"II";"III";"IV";"V";"VI";"VII";"VIII";"IX";"X";"XI";"XII"
mon "I";"II";"III";"IV";"V";"VI";"VII";"VIII";"IX";"X";"XI";"XII"
d_t_fmt "%c"
d_fmt "%x"
t_fmt "%X"
am_pm "";""
t_fmt_ampm ""
END LC_TIME
)";

// Makes the locale once for the process; the folder has to stay, because the C library looks it up there.
bool SetMade() {
  static const TempDir dir;
  [[maybe_unused]] static const bool made = [] {
    WriteFile(dir / "source", kSource);
    setenv("LOCPATH", dir.path().c_str(), 1);
    // Its status tells of the other categories, which are not asked for.
    const std::string command =
        "localedef -c -f UTF-8 -i '" + dir / "source" + "' '" + dir / "comma" + "' >/dev/null 2>&1";
    return system(command.c_str()) != -1;  // NOLINT(cert-env33-c): a text of the tests alone
  }();
  return Set("comma");
}

class CommaNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

CommaLocale::CommaLocale() : active_(Set("de_DE.UTF-8") || Set("fr_FR.UTF-8") || SetMade()) {}
CommaLocale::~CommaLocale() {
  setlocale(LC_NUMERIC, "C");
  setlocale(LC_TIME, "C");
}

bool CommaLocale::foreign_days() {
  return std::string(nl_langinfo(ABDAY_1)) != "Sun";
}

// The facet belongs to the locale that is made with it.
CommaStreams::CommaStreams()
    : previous_(std::locale::global(std::locale(std::locale::classic(), new CommaNumbers))) {}
CommaStreams::~CommaStreams() {
  std::locale::global(previous_);
}
