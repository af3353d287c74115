// The order of the steps of a save, words that must stand whole, numbers at their limits, and more than one
// of a thing.
#include "support/call_order.h"
#include "support/save_library.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SaveAnswers : public SaveTest {
 protected:
  static constexpr const char* kPosition = "ProcessRunner(/usr/kavo/bin/exiv2 -K Exif.GPSInfo";
  static Json::Value With(Json::Value info, const char* key, const Json::Value& value) {
    info[key] = value;
    return info;
  }
  // The statement that a save of INFO writes.
  std::string WrittenOf(const Json::Value& info, PHOTO_TABLE_TYPE type, const std::string& start) {
    fake().statements.clear();
    EXPECT_EQ(Save(info, type), 0);
    const auto sent = Sent(start);
    return sent.size() == 1 ? sent[0] : "";
  }
  Json::Value Video() const {
    Json::Value info = Photo();
    FillVideo(info);
    return info;
  }
};

TEST_F(SaveAnswers, APhotoIsAskedInTheOrderOfItsSteps) {
  WriteFile(shared() + "/trip/b.jpg", "");
  const std::string thumbnail = shared() + "/trip/@eaDir/b.jpg/KAVOPHOTO_THUMB_XL.jpg";
  WriteFile(thumbnail, "");
  fake().resolutions[thumbnail] = {3, 4};
  ASSERT_EQ(Save(Photo()), 0);
  const std::string excluded =
      "KAVODBSelectLimit(SELECT * FROM photo_config WHERE config_key = 'excluding_index_format'";
  const std::string row = "KAVODBSelectLimit(SELECT path, title, description FROM photo_image";
  const std::string albums = "KAVODBExecute(SELECT shareid FROM photo_share";
  const std::string write = "KAVODBExecute(INSERT INTO photo_image (path";
  EXPECT_THAT(OrderOf({excluded, "KAVOIndexImgResGet", kPosition, row, albums, write}),
              ElementsAre(excluded, "KAVOIndexImgResGet", kPosition, row, albums, write));
}

TEST_F(SaveAnswers, AVideoIsAskedInTheOrderOfItsSteps) {
  WriteFile(shared() + "/trip/b.mp4", "");
  WriteFile(shared() + "/trip/@eaDir/b.mp4/KAVOPHOTO_GPS", "here");
  ASSERT_EQ(Save(With(Video(), "szPath", shared() + "/trip/b.mp4"), PHOTO_TABLE_VIDEO), 0);
  const std::string albums = "KAVODBExecute(SELECT shareid FROM photo_share";
  const std::string row = "KAVODBSelectLimit(SELECT path, gps FROM video";
  EXPECT_THAT(OrderOf({"KAVOBeneathRemove", albums, row}), ElementsAre("KAVOBeneathRemove", albums, row));
}

TEST_F(SaveAnswers, TheFormatIsAskedAboutBeforeTheConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to database",
                                      "photo_database.cpp (#) Error occurred, failed to get records.",
                                      "photo_database.cpp (#) Failed to connect to photo database"));
}

TEST_F(SaveAnswers, PeopleAreMergedByTheWholeWordInSmallLetters) {
  WriteFile(shared() + "/trip/b.jpg", "");
  for (const char* value : {"ON", "On", "o", "on ", " on", "one", "yes", "1"}) {
    fake().answers.resize(1);
    Answer({.match = "ms_people_tag_merged", .rows = {{{"config_value", value}}}});
    EXPECT_EQ(Save(Photo()), 0);
    EXPECT_EQ(fake().Count("ProcessRunner(/usr/kavo/bin/exiv2 -Pkt"), 0) << value;
  }
}

TEST_F(SaveAnswers, SizesAreOf64Bits) {
  EXPECT_THAT(WrittenOf(With(Photo(), "fileSize", Json::UInt64{9223372036854775807ULL}), PHOTO_TABLE_IMAGE,
                        "INSERT INTO photo_image"),
              HasSubstr(", 9223372036854775807, 'Make'"));
  EXPECT_THAT(WrittenOf(With(Video(), "fileSize", Json::UInt64{4294967296ULL}), PHOTO_TABLE_VIDEO,
                        "INSERT INTO video"),
              HasSubstr("', 4294967296, '"));
}

