// What the probe tells of the camera of a photo and how it was set.
#include <gtest/gtest.h>
#include <json/json.h>

#include <exiv2/exiv2.hpp>
#include <map>
#include <string>

#include "probe/probe.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace {

class CameraFactsTest : public testing::Test {
 protected:
  Json::Value Photo(const std::string& name, const Tags& tags = {}) const {
    MakeImage(dir_ / name, 40, 30, tags);
    const ProbeResult result = ProbeFile(dir_ / name, MediaKind::kPhoto);
    EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
    return result.media;
  }

  TempDir dir_;
};

TEST_F(CameraFactsTest, APhotosCameraValuesAreThoseOfExif) {
  const Json::Value media = Photo("a.jpg", {{"Exif.Image.Make", "Maker Ltd. "},
                                            {"Exif.Image.Model", "M-1"},
                                            {"Exif.Image.Orientation", "6"},
                                            {"Exif.Photo.ExposureTime", "10/1250"},
                                            {"Exif.Photo.FNumber", "28/10"},
                                            {"Exif.Photo.ISOSpeedRatings", "400"}});
  EXPECT_EQ(media["szMake"].asString(), "Maker Ltd.");
  EXPECT_EQ(media["szModel"].asString(), "M-1");
  EXPECT_EQ(media["szExposure"].asString(), "1/125");
  EXPECT_EQ(media["szAperture"].asString(), "F2.8");
  EXPECT_EQ(media["iso"].asInt(), 400);
  EXPECT_EQ(media["resolutionX"].asInt(), 40) << "as stored, whatever the orientation";
  EXPECT_EQ(media["resolutionY"].asInt(), 30);
}

TEST_F(CameraFactsTest, ALongExposureIsInSeconds) {
  EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.ExposureTime", "30/1"}})["szExposure"].asString(), "30");
  EXPECT_EQ(Photo("b.jpg", {{"Exif.Photo.ExposureTime", "25/10"}})["szExposure"].asString(), "2.5");
}

TEST_F(CameraFactsTest, AnExposureIsThePartOfASecondThatPeopleKnow) {
  for (const auto& [stored, shown] : std::map<std::string, std::string>{{"1/1863", "1/1863"},
                                                                        {"536702/1000000000", "1/1863"},
                                                                        {"1/22727", "1/22727"},
                                                                        {"66667/1000000", "1/15"},
                                                                        {"9997/1000000", "1/100"},
                                                                        {"1/2", "1/2"},
                                                                        {"3/10", "0.3"},
                                                                        {"10/13", "0.769"},
                                                                        {"15/100", "0.15"},
                                                                        {"9999/10000", "1"},
                                                                        {"13/10", "1.3"}}) {
    EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.ExposureTime", stored}})["szExposure"].asString(), shown)
        << stored;
  }
}

// The JPEG at PATH gets VALUE under KEY, whatever type the tag should have.
void SetExif(const std::string& path, const char* key, const Exiv2::Value& value) {
  const Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(path, true);
  image->readMetadata();
  image->exifData().add(Exiv2::ExifKey(key), &value);
  image->writeMetadata();
}

TEST_F(CameraFactsTest, FractionsWithASignAreRead) {
  for (const int sign : {1, -1}) {
    MakeJpeg(dir_ / "a.jpg", 40, 30);
    SetExif(dir_ / "a.jpg", "Exif.Photo.ExposureTime", Exiv2::RationalValue({sign * 1, sign * 125}));
    SetExif(dir_ / "a.jpg", "Exif.Photo.FNumber", Exiv2::RationalValue({sign * 28, sign * 10}));
    const Json::Value media = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto).media;
    EXPECT_EQ(media["szExposure"].asString(), "1/125") << sign;
    EXPECT_EQ(media["szAperture"].asString(), "F2.8") << sign;
  }
}

TEST_F(CameraFactsTest, ANegativeExposureIsNone) {
  MakeJpeg(dir_ / "a.jpg", 40, 30);
  SetExif(dir_ / "a.jpg", "Exif.Photo.ExposureTime", Exiv2::RationalValue({-1, 125}));
  SetExif(dir_ / "a.jpg", "Exif.Photo.FNumber", Exiv2::RationalValue({-28, 10}));
  const Json::Value media = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto).media;
  EXPECT_EQ(media["szExposure"].asString(), "");
  EXPECT_EQ(media["szAperture"].asString(), "");
}

