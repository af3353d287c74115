#include "process/metadata_tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <locale>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/exiv2_scope.h"
#include "platform/heif_reading.h"
#include "platform/image_cache.h"
#include "platform/printed_metadata.h"
#include "support/comma_locale.h"
#include "support/media_maker.h"
#include "support/scaled.h"
#include "support/temp_dir.h"
#include "support/xmp_packet.h"

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

constexpr const char* kRealTool = "/usr/bin/exiv2";
constexpr std::size_t kMostKept = 32;
constexpr int kFirstContainerType = 20;
constexpr int kWebPType = 23;

const std::vector<std::string> kKeys = {"Exif.GPSInfo.GPSLatitudeRef", "Exif.GPSInfo.GPSLatitude",
                                        "Exif.GPSInfo.GPSLongitudeRef", "Exif.GPSInfo.GPSLongitude",
                                        "Xmp.dc.subject"};
const std::vector<std::string> kStoredKeys = {"Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLongitude"};

Arguments Listing(const std::string& path) {
  return {"exiv2", "-pa", path};
}
Arguments KeyListing(const std::string& path) {
  return {"exiv2", "-Pkt", path};
}
Arguments OneKey(const std::string& key, const std::string& path) {
  return {"exiv2", "-K", key, "-Pt", path};
}
Arguments OneStoredValue(const std::string& key, const std::string& path) {
  return {"exiv2", "-K", key, "-Pv", path};
}

// Every question that is asked about a file.
std::vector<Arguments> QuestionsAbout(const std::string& path) {
  std::vector<Arguments> questions = {Listing(path), KeyListing(path)};
  for (const std::string& key : kKeys) questions.push_back(OneKey(key, path));
  for (const std::string& key : kStoredKeys) questions.push_back(OneStoredValue(key, path));
  return questions;
}

std::optional<SpawnResult> AskRealTool(const Arguments& arguments) {
  return RunProgram({.program = kRealTool, .arguments = arguments, .capture = true});
}

// Video containers, in the library's words. It is not used on them.
bool IsRefusedContainer(const std::string& path) try {
  const HeifReading heif;
  const int type = Exiv2::ImageFactory::getType(path);
  return type >= kFirstContainerType && type != kWebPType;
} catch (const Exiv2::AnyError&) {
  return false;  // so corrupt that it has no type
}

// Position, texts in several languages, lists, regions, repeated keys, values that could break a column.
const Tags kRichTags = {
    {"Exif.Image.Make", "Camera \"Maker\" %s %n"},
    {"Exif.Image.Orientation", "6"},
    {"Exif.Image.DateTime", "2020:01:02 03:04:05"},
    {"Exif.Photo.ExposureTime", "1/125"},
    {"Exif.Photo.FNumber", "28/10"},
    {"Exif.Photo.UserComment", "charset=Ascii a comment"},
    {"Exif.Photo.ISOSpeedRatings", "400"},
    {"Exif.GPSInfo.GPSLatitudeRef", "S"},
    {"Exif.GPSInfo.GPSLatitude", "35/1 30/1 20/1"},
    {"Exif.GPSInfo.GPSLongitudeRef", "E"},
    {"Exif.GPSInfo.GPSLongitude", "139/1 4510/100 0/1"},
    {"Iptc.Application2.Keywords", "two words"},
    {"Iptc.Application2.Keywords", "caf\xC3\xA9"},
    {"Iptc.Application2.Keywords", "latin caf\xE9"},
    {"Iptc.Application2.Caption", "first line\nsecond line\ttab"},
    {"Xmp.dc.subject", "sea"},
    {"Xmp.dc.subject", "sun, sand"},
    {"Xmp.dc.title", "lang=\"x-default\" Title"},
    {"Xmp.dc.title", "lang=\"de-DE\" Titel \xC3\xA4"},
    {"Xmp.dc.description", ""},
    {"Xmp.xmp.Rating", "3"},
};