TEST_F(SaveAnswers, BitRatesAreUnsignedAndStoredByTheirBits) {
  Json::Value info = Video();
  info["frame_bitrate"] = 4294967295U;
  info["audio_bitrate"] = 2147483648U;
  info["video_bitrate"] = 2147483647U;
  const std::string sql = WrittenOf(info, PHOTO_TABLE_VIDEO, "INSERT INTO video");
  EXPECT_THAT(sql, HasSubstr("'trip', '-1', '12', '640', '480', -2147483648, 44100,"));
  EXPECT_THAT(sql, HasSubstr("'25', '6', '2147483647', ''"));
}

TEST_F(SaveAnswers, DurationsAreReadAsDoubles) {
  // Above 2^24 a number of single precision would have lost its last place.
  EXPECT_THAT(WrittenOf(With(Video(), "duration", 16777217.9), PHOTO_TABLE_VIDEO, "INSERT INTO video"),
              HasSubstr("'1', '16777217', '640'"));
}

TEST_F(SaveAnswers, AThumbnailIsMeasuredUnlessTheAnswerIsNegative) {
  const std::string thumbnail = shared() + "/trip/@eaDir/b.jpg/KAVOPHOTO_THUMB_XL.jpg";
  WriteFile(thumbnail, "");
  fake().resolutions[thumbnail] = {3, 4};
  for (const auto& [answer, version] : {std::pair{0, "1"}, std::pair{2, "1"}, std::pair{-2, "0"}}) {
    fake().instead[{"KAVOIndexImgResGet", 0}] = answer;
    EXPECT_THAT(WrittenOf(Photo(), PHOTO_TABLE_IMAGE, "INSERT INTO photo_image"),
                HasSubstr("'2021-01-01 00:00:00', " + std::string(version) + ", ''"))
        << answer;
  }
}

TEST_F(SaveAnswers, AToolHasRunUnlessItsAnswerIsMinusOneOrLess) {
  WriteFile(shared() + "/trip/b.jpg", "");
  fake().programs = {{"GPSInfo.GPSLatitudeRef", {3, "N"}},
                     {"GPSInfo.GPSLatitude", {3, "35deg 30' 0.5\""}},
                     {"GPSInfo.GPSLongitudeRef", {3, "E"}},
                     {"GPSInfo.GPSLongitude", {3, "1deg 0' 0.5\""}},
                     {kSaveTool, {0, ""}}};
  EXPECT_THAT(WrittenOf(Photo(), PHOTO_TABLE_IMAGE, "INSERT INTO photo_image"), HasSubstr("35.500137"));
  fake().programs[0].second.first = -2;
  EXPECT_THAT(WrittenOf(Photo(), PHOTO_TABLE_IMAGE, "INSERT INTO photo_image"), HasSubstr("NULL, NULL"));
}

TEST_F(SaveAnswers, ZeroKeepsTheSignOfItsReference) {
  WriteFile(shared() + "/trip/b.jpg", "");
  fake().programs = {{"GPSInfo.GPSLatitudeRef", {0, "S"}},
                     {"GPSInfo.GPSLatitude", {0, "0deg 0' 0\""}},
                     {"GPSInfo.GPSLongitudeRef", {0, "E"}},
                     {"GPSInfo.GPSLongitude", {0, "0deg 0' 0\""}},
                     {kSaveTool, {0, ""}}};
  EXPECT_THAT(WrittenOf(Photo(), PHOTO_TABLE_IMAGE, "INSERT INTO photo_image"),
              HasSubstr("'0', -0.000000, 0.000000, "));
}

TEST_F(SaveAnswers, APositionIsReadFrom31Bytes) {
  WriteFile(shared() + "/trip/b.jpg", "");
  fake().programs = {{"GPSInfo.GPSLatitudeRef", {0, "N"}},
                     {"GPSInfo.GPSLatitude", {0, std::string(24, ' ') + "35deg 30' 0\""}},
                     {"GPSInfo.GPSLongitudeRef", {0, "E"}},
                     {"GPSInfo.GPSLongitude", {0, std::string(23, ' ') + "35deg 30' 0\""}},
                     {kSaveTool, {0, ""}}};
  EXPECT_THAT(WrittenOf(Photo(), PHOTO_TABLE_IMAGE, "INSERT INTO photo_image"),
              HasSubstr("'0', 35.049999, 35.500000, "));
}

}  // namespace
