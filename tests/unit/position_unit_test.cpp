#include "photo_database/position.h"

#include <unistd.h>

#include <algorithm>

#include "support/comma_locale.h"
#include "support/fake_library.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class PositionTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    WriteFile(path(), "");
  }

  std::string path() const { return shared() + "/trip/b.jpg"; }
  std::string SideFile(const std::string& separator) const {
    return shared() + "/trip/@eaDir/b.jpg/KAVOPHOTO" + separator + "GPS";
  }
  // The answers of the tool to the four questions; an empty one is an absent tag.
  void SetTags(const std::string& latitude_reference, const std::string& latitude,
               const std::string& longitude_reference, const std::string& longitude) {
    fake().programs = {{"Exif.GPSInfo.GPSLatitudeRef ", {0, latitude_reference}},
                       {"Exif.GPSInfo.GPSLatitude ", {0, latitude}},
                       {"Exif.GPSInfo.GPSLongitudeRef ", {0, longitude_reference}},
                       {"Exif.GPSInfo.GPSLongitude ", {0, longitude}}};
  }
  void SetScript(const std::string& tag, const std::string& output) {
    fake().programs.push_back({"gps.php -t " + tag, {0, output}});
  }
  // What the tool prints for the two values uninterpreted.
  void SetStored(const std::string& latitude, const std::string& longitude) {
    fake().programs.insert(fake().programs.begin(), {{"Exif.GPSInfo.GPSLatitude -Pv", {0, latitude}},
                                                     {"Exif.GPSInfo.GPSLongitude -Pv", {0, longitude}}});
  }
  // What was asked of the tool, "key form", in order.
  static std::vector<std::string> Asked() {
    std::vector<std::string> questions;
    for (const std::string& call : fake().calls) {
      const std::string tool = "ProcessRunner(/usr/kavo/bin/exiv2 -K ";
      if (call.starts_with(tool))
        questions.push_back(call.substr(tool.size(), call.find(" /") - tool.size()));
    }
    return questions;
  }
  // How many calls came before the first with TEXT in it.
  static std::ptrdiff_t FirstCallWith(const std::string& text) {
    const auto& calls = fake().calls;
    const auto has = [&](const std::string& call) { return call.find(text) != call.npos; };
    return std::find_if(calls.begin(), calls.end(), has) - calls.begin();
  }
  std::optional<Position> Get(PositionMode mode = PositionMode::kPhoto) const {
    return PhotoGPSInfoGet(path().c_str(), mode);
  }
  // "gps|lat|lng", or "-1".
  std::string Texts(PositionMode mode = PositionMode::kPhoto) const {
    const auto position = Get(mode);
    return position ? position->gps + "|" + position->latitude + "|" + position->longitude : "-1";
  }
};

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

// --- A tool that prints whole degrees, minutes and seconds.

class RoundedPositionTest : public PositionTest {
 protected:
  // The latitude for what the tool prints of it and what is stored.
  std::string Latitude(const std::string& printed, const std::string& stored) {
    SetTags("North", printed, "East", "1deg 0' 0\"");
    SetStored(stored, "1/1 0/1 0/1\n");
    return Get()->latitude;
  }
};

TEST_F(RoundedPositionTest, StoredPartsAreTakenInFull) {
  SetTags("North\n", "46deg 54' 0\"\n", "West\n", "103deg 0' 0\"\n");
  SetStored("46/1 53903520/1000000 0/1\n", "1027686310/10000000 0/1 0/1\n");
  EXPECT_EQ(Texts(), "{\"lat\":\"46.898392\",\"lng\":\"-102.768631\"}|46.898392|-102.768631");
}

TEST_F(RoundedPositionTest, StoredPartsAreAskedForLast) {
  SetTags("North", "46deg 54' 0\"", "East", "102deg 46' 0\"");
  SetStored("46/1 54/1 0/1", "102/1 46/1 0/1");
  Get();
  EXPECT_THAT(Asked(), ElementsAre("Exif.GPSInfo.GPSLatitudeRef -Pt", "Exif.GPSInfo.GPSLatitude -Pt",
                                   "Exif.GPSInfo.GPSLongitudeRef -Pt", "Exif.GPSInfo.GPSLongitude -Pt",
                                   "Exif.GPSInfo.GPSLatitude -Pv", "Exif.GPSInfo.GPSLongitude -Pv"));
}