TEST_F(CameraFactsTest, TheLargestFractionIsNoNegativeOne) {
  const Json::Value media = Photo("a.jpg", {{"Exif.Photo.ExposureTime", "4000000000/4294967295"}});
  EXPECT_EQ(media["szExposure"].asString(), "0.931");
}

TEST_F(CameraFactsTest, ExposuresBeyondAllBoundsAreNone) {
  for (const char* stored : {"1/4294967295", "4294967295/1", "2000000/1"})
    EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.ExposureTime", stored}})["szExposure"].asString(), "") << stored;
  EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.ExposureTime", "1000000/1"}})["szExposure"].asString(), "1000000");
}

TEST_F(CameraFactsTest, WithoutAnExposureTimeTheShutterSpeedTells) {
  EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.ShutterSpeedValue", "7/1"}})["szExposure"].asString(), "1/128");
  EXPECT_EQ(Photo("b.jpg", {{"Exif.Photo.ExposureTime", "0/0"},
                            {"Exif.Photo.ShutterSpeedValue", "-2/1"}})["szExposure"]
                .asString(),
            "4");
  EXPECT_EQ(Photo("c.png", {{"Xmp.exif.ShutterSpeedValue", "7/1"}})["szExposure"].asString(), "1/128");
}

TEST_F(CameraFactsTest, EachTagOfAnExposureTellsIt) {
  for (const auto& [key, stored] : std::map<std::string, std::string>{{"Exif.Photo.ExposureTime", "1/128"},
                                                                      {"Exif.Image.ExposureTime", "1/128"},
                                                                      {"Exif.Photo.ShutterSpeedValue", "7/1"},
                                                                      {"Exif.Image.ShutterSpeedValue", "7/1"},
                                                                      {"Xmp.exif.ExposureTime", "1/128"},
                                                                      {"Xmp.exif.ShutterSpeedValue", "7/1"}})
    EXPECT_EQ(Photo("a.jpg", {{key, stored}})["szExposure"].asString(), "1/128") << key;
}

TEST_F(CameraFactsTest, TheFirstTagOfAnExposureCounts) {
  Tags tags = {{"Exif.Photo.ExposureTime", "1/3"},      {"Exif.Image.ExposureTime", "1/5"},
               {"Exif.Photo.ShutterSpeedValue", "3/1"}, {"Exif.Image.ShutterSpeedValue", "4/1"},
               {"Xmp.exif.ExposureTime", "1/7"},        {"Xmp.exif.ShutterSpeedValue", "5/1"}};
  for (const char* exposure : {"1/3", "1/5", "1/8", "1/16", "1/7", "1/32"}) {
    EXPECT_EQ(Photo("a.jpg", tags)["szExposure"].asString(), exposure);
    tags.erase(tags.begin());
  }
}

TEST_F(CameraFactsTest, AShutterSpeedOfZeroIsASecondOnlyWhereThereIsNoExposureTime) {
  const auto exposure = [&](const Tags& tags) { return Photo("a.jpg", tags)["szExposure"].asString(); };
  EXPECT_EQ(exposure({{"Exif.Photo.ShutterSpeedValue", "0/1"}}), "1");
  EXPECT_EQ(exposure({{"Exif.Photo.ExposureTime", "0/1"}, {"Exif.Photo.ShutterSpeedValue", "0/1"}}), "");
  EXPECT_EQ(exposure({{"Exif.Photo.ExposureTime", "0/0"}, {"Exif.Image.ShutterSpeedValue", "0/1"}}), "");
  EXPECT_EQ(exposure({{"Exif.Image.ExposureTime", "0/1"}, {"Exif.Photo.ShutterSpeedValue", "0/1"}}), "");
  EXPECT_EQ(exposure({{"Xmp.exif.ExposureTime", "0/1"}, {"Xmp.exif.ShutterSpeedValue", "0/1"}}), "");
}

