#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/string_hash.h"
#include "platform/string_list.h"
#include "platform/text.h"
#include "support/temp_dir.h"
#include "support/turkish_locale.h"

namespace {

using List = std::unique_ptr<RLIBCSZLIST, decltype(&RLIBCSzListFree)>;
using Hash = std::unique_ptr<RLIBCSZHASH, decltype(&RLIBCSzHashFree)>;

List NewList() {
  return List(RLIBCSzListAlloc(1024), &RLIBCSzListFree);
}
Hash NewHash() {
  return Hash(RLIBCSzHashAlloc(1024), &RLIBCSzHashFree);
}

std::vector<std::string> TextsOf(const List& list) {
  std::vector<std::string> texts;
  for (int i = 0; i < RLIBCSzListCount(list.get()); ++i) texts.emplace_back(RLIBCSzListGet(list.get(), i));
  return texts;
}

TEST(StringListTest, GrowsBeyondItsFirstSizeAndKeepsItsTextsInPlace) {
  const List list(RLIBCSzListAlloc(1), &RLIBCSzListFree);
  EXPECT_EQ(RLIBCSzListPush(list.get(), "first"), 1);
  const char* first = RLIBCSzListGet(list.get(), 0);
  for (int i = 2; i <= 5'000; ++i) ASSERT_EQ(RLIBCSzListPush(list.get(), std::to_string(i).c_str()), i);
  EXPECT_EQ(RLIBCSzListGet(list.get(), 0), first);
  EXPECT_STREQ(first, "first");
  EXPECT_STREQ(RLIBCSzListGet(list.get(), 4'999), "5000");
}

TEST(StringListTest, AnswersWhatIsOutOfRangeWithNull) {
  const List list = NewList();
  RLIBCSzListPush(list.get(), "a");
  EXPECT_EQ(RLIBCSzListGet(list.get(), -1), nullptr);
  EXPECT_EQ(RLIBCSzListGet(list.get(), 1), nullptr);
  EXPECT_EQ(RLIBCSzListGet(nullptr, 0), nullptr);
  EXPECT_EQ(RLIBCSzListCount(nullptr), 0);
  EXPECT_EQ(RLIBCSzListPush(nullptr, "a"), -1);
  EXPECT_EQ(RLIBCSzListPush(list.get(), nullptr), -1);
  RLIBCSzListFree(nullptr);
}

TEST(StringListTest, SplitsAtEveryOccurrenceEmptyPiecesIncluded) {
  const List list = NewList();
  EXPECT_EQ(RLIBCStrSepToList(",a,,b ,", ",", list.get()), 5);
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"", "a", "", "b ", ""}));
}

TEST(StringListTest, SplitsAtAWholeSeparatorText) {
  const List list = NewList();
  EXPECT_EQ(RLIBCStrSepToList("a::b:c", "::", list.get()), 2);
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"a", "b:c"}));
}

TEST(StringListTest, ATextWithoutSeparatorIsOnePiece) {
  const List list = NewList();
  EXPECT_EQ(RLIBCStrSepToList("", ",", list.get()), 1);
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{""}));
  EXPECT_EQ(RLIBCStrSepToList("a", "", list.get()), -1);
  EXPECT_EQ(RLIBCStrSepToList(nullptr, ",", list.get()), -1);
  EXPECT_EQ(RLIBCStrSepToList("a", ",", nullptr), -1);
}

std::vector<std::string> PairsOf(const Hash& hash) {
  std::vector<std::string> pairs;
  const char* key = nullptr;
  const char* value = nullptr;
  for (int i = 0; RLIBCSzHashAt(hash.get(), i, &key, &value) == 0; ++i) {
    pairs.push_back(std::string(key) + "=" + value);
  }
  return pairs;
}

TEST(StringHashTest, KeepsTheOrderOfInsertionAndThePlaceOfReplacedEntries) {
  const Hash hash = NewHash();
  for (const char* key : {"c", "a", "b"}) EXPECT_EQ(RLIBCSzHashSetValue(hash.get(), key, "1"), 0);
  EXPECT_EQ(RLIBCSzHashSetValue(hash.get(), "a", "2"), 0);
  EXPECT_EQ(PairsOf(hash), (std::vector<std::string>{"c=1", "a=2", "b=1"}));
  EXPECT_EQ(RLIBCSzHashCount(hash.get()), 3);
  EXPECT_STREQ(RLIBCSzHashGetValue(hash.get(), "a"), "2");
}