TEST_F(RoundedPositionTest, StoredPartsThatAreMissingAreZero) {
  EXPECT_EQ(Latitude("52deg", "515757623/10000000\n"), "51.575764");
  EXPECT_EQ(Latitude("46deg 54' 0\"", "46/1 53903520/1000000\n"), "46.898392");
}

TEST_F(RoundedPositionTest, StoredPartsMayBeHalfAUnitOff) {
  EXPECT_EQ(Latitude("46deg 30' 0\"", "46/1 61/2 0/1"), "46.508335");
  EXPECT_EQ(Latitude("46deg 31' 0\"", "46/1 61/2 0/1"), "46.508335");
  EXPECT_EQ(Latitude("46deg 0' 59\"", "46/1 0/1 119/2"), "46.016529");
}

TEST_F(RoundedPositionTest, StoredPartsThatDisagreeAreIgnored) {
  EXPECT_EQ(Latitude("46deg 54' 0\"", "45/1 54/1 0/1"), "46.900002");
  EXPECT_EQ(Latitude("46deg 54' 0\"", "46/1 5349/100 0/1"), "46.900002");
  EXPECT_EQ(Latitude("46deg 54' 0\"", "46/1 54/1 51/100"), "46.900002");
  EXPECT_EQ(Latitude("46deg 54' 9\"", "46/1 54/1"), "46.902500");
}

TEST_F(RoundedPositionTest, StoredPartsWithoutMeaningAreIgnored) {
  for (const char* stored : {"46/1 54/0 0/1", "0/0 0/0 0/0", "46/1 539/10 0/1 0/1", "46/1 53.9/1 0/1",
                             "46 54 0", "46/1 539/10/1 0/1", "46/1 539/ 0/1", "46/1 /1 0/1",
                             "46/1 539/10 -1/10", "+46/1 539/10 0/1", "46/1 99999999999/1 0/1",
                             "46/1 539/10 0/1x", "46/1, 539/10, 0/1", "nonsense", "\n46/1 539/10 0/1", " "}) {
    EXPECT_EQ(Latitude("46deg 54' 0\"", stored), "46.900002") << stored;
  }
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RoundedPositionTest, InfinityGivesWayToWhatIsStored) {
  EXPECT_EQ(Latitude("1e39deg 54' 0\"", "46/1 54/1 0/1"), "46.900002");
}

TEST_F(RoundedPositionTest, FirstOfSeveralStoredValuesCounts) {
  EXPECT_EQ(Latitude("46deg 54' 0\"46deg 30' 0\"", "46/1 539/10 0/1\n46/1 30/1 0/1\n"), "46.898335");
}

TEST_F(RoundedPositionTest, PrintedPartsStandWithoutAnAnswer) {
  EXPECT_EQ(Latitude("46deg 54' 0\"", ""), "46.900002");
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RoundedPositionTest, PrintedPartsStandWhenTheToolCannotBeRunAgain) {
  SetTags("North", "46deg 54' 0\"", "East", "1deg 0' 0\"");
  fake().programs.insert(fake().programs.begin(), {"GPSLatitude -Pv", {-1, "46/1 539/10 0/1"}});
  EXPECT_EQ(Get()->latitude, "46.900002");
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to pipe /usr/kavo/bin/exiv2 -K "
                                      "Exif.GPSInfo.GPSLatitude -Pv " +
                                      path()));
}

TEST_F(RoundedPositionTest, PartsPrintedInFullAreNotAskedForAgain) {
  EXPECT_EQ(Latitude("46deg 53.90352' 0\"", "46/1 54/1 0/1"), "46.898392");
  EXPECT_THAT(Asked(), testing::Not(testing::Contains("Exif.GPSInfo.GPSLatitude -Pv")));
}

TEST_F(RoundedPositionTest, ReferencesGiveTheSignAsEver) {
  SetTags("South", "46deg 54' 0\"", "(78)", "102deg 46' 0\"");
  SetStored("46/1 53903520/1000000 0/1", "102/1 461/10 0/1");
  EXPECT_EQ(Get()->latitude, "-46.898392");
  EXPECT_EQ(Get()->longitude, "-102.768333");
}