class MetadataTool : public testing::Test {
 protected:
  void SetUp() override {
    if (access(kRealTool, X_OK) != 0) GTEST_SKIP() << "no " << kRealTool;
  }
  // Asks both and compares. A real tool that crashes has no answer to compare.
  void Compare(const Arguments& arguments) {
    const std::optional<SpawnResult> real = AskRealTool(arguments);
    const std::optional<SpawnResult> own = AnswerMetadataQuestion(arguments);
    ASSERT_TRUE(real) << "the tool crashes on " << testing::PrintToString(arguments);
    ASSERT_TRUE(own) << testing::PrintToString(arguments);
    EXPECT_EQ(own->status, real->status) << testing::PrintToString(arguments);
    EXPECT_EQ(own->output, real->output) << testing::PrintToString(arguments);
  }
  void CompareAll(const std::string& path) {
    for (const Arguments& question : QuestionsAbout(path)) Compare(question);
    CompareTwice(path);
  }
  // What one question has printed answers the others: the last ones first, then all once more.
  void CompareTwice(const std::string& path) {
    LetTheClockMoveOn();
    SetImageCacheCount(0);
    SetImageCacheCount(kMostKept);
    std::vector<Arguments> questions = QuestionsAbout(path);
    std::reverse(questions.begin(), questions.end());
    std::vector<std::string> outputs;
    for (const Arguments& question : questions) outputs.push_back(AnswerMetadataQuestion(question)->output);
    for (std::size_t i = 0; i < questions.size(); ++i) {
      const auto again = AnswerMetadataQuestion(questions[i]);
      EXPECT_EQ(again->output, outputs[i]) << testing::PrintToString(questions[i]);
    }
  }
  // A JPEG with this XMP packet.
  std::string MakeWithPacket(const std::string& name, const std::string& packet) {
    const std::string path = dir_ / name;
    ::MakeWithPacket(path, packet);
    return path;
  }

  TempDir dir_;
};

TEST_F(MetadataTool, AnswersAsTheProgramAboutAJpeg) {
  MakeJpeg(dir_ / "a.jpg", 40, 30, kRichTags);
  CompareAll(dir_ / "a.jpg");
  EXPECT_THAT(AnswerMetadataQuestion(Listing(dir_ / "a.jpg"))->output,
              testing::HasSubstr("Exif.Image.Orientation                       Short       1  right, top\n"));
}

TEST_F(MetadataTool, AnswersAsTheProgramAboutOtherFormats) {
  for (const char* name : {"a.png", "a.tif", "a.webp"}) {
    MakeImage(dir_ / name, 40, 30, kRichTags);
    CompareAll(dir_ / name);
  }
}

TEST_F(MetadataTool, AnswersAsTheProgramAboutFormatsWithoutMetadata) {
  for (const char* name : {"a.gif", "a.bmp"}) {
    MakeImage(dir_ / name, 40, 30);
    CompareAll(dir_ / name);
  }
}

TEST_F(MetadataTool, OneKeyGivesItsBareValue) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  const auto latitude = AnswerMetadataQuestion(OneKey("Exif.GPSInfo.GPSLatitude", dir_ / "a.jpg"));
  ASSERT_TRUE(latitude);
  EXPECT_EQ(latitude->output, "35deg 30' 20\"\n");
  EXPECT_EQ(latitude->status, 0);
  EXPECT_EQ(AnswerMetadataQuestion(OneKey("Xmp.dc.subject", dir_ / "a.jpg"))->output, "sea, sun, sand\n");
}

TEST_F(MetadataTool, OneKeyGivesItsValueAsItIsStored) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  const auto longitude = AnswerMetadataQuestion(OneStoredValue("Exif.GPSInfo.GPSLongitude", dir_ / "a.jpg"));
  ASSERT_TRUE(longitude);
  EXPECT_EQ(longitude->output, "139/1 4510/100 0/1\n");
  EXPECT_EQ(longitude->status, 0);
  std::set<std::string> keys;
  for (const auto& [key, value] : kRichTags) keys.insert(key);
  for (const std::string& key : keys) Compare(OneStoredValue(key, dir_ / "a.jpg"));
  Compare(OneStoredValue("Exif.Image.Absent", dir_ / "a.jpg"));
}