TEST_F(CameraFactsTest, NumbersMayBeStoredAsTexts) {
  const auto with = [&](const char* key, const std::string& text) {
    MakeJpeg(dir_ / "a.jpg", 40, 30);
    SetExif(dir_ / "a.jpg", key, Exiv2::AsciiValue(text));
    return ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto).media;
  };
  EXPECT_EQ(with("Exif.Photo.ExposureTime", "1/250")["szExposure"].asString(), "1/250");
  EXPECT_EQ(with("Exif.Photo.ExposureTime", "0.004")["szExposure"].asString(), "1/250");
  EXPECT_EQ(with("Exif.Photo.ExposureTime", " 1 / 250 ")["szExposure"].asString(), "1/250");
  EXPECT_EQ(with("Exif.Photo.FNumber", "2.8")["szAperture"].asString(), "F2.8");
  EXPECT_EQ(with("Exif.Photo.FNumber", "28/10")["szAperture"].asString(), "F2.8");
  EXPECT_EQ(with("Exif.Photo.RecommendedExposureIndex", "400")["iso"].asInt(), 400);
}

TEST_F(CameraFactsTest, TextsThatAreNoNumbersAreLeftOut) {
  for (const char* text : {"fast", "1/0", "1/", "/250", "1/250 s", "nan", "inf", "-1/250", "1/2/5"}) {
    MakeJpeg(dir_ / "a.jpg", 40, 30);
    for (const char* key :
         {"Exif.Photo.ExposureTime", "Exif.Photo.FNumber", "Exif.Photo.RecommendedExposureIndex"})
      SetExif(dir_ / "a.jpg", key, Exiv2::AsciiValue(text));
    const Json::Value media = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto).media;
    EXPECT_EQ(media["szExposure"].asString(), "") << text;
    EXPECT_EQ(media["szAperture"].asString(), "") << text;
    EXPECT_EQ(media["iso"].asInt(), 0) << text;
  }
}

TEST_F(CameraFactsTest, WithoutANumberTheStepsOfTheApertureTell) {
  const auto aperture = [&](const std::string& name, const Tags& tags) {
    return Photo(name, tags)["szAperture"].asString();
  };
  EXPECT_EQ(aperture("a.jpg", {{"Exif.Photo.ApertureValue", "3/1"}}), "F2.8");
  EXPECT_EQ(aperture("b.jpg", {{"Exif.Photo.FNumber", "0/0"}, {"Exif.Photo.ApertureValue", "3/1"}}), "F2.8");
  EXPECT_EQ(aperture("c.jpg", {{"Exif.Photo.FNumber", "0/1"}, {"Exif.Image.ApertureValue", "8/1"}}), "F16");
  EXPECT_EQ(aperture("d.png", {{"Xmp.exif.ApertureValue", "3/1"}}), "F2.8");
  EXPECT_EQ(aperture("e.jpg", {{"Exif.Photo.FNumber", "0/0"}, {"Exif.Photo.ApertureValue", "0/1"}}), "");
}

TEST_F(CameraFactsTest, AMakersCodeOfAnIsoSpeedIsTheSpeedThatItStandsFor) {
  const Tags canon = {{"Exif.Image.Make", "Canon"}, {"Exif.Image.Model", "Canon PowerShot"}};
  for (const auto& [code, speed] : std::map<std::string, int>{{"128", 50}, {"160", 100}, {"150", 81}}) {
    Tags tags = canon;
    tags.emplace_back("Exif.CanonSi.ISOSpeed", code);
    EXPECT_EQ(Photo("a.jpg", tags)["iso"].asInt(), speed) << code;
  }
}

TEST_F(CameraFactsTest, AMakersCodeThatStandsForNoIsoSpeedIsNone) {
  const Tags canon = {{"Exif.Image.Make", "Canon"}, {"Exif.Image.Model", "Canon PowerShot"}};
  Tags automatic = canon;
  automatic.emplace_back("Exif.CanonCs.ISOSpeed", "15");  // shown as "Auto"
  EXPECT_EQ(Photo("a.jpg", automatic)["iso"].asInt(), 0);
  Tags nothing = canon;
  nothing.emplace_back("Exif.CanonSi.ISOSpeed", "0");  // shown as "3.125"
  EXPECT_EQ(Photo("b.jpg", nothing)["iso"].asInt(), 0);
  nothing.emplace_back("Exif.CanonCs.ISOSpeed", "17");
  EXPECT_EQ(Photo("c.jpg", nothing)["iso"].asInt(), 100);
}

