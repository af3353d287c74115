#include "support/comma_locale.h"
#include "support/hostile_names.h"
#include "support/media_record.h"
#include "support/saved_media.h"
#include "support/syslog_capture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::IsEmpty;
using testing::Pair;

class SavePhotoTest : public SavedMediaTest {
 protected:
  // trip/b.jpg with a value for every column.
  Json::Value MakeFullPhoto() const {
    MakeJpeg(Path("trip/b.jpg"), 8, 6,
             {{"Exif.Image.Orientation", "6"},
              {"Exif.Image.ImageDescription", "Sunset at sea"},
              {"Exif.Photo.FocalLength", "50/1"},
              {"Exif.Photo.Flash", "1"},
              {"Exif.GPSInfo.GPSLatitudeRef", "S"},
              {"Exif.GPSInfo.GPSLatitude", "35/1 30/1 0/1"},
              {"Exif.GPSInfo.GPSLongitudeRef", "E"},
              {"Exif.GPSInfo.GPSLongitude", "1/1 15/1 0/1"},
              {"Xmp.aux.Lens", "A lens"}});
    Json::Value info = Record("trip/b.jpg");
    info["szAlbum"] = "trip";
    FillPhoto(info);
    info["resolutionX"] = 8;
    info["resolutionY"] = 6;
    return info;
  }
};

TEST_P(SavePhotoTest, EveryColumnIsStored) {
  const Json::Value info = MakeFullPhoto();
  Run("insert into photo_share (shareid, sharename) values (42, 'trip')");
  for (const char* way : {"insert", "update"}) {
    SCOPED_TRACE(way);
    EXPECT_EQ(SavePhoto(info), 0);
    const auto rows = Query("select * from photo_image");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_THAT(rows[0],
                AllOf(Contains(Pair("path", Key("trip/b.jpg"))), Contains(Pair("name", "b.jpg")),
                      Contains(Pair("title", "b")), Contains(Pair("description", "Sunset at sea")),
                      Contains(Pair("album", "trip")), Contains(Pair("size", "5000000000")),
                      Contains(Pair("camera_make", "Make")), Contains(Pair("camera_model", "Model"))));
    EXPECT_THAT(rows[0],
                AllOf(Contains(Pair("exposure", "1/60")), Contains(Pair("aperture", "2.8")),
                      Contains(Pair("resolutionx", "8")), Contains(Pair("resolutiony", "6")),
                      Contains(Pair("iso", "100")), Contains(Pair("timetaken", "2020-01-02 03:04:05")),
                      Contains(Pair("updated", "1")), Contains(Pair("create_time", "2021-01-01 00:00:00")),
                      Contains(Pair("version", "0")), Contains(Pair("disabled", "f"))));
    EXPECT_THAT(rows[0], AllOf(Contains(Pair("gps", "{\"lat\":\"-35.500000\",\"lng\":\"1.250000\"}")),
                               Contains(Pair("lat", "-35.5")), Contains(Pair("lng", "1.25")),
                               Contains(Pair("shareid", "42")), Contains(Pair("privilege_shareid", "42")),
                               Contains(Pair("rotation", "6")), Contains(Pair("focal_length_v2", "50.0 mm")),
                               Contains(Pair("lens_v2", "A lens")), Contains(Pair("flash_v2", "Fired"))));
  }
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(SavePhotoTest, PhotoWithoutAPositionHasNulls) {
  MakeJpeg(Path("b.jpg"), 8, 6);
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Photo("b.jpg", "gps"), "");
  EXPECT_EQ(Photo("b.jpg", "lat"), "NULL");
  EXPECT_EQ(Photo("b.jpg", "lng"), "NULL");
  EXPECT_EQ(Photo("b.jpg", "rotation"), "1");
}

TEST_P(SavePhotoTest, FilesThatAreNoImagesHaveARowToo) {
  WriteFile(Path("text.jpg"), "no image");
  WriteFile(Path("empty.jpg"), "");
  for (const char* name : {"text.jpg", "empty.jpg", "absent.jpg"}) {
    EXPECT_EQ(SavePhoto(name), 0) << name;
    EXPECT_EQ(Photo(name, "rotation"), "0") << name;
    EXPECT_EQ(Photo(name, "description"), "") << name;
  }
}

TEST_P(SavePhotoTest, EditedTitleAndDescriptionOutliveASave) {
  WriteFile(Path("a.b.jpg"), "no image");
  EXPECT_EQ(SavePhoto("a.b.jpg"), 0);
  Run("update photo_image set title = 'My title', description = 'My text'");
  EXPECT_EQ(SavePhoto("a.b.jpg"), 0);
  EXPECT_EQ(Photo("a.b.jpg", "title"), "My title");
  EXPECT_EQ(Photo("a.b.jpg", "description"), "My text");
  Json::Value info = Record("a.b.jpg");
  info["szTitle"] = "Given";
  info["szDesc"] = "Given too";
  EXPECT_EQ(SavePhoto(info), 0);
  EXPECT_EQ(Photo("a.b.jpg", "title"), "Given");
  EXPECT_EQ(Photo("a.b.jpg", "description"), "Given too");
}

TEST_P(SavePhotoTest, RowKeepsItsId) {
  WriteFile(Path("b.jpg"), "");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const std::string id = Photo("b.jpg", "id");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Photo("b.jpg", "id"), id);
}

