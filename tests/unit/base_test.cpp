#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <libgen.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

#include "base/ascii.h"
#include "base/c_locale.h"
#include "base/export_guard.h"
#include "base/fixed_path.h"
#include "base/path_below.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "support/comma_locale.h"
#include "support/fake_platform.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"
#include "support/turkish_locale.h"

namespace {

using testing::ElementsAre;

TEST(Cut, KeepsWhatFitsABufferWithItsTerminator) {
  EXPECT_EQ(Cut("abcd", 5), "abcd");
  EXPECT_EQ(Cut("abcd", 4), "abc");
  EXPECT_EQ(Cut("abcd", 1), "");
  EXPECT_EQ(Cut("abcd", 0), "");
}

TEST(CopyText, CutsAndTerminates) {
  char out[4] = "xyz";
  CopyText(out, sizeof out, "abcd");
  EXPECT_STREQ(out, "abc");
}

TEST(CopyText, LeavesABufferOfNoSizeAlone) {
  char out[2] = "x";
  CopyText(out, 0, "abcd");
  EXPECT_STREQ(out, "x");
}

TEST(CopyText, LeavesWhatFollowsTheTerminatorAlone) {
  char out[4] = {'1', '2', '3', '4'};
  CopyText(out, sizeof out, "a");
  EXPECT_STREQ(out, "a");
  EXPECT_EQ(out[2], '3');
}

TEST(FormatText, CutsAtTheBuffersSize) {
  EXPECT_EQ(FormatText(10, "%s-%d", "ab", 12), "ab-12");
  EXPECT_EQ(FormatText(4, "%s-%d", "ab", 12), "ab-");
  EXPECT_EQ(FormatText(0, "%s", "ab"), "");
}

TEST(DecimalInt, IsTheNumberThatTheTextBeginsWith) {
  EXPECT_EQ(DecimalInt("17"), 17);
  EXPECT_EQ(DecimalInt(" -3 turned"), -3);
  EXPECT_EQ(DecimalInt("010"), 10);
  EXPECT_EQ(DecimalInt("x1"), 0);
  EXPECT_EQ(DecimalInt(""), 0);
  EXPECT_EQ(DecimalInt(nullptr), 0);
}

TEST(DecimalInt, IsTheNearestOneBeyondTheRange) {
  EXPECT_EQ(DecimalInt("2147483648"), 2147483647);
  EXPECT_EQ(DecimalInt("-2147483649"), -2147483647 - 1);
  EXPECT_EQ(DecimalInt("99999999999999999999"), 2147483647);
}

TEST(PathText, BaseNameIsWhatFollowsTheLastSlash) {
  EXPECT_EQ(BaseName("/a/b.jpg"), "b.jpg");
  EXPECT_EQ(BaseName("b.jpg"), "b.jpg");
  EXPECT_EQ(BaseName("/a/"), "");
}

TEST(PathText, FolderIsWhatPrecedesTheLastSlash) {
  EXPECT_EQ(FolderOf("/a/b.jpg"), "/a");
  EXPECT_EQ(FolderOf("/b.jpg"), "");
  EXPECT_EQ(FolderOf("b.jpg"), "");
}

TEST(PathText, SlashesAtTheEndAreLeftOutButTheOneOfTheRoot) {
  EXPECT_EQ(WithoutSlashAtEnd("/a/b"), "/a/b");
  EXPECT_EQ(WithoutSlashAtEnd("/a//b//"), "/a//b");
  EXPECT_EQ(WithoutSlashAtEnd("//"), "/");
  EXPECT_EQ(WithoutSlashAtEnd("a/"), "a");
  EXPECT_EQ(WithoutSlashAtEnd(""), "");
}

TEST(PathText, ExtensionIsWhatFollowsTheLastDotOfTheWholePath) {
  EXPECT_EQ(ExtensionOf("/a/b.tar.gz"), "gz");
  EXPECT_EQ(ExtensionOf("/a.b/c"), "b/c");
  EXPECT_EQ(ExtensionOf("b."), "");
  EXPECT_EQ(ExtensionOf("b"), std::nullopt);
}

TEST(PathText, DirNameIsThatOfTheCLibrary) {
  for (const char* path : {"a/b/c", "a/b/", "a", "", "/", "/a", "a//b", "a/b//", ".", "..", "/a/b"}) {
    std::string copy = path;
    EXPECT_EQ(DirName(path), dirname(copy.data())) << '"' << path << '"';
  }
}

TEST(EqualsIgnoreAsciiCase, ComparesWholeTexts) {
  EXPECT_TRUE(EqualsIgnoreAsciiCase("Photo", "pHOTO"));
  EXPECT_TRUE(EqualsIgnoreAsciiCase("", ""));
  EXPECT_FALSE(EqualsIgnoreAsciiCase("photo", "photos"));
  EXPECT_FALSE(EqualsIgnoreAsciiCase("photo", ""));
}

TEST(EqualsIgnoreAsciiCase, FoldsTheLettersOfAsciiAlone) {
  EXPECT_TRUE(EqualsIgnoreAsciiCase("ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"));
  EXPECT_FALSE(EqualsIgnoreAsciiCase("@", "`"));
  EXPECT_FALSE(EqualsIgnoreAsciiCase("[", "{"));
  EXPECT_FALSE(EqualsIgnoreAsciiCase("\xC4", "\xE4"));
}

TEST(EqualsIgnoreAsciiCase, DoesNotFollowTheProgramsLocale) {
  const TurkishLocale turkish;
  if (!turkish.active()) GTEST_SKIP() << "no Turkish locale";
  EXPECT_TRUE(EqualsIgnoreAsciiCase("TIFF", "tiff"));
  EXPECT_EQ(IsFormat("TIFF", std::array<const char*, 2>{"tiff", nullptr}.data()), 1);
  EXPECT_TRUE(LiesIn("/VOLUME/PICTURES/a.jpg", "/volume/pictures"));
}

TEST(LiesIn, IsTrueForTheRootItself) {
  EXPECT_TRUE(LiesIn("/volume1/photo", "/volume1/photo"));
  EXPECT_TRUE(LiesIn("/VOLUME1/Photo", "/volume1/photo"));
}

TEST(LiesIn, IsTrueForWhatFollowsASlash) {
  EXPECT_TRUE(LiesIn("/volume1/photo/a.jpg", "/volume1/photo"));
  EXPECT_TRUE(LiesIn("/volume1/photo/", "/volume1/photo"));
  EXPECT_TRUE(LiesIn("/Volume1/PHOTO/a.jpg", "/volume1/photo"));
}

TEST(LiesIn, IsFalseForASiblingWithTheSamePrefix) {
  EXPECT_FALSE(LiesIn("/volume1/photos", "/volume1/photo"));
  EXPECT_FALSE(LiesIn("/volume1/photo.old/a.jpg", "/volume1/photo"));
}

TEST(LiesIn, IsFalseForWhatIsShorter) {
  EXPECT_FALSE(LiesIn("/volume1", "/volume1/photo"));
  EXPECT_FALSE(LiesIn("", "/volume1/photo"));
}

TEST(LiesIn, TakesOnlyAbsoluteAndEmptyTextsBelowAnEmptyRoot) {
  EXPECT_TRUE(LiesIn("", ""));
  EXPECT_TRUE(LiesIn("/a", ""));
  EXPECT_FALSE(LiesIn("a", ""));
}

TEST(CLocale, KeepsTheDecimalPointUnderADecimalComma) {
  const CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma can be had here";
  ASSERT_EQ(FormatText(10, "%.1f", 1.5), "1,5");
  {
    const CLocale point;
    EXPECT_EQ(FormatText(10, "%.1f", 1.5), "1.5");
    EXPECT_EQ(std::strtod("2.5", nullptr), 2.5);
  }
  EXPECT_EQ(FormatText(10, "%.1f", 1.5), "1,5");
}

TEST(Guarded, GivesTheResultOfTheBody) {
  EXPECT_EQ(Guarded("photo_index.cpp", -1, [] { return 7; }), 7);
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST(Guarded, TurnsAnExceptionIntoAFailureAndOneLine) {
  const int result = Guarded("photo_index.cpp", -1, []() -> int { throw std::runtime_error("no room"); });
  EXPECT_EQ(result, -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_index.cpp:# Unexpected error: no room"));
}

TEST(Guarded, TurnsWhateverIsThrownIntoAFailureAndOneLine) {
  EXPECT_EQ(Guarded("photo_index.cpp", -1, []() -> int { throw 5; }), -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_index.cpp:# Unexpected error."));
}

class FixedPathTest : public testing::Test {
 protected:
  void SetUp() override {
    FakePlatform::Reset();
    FakePlatform::Get().root = dir_.path();
  }
  TempDir dir_;
};

TEST_F(FixedPathTest, IsThePlatformsAnswer) {
  EXPECT_EQ(FixedPath("/usr/bin/php"), dir_ / "usr/bin/php");
}

TEST_F(FixedPathTest, IsNoPathWhereThePlatformHasNone) {
  FakePlatform::Get().failing.insert("KAVOFixedPathGet");
  EXPECT_EQ(FixedPath("/"), "");
  EXPECT_FALSE(PackageEnabled());
}

TEST_F(FixedPathTest, ThePackageIsOnWhileItsMarkerIsThere) {
  EXPECT_FALSE(PackageEnabled());
  WriteFile(dir_ / "var/packages/Lumivault/enabled", "");
  EXPECT_TRUE(PackageEnabled());
}

}  // namespace