TEST_F(MetadataTool, ARepeatedKeyGivesALineEach) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  Compare(OneKey("Iptc.Application2.Keywords", dir_ / "a.jpg"));
  EXPECT_EQ(AnswerMetadataQuestion(OneKey("Iptc.Application2.Keywords", dir_ / "a.jpg"))->output,
            "two words\ncaf\xC3\xA9\nlatin caf\xE9\n");
}

TEST_F(MetadataTool, UnknownAndMalformedKeysAreNotFound) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  for (const char* key :
       {"", "Foo.bar", "Exif", "Exif.", "exif.image.make", "Exif.Image.Make ", "*", "Xmp.dc"}) {
    Compare(OneKey(key, dir_ / "a.jpg"));
  }
}

TEST_F(MetadataTool, AFileWithoutMetadataHasNoKeyAndAnEmptyListing) {
  MakeJpeg(dir_ / "a.jpg", 8, 8);
  CompareAll(dir_ / "a.jpg");
  EXPECT_EQ(AnswerMetadataQuestion(OneKey("Xmp.dc.subject", dir_ / "a.jpg"))->status, 1);
  EXPECT_EQ(AnswerMetadataQuestion(Listing(dir_ / "a.jpg"))->status, 0);
}

TEST_F(MetadataTool, WhatIsNoRegularFileIs255) {
  mkdir((dir_ / "folder").c_str(), 0755);
  mkfifo((dir_ / "fifo").c_str(), 0644);
  ASSERT_EQ(symlink("nowhere", (dir_ / "dangling").c_str()), 0);
  for (const char* name : {"missing", "folder", "fifo", "dangling", ""}) {
    CompareAll(dir_ / name);
    EXPECT_EQ(AnswerMetadataQuestion(Listing(dir_ / name))->status, 255) << name;
  }
}

TEST_F(MetadataTool, WhatIsNoImageIs1) {
  WriteFile(dir_ / "empty.jpg", "");
  WriteFile(dir_ / "text.jpg", "just a text\n");
  WriteFile(dir_ / "zeros.jpg", std::string(5000, '\0'));
  for (const char* name : {"empty.jpg", "text.jpg", "zeros.jpg"}) {
    CompareAll(dir_ / name);
    EXPECT_EQ(AnswerMetadataQuestion(Listing(dir_ / name))->status, 1) << name;
  }
}

TEST_F(MetadataTool, AnUnreadableFileIs1) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads everything";
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  chmod((dir_ / "a.jpg").c_str(), 0);
  CompareAll(dir_ / "a.jpg");
}

TEST_F(MetadataTool, ASymbolicLinkIsFollowed) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  ASSERT_EQ(symlink("a.jpg", (dir_ / "link").c_str()), 0);
  CompareAll(dir_ / "link");
}

TEST_F(MetadataTool, NamesAreNeverOptionsOrCommands) {
  for (const char* name :
       {"-rf", "$(touch x)", "`id`", "@args", "x.jpg|", "a b\nc", "%s%n", "\xFF\xFE.jpg", "-K"}) {
    MakeJpeg(fs::path(dir_ / name), 8, 8, kRichTags);
    CompareAll(dir_ / name);
    EXPECT_EQ(AnswerMetadataQuestion(Listing(dir_ / name))->status, 0) << name;
  }
}

TEST_F(MetadataTool, RelativeNamesAreFiles) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.path());
  MakeJpeg(dir_ / "-", 8, 8, kRichTags);
  MakeJpeg(dir_ / "-rf", 8, 8, kRichTags);
  EXPECT_EQ(AnswerMetadataQuestion(Listing("-"))->status, 0);
  EXPECT_EQ(AnswerMetadataQuestion(Listing("-rf"))->status, 0);
  EXPECT_EQ(AnswerMetadataQuestion(Listing("http://localhost/a.jpg"))->status, 255);
  fs::current_path(before);
}

