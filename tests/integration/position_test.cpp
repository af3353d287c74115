// Where photos and videos were taken, read from real files.
#include "photo_database/position.h"

#include <exiv2/exiv2.hpp>

#include "platform/side_file_lending.h"
#include "support/saved_media.h"
#include "support/syslog_capture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PositionTest : public SavedMediaTest {
 protected:
  std::string Gps(const std::string& relative) { return Photo(relative, "gps"); }
  static Tags Coordinates(const std::string& latitude_reference, const std::string& latitude,
                          const std::string& longitude_reference, const std::string& longitude) {
    return {{"Exif.GPSInfo.GPSLatitudeRef", latitude_reference},
            {"Exif.GPSInfo.GPSLatitude", latitude},
            {"Exif.GPSInfo.GPSLongitudeRef", longitude_reference},
            {"Exif.GPSInfo.GPSLongitude", longitude}};
  }
};

void StoreCoordinatesSigned(const std::string& path, const char* latitude, const char* longitude) {
  const Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  const std::pair<const char*, const char*> values[] = {{"Exif.GPSInfo.GPSLatitude", latitude},
                                                        {"Exif.GPSInfo.GPSLongitude", longitude}};
  for (const auto& [key, text] : values) {
    const Exiv2::Value::AutoPtr value = Exiv2::Value::create(Exiv2::signedRational);
    ASSERT_EQ(value->read(text), 0);
    image->exifData()[key].setValue(value.get());
  }
  image->writeMetadata();
}

TEST_P(PositionTest, SideFileIsConsumed) {
  MakeJpeg(Path("b.jpg"), 8, 6, Coordinates("N", "1/1 0/1 0/1", "E", "2/1 0/1 0/1"));
  WriteFile(Path("@eaDir/b.jpg/KAVOPHOTO_GPS"), "from the side file");
  WriteFile(Path("@eaDir/b.jpg/KAVOPHOTO:GPS"), "from the other");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Gps("b.jpg"), "from the side file");
  EXPECT_EQ(Photo("b.jpg", "lat"), "NULL");
  EXPECT_FALSE(fs::exists(Path("@eaDir/b.jpg/KAVOPHOTO_GPS")));
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Gps("b.jpg"), "from the other");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Gps("b.jpg"), "{\"lat\":\"1.000000\",\"lng\":\"2.000000\"}");
}

TEST_P(PositionTest, SideFileBehindASymbolicLinkIsLeftAlone) {
  MakeJpeg(Path("b.jpg"), 8, 6);
  const fs::path secret = photos().parent_path() / "secret";
  WriteFile(secret, "secret");
  fs::create_directories(Path("@eaDir/b.jpg"));
  fs::create_symlink(secret, Path("@eaDir/b.jpg/KAVOPHOTO_GPS"));
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Gps("b.jpg"), "");
  EXPECT_TRUE(fs::exists(secret));
  fs::remove(secret);
}

TEST_P(PositionTest, SideFileInALinkedFolderIsLeftAlone) {
  MakeJpeg(Path("b.jpg"), 8, 6);
  const fs::path outside = photos().parent_path() / "outside";
  WriteFile(outside / "b.jpg/KAVOPHOTO_GPS", "outside");
  fs::create_directory_symlink(outside, Path("@eaDir"));
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Gps("b.jpg"), "");
  EXPECT_TRUE(fs::exists(outside / "b.jpg/KAVOPHOTO_GPS"));
  fs::remove_all(outside);
}

TEST_P(PositionTest, EveryQuarterOfTheWorld) {
  MakeJpeg(Path("ne.jpg"), 8, 6, Coordinates("N", "35/1 30/1 0/1", "E", "1/1 15/1 0/1"));
  MakeJpeg(Path("sw.jpg"), 8, 6, Coordinates("S", "35/1 30/1 0/1", "W", "1/1 15/1 0/1"));
  EXPECT_EQ(SavePhoto("ne.jpg"), 0);
  EXPECT_EQ(SavePhoto("sw.jpg"), 0);
  EXPECT_EQ(Gps("ne.jpg"), "{\"lat\":\"35.500000\",\"lng\":\"1.250000\"}");
  EXPECT_EQ(Gps("sw.jpg"), "{\"lat\":\"-35.500000\",\"lng\":\"-1.250000\"}");
  EXPECT_EQ(Photo("sw.jpg", "lat"), "-35.5");
}