TEST(StringHashTest, ARemovedKeyIsAbsentAndGoesToTheEndWhenSetAgain) {
  const Hash hash = NewHash();
  for (const char* key : {"a", "b"}) RLIBCSzHashSetValue(hash.get(), key, key);
  EXPECT_EQ(RLIBCSzHashRemoveKey(hash.get(), "a"), 0);
  EXPECT_EQ(RLIBCSzHashRemoveKey(hash.get(), "a"), -1);
  EXPECT_EQ(RLIBCSzHashGetValue(hash.get(), "a"), nullptr);
  RLIBCSzHashSetValue(hash.get(), "a", "again");
  EXPECT_EQ(PairsOf(hash), (std::vector<std::string>{"b=b", "a=again"}));
}

TEST(StringHashTest, GrowsBeyondItsBuckets) {
  const Hash hash(RLIBCSzHashAlloc(1), &RLIBCSzHashFree);
  for (int i = 0; i < 3'000; ++i) {
    ASSERT_EQ(RLIBCSzHashSetValue(hash.get(), ("key" + std::to_string(i)).c_str(), std::to_string(i).c_str()),
              0);
  }
  EXPECT_EQ(RLIBCSzHashCount(hash.get()), 3'000);
  EXPECT_STREQ(RLIBCSzHashGetValue(hash.get(), "key2999"), "2999");
}

TEST(StringHashTest, NullArgumentsAreAbsent) {
  const Hash hash = NewHash();
  EXPECT_EQ(RLIBCSzHashSetValue(nullptr, "a", "b"), -1);
  EXPECT_EQ(RLIBCSzHashSetValue(hash.get(), nullptr, "b"), -1);
  EXPECT_EQ(RLIBCSzHashSetValue(hash.get(), "a", nullptr), -1);
  EXPECT_EQ(RLIBCSzHashGetValue(nullptr, "a"), nullptr);
  EXPECT_EQ(RLIBCSzHashCount(nullptr), 0);
  EXPECT_EQ(RLIBCSzHashAt(hash.get(), 0, nullptr, nullptr), -1);
  EXPECT_EQ(RLIBCSzHashRemoveKey(nullptr, "a"), -1);
  RLIBCSzHashFree(nullptr);
}

bool IsUtf8(const std::string& text) {
  return RLIBCUnicodeIsUTF8(text.c_str()) != 0;
}

TEST(UnicodeTest, AcceptsWellFormedText) {
  for (const char* text : {"", "plain", "\xC2\x80", "\xC3\xA9", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                           "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
                           "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x9A\x80",
                           "\xEF\xBB\xBF"
                           "a"}) {
    EXPECT_TRUE(IsUtf8(text)) << text;
  }
}

TEST(UnicodeTest, RejectsOverlongFormsSurrogatesAndValuesAboveTheLast) {
  for (const char* text :
       {"\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF"}) {
    EXPECT_FALSE(IsUtf8(text));
    EXPECT_FALSE(IsUtf8("a" + std::string(text) + "b"));
  }
  EXPECT_EQ(RLIBCUnicodeIsUTF8(nullptr), 0);
}

TEST(UnicodeTest, RejectsCutAndLoneBytes) {
  const std::string longest = "\xF0\x9F\x9A\x80";
  for (std::size_t length = 1; length < longest.size(); ++length) {
    EXPECT_FALSE(IsUtf8(longest.substr(0, length)));
    EXPECT_FALSE(IsUtf8(longest.substr(0, length) + "a"));
    EXPECT_FALSE(IsUtf8(longest.substr(length)));
  }
}

std::string Convert(int code_page, const std::string& from, int size = 64) {
  std::string out(64, 'x');
  const int length = RLIBCUnicodeStrCPToUTF8(code_page, from.c_str(), out.data(), size);
  if (length < 0) return "(failed)";
  EXPECT_EQ(out[static_cast<std::size_t>(length)], '\0');
  return out.substr(0, static_cast<std::size_t>(length));
}

constexpr int kWestern = 1252;
constexpr int kJapanese = 932;

TEST(CodePageTest, ConvertsToUtf8) {
  EXPECT_EQ(Convert(kWestern, "caf\xE9 \x80"), "caf\xC3\xA9 \xE2\x82\xAC");
  EXPECT_EQ(Convert(kJapanese, "\x8E\xCA\x90\x5E"), "\xE5\x86\x99\xE7\x9C\x9F");
}

TEST(CodePageTest, ALetterThatWaitsForAnAccentIsNotLost) {
  EXPECT_EQ(Convert(1258, "a"), "a");
}

TEST(CodePageTest, MeaninglessBytesBecomeTheReplacementCharacter) {
  EXPECT_EQ(Convert(kWestern,
                    "a\x81"
                    "b"),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(Convert(kJapanese, "a\x8E"), "a\xEF\xBF\xBD");
}

TEST(CodePageTest, EveryByteAndEveryCutGivesValidText) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  for (const int code_page : {1252, 932, 936, 949, 950, 1251, 1258, 51932, 54936}) {
    std::vector<char> out(all.size() * 4);
    for (int size = 1; size <= static_cast<int>(out.size()); ++size) {
      const int length = RLIBCUnicodeStrCPToUTF8(code_page, all.c_str(), out.data(), size);
      ASSERT_GE(length, 0);
      ASSERT_LT(length, size);
      ASSERT_NE(RLIBCUnicodeIsUTF8(out.data()), 0) << code_page << " " << size;
    }
  }
}

TEST(CodePageTest, CutsAtACharacterBoundary) {
  EXPECT_EQ(Convert(kWestern, "a\xE9", 4), "a\xC3\xA9");
  EXPECT_EQ(Convert(kWestern, "a\xE9", 3), "a");
  EXPECT_EQ(Convert(kWestern, "a\x81", 4), "a");
  EXPECT_EQ(Convert(kWestern, "a", 1), "");
}

TEST(CodePageTest, BadArgumentsFail) {
  char out[8];
  EXPECT_EQ(RLIBCUnicodeStrCPToUTF8(0, "a", out, sizeof(out)), -1);
  EXPECT_EQ(RLIBCUnicodeStrCPToUTF8(kWestern, nullptr, out, sizeof(out)), -1);
  EXPECT_EQ(RLIBCUnicodeStrCPToUTF8(kWestern, "a", nullptr, 8), -1);
  EXPECT_EQ(RLIBCUnicodeStrCPToUTF8(kWestern, "a", out, 0), -1);
}

TEST(CodePageTest, TheSystemsCodePageIsASetting) {
  const TempDir root;
  setenv("LUMIVAULT_ROOT", root.path().c_str(), 1);
  EXPECT_EQ(RLIBCCodePageGet(1), kWestern);
  WriteFile(root / "etc/kavo/kavoinfo.conf", "codepage=\"shift_jis\"\n");
  EXPECT_EQ(RLIBCCodePageGet(1), kJapanese);
  WriteFile(root / "etc/kavo/kavoinfo.conf", "codepage=unheard-of\n");
  EXPECT_EQ(RLIBCCodePageGet(1), kWestern);
  unsetenv("LUMIVAULT_ROOT");
}

TEST(CodePageTest, TheLetterCaseOfItsNameDoesNotFollowTheProgramsLocale) {
  const TurkishLocale turkish;
  if (!turkish.active()) GTEST_SKIP() << "no Turkish locale";
  const TempDir root;
  setenv("LUMIVAULT_ROOT", root.path().c_str(), 1);
  WriteFile(root / "etc/kavo/kavoinfo.conf", "codepage=shift_jis\n");
  EXPECT_EQ(RLIBCCodePageGet(1), kJapanese);
  unsetenv("LUMIVAULT_ROOT");
}

std::string Trimmed(std::string text) {
  EXPECT_EQ(RLIBCStrTrimSpace(text.data()), 0);
  return text.c_str();
}

TEST(TrimTest, WhiteSpaceGoesFromBothEndsOnly) {
  EXPECT_EQ(Trimmed(" \t\v\f\r\n a b \n"), "a b");
  EXPECT_EQ(Trimmed("ab"), "ab");
  EXPECT_EQ(Trimmed("  \n"), "");
  EXPECT_EQ(Trimmed(""), "");
  EXPECT_EQ(Trimmed("\xC2\xA0"
                    "a"),
            "\xC2\xA0"
            "a");
  EXPECT_EQ(RLIBCStrTrimSpace(nullptr), -1);
}

TEST(TrimTest, BlanksAndLineEndsGoFromBothEnds) {
  char text[] = "\r\n\t Sunset  at sea \n";
  EXPECT_EQ(StringTrim(text), text);
  EXPECT_STREQ(text, "Sunset  at sea");
  EXPECT_EQ(StringTrim(nullptr), nullptr);
}

TEST(ErrorTest, TheLastErrorNamesItsPlace) {
  EXPECT_EQ(RLIBCStrTrimSpace(nullptr), -1);
  EXPECT_EQ(RLIBCErrGet(), EINVAL);
  EXPECT_STREQ(RLIBCErrorGetFile(), "trim.cpp");
  EXPECT_GT(RLIBCErrorGetLine(), 0);
}

}  // namespace