TEST_F(MetadataTool, OtherFormsAreNotRun) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  const std::string path = dir_ / "a.jpg";
  for (const Arguments& arguments :
       std::vector<Arguments>{{},
                              {"exiv2"},
                              {"exiv2", path},
                              {"exiv2", "-pa"},
                              {"exiv2", "rm", path},
                              {"exiv2", "-pa", path, path},
                              {"exiv2", "-Pt", path},
                              {"exiv2", "-K", "a", "-Pvt", path},
                              {"exiv2", "-K", "a", path, "-Pt"},
                              {"exiv2", "-M", "del Exif.Image.Make", "-Pt", path}}) {
    EXPECT_FALSE(AnswerMetadataQuestion(arguments)) << testing::PrintToString(arguments);
  }
}

TEST_F(MetadataTool, FilesCutAnywhereAnswerAsTheProgram) {
  constexpr std::size_t kCuts = Scaled(60, 15);
  MakeJpeg(dir_ / "whole.jpg", 16, 16, kRichTags);
  const std::string whole = ReadFile(dir_ / "whole.jpg");
  for (std::size_t cut = 0; cut < kCuts; ++cut) {
    WriteFile(dir_ / "cut.jpg", whole.substr(0, whole.size() * cut / kCuts));
    Compare(Listing(dir_ / "cut.jpg"));
    Compare(OneKey("Exif.GPSInfo.GPSLatitude", dir_ / "cut.jpg"));
  }
}

TEST_F(MetadataTool, DamagedFilesAnswerAsTheProgram) {
  constexpr unsigned kSeed = 20;
  SCOPED_TRACE(kSeed);
  std::srand(kSeed);
  MakeJpeg(dir_ / "whole.jpg", 16, 16, kRichTags);
  const std::string whole = ReadFile(dir_ / "whole.jpg");
  constexpr int kRounds = Scaled(100, 25);
  for (int round = 0; round < kRounds; ++round) {
    std::string damaged = whole;
    for (int flip = 0; flip < 3; ++flip) {
      damaged[static_cast<std::size_t>(std::rand()) % damaged.size()] ^=
          static_cast<char>(1 << std::rand() % 8);
    }
    WriteFile(dir_ / "damaged.jpg", damaged);
    Compare(Listing(dir_ / "damaged.jpg"));
    Compare(OneKey("Xmp.dc.subject", dir_ / "damaged.jpg"));
  }
}

TEST_F(MetadataTool, AListingBeyondTheCapIsIncomplete) {
  const std::string path = dir_ / "a.tif";
  const std::string line = "Exif.Image.Artist                            Ascii     ";
  for (const std::size_t size : {kMaxCapturedOutput - (std::size_t{1} << 16), kMaxCapturedOutput + 1}) {
    MakeImage(path, 8, 6, {{"Exif.Image.Artist", std::string(size, 'x')}});
    const auto result = AnswerMetadataQuestion(Listing(path));
    ASSERT_TRUE(result);
    ASSERT_THAT(result->output, testing::HasSubstr(line));
    EXPECT_EQ(result->complete, size < kMaxCapturedOutput);
    EXPECT_LE(result->output.size(), kMaxCapturedOutput);
  }
}

// What of LISTING belongs to lines with TEXT in them.
std::string LinesWith(const std::string& text, const std::string& listing) {
  std::istringstream lines(listing);
  std::string found;
  for (std::string line; std::getline(lines, line);)
    if (line.find(text) != std::string::npos) found += line + "\n";
  return found;
}

TEST_F(MetadataTool, ForAWantedTextAllItsLinesAreThereAsInTheWholeListing) {
  constexpr const char* kKeywords = "Iptc.Application2.Keywords";
  Tags tags = kRichTags;
  tags.push_back({"Exif.Image.Artist", std::string("one\n") + kKeywords + " String 1 in a value"});
  MakeJpeg(dir_ / "a.jpg", 8, 8, tags);
  for (const Arguments& question : {Listing(dir_ / "a.jpg"), KeyListing(dir_ / "a.jpg")}) {
    const auto some = AnswerMetadataQuestion(question, {kKeywords});
    const auto all = AnswerMetadataQuestion(question);
    EXPECT_EQ(some->status, 0);
    EXPECT_LT(some->output.size(), all->output.size());
    EXPECT_EQ(LinesWith(kKeywords, some->output), LinesWith(kKeywords, all->output));
    EXPECT_THAT(some->output, testing::HasSubstr("in a value\n"));
    Compare(question);
  }
}

