#include "unit/position_test.h"

#include <unistd.h>

#include "base/one_event.h"
#include "photo_util/side_reader.h"
#include "support/comma_locale.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(PositionTest, MissingPathOrFileFails) {
  EXPECT_FALSE(PhotoGPSInfoGet(nullptr, PositionMode::kPhoto));
  EXPECT_FALSE(PhotoGPSInfoGet("/absent.jpg", PositionMode::kPhoto));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Bad parameter.",
                                      "photo_database.cpp:# File not exists: /absent.jpg"));
}

// --- Side files.

using SideFilePositionTest = PositionTest;

TEST_F(SideFilePositionTest, IsConsumed) {
  WriteFile(SideFile("_"), "{\"lat\":\"1\",\"lng\":\"2\"}");
  EXPECT_EQ(Texts(), "{\"lat\":\"1\",\"lng\":\"2\"}||");
  EXPECT_FALSE(fs::exists(SideFile("_")));
  EXPECT_EQ(fake().Count("ProcessRunner"), 0);
}

TEST_F(SideFilePositionTest, OneThatComesWithinTheEventIsTaken) {
  const OneEvent event;
  EXPECT_FALSE(FindSideItem(path(), "GPS"));
  WriteFile(SideFile("_"), "came");
  EXPECT_FALSE(FindSideItem(path(), "GPS")) << "the event remembers that there is none";
  EXPECT_EQ(Texts(), "came||");
}

TEST_F(SideFilePositionTest, UnderscoreFormComesFirst) {
  WriteFile(SideFile("_"), "first");
  WriteFile(SideFile(":"), "second");
  EXPECT_EQ(Texts(), "first||");
  EXPECT_TRUE(fs::exists(SideFile(":")));
  EXPECT_EQ(Texts(), "second||");
  EXPECT_FALSE(fs::exists(SideFile(":")));
}

TEST_F(SideFilePositionTest, FirstLineIsTakenWithItsNewline) {
  WriteFile(SideFile("_"), "first\nsecond\n");
  EXPECT_EQ(Texts(), "first\n||");
}

TEST_F(SideFilePositionTest, LineIsCut) {
  WriteFile(SideFile("_"), std::string(64, 'x'));
  EXPECT_EQ(Texts(), std::string(63, 'x') + "||");
  EXPECT_FALSE(fs::exists(SideFile("_")));
}

TEST_F(SideFilePositionTest, EmptyFileIsConsumedToo) {
  WriteFile(SideFile("_"), "");
  SetTags("North", "1deg 0' 0\"", "East", "2deg 0' 0\"");
  EXPECT_EQ(Texts(), "||");
  EXPECT_FALSE(fs::exists(SideFile("_")));
}

TEST_F(SideFilePositionTest, LineIsStorableText) {
  WriteFile(SideFile("_"), std::string("caf\xE9\0x", 6));
  EXPECT_EQ(Texts(), "caf\xC3\xA9||");
}

TEST_F(SideFilePositionTest, FileThatCannotBeOpenedStays) {
  WriteFile(SideFile("_"), "x");
  fake().failing = {"KAVOBeneathOpen"};
  EXPECT_EQ(Texts(), "-1");
  EXPECT_TRUE(fs::exists(SideFile("_")));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# failed to open file " + SideFile("_") + "."));
}

