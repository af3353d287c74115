// Positions of which the metadata tool prints less than is stored, or nonsense.
#include "unit/position_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(StoredPositionTest, AScriptThatPrintsNoNumberGivesWayToWhatIsStored) {
  for (const char* answer : {"PHP Warning:  Module 'exif' already loaded", "soon", "deg", " \t"}) {
    SetTags("South", "-34deg 30' 0\"", "East", "1deg 0' 0\"");
    SetStored("-35/1 30/1 0/1", "1/1 0/1 0/1");
    SetScript("GPSLatitude", answer);
    EXPECT_EQ(Get()->latitude, "-35.500000") << answer;
    SetTags("North", "35deg -29' 0\"", "East", "1deg 0' 0\"");
    SetStored("35/1 -30/1 0/1", "1/1 0/1 0/1");
    SetScript("GPSLatitude", answer);
    EXPECT_EQ(Texts(), "||") << answer;
  }
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

}  // namespace