TEST_F(CameraFactsTest, TheIsoSpeedStandsInOtherTagsToo) {
  EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.RecommendedExposureIndex", "320"}})["iso"].asInt(), 320);
  EXPECT_EQ(
      Photo("b.jpg", {{"Exif.Photo.ISOSpeedRatings", "0"}, {"Exif.Photo.ISOSpeed", "250"}})["iso"].asInt(),
      250);
  EXPECT_EQ(Photo("c.png", {{"Xmp.exifEX.PhotographicSensitivity", "640"}})["iso"].asInt(), 640);
}

TEST_F(CameraFactsTest, ValuesThatAreNoNumbersAreLeftOut) {
  const Json::Value media = Photo("a.jpg", {{"Exif.Photo.ExposureTime", "0/0"},
                                            {"Exif.Photo.FNumber", "0/0"},
                                            {"Exif.Photo.ISOSpeedRatings", "0"}});
  EXPECT_EQ(media["szExposure"].asString(), "");
  EXPECT_EQ(media["szAperture"].asString(), "");
  EXPECT_EQ(media["iso"].asInt(), 0);
}

TEST_F(CameraFactsTest, AnIsoSpeedBeyondSixteenBitsIsFound) {
  const Json::Value media = Photo(
      "a.jpg", {{"Exif.Photo.ISOSpeedRatings", "65535"}, {"Exif.Photo.RecommendedExposureIndex", "102400"}});
  EXPECT_EQ(media["iso"].asInt(), 102400);
}

TEST_F(CameraFactsTest, TheHighestIsoSpeedOfSixteenBitsStaysWhereThereIsNoOther) {
  EXPECT_EQ(Photo("a.jpg", {{"Exif.Photo.ISOSpeedRatings", "65535"}})["iso"].asInt(), 65535);
}

TEST_F(CameraFactsTest, TheFirstTagOfAHighIsoSpeedCounts) {
  Tags tags = {{"Exif.Photo.RecommendedExposureIndex", "100001"},
               {"Exif.Photo.StandardOutputSensitivity", "100002"},
               {"Exif.Photo.ISOSpeed", "100003"},
               {"Exif.Photo.ISOSpeedRatings", "65535"}};
  for (const int speed : {100001, 100002, 100003, 65535}) {
    EXPECT_EQ(Photo("a.jpg", tags)["iso"].asInt(), speed);
    tags.erase(tags.begin());
  }
}

// On a 32-bit processor the library gives such a number as a negative one.
TEST_F(CameraFactsTest, AnIsoSpeedBeyondAllBoundsIsNone) {
  const Json::Value media = Photo("a.jpg", {{"Exif.Photo.ISOSpeedRatings", "65535"},
                                            {"Exif.Photo.RecommendedExposureIndex", "4294967295"}});
  EXPECT_EQ(media["iso"].asInt(), 0);
}

TEST_F(CameraFactsTest, AFormatWithoutExifHasItsValuesInXmp) {
  const Json::Value media = Photo("a.png", {{"Xmp.tiff.Make", "Maker"},
                                            {"Xmp.tiff.Model", "M-2"},
                                            {"Xmp.exif.ExposureTime", "1/60"},
                                            {"Xmp.exif.FNumber", "56/10"},
                                            {"Xmp.exif.ISOSpeedRatings", "200"}});
  EXPECT_EQ(media["szMake"].asString(), "Maker");
  EXPECT_EQ(media["szModel"].asString(), "M-2");
  EXPECT_EQ(media["szExposure"].asString(), "1/60");
  EXPECT_EQ(media["szAperture"].asString(), "F5.6");
  EXPECT_EQ(media["iso"].asInt(), 200);
}

}  // namespace
