#include "common/display.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <cstdio>

#include "database/typed_value.h"
#include "run/progress.h"
#include "run/report.h"
#include "support/service_test.h"

namespace {

using std::chrono::milliseconds;

TEST(Visible, ControlCharactersCannotReachATerminal) {
  EXPECT_EQ(Visible("a\nb\tc\rd"), "a\\nb\\tc\\rd");
  EXPECT_EQ(Visible("\x1b]0;x\a"), "\\x1b]0;x\\x07");
  EXPECT_EQ(Visible("\x7f\xc2\x9b"), "\\x7f\\xc2\\x9b");
  EXPECT_EQ(Visible("a\\nb"), "a\\\\nb");
}

TEST(Visible, TextOfAnyLanguageStaysAsItIs) {
  EXPECT_EQ(Visible("h\xc3\xa9 \xe5\xae\xb6 \xf0\x9f\x8c\x8a 'a' \"b\" %"),
            "h\xc3\xa9 \xe5\xae\xb6 \xf0\x9f\x8c\x8a 'a' \"b\" %");
}

TEST(AboutFile, TheNameCannotLookLikeAnotherLine) {
  EXPECT_EQ(AboutFile("/a\nb", "is \\ gone"), "/a\\nb: is \\ gone");
}

std::string Utf8(unsigned code) {
  if (code < 0x80) return {static_cast<char>(code)};
  const int following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  std::string text;
  for (int i = 0; i < following; ++i, code >>= 6)
    text.insert(text.begin(), static_cast<char>(0x80 | (code & 0x3F)));
  const unsigned lead = (0xFF00U >> (following + 1)) & 0xFF;  // 110, 1110, 11110
  return static_cast<char>(lead | code) + text;
}

std::string BytesOf(const std::string& text) {
  std::string bytes;
  for (const char byte : text) {
    std::array<char, 5> escape{};
    std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned char>(byte));
    bytes += escape.data();
  }
  return bytes;
}

// What turns the direction, breaks a line or is not seen at all; with the neighbours that are seen.
TEST(Visible, WhatNobodySeesIsWrittenOut) {
  for (const unsigned unseen :
       {0x01U,    0x7FU,    0x80U,    0x9FU,    0xADU,    0x34FU,   0x61CU,   0x115FU,  0x1160U, 0x17B4U,
        0x17B5U,  0x180EU,  0x200BU,  0x200CU,  0x200DU,  0x200FU,  0x2028U,  0x2029U,  0x202AU, 0x202EU,
        0x2060U,  0x2066U,  0x2069U,  0x206FU,  0x3164U,  0xFEFFU,  0xFFA0U,  0xFFF9U,  0xFFFBU, 0x1BCA0U,
        0x1BCA3U, 0x1D173U, 0x1D17AU, 0xE0000U, 0xE0001U, 0xE007FU, 0xE00FFU, 0xE01F0U, 0xE0FFFU}) {
    EXPECT_EQ(Visible("a" + Utf8(unseen) + "b"), "a" + BytesOf(Utf8(unseen)) + "b") << unseen;
    EXPECT_EQ(OnOneLine(Utf8(unseen)), BytesOf(Utf8(unseen))) << unseen;
  }
  for (const unsigned seen :
       {0x20U,    0x7EU,    0xA0U,    0xACU,    0xAEU,    0x34EU,   0x350U,   0x61BU,  0x61DU,  0x115EU,
        0x1161U,  0x17B3U,  0x17B6U,  0x180DU,  0x180FU,  0x200AU,  0x2010U,  0x2027U, 0x202FU, 0x205FU,
        0x2070U,  0x3163U,  0x3165U,  0xFE0FU,  0xFEFEU,  0xFF00U,  0xFF9FU,  0xFFA1U, 0xFFF8U, 0xFFFCU,
        0x1BC9FU, 0x1BCA4U, 0x1D172U, 0x1D17BU, 0xDFFFFU, 0xE0100U, 0xE01EFU, 0xE1000U}) {
    EXPECT_EQ(Visible(Utf8(seen)), Utf8(seen)) << seen;
  }
}

TEST(OnOneLine, PartsThatWereMadeVisibleStayAsTheyAre) {
  EXPECT_EQ(OnOneLine("a\\x1b: b\nc"), "a\\x1b: b\\nc");
}

TEST(JsonLine, WhatNobodySeesIsEscaped) {
  Json::Value value;
  value["a"] = "x\u202ey\u2028\x7f\U000e0041\U000e0fff\u00e9";
  const std::string line = JsonLine(value);
  EXPECT_EQ(line, "{\"a\":\"x\\u202ey\\u2028\\u007f\\udb40\\udc41\\udb43\\udfff\u00e9\"}");
  EXPECT_EQ(StrictJson(line + "\n"), value);
}