TEST_P(PositionTest, FractionsOfEveryPartCount) {
  MakeJpeg(Path("minutes.jpg"), 8, 6,
           Coordinates("N", "46/1 53903520/1000000 0/1", "E", "102/1 46117859/1000000 0/1"));
  MakeJpeg(Path("degrees.jpg"), 8, 6,
           Coordinates("S", "515757623/10000000 0/1 0/1", "W", "4/1 2/1 1777800000/50000000"));
  EXPECT_EQ(SavePhoto("minutes.jpg"), 0);
  EXPECT_EQ(SavePhoto("degrees.jpg"), 0);
  EXPECT_EQ(Gps("minutes.jpg"), "{\"lat\":\"46.898392\",\"lng\":\"102.768631\"}");
  EXPECT_EQ(Gps("degrees.jpg"), "{\"lat\":\"-51.575764\",\"lng\":\"-4.043210\"}");
}

TEST_P(PositionTest, LatitudeAloneIsNoPosition) {
  MakeJpeg(Path("b.jpg"), 8, 6,
           {{"Exif.GPSInfo.GPSLatitudeRef", "N"}, {"Exif.GPSInfo.GPSLatitude", "35/1 30/1 0/1"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Gps("b.jpg"), "");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(PositionTest, VideoHasOnlyItsSideFile) {
  MakeJpeg(Path("v.mp4"), 8, 6, Coordinates("N", "1/1 0/1 0/1", "E", "2/1 0/1 0/1"));
  ASSERT_EQ(HGAStatusCheck(Path("v.mp4").c_str()), 0);
  EXPECT_FALSE(PhotoGPSInfoGet(Path("v.mp4").c_str(), PositionMode::kVideo));
  WriteFile(Path("@eaDir/v.mp4/KAVOPHOTO:GPS"), "here");
  const auto position = PhotoGPSInfoGet(Path("v.mp4").c_str(), PositionMode::kVideo);
  ASSERT_TRUE(position);
  EXPECT_EQ(position->gps, "here");
  EXPECT_EQ(position->latitude, "");
}

TEST_P(PositionTest, VideoTakesALentSideFileOnce) {
  MakeJpeg(Path("v.mp4"), 8, 6);
  ASSERT_EQ(HGAStatusCheck(Path("v.mp4").c_str()), 0);
  ASSERT_EQ(KAVOSideFileLend(Path("v.mp4").c_str(), "KAVOPHOTO:GPS", "lent"), 0);
  EXPECT_EQ(Save(PHOTO_TABLE_VIDEO, Record("v.mp4")), 0);
  EXPECT_EQ(Column("video", "v.mp4", "gps"), "lent");
  EXPECT_EQ(Column("video", "v.mp4", "lat"), "NULL");
  EXPECT_FALSE(PhotoGPSInfoGet(Path("v.mp4").c_str(), PositionMode::kVideo)) << "it was consumed";
  EXPECT_FALSE(fs::exists(Path("@eaDir")));
  EXPECT_EQ(Save(PHOTO_TABLE_VIDEO, Record("v.mp4")), 0);
  EXPECT_EQ(Column("video", "v.mp4", "gps"), "lent") << "the row's own is kept";
}

TEST_P(PositionTest, ASideFileOnTheDiskComesBeforeALentOne) {
  MakeJpeg(Path("v.mp4"), 8, 6);
  ASSERT_EQ(HGAStatusCheck(Path("v.mp4").c_str()), 0);
  for (const char* name : {"KAVOPHOTO_GPS", "KAVOPHOTO:GPS"}) {
    WriteFile(Path("@eaDir/v.mp4") + "/" + name, name);
    ASSERT_EQ(KAVOSideFileLend(Path("v.mp4").c_str(), "KAVOPHOTO:GPS", "lent"), 0);
    const auto position = PhotoGPSInfoGet(Path("v.mp4").c_str(), PositionMode::kVideo);
    ASSERT_TRUE(position);
    EXPECT_EQ(position->gps, name);
    KAVOSideFileLendEnd();
  }
}

TEST_P(PositionTest, NegativePartsAreAskedOfTheScript) {
  const fs::path php = tree().root() / "usr/bin/php";
  WriteFile(php, "#!/bin/sh\necho \"$@\" >> \"" + (tree().root() / "asked").string() +
                     "\"\necho \"35deg 45' 0\\\"\"\n");
  fs::permissions(php, fs::perms::owner_all);
  MakeJpeg(Path("b.jpg"), 8, 6, Coordinates("S", "-35/1 30/1 0/1", "E", "1/1 15/1 0/1"));
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const std::string asked = ReadFile(tree().root() / "asked");
  EXPECT_THAT(asked, HasSubstr("-t GPSLatitude -f " + Path("b.jpg")));
  EXPECT_EQ(Gps("b.jpg"), "{\"lat\":\"-35.750000\",\"lng\":\"1.250000\"}");
}

// A part with a sign has the type of signed numbers, or is stored in the unsigned type that the tag has.
TEST_P(PositionTest, NegativePartsAreReadAsStoredWithoutTheScript) {
  MakeJpeg(Path("unsigned.jpg"), 8, 6, Coordinates("N", "-35/1 30/1 0/1", "E", "0/1 -30/1 0/1"));
  MakeJpeg(Path("signed.jpg"), 8, 6, Coordinates("N", "-35/1 30/1 0/1", "E", "0/1 -30/1 0/1"));
  StoreCoordinatesSigned(Path("signed.jpg"), "-35/1 30/1 0/1", "0/1 -30/1 0/1");
  for (const char* name : {"unsigned.jpg", "signed.jpg"}) {
    EXPECT_EQ(SavePhoto(name), 0);
    EXPECT_EQ(Gps(name), "{\"lat\":\"-35.500000\",\"lng\":\"-0.500000\"}") << name;
    EXPECT_EQ(Photo(name, "lat"), "-35.5") << name;
  }
}

struct LimitCase {
  const char* latitude;
  const char* longitude;
  const char* gps;
};

TEST_P(PositionTest, NumbersAtTheLimits) {
  const LimitCase cases[] = {
      {"90/1 0/1 0/1", "180/1 0/1 0/1", R"({"lat":"90.000000","lng":"180.000000"})"},
      {"900001/10000 0/1 0/1", "1/1 0/1 0/1", ""},
      {"90/1 0/1 36/100", "1/1 0/1 0/1", ""},
      {"1/1 0/1 0/1", "1800001/10000 0/1 0/1", ""},
      {"91/1 0/1 0/1", "1/1 0/1 0/1", ""},
      {"1/1 0/1 0/1", "91/1 0/1 0/1", R"({"lat":"1.000000","lng":"91.000000"})"},
      {"35/1 59/1 75/1", "1/1 75/1 0/1", R"({"lat":"36.004166","lng":"2.250000"})"},
      {"4294967295/4294967295 0/1 0/1", "1/1 0/1 0/1", R"({"lat":"1.000000","lng":"1.000000"})"},
      {"2147483648/1 0/1 0/1", "1/1 0/1 0/1", ""},
      {"4294967205/1 0/1 0/1", "1/1 0/1 0/1", ""},
      {"4294967206/1 0/1 0/1", "1/1 0/1 0/1", R"({"lat":"-90.000000","lng":"1.000000"})"},
      {"0/0 0/0 0/0", "0/0 0/0 0/0", ""},
      {"1/1 0/1 0/1", "0/0 0/0 0/0", ""},
      {"1/0 0/1 0/1", "1/1 0/1 0/1", ""},
      {"46/1 539/10 0/0", "1/1 0/1 0/1", R"({"lat":"46.898335","lng":"1.000000"})"},
      {"35/1 30/1", "1/1", R"({"lat":"35.500000","lng":"1.000000"})"},
      {"35/1 30/1 0/1 5/1", "1/1 0/1 0/1", ""},
      {"0/1 0/1 0/1", "0/1 0/1 0/1", R"({"lat":"0.000000","lng":"0.000000"})"},
  };
  for (const LimitCase& limit : cases) {
    SCOPED_TRACE(std::string(limit.latitude) + ", " + limit.longitude);
    MakeJpeg(Path("b.jpg"), 8, 6, Coordinates("N", limit.latitude, "E", limit.longitude));
    EXPECT_EQ(SavePhoto("b.jpg"), 0);
    EXPECT_EQ(Gps("b.jpg"), limit.gps);
    EXPECT_EQ(Photo("b.jpg", "lat") == "NULL", *limit.gps == '\0');
  }
}

TEST_P(PositionTest, NumbersOfNoMeaningLoseNoRow) {
  MakeJpeg(Path("zero.jpg"), 8, 6, Coordinates("N", "0/0 0/0 0/0", "E", "1/0 1/0 1/0"));
  MakeJpeg(Path("large.jpg"), 8, 6, Coordinates("N", "4294967295/1 0/1 0/1", "", "4294967295/1 0/1 0/1"));
  EXPECT_EQ(SavePhoto("zero.jpg"), 0);
  EXPECT_EQ(SavePhoto("large.jpg"), 0);
  EXPECT_EQ(Value("select count(*) from photo_image"), "2");
}

INSTANTIATE_TEST_SUITE_P(Engines, PositionTest, BothEngines(), EngineName);

}  // namespace