TEST_P(SavePhotoTest, SaveTakesTheMarkOfAReindexAway) {
  WriteFile(Path("b.jpg"), "");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  Run("update photo_image set updated = '0'");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Photo("b.jpg", "updated"), "1");
}

TEST_P(SavePhotoTest, ThumbnailThatLiesTheOtherWayRaisesTheVersion) {
  MakeJpeg(Path("b.jpg"), 8, 6);
  MakeJpeg(Path("@eaDir/b.jpg/KAVOPHOTO_THUMB_XL.jpg"), 6, 8);
  Json::Value info = Record("b.jpg");
  info["resolutionX"] = 8;
  info["resolutionY"] = 6;
  EXPECT_EQ(SavePhoto(info), 0);
  EXPECT_EQ(Photo("b.jpg", "version"), "1");
  info["resolutionX"] = 6;
  info["resolutionY"] = 8;
  EXPECT_EQ(SavePhoto(info), 0);
  EXPECT_EQ(Photo("b.jpg", "version"), "0");
}

TEST_P(SavePhotoTest, ThumbnailBehindASymbolicLinkIsNotOpened) {
  MakeJpeg(Path("b.jpg"), 8, 6);
  MakeJpeg(Path("elsewhere.jpg"), 6, 8);
  std::filesystem::create_directories(Path("@eaDir/b.jpg"));
  std::filesystem::create_symlink(Path("elsewhere.jpg"), Path("@eaDir/b.jpg/KAVOPHOTO_THUMB_XL.jpg"));
  Json::Value info = Record("b.jpg");
  info["resolutionX"] = 8;
  info["resolutionY"] = 6;
  EXPECT_EQ(SavePhoto(info), 0);
  EXPECT_EQ(Photo("b.jpg", "version"), "0");
}

TEST_P(SavePhotoTest, ExcludedFormatIsDisabled) {
  WriteFile(Path("b.gif"), "");
  Run("insert into photo_config (config_key, config_value) values ('excluding_index_format', 'gif, bmp')");
  EXPECT_EQ(SavePhoto("b.gif"), 0);
  EXPECT_EQ(Photo("b.gif", "disabled"), "t");
}

TEST_P(SavePhotoTest, HostileTextsComeBackAsTheyAre) {
  WriteFile(Path("b.jpg"), "");
  for (const std::string& text : HostileNames()) {
    Json::Value info = Record("b.jpg");
    info["szTitle"] = "T" + text;
    info["szDesc"] = text;
    info["szMake"] = text;
    info["szAlbum"] = text;
    EXPECT_EQ(SavePhoto(info), 0) << text;
    EXPECT_EQ(Photo("b.jpg", "title"), "T" + text);
    EXPECT_EQ(Photo("b.jpg", "description"), text);
    EXPECT_EQ(Photo("b.jpg", "camera_make"), text);
    EXPECT_EQ(Photo("b.jpg", "album"), text);
  }
  EXPECT_EQ(Value("select count(*) from photo_image"), "1");
}

TEST_P(SavePhotoTest, OneBadByteLosesNoRow) {
  for (const std::string& bytes : HostileBytes()) {
    WriteFile(Path("b.jpg"), "");
    Json::Value info = Record("b.jpg");
    for (const char* key :
         {"szName", "szTitle", "szDesc", "szAlbum", "szMake", "szModel", "szExposure", "szDate"}) {
      info[key] = "x" + bytes;
    }
    info["szTakenTime"] = "2020-01-02 03:04:05" + bytes;
    EXPECT_EQ(SavePhoto(info), 0) << testing::PrintToString(bytes);
    EXPECT_EQ(Photo("b.jpg", "title").substr(0, 1), "x");
  }
}

TEST_P(SavePhotoTest, HostileMetadataLoseNoRow) {
  for (const std::string& bytes : HostileBytes()) {
    MakeJpeg(Path("b.jpg"), 8, 6,
             {{"Exif.Image.ImageDescription", "x" + bytes}, {"Iptc.Application2.Caption", "y" + bytes}});
    EXPECT_EQ(SavePhoto("b.jpg"), 0) << testing::PrintToString(bytes);
    EXPECT_EQ(Photo("b.jpg", "description").substr(0, 1), "y");
  }
}

TEST_P(SavePhotoTest, DecimalPointIsAPointEverywhere) {
  const CommaLocale locale;
  if (!locale.active()) GTEST_SKIP() << "no locale with a decimal comma";
  MakeJpeg(Path("b.jpg"), 8, 6,
           {{"Exif.GPSInfo.GPSLatitudeRef", "N"},
            {"Exif.GPSInfo.GPSLatitude", "48/1 4/1 525/10"},
            {"Exif.GPSInfo.GPSLongitudeRef", "W"},
            {"Exif.GPSInfo.GPSLongitude", "1/1 40/1 4/1"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Photo("b.jpg", "gps").find(','), Photo("b.jpg", "gps").find("\",\"") + 1);
  EXPECT_EQ(Photo("b.jpg", "lat").substr(0, 5), "48.08");
  EXPECT_EQ(Photo("b.jpg", "lng").substr(0, 5), "-1.66");
}

INSTANTIATE_TEST_SUITE_P(Engines, SavePhotoTest, BothEngines(), EngineName);

}  // namespace