TEST_F(SideFilePositionTest, FileThatCannotBeRemovedStillCounts) {
  WriteFile(SideFile("_"), "x");
  fake().failing = {"KAVOBeneathRemove"};
  EXPECT_EQ(Texts(), "x||");
  EXPECT_EQ(Texts(), "x||");
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(SideFilePositionTest, FileThatCannotBeReadStays) {
  fs::create_directories(fs::path(SideFile("_")).parent_path());
  fs::create_symlink("/proc/self/mem", SideFile("_"));  // opens, but its first page cannot be read
  EXPECT_EQ(Texts(), "-1");
  EXPECT_EQ(fake().Count("KAVOBeneathRemove"), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# fgets() failed."));
}

TEST_F(SideFilePositionTest, ActsBelowThePhotoRootOnly) {
  WriteFile(SideFile("_"), "x");
  EXPECT_EQ(Texts(), "x||");
  EXPECT_THAT(fake().calls, testing::Contains("KAVOBeneathOpen(" + shared() + ", " + SideFile("_") + ")"));
  EXPECT_THAT(fake().calls, testing::Contains("KAVOBeneathRemove(" + shared() + ", " + SideFile("_") + ")"));
}

TEST_F(SideFilePositionTest, VideoTakesNoOtherSource) {
  SetTags("North", "1deg 0' 0\"", "East", "2deg 0' 0\"");
  EXPECT_EQ(Texts(PositionMode::kVideo), "-1");
  EXPECT_EQ(fake().Count("ProcessRunner"), 0);
  WriteFile(SideFile("_"), "x");
  EXPECT_EQ(Texts(PositionMode::kVideo), "x||");
}

// --- Exif tags.

using TagPositionTest = PositionTest;

TEST_F(TagPositionTest, IsComputedInSinglePrecision) {
  SetTags("North\n", "48deg 4' 52\"\n", "East\n", "1deg 40' 4\"\n");
  EXPECT_EQ(Texts(), "{\"lat\":\"48.081112\",\"lng\":\"1.667778\"}|48.081112|1.667778");
}

// With steps of double precision these would be 40.589169 and 47.598331.
TEST_F(TagPositionTest, EveryStepIsOfSinglePrecision) {
  SetTags("North", "40deg 35' 21\"", "East", "47deg 35' 54\"");
  EXPECT_EQ(Get()->latitude, "40.589165");
  EXPECT_EQ(Get()->longitude, "47.598335");
}

TEST_F(TagPositionTest, SouthAndWestAreNegative) {
  SetTags("South", "35deg 30' 0\"", "West", "1deg 0' 0\"");
  EXPECT_EQ(Texts(), "{\"lat\":\"-35.500000\",\"lng\":\"-1.000000\"}|-35.500000|-1.000000");
}

TEST_F(TagPositionTest, UnexpectedReferencesAreNegative) {
  SetTags("(78)", "35deg 30' 0\"", "e", "1deg 0' 0\"");
  EXPECT_EQ(Get()->latitude, "-35.500000");
  EXPECT_EQ(Get()->longitude, "-1.000000");
}

TEST_F(TagPositionTest, MissingTagIsNoPosition) {
  for (int missing = 0; missing < 4; ++missing) {
    std::vector<std::string> tags = {"North", "1deg 0' 0\"", "East", "2deg 0' 0\""};
    tags[static_cast<std::size_t>(missing)].clear();
    SetTags(tags[0], tags[1], tags[2], tags[3]);
    fake().calls.clear();
    EXPECT_EQ(Texts(), "||");
    EXPECT_EQ(fake().Count("ProcessRunner"), missing + 1);
  }
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TagPositionTest, PartsThatAreMissingAreZero) {
  SetTags("North", "35deg", "East", "nonsense");
  EXPECT_EQ(Texts(), "{\"lat\":\"35.000000\",\"lng\":\"0.000000\"}|35.000000|0.000000");
}

TEST_F(TagPositionTest, NumbersThatNoStatementCanHoldAreNoPosition) {
  for (const char* text : {"inf", "nan", "1e60deg 0' 0\"", "infdeg 0' 0\""}) {
    SetTags("North", text, "East", "1deg 0' 0\"");
    EXPECT_EQ(Texts(), "||") << text;
    SetTags("North", "1deg 0' 0\"", "East", text);
    EXPECT_EQ(Texts(), "||") << text;
  }
}

TEST_F(TagPositionTest, FurthestPointsAreOnEarth) {
  SetTags("North", "90deg 0' 0\"", "East", "180deg 0' 0\"");
  EXPECT_EQ(Texts(), "{\"lat\":\"90.000000\",\"lng\":\"180.000000\"}|90.000000|180.000000");
  SetTags("South", "89deg 59' 60\"", "West", "179deg 60' 0\"");
  EXPECT_EQ(Texts(), "{\"lat\":\"-90.000000\",\"lng\":\"-180.000000\"}|-90.000000|-180.000000");
}

TEST_F(TagPositionTest, BeyondThePolesOrTheDateLineIsNoPosition) {
  for (const char* text : {"90.0001deg 0' 0\"", "90deg 0' 1\"", "91deg", "89deg 60' 0.1\"", "3e38deg"}) {
    for (const char* letter : {"North", "South"}) {
      SetTags(letter, text, "East", "1deg 0' 0\"");
      EXPECT_EQ(Texts(), "||") << letter << text;
    }
  }
  for (const char* text : {"180.0001deg 0' 0\"", "180deg 0' 1\"", "181deg", "3e38deg"}) {
    for (const char* letter : {"East", "West"}) {
      SetTags("North", "1deg 0' 0\"", letter, text);
      EXPECT_EQ(Texts(), "||") << letter << text;
    }
  }
}

TEST_F(TagPositionTest, LongitudesGoFurtherThanLatitudes) {
  SetTags("North", "89.5deg", "East", "90.5deg");
  EXPECT_EQ(Texts(), "{\"lat\":\"89.500000\",\"lng\":\"90.500000\"}|89.500000|90.500000");
}

TEST_F(TagPositionTest, SixtySecondsAndMoreCount) {
  SetTags("North", "35deg 59' 75\"", "East", "1deg 75' 0\"");
  EXPECT_EQ(Texts(), "{\"lat\":\"36.004166\",\"lng\":\"2.250000\"}|36.004166|2.250000");
}

TEST_F(TagPositionTest, NegativePartsAreAskedOfTheScript) {
  SetTags("North", "-35deg 30' 0\"", "East", "1deg -2' 0\"");
  SetScript("GPSLatitude", "35deg 45' 0\"\n");
  SetScript("GPSLongitude", "1deg 15' 0\"\n");
  EXPECT_EQ(Get()->latitude, "35.750000");
  EXPECT_EQ(Get()->longitude, "1.250000");
}

// As a 32-bit ARM processor converts a negative part that is stored without its sign.
TEST_F(TagPositionTest, HighestIntIsANegativePart) {
  SetTags("South", "2147483647deg 30' 0\"", "East", "1deg 0' 0\"");
  SetScript("GPSLatitude", "35deg 45' 0\"\n");
  EXPECT_EQ(Get()->latitude, "-35.750000");
}

TEST_F(TagPositionTest, LowestAndHighestIntAreNowhereWithoutTheScript) {
  for (const char* letter : {"North", "South"}) {
    SetTags(letter, "-2147483648deg 0' 0\"", "East", "1deg 0' 0\"");
    EXPECT_EQ(Texts(), "||");
    SetTags(letter, "2147483647deg 0' 0\"", "East", "1deg 0' 0\"");
    EXPECT_EQ(Texts(), "||");
  }
}

TEST_F(TagPositionTest, NegativePartsStayWithoutTheScript) {
  SetTags("South", "35deg -30' 0\"", "East", "1deg 0' 0\"");
  EXPECT_EQ(Get()->latitude, "-34.500000");
  EXPECT_EQ(fake().Count("ProcessRunner(/usr/bin/php"), 1);
}

// Without a stored answer there is nothing better than the parts that the text lacks: 0.
TEST_F(TagPositionTest, ScriptsAnswerStandsAsItIs) {
  const std::vector<std::pair<std::string, std::string>> answers = {{"35deg", "35.000000"},
                                                                    {"35deg 15'", "35.250000"},
                                                                    {"-35deg 30' 0\"", "-34.500000"},
                                                                    {"soon", "0.000000"}};
  for (const auto& [answer, latitude] : answers) {
    SetTags("North", "-1deg 59' 59\"", "East", "1deg 0' 0\"");
    SetScript("GPSLatitude", answer);
    EXPECT_EQ(Get()->latitude, latitude) << answer;
  }
}

TEST_F(TagPositionTest, EachCoordinateIsAskedByItself) {
  SetTags("North", "1deg 0' 0\"", "East", "1deg 0' -2\"");
  Get();
  EXPECT_EQ(fake().Count("ProcessRunner(/usr/bin/php"), 1);
  EXPECT_THAT(Messages()[0], testing::HasSubstr("gps.php -t GPSLongitude -f " + path()));
}

// --- The language of the calling process.

TEST_F(TagPositionTest, DecimalPointIsAPointEverywhere) {
  const CommaLocale locale;
  if (!locale.active()) GTEST_SKIP() << "no locale with a decimal comma";
  SetTags("North", "48deg 4' 52.5\"", "East", "1deg 40' 4\"");
  EXPECT_EQ(Texts(), "{\"lat\":\"48.081249\",\"lng\":\"1.667778\"}|48.081249|1.667778");
}

}  // namespace
