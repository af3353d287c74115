#include "photo_database/storable_text.h"

#include "support/fake_library.h"

namespace {

// The substitutes read other bytes as Latin-1.
using StorableTextTest = FakeLibraryTest;

TEST_F(StorableTextTest, ValidTextStays) {
  for (const char* text : {"", "plain", "caf\xC3\xA9", "\xF0\x9F\x98\x80", "a\xC2\xA0"}) {
    EXPECT_EQ(StorableText(text), text);
  }
  EXPECT_EQ(fake().Count("RLIBCUnicodeStrCPToUTF8"), 0);
}

TEST_F(StorableTextTest, CodePageIsConverted) {
  EXPECT_EQ(StorableText("caf\xE9"), "caf\xC3\xA9");
  EXPECT_EQ(StorableText("\xE9t\xE9"), "\xC3\xA9t\xC3\xA9");
}

TEST_F(StorableTextTest, CharacterCutAtTheEndIsDropped) {
  const std::string text = "caf\xC3\xA9 \xF0\x9F\x98\x80";
  for (const std::size_t length : {7U, 8U, 9U})
    EXPECT_EQ(StorableText(text.substr(0, length)), "caf\xC3\xA9 ");
}

TEST_F(StorableTextTest, OnlyACutCharacterIsDropped) {
  // A byte too many at the end is no character cut in two, so the text is of a code page.
  const std::string letter = "\xC3\x83\xC2\xA9";
  EXPECT_EQ(StorableText("\xC3\xA9 a\x80"), letter + " a\xC2\x80");
  EXPECT_EQ(StorableText("\xC3\xA9\xC3\xA9\x80"), letter + letter + "\xC2\x80");
  EXPECT_EQ(StorableText("\xC3\xA9 \xFF"), letter + " \xC3\xBF");
  EXPECT_EQ(StorableText("\xC3\xA9 \xC1"), letter + " \xC3\x81");
  EXPECT_EQ(StorableText("\xC3\xA9\x80\x80\x80\x80"), letter + "\xC2\x80\xC2\x80\xC2\x80\xC2\x80");
}

TEST_F(StorableTextTest, BytesWithoutABeginningAreOfACodePage) {
  EXPECT_EQ(StorableText("\x80\x80"), "\xC2\x80\xC2\x80");
}

TEST_F(StorableTextTest, EndsAtItsFirstNul) {
  EXPECT_EQ(StorableText(std::string_view("ab\0cd", 5)), "ab");
  EXPECT_EQ(StorableText(std::string_view("\0", 1)), "");
}

TEST_F(StorableTextTest, BoundNeverSplitsACharacter) {
  const std::string text =
      "a\xE2\x82\xAC"
      "b";
  EXPECT_EQ(StorableText(text, 6), text);
  EXPECT_EQ(StorableText(text, 5), "a\xE2\x82\xAC");
  EXPECT_EQ(StorableText(text, 4), "a");
  EXPECT_EQ(StorableText(text, 3), "a");
  EXPECT_EQ(StorableText(text, 1), "");
}

TEST_F(StorableTextTest, FailedConversionIsEmpty) {
  fake().failing = {"RLIBCUnicodeStrCPToUTF8"};
  EXPECT_EQ(StorableText("caf\xE9"), "");
}

TEST_F(StorableTextTest, EveryByteBecomesValidText) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; second += 3) {
      const std::string text = {'x', static_cast<char>(first), static_cast<char>(second), '\xC3'};
      const std::string stored = StorableText(text);
      EXPECT_EQ(StorableText(stored), stored) << first << " " << second;
    }
  }
}

}  // namespace