TEST_F(RoundedPositionTest, TheScriptComesBeforeTheStoredParts) {
  SetTags("North", "35deg -30' 0\"", "East", "1deg -2' 0\"");
  SetStored("35/1 301/10 0/1", "-1/1 2/1 0/1");
  SetScript("GPSLatitude", "35deg 30' 0\"");  // and none for the longitude
  EXPECT_EQ(Get()->latitude, "35.500000");
  EXPECT_EQ(Get()->longitude, "-1.033333");
  EXPECT_THAT(Asked(), testing::Not(testing::Contains("Exif.GPSInfo.GPSLatitude -Pv")));
  EXPECT_EQ(fake().Count("ProcessRunner(/usr/bin/php"), 2 * 2);
}

// --- What the tool prints is nonsense, and what is stored is none.

class StoredPositionTest : public RoundedPositionTest {
 protected:
  // The latitude of what is stored without the script, for a letter of the reference; "" for no position.
  std::string Stored(const std::string& letter, const std::string& printed, const std::string& stored) {
    SetTags(letter, printed, "East", "1deg 0' 0\"");
    SetStored(stored, "1/1 0/1 0/1");
    const auto position = Get();
    EXPECT_EQ(position->latitude.empty(), position->gps.empty());
    EXPECT_EQ(position->latitude.empty(), position->longitude.empty());
    return position->latitude;
  }
};

TEST_F(StoredPositionTest, SignedPartsAreTakenWithoutTheScript) {
  EXPECT_EQ(Stored("North", "-34deg 30' 0\"", "-35/1 30/1 0/1"), "-35.500000");
  EXPECT_EQ(Stored("North", "-34deg -29' 0\"", "-35/1 -30/1 0/1"), "-35.500000");
  EXPECT_EQ(Stored("North", "0deg -29' 0\"", "0/1 -30/1 36/1"), "-0.510000");
  EXPECT_EQ(Stored("North", "-34deg 0' 0\"", "355/-10 0/1 0/1"), "-35.500000");
}

TEST_F(StoredPositionTest, ASignIsSouthWhateverTheLetter) {
  for (const char* letter : {"North", "South", "(78)"}) {
    EXPECT_EQ(Stored(letter, "-34deg 30' 0\"", "-35/1 30/1 0/1"), "-35.500000") << letter;
  }
}

TEST_F(StoredPositionTest, SignsThatTheToolRoundsAwayCount) {
  EXPECT_EQ(Stored("North", "0deg 0' 0\"", "-6/10 0/1 0/1"), "-0.600000");
  EXPECT_EQ(Stored("North", "36deg 0' 0\"", "-355/-10 0/1 0/1"), "35.500000");
}

TEST_F(StoredPositionTest, SignsThatWereStoredAsUnsignedNumbersCount) {
  for (const char* printed : {"-2147483648deg 30' 0\"", "2147483647deg 30' 0\""}) {
    EXPECT_EQ(Stored("North", printed, "4294967261/1 30/1 0/1"), "-35.500000") << printed;
  }
  EXPECT_EQ(Stored("North", "429496694deg 0' 0\"", "4294966941/10 0/1 0/1"), "-35.500000");
  EXPECT_EQ(Stored("North", "-2147483648deg -2147483648' 0\"", "4294967261/1 4294967266/1 0/1"),
            "-35.500000");
  EXPECT_EQ(Stored("North", "394deg 0' 0\"", "3939967296/10000000 0/1 0/1"), "-35.500000");
}

TEST_F(StoredPositionTest, ALongitudeReachesFurtherThanALatitude) {
  SetTags("North", "1deg 0' 0\"", "East", "-121deg 25' 0\"");
  SetStored("1/1 0/1 0/1", "-122/1 25/1 0/1");
  EXPECT_EQ(Get()->longitude, "-122.416664");
}

TEST_F(StoredPositionTest, SignsThatContradictEachOtherAreNoPosition) {
  EXPECT_EQ(Stored("North", "35deg -29' 0\"", "35/1 -30/1 0/1"), "");
  EXPECT_EQ(Stored("North", "35deg -2147483648' 0\"", "35/1 4294967266/1 0/1"), "");
  EXPECT_EQ(Stored("North", "0deg 30' -29\"", "0/1 30/1 -30/1"), "");
}

TEST_F(StoredPositionTest, LowestAndHighestNumbersAreNoPosition) {
  EXPECT_EQ(Stored("North", "-2147483648deg 0' 0\"", "2147483648/1 0/1 0/1"), "");
  EXPECT_EQ(Stored("North", "-2147483648deg 0' 0\"", "-2147483648/1 0/1 0/1"), "");
  EXPECT_EQ(Stored("North", "2147483647deg 0' 0\"", "2147483647/1 0/1 0/1"), "");
  EXPECT_EQ(Stored("North", "-2147483648deg 0' 0\"", "4294967206/1 0/1 0/1"), "-90.000000");
  EXPECT_EQ(Stored("North", "-2147483648deg 0' 0\"", "4294967205/1 0/1 0/1"), "");
}

