#include "base/value_format.h"

#include <gtest/gtest.h>

#include "support/comma_locale.h"

namespace {

constexpr std::size_t kSize = 255;

std::string Format(std::string_view value) {
  return FormatValue(value, kSize);
}

TEST(FormatValue, PlainTextStays) {
  EXPECT_EQ(Format(""), "");
  EXPECT_EQ(Format("2020-01-02 03:04:05"), "2020-01-02 03:04:05");
  EXPECT_EQ(Format("\xC3\xA9\\n\t"), "\xC3\xA9\\n\t");
}

TEST(FormatValue, TwoPercentSignsAreOne) {
  EXPECT_EQ(Format("100%%"), "100%");
  EXPECT_EQ(Format("%%%%d"), "%%d");
}

TEST(FormatValue, NumbersAreZero) {
  EXPECT_EQ(Format("%d %i %u %o %x %X"), "0 0 0 0 0 0");
  EXPECT_EQ(Format("%f %F %e %E %g %G %a %A"),
            "0.000000 0.000000 0.000000e+00 0.000000E+00 0 0 0x0p+0 0X0P+0");
}

TEST(FormatValue, TextsAreEmptyAndPointersNull) {
  EXPECT_EQ(Format("[%s%S%c%C|%p|%m]"), "[|(nil)|Success]");
}

TEST(FormatValue, CountOfCharactersIsNotWritten) {
  EXPECT_EQ(Format("a%nb%hhnc"), "abc");
}

TEST(FormatValue, FlagsWidthAndPrecisionCount) {
  EXPECT_EQ(Format("[%5d][%-5d][%05d][%+d][% d]"), "[    0][0    ][00000][+0][ 0]");
  EXPECT_EQ(Format("[%12d][%.12d]"), "[           0][000000000000]");
  EXPECT_EQ(Format("[%.3d][%.0d][%5.2x][%#o][%#.0o]"), "[000][][   00][0][0]");
  EXPECT_EQ(Format("[%.1f][%+08.2f][%#.0f][%.0e][%#g]"), "[0.0][+0000.00][0.][0e+00][0.00000]");
  EXPECT_EQ(Format("[%5s][%-3s][%.2m]"), "[     ][   ][Su]");
}

TEST(FormatValue, LengthModifiersAreSkipped) {
  EXPECT_EQ(Format("%ld%lld%hhd%zu%jd%td%Lf%qd"),
            "000"
            "000"
            "0.000000"
            "0");
}

TEST(FormatValue, StarsAndArgumentNumbersAreZero) {
  EXPECT_EQ(Format("[%*d][%.*d][%1$d][%2$*1$s]"), "[0][][0][]");
}

TEST(FormatValue, WhatIsNoConversionStays) {
  EXPECT_EQ(Format("%"), "%");
  EXPECT_EQ(Format("50%\n"), "50%\n");
  EXPECT_EQ(Format("%y %! %5"), "%y %! %5");
  EXPECT_EQ(Format("%5$"), "%5$");
}

TEST(FormatValue, EverydayTextsChange) {
  EXPECT_EQ(Format("100% sure"), "100ure");
  EXPECT_EQ(Format("50% discount"), "50 0iscount");
}

TEST(FormatValue, ResultIsCut) {
  EXPECT_EQ(FormatValue("abcdef", 4), "abc");
  EXPECT_EQ(FormatValue("%d%d%d", 3), "00");
  EXPECT_EQ(FormatValue("abc", 1), "");
  EXPECT_EQ(FormatValue("abc", 0), "");
}

TEST(FormatValue, HugeNumbersCostNoMemory) {
  EXPECT_EQ(FormatValue("%99999999999999999999d", 8), "       ");
  EXPECT_EQ(FormatValue("%.99999999999999999999f", 8), "0.00000");
  std::string many;
  for (int i = 0; i < 1000; ++i) many += "%4096d";
  EXPECT_EQ(FormatValue(many, 4096).size(), 4095U);
}

TEST(FormatValue, EveryPrefixOfAConversionIsAccepted) {
  const std::string conversion = "%3$-+ #0'I*4$.*5$llf";
  for (std::size_t length = 0; length < conversion.size(); ++length) {
    const std::string part = conversion.substr(0, length);
    EXPECT_EQ(Format(part), part);
  }
  EXPECT_EQ(Format(conversion), "+0.");
}

TEST(FormatValue, DecimalPointIsAPointEverywhere) {
  const CommaLocale locale;
  if (!locale.active()) GTEST_SKIP() << "no locale with a decimal comma";
  EXPECT_EQ(Format("%f"), "0.000000");
}

}  // namespace
