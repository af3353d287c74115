// What the plug-in, the platform and the service share about texts.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "base/ascii.h"
#include "base/path_below.h"
#include "base/read_timeout.h"
#include "base/utf8.h"
#include "base/whole_number.h"

namespace {

TEST(TrimmedTest, BlanksAndLineEndsGoAtBothEnds) {
  EXPECT_EQ(Trimmed(" \t\n\v\f\ra b \t\n\v\f\r"), "a b");
  EXPECT_EQ(Trimmed("a"), "a");
  EXPECT_EQ(Trimmed(" \n "), "");
  EXPECT_EQ(Trimmed(""), "");
}

TEST(TrimmedTest, OtherInvisibleBytesStay) {
  EXPECT_EQ(Trimmed("\x1F\xA0"), "\x1F\xA0");
  EXPECT_EQ(Trimmed("\x08 x \x0E"), "\x08 x \x0E");
}

TEST(TrimmedTest, OneEndMayStay) {
  EXPECT_EQ(TrimLeft(" a "), "a ");
  EXPECT_EQ(TrimRight(" a "), " a");
}

TEST(PathBelowTest, WhatIsBehindTheSlashLiesBelow) {
  EXPECT_TRUE(LiesBelow("/a/b", "/a"));
  EXPECT_TRUE(LiesBelow("/a/b/c", "/a"));
  EXPECT_TRUE(LiesBelow("/a/", "/a"));
  EXPECT_TRUE(LiesBelow("/a", ""));
}

TEST(PathBelowTest, NamesThatBeginAlikeDoNot) {
  EXPECT_FALSE(LiesBelow("/ab", "/a"));
  EXPECT_FALSE(LiesBelow("/ab/c", "/a"));
  EXPECT_FALSE(LiesBelow("/A/b", "/a"));
  EXPECT_FALSE(LiesBelow("/", "/a"));
  EXPECT_FALSE(LiesBelow("", "/a"));
}

TEST(PathBelowTest, TheFolderItselfDoesNotUnlessItIsAskedFor) {
  EXPECT_FALSE(LiesBelow("/a", "/a"));
  EXPECT_TRUE(IsOrLiesBelow("/a", "/a"));
  EXPECT_TRUE(IsOrLiesBelow("/a/b", "/a"));
  EXPECT_FALSE(IsOrLiesBelow("/ab", "/a"));
  EXPECT_FALSE(IsOrLiesBelow("/", "/a"));
}

// CODE in the LENGTH bytes that are asked for, be it too many or no character at all.
std::string Encoded(std::uint32_t code, std::size_t length) {
  if (length == 1) return {static_cast<char>(code)};
  std::string text;
  for (std::size_t i = 1; i < length; ++i, code >>= 6U)
    text.insert(text.begin(), static_cast<char>(0x80U | (code & 0x3FU)));
  const unsigned lead = 0xF00U >> length;
  return static_cast<char>((lead & 0xFFU) | code) + text;
}

std::size_t BytesOf(std::uint32_t code) {
  if (code < 0x80) return 1;
  if (code < 0x800) return 2;
  return code < 0x10000 ? 3 : 4;
}

TEST(Utf8Test, EveryCodePointIsRead) {
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    const std::string text = Encoded(code, BytesOf(code));
    const Utf8Character character = FirstCharacter(text + "x");
    ASSERT_EQ(character.length, is_surrogate ? 0 : text.size()) << std::hex << code;
    ASSERT_EQ(character.code, is_surrogate ? 0 : code);
  }
}

TEST(Utf8Test, OverlongFormsAreNoCharacters) {
  for (const std::uint32_t code : {0x00U, 0x2FU, 0x7FU, 0x7FFU, 0xFFFFU}) {
    for (std::size_t length = BytesOf(code) + 1; length <= 4; ++length)
      EXPECT_EQ(FirstCharacter(Encoded(code, length)).length, 0U) << code << " in " << length;
  }
}