TEST_F(StoredPositionTest, NumbersWithoutMeaningThatArePrintedAsZeroAreNoPosition) {
  for (const char* stored :
       {"0/0 0/0 0/0", "0/0", "1/0 0/1 0/1", "0/1 1/0 0/1", "0/1 0/1 4294967295/0", "0/0 30/1 0/1"}) {
    EXPECT_EQ(Stored("North", "0deg 0' 0\"", stored), "") << stored;
  }
  EXPECT_EQ(Stored("North", "46deg 0' 0\"", "46/1 54/0 0/1"), "");
}

TEST_F(StoredPositionTest, MinutesAndSecondsMayBeUntold) {
  EXPECT_EQ(Stored("North", "46deg 54' 0\"", "46/1 539/10 0/0"), "46.898335");
  EXPECT_EQ(Stored("North", "46deg 0' 0\"", "464/10 0/0 0/0"), "46.400002");
}

TEST_F(StoredPositionTest, ZeroDegreesAreAPlace) {
  EXPECT_EQ(Stored("North", "0deg 0' 0\"", "0/1 0/1 0/1"), "0.000000");
}

TEST_F(StoredPositionTest, LimitsHoldForWhatIsRoundedAway) {
  EXPECT_EQ(Stored("North", "90deg 0' 0\"", "90/1 0/1 0/1"), "90.000000");
  EXPECT_EQ(Stored("North", "90deg 0' 0\"", "900001/10000 0/1 0/1"), "");
  EXPECT_EQ(Stored("North", "90deg 30' 0\"", "895/10 30/1 0/1"), "90.000000");
}

TEST_F(StoredPositionTest, PartsThatAreNotThreeAreReadAsStored) {
  EXPECT_EQ(Stored("North", "35/1 30/1", "35/1 30/1"), "35.500000");
  EXPECT_EQ(Stored("South", "355/10", "355/10"), "-35.500000");
  EXPECT_EQ(Stored("North", "35/1 30/1 0/1 5/1", "35/1 30/1 0/1 5/1"), "");
  EXPECT_EQ(Stored("North", "91/1 0/1", "91/1 0/1"), "");
}

TEST_F(StoredPositionTest, AScriptThatPointsNowhereIsNotBelieved) {
  SetTags("North", "-2147483648deg 30' 0\"", "East", "1deg 0' 0\"");
  SetStored("4294967261/1 30/1 0/1", "1/1 0/1 0/1");
  SetScript("GPSLatitude", "4294967261deg 30' 0\"");
  EXPECT_EQ(Get()->latitude, "-35.500000");
}

TEST_F(StoredPositionTest, TheScriptsAreAskedBeforeAnyStoredPart) {
  SetTags("North", "-34deg 30' 0\"", "East", "-1deg 0' 0\"");
  SetStored("-35/1 30/1 0/1", "-2/1 0/1 0/1");
  EXPECT_EQ(Texts(), "{\"lat\":\"-35.500000\",\"lng\":\"-2.000000\"}|-35.500000|-2.000000");
  EXPECT_THAT(Asked(), ElementsAre("Exif.GPSInfo.GPSLatitudeRef -Pt", "Exif.GPSInfo.GPSLatitude -Pt",
                                   "Exif.GPSInfo.GPSLongitudeRef -Pt", "Exif.GPSInfo.GPSLongitude -Pt",
                                   "Exif.GPSInfo.GPSLatitude -Pv", "Exif.GPSInfo.GPSLongitude -Pv"));
  EXPECT_LT(FirstCallWith("-t GPSLongitude"), FirstCallWith("GPSLatitude -Pv"));
}

// --- The language of the calling process.

TEST_F(TagPositionTest, DecimalPointIsAPointEverywhere) {
  const CommaLocale locale;
  if (!locale.active()) GTEST_SKIP() << "no locale with a decimal comma";
  SetTags("North", "48deg 4' 52.5\"", "East", "1deg 40' 4\"");
  EXPECT_EQ(Texts(), "{\"lat\":\"48.081249\",\"lng\":\"1.667778\"}|48.081249|1.667778");
}

}  // namespace