TEST_F(MetadataTool, NothingWantedIsThereAndTheFileIsRead) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  const auto none = AnswerMetadataQuestion(Listing(dir_ / "a.jpg"), {"Xmp.MP.RegionInfo"});
  EXPECT_EQ(none->status, 0);
  EXPECT_EQ(none->output, "");
}

TEST_F(MetadataTool, BinaryDataArePrintedForWhoWantsThemAll) {
  std::string bytes = "0";
  for (int i = 1; i < 256; ++i) bytes += " " + std::to_string(i);
  MakeJpeg(dir_ / "a.jpg", 8, 8, {{"Exif.Photo.MakerNote", bytes}, {"Exif.Photo.CFAPattern", bytes}});
  static_cast<void>(AnswerMetadataQuestion(Listing(dir_ / "a.jpg"), {"Iptc."}));
  Compare(Listing(dir_ / "a.jpg"));
  Compare(KeyListing(dir_ / "a.jpg"));
  Compare(OneKey("Exif.Photo.MakerNote", dir_ / "a.jpg"));
  EXPECT_THAT(AnswerMetadataQuestion(Listing(dir_ / "a.jpg"))->output, testing::HasSubstr(" 9 10 11 "));
}

// What is left out of it counts.
TEST_F(MetadataTool, AListingBeyondTheCapIsIncompleteWhateverIsWanted) {
  const std::string path = dir_ / "a.tif";
  MakeImage(path, 8, 6, {{"Exif.Image.Artist", std::string(kMaxCapturedOutput + 1, 'x')}});
  EXPECT_FALSE(AnswerMetadataQuestion(Listing(path), {"Iptc."})->complete);
}

TEST_F(MetadataTool, PeopleRegionsAreListedAsTheProgramDoes) {
  const std::string path = MakeWithPacket(
      "regions.jpg",
      PacketOf("xmlns:MP=\"http://ns.microsoft.com/photo/1.2/\" "
               "xmlns:MPRI=\"http://ns.microsoft.com/photo/1.2/t/RegionInfo#\" "
               "xmlns:MPReg=\"http://ns.microsoft.com/photo/1.2/t/Region#\"",
               "<MP:RegionInfo rdf:parseType=\"Resource\"><MPRI:Regions><rdf:Bag><rdf:li "
               "rdf:parseType=\"Resource\">"
               "<MPReg:PersonDisplayName>Ann &amp; Bo</MPReg:PersonDisplayName>"
               "<MPReg:Rectangle>0.1, 0.2, 0.3, 0.4</MPReg:Rectangle></rdf:li></rdf:Bag></MPRI:Regions>"
               "</MP:RegionInfo>"));
  CompareAll(path);
  Compare(OneStoredValue("Xmp.MP.RegionInfo", path));
  Compare(OneStoredValue("Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:PersonDisplayName", path));
  EXPECT_THAT(AnswerMetadataQuestion(KeyListing(path))->output,
              testing::HasSubstr("Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:PersonDisplayName  Ann & Bo\n"));
}

// The library remembers the prefix that a namespace had in the first file of the process.
TEST_F(MetadataTool, AnEarlierFileDoesNotRenameTheKeysOfALaterOne) {
  const std::string space = "=\"http://example.com/own/\"";
  const std::string one = MakeWithPacket("1.jpg", PacketOf("xmlns:one" + space, "<one:Word>a</one:Word>"));
  const std::string two = MakeWithPacket("2.jpg", PacketOf("xmlns:two" + space, "<two:Word>b</two:Word>"));
  CompareAll(one);
  CompareAll(two);
  EXPECT_THAT(AnswerMetadataQuestion(KeyListing(two))->output, testing::HasSubstr("Xmp.two.Word"));
  CompareAll(one);
}

