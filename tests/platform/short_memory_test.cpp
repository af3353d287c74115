// What ends something may find no memory, and must not fail for it.
#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <string>

#include "platform/exiv2_scope.h"
#include "support/failing_memory.h"

namespace {

bool memory_is_out = false;

class CommaNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
};

// The name of a locale of several parts is too long to be copied without memory.
TEST(ShortMemory, TheProgramsLocalesComeBack) {
  memory_is_short = [](std::size_t) { return memory_is_out; };
  const std::string locale_before = setlocale(LC_ALL, nullptr);
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const std::string locale = setlocale(LC_ALL, nullptr);
  const std::locale streams(std::locale::classic(), new CommaNumbers);
  const std::locale streams_before = std::locale::global(streams);
  {
    const Exiv2Scope scope;
    memory_is_out = true;
  }
  memory_is_out = false;
  EXPECT_TRUE(std::locale() == streams);
  EXPECT_EQ(setlocale(LC_ALL, nullptr), locale);
  std::locale::global(streams_before);
  setlocale(LC_ALL, locale_before.c_str());
}

}  // namespace