TEST(Utf8Test, WhatIsAboveTheLastCodePointIsNone) {
  for (const std::uint32_t code : {0x110000U, 0x13FFFFU, 0x140000U, 0x1FFFFFU})
    EXPECT_EQ(FirstCharacter(Encoded(code, 4)).length, 0U) << code;
}

TEST(Utf8Test, ACutCharacterIsNone) {
  for (const std::uint32_t code : {0x80U, 0x800U, 0x10000U}) {
    const std::string text = Encoded(code, BytesOf(code));
    for (std::size_t length = 1; length < text.size(); ++length) {
      EXPECT_EQ(FirstCharacter(text.substr(0, length)).length, 0U);
      EXPECT_EQ(FirstCharacter(text.substr(0, length) + "xxx").length, 0U);
    }
  }
}

TEST(Utf8Test, BytesThatBeginNoCharacterAreNone) {
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    const auto lead = static_cast<char>(byte);
    const bool begins = byte >= 0xC2 && byte <= 0xF4;
    EXPECT_EQ(CharacterLength(lead) != 0, begins) << byte;
    EXPECT_EQ(ContinuesCharacter(lead), byte < 0xC0) << byte;
    EXPECT_EQ(FirstCharacter({&lead, 1}).length, 0U) << byte;
  }
  EXPECT_FALSE(ContinuesCharacter('\x7F'));
}

TEST(Utf8Test, ATextIsWhatConsistsOfCharacters) {
  EXPECT_TRUE(IsUtf8(""));
  EXPECT_TRUE(IsUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
  EXPECT_FALSE(IsUtf8("a\xE4"));
  EXPECT_FALSE(IsUtf8("a\xE4 b"));
  EXPECT_FALSE(IsUtf8("\xC3\xA4\xC3"));
}

TEST(Utf8Test, ATextIsCutBeforeACharacterThatDoesNotFit) {
  const std::string text =
      "a\xE2\x82\xAC"
      "b";
  EXPECT_EQ(CutAtCharacter(text, 5), text);
  EXPECT_EQ(CutAtCharacter(text, 9), text);
  EXPECT_EQ(CutAtCharacter(text, 4), "a\xE2\x82\xAC");
  EXPECT_EQ(CutAtCharacter(text, 3), "a");
  EXPECT_EQ(CutAtCharacter(text, 1), "a");
  EXPECT_EQ(CutAtCharacter(text, 0), "");
  EXPECT_EQ(CutAtCharacter("\x80\x80", 1), "") << "there is nothing before it";
}

TEST(WholeNumberTest, TheWholeTextIsTheNumber) {
  EXPECT_EQ(WholeNumber<int>("-12"), -12);
  EXPECT_EQ(WholeNumber<double>("2.5"), 2.5);
  for (const char* none : {"", "1 ", " 1", "+1", "1x", "2147483648"})
    EXPECT_FALSE(WholeNumber<int>(none)) << none;
  EXPECT_FALSE(WholeNumber<unsigned>("-1"));
}

TEST(LeadingNumberTest, WhatFollowsDoesNotCount) {
  EXPECT_EQ(LeadingNumber<int>("12 34"), 12);
  EXPECT_EQ(LeadingNumber<int>("-7x"), -7);
  for (const char* none : {"", " 1", "x1", "2147483648"}) EXPECT_EQ(LeadingNumber<int>(none), 0) << none;
}

TEST(ReadTimeoutTest, IsANumberOfMillisecondsAboveNothing) {
  setenv(kReadTimeout, "1500", 1);
  EXPECT_EQ(ReadTimeout(), std::chrono::milliseconds(1500));
  for (const char* none : {"0", "-5", "", "soon"}) {
    setenv(kReadTimeout, none, 1);
    EXPECT_FALSE(ReadTimeout()) << none;
  }
  unsetenv(kReadTimeout);
  EXPECT_FALSE(ReadTimeout());
}

}  // namespace