TEST(Exiv2Scope, NumbersHaveAPointInsideAndTheCallersLocaleReturns) {
  const CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma";
  const auto number = [] {
    char text[8];
    snprintf(text, sizeof text, "%.1f", 2.5);
    return std::string(text);
  };
  {
    const Exiv2Scope scope;
    EXPECT_EQ(number(), "2.5");
  }
  EXPECT_EQ(number(), "2,5");
}

// Numbers as a C++ program in Germany writes them.
class GermanNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(MetadataTool, AStreamLocaleOfTheCallerChangesNothing) {
  MakeJpeg(dir_ / "a.jpg", 8, 8,
           {{"Exif.Photo.PixelXDimension", "1234567"}, {"Exif.Photo.FNumber", "28/10"}});
  const std::string expected = AnswerMetadataQuestion(Listing(dir_ / "a.jpg"))->output;
  const std::locale german(std::locale::classic(), new GermanNumbers);
  const std::locale before = std::locale::global(german);
  const std::string answer = AnswerMetadataQuestion(Listing(dir_ / "a.jpg"))->output;
  EXPECT_TRUE(std::locale() == german) << "the caller's locale is gone";
  std::locale::global(before);
  EXPECT_EQ(answer, expected);
  EXPECT_THAT(answer, testing::HasSubstr("  1234567\n"));
}

TEST_F(MetadataTool, NothingIsPrintedByThisProcess) {
  MakeJpeg(dir_ / "a.jpg", 8, 8, kRichTags);
  std::string damaged = ReadFile(dir_ / "a.jpg");
  damaged.replace(damaged.find("Exif") + 14, 4, "\xFF\xFF\xFF\x7F");  // the count of the first directory
  WriteFile(dir_ / "a.jpg", damaged);
  const auto words =
      RunProgram({.program = "/bin/sh",
                  .arguments = {"sh", "-c", "exiv2 -pa \"$1\" 2>&1 >/dev/null", "sh", dir_ / "a.jpg"},
                  .capture = true});
  ASSERT_TRUE(words);
  ASSERT_NE(words->output, "") << "the program has nothing to complain of: the file proves nothing";
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  (void)AnswerMetadataQuestion(Listing(dir_ / "a.jpg"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(MetadataTool, VideoContainersAreUnsupportedWhateverTheirName) {
  WriteFile(dir_ / "holiday.jpg", std::string("RIFF\xC8\0\0\0AVI LIST", 16) + std::string(200, '\0'));
  ASSERT_TRUE(IsRefusedContainer(dir_ / "holiday.jpg"));
  for (const Arguments& question : QuestionsAbout(dir_ / "holiday.jpg")) {
    const auto answer = AnswerMetadataQuestion(question);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 1);
    EXPECT_EQ(answer->output, "");
  }
}

TEST_F(MetadataTool, SharedPhotosAnswerAsTheProgram) {
  if (SharedPhotos().empty()) GTEST_SKIP() << "no shared photos";
  // The program itself dies on these, with a broken heap and an invalid address. Both are RIFF containers.
  const std::set<std::string> kToolCrashes = {"sample-with-large-length.avi",
                                              "crash-aa3afc5d3a4d7e82a49f69abce1967d62f7f937d.fuzzed"};
  std::set<std::string> crashed;
  constexpr int kStep = Scaled(1, 4);
  int compared = 0;
  for (const auto& entry : fs::recursive_directory_iterator(SharedPhotos() / "media")) {
    if (!entry.is_regular_file()) continue;
    const std::string path = entry.path();
    if (!IsRefusedContainer(path)) {
      if (compared++ % kStep == 0) CompareAll(path);
      continue;
    }
    if (!AskRealTool(Listing(path))) crashed.insert(entry.path().filename());
    const auto answer = AnswerMetadataQuestion(Listing(path));
    ASSERT_TRUE(answer) << path;
    EXPECT_EQ(answer->status, 1) << path;
    EXPECT_EQ(answer->output, "") << path;
  }
  EXPECT_EQ(crashed, kToolCrashes);
}

}  // namespace