TEST(Visible, BytesThatAreNotUtf8AreWrittenOut) {
  EXPECT_EQ(Visible("\xff"), "\\xff");
  EXPECT_EQ(Visible("\xc0\xaf"), "\\xc0\\xaf");
  EXPECT_EQ(Visible("\xed\xa0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(Visible("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
  EXPECT_EQ(Visible("caf\xe9"), "caf\\xe9");
}

TEST(Shown, AnotherProgramGetsTheNameItself) {
  EXPECT_EQ(Shown("a\nb", false), "a\nb");
  EXPECT_EQ(Shown("a\nb", true), "a\\nb");
}

TEST(Fitted, ATextIsCutBetweenCharacters) {
  EXPECT_EQ(Fitted("abcdef", 6), "abcdef");
  EXPECT_EQ(Fitted("abcdefg", 6), "abc...");
  EXPECT_EQ(Fitted("\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9", 4), "\xc3\xa9...");
}

TEST(Fitted, WideCharactersTakeTwoColumnsAndMarksNone) {
  EXPECT_EQ(Fitted("\u5199\u771f\u5199", 6), "\u5199\u771f\u5199");
  EXPECT_EQ(Fitted("\u5199\u771f\u5199", 5), "\u5199...");
  EXPECT_EQ(Fitted("\u5199\u771f\u5199", 4), "...");
  EXPECT_EQ(Fitted("\U0001F600\U0001F600\U0001F600", 5), "\U0001F600...");
  EXPECT_EQ(Fitted("e\u0301e\u0301e\u0301", 3), "e\u0301e\u0301e\u0301");
}

TEST(SetBytes, BytesThatAreNotUtf8AreKeptBesides) {
  Json::Value object;
  SetBytes(object, "path", "plain");
  EXPECT_FALSE(object.isMember("path_base64"));
  SetBytes(object, "path", "a\xff");
  EXPECT_EQ(object["path"].asString(), "a\xef\xbf\xbd");
  EXPECT_EQ(object["path_base64"].asString(), "Yf8=");
}

TEST(SetBytes, Base64PadsEveryLength) {
  Json::Value object;
  SetBytes(object, "a", "\xff");
  SetBytes(object, "b", "\xff\xfe\xfd");
  EXPECT_EQ(object["a_base64"].asString(), "/w==");
  EXPECT_EQ(object["b_base64"].asString(), "//79");
}

TEST(TypedValue, NumbersAreNumbersWhereTheColumnHoldsThem) {
  EXPECT_EQ(JsonLine(TypedValue("12", true)), "12");
  EXPECT_EQ(JsonLine(TypedValue("-0.5", true)), "-0.5");
  EXPECT_EQ(JsonLine(TypedValue("12", false)), "\"12\"");
  EXPECT_EQ(JsonLine(TypedValue("12x", true)), "\"12x\"");
  EXPECT_EQ(JsonLine(TypedValue("inf", true)), "\"inf\"");
  EXPECT_EQ(JsonLine(TypedValue(std::nullopt, true)), "null");
}

TEST(ProgressLine, TellsCountRateTimeLeftAndFolder) {
  EXPECT_EQ(ProgressLine({1024, 20000, milliseconds(2000), "2024/trip"}),
            "1,024 of 20,000, 512/s, 0:37 left, 2024/trip");
  EXPECT_EQ(ProgressLine({1000, 10'000'000, milliseconds(1000), ""}),
            "1,000 of 10,000,000, 1,000/s, 2:46:39 left");
}

TEST(ProgressLine, SaysThatTheTotalIsNotKnownYet) {
  EXPECT_EQ(ProgressLine({3, std::nullopt, milliseconds(10), ""}), "3, counting...");
  EXPECT_EQ(ProgressLine({3000, std::nullopt, milliseconds(3000), "a"}), "3,000, 1,000/s, counting..., a");
}

TEST(ProgressLine, IsNeverBeyondItsTotal) {
  EXPECT_EQ(ProgressLine({12, 10, milliseconds(1000), ""}), "12 of 12, 12/s, 0:00 left");
}

TEST(ProgressLine, AFolderNameCannotSteerTheTerminal) {
  EXPECT_EQ(ProgressLine({1, 2, milliseconds(0), "a\x1b[2J"}), "1 of 2, a\\x1b[2J");
}

TEST(ProgressMode, QuietAndDumbTerminalsGetNoRedrawnLine) {
  EXPECT_EQ(ProgressModeFor(stderr, true), ProgressMode::kNone);
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
  EXPECT_EQ(ProgressModeFor(file.get(), false), ProgressMode::kLines);
}

IndexReport SomeReport() {
  IndexReport report;
  report.library = {"/data/my photos", "my_photos-1"};
  report.found = 5;
  report.added = 3;
  report.folders = 2;
  report.skipped = {{"hidden", 1}, {"not a photo or video", 4}};
  report.unchanged = 6;
  report.moved = 7;
  report.deleted = 8;
  report.failed = {{"/data/my photos/a\nb.jpg", "the file is empty"},
                   {"/data/my photos/old.jpg", "it holds no picture", true},
                   {"/data/my photos/older.jpg", "it holds no video", true}};
  report.notes = {{"/data/my photos/\xff.jpg", "the picture is cut short"},
                  {"/data/my photos/c\td.jpg", "the picture is cut short", true}};
  report.elapsed = milliseconds(1250);
  return report;
}

TEST(ReportText, CountsThenOneLineForEachFailure) {
  EXPECT_EQ(
      ReportText(SomeReport()),
      "/data/my photos: found 5, added 3, skipped 5, failed 1, folders 2, unchanged 6, moved 7, deleted 8, "
      "1.25 s\n"
      "skipped: hidden: 1\n"
      "skipped: not a photo or video: 4\n"
      "failed: /data/my photos/a\\nb.jpg: the file is empty\n"
      "note: /data/my photos/\\xff.jpg: the picture is cut short\n"
      "2 failed before, unchanged (--failed lists them)\n"
      "1 noted before, unchanged (--failed lists them)\n");
}

TEST(ReportText, ListsWhatIsKnownWhereThatIsAskedFor) {
  EXPECT_TRUE(ReportText(SomeReport(), true)
                  .ends_with("failed: /data/my photos/a\\nb.jpg: the file is empty\n"
                             "note: /data/my photos/\\xff.jpg: the picture is cut short\n"
                             "failed before: /data/my photos/old.jpg: it holds no picture\n"
                             "failed before: /data/my photos/older.jpg: it holds no video\n"
                             "noted before: /data/my photos/c\\td.jpg: the picture is cut short\n"));
}

TEST(ReportText, HasNoLineForWhatIsNotThere) {
  IndexReport report = SomeReport();
  report.failed.clear();
  report.notes.clear();
  EXPECT_TRUE(ReportText(report).ends_with("skipped: not a photo or video: 4\n"));
}

TEST(IndexReport, AFailureIsNewUnlessAllAreKnown) {
  IndexReport report = SomeReport();
  EXPECT_TRUE(report.HasNewFailure());
  report.failed.erase(report.failed.begin());
  EXPECT_FALSE(report.HasNewFailure());
}

TEST(ReportText, SaysThatTheRunWasStopped) {
  IndexReport report = SomeReport();
  report.interrupted = true;
  EXPECT_NE(ReportText(report).find(", 1.25 s, interrupted\n"), std::string::npos);
}

TEST(ReportJson, HasEveryMember) {
  EXPECT_EQ(JsonLine(ReportJson(SomeReport())),
            "{\"added\":3,\"database\":\"/data/my photos/.KAVOHGADB\",\"deleted\":8,\"failed\":["
            "{\"known\":false,\"path\":\"/data/my photos/a\\nb.jpg\",\"reason\":\"the file is empty\"},"
            "{\"known\":true,\"path\":\"/data/my photos/old.jpg\",\"reason\":\"it holds no picture\"},"
            "{\"known\":true,\"path\":\"/data/my photos/older.jpg\",\"reason\":\"it holds no video\"}],"
            "\"folders\":2,\"found\":5,\"interrupted\":false,\"library\":\"/data/my "
            "photos\",\"moved\":7,\"notes\":["
            "{\"known\":false,\"path\":\"/data/my photos/\xef\xbf\xbd.jpg\","
            "\"path_base64\":\"L2RhdGEvbXkgcGhvdG9zL/8uanBn\",\"reason\":\"the picture is cut short\"},"
            "{\"known\":true,\"path\":\"/data/my photos/c\\td.jpg\","
            "\"reason\":\"the picture is cut short\"}],\"schema_version\":2,"
            "\"seconds\":1.25,\"skipped\":{\"hidden\":1,\"not a photo or video\":4},\"unchanged\":6}");
}

TEST(ReportText, SaysWhatWasNotDeletedAndWhy) {
  IndexReport report = SomeReport();
  report.deleted = 0;
  report.withheld_reason = "the folder is empty";
  report.withheld.assign(52, "/data/my photos/x\ny.jpg");
  const std::string text = ReportText(report);
  EXPECT_NE(text.find("nothing was deleted: the folder is empty (--accept-loss goes on)\n"
                      "would go: /data/my photos/x\\ny.jpg\n"),
            std::string::npos);
  EXPECT_TRUE(text.ends_with("would go: 2 more\n"));
}

TEST(ReportText, SaysThatTheRestWasDeleted) {
  IndexReport report = SomeReport();
  report.deleted = 1;
  report.withheld_reason = "what was mounted at stick is not there";
  EXPECT_NE(ReportText(report).find("\nnot everything was deleted: what was mounted at stick is not there "
                                    "(--accept-loss goes on)\n"),
            std::string::npos);
}

TEST(ReportJson, HasWhatWasNotDeletedOnlyWhenTheBrakeHeld) {
  IndexReport report = SomeReport();
  EXPECT_FALSE(ReportJson(report).isMember("withheld"));
  report.withheld_reason = "the folder is empty";
  report.withheld = {"/data/a.jpg"};
  EXPECT_EQ(JsonLine(ReportJson(report)["withheld"]),
            "{\"paths\":[{\"path\":\"/data/a.jpg\"}],\"reason\":\"the folder is empty\"}");
}

}  // namespace
