#include "support/media_record.h"
#include "support/saved_media.h"
#include "support/syslog_capture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::IsEmpty;
using testing::Pair;

class SaveVideoTest : public SavedMediaTest {
 protected:
  void SetUp() override {
    SavedMediaTest::SetUp();
    if (!IsSkipped()) WriteFile(Path("trip/v.mp4"), "no video");
  }
  Json::Value Video() const {
    Json::Value info = Record("trip/v.mp4");
    info["szAlbum"] = "trip";
    FillVideo(info);
    info["rotation"] = 270;
    return info;
  }
  int SaveVideo(const Json::Value& info) const { return Save(PHOTO_TABLE_VIDEO, info); }
  std::string Column(const std::string& column) {
    return SavedMediaTest::Column("video", "trip/v.mp4", column);
  }
};

TEST_P(SaveVideoTest, EveryColumnIsStored) {
  for (const char* way : {"insert", "update"}) {
    SCOPED_TRACE(way);
    EXPECT_EQ(SaveVideo(Video()), 0);
    const auto rows = Query("select * from video");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_THAT(rows[0],
                AllOf(Contains(Pair("path", Key("trip/v.mp4"))), Contains(Pair("filesize", "5000000000")),
                      Contains(Pair("title", "v")), Contains(Pair("album", "trip")),
                      Contains(Pair("frame_bitrate", "1")), Contains(Pair("duration", "12")),
                      Contains(Pair("audio_bitrate", "2")), Contains(Pair("frequency", "44100")),
                      Contains(Pair("channel", "3")), Contains(Pair("date", "d"))));
    EXPECT_THAT(rows[0], AllOf(Contains(Pair("mdate", "m")), Contains(Pair("video_codec", "h264")),
                               Contains(Pair("audio_codec", "aac")), Contains(Pair("video_profile", "4")),
                               Contains(Pair("video_level", "5")), Contains(Pair("container_type", "mov")),
                               Contains(Pair("frame_rate_num", "25")), Contains(Pair("frame_rate_den", "6")),
                               Contains(Pair("video_bitrate", "7")), Contains(Pair("gps", ""))));
    EXPECT_THAT(rows[0], AllOf(Contains(Pair("disabled", "f")), Contains(Pair("shareid", "-1")),
                               Contains(Pair("privilege_shareid", "-1")), Contains(Pair("rotation", "8")),
                               Contains(Pair("updated", "1")), Contains(Pair("lat", "NULL")),
                               Contains(Pair("lng", "NULL"))));
    EXPECT_EQ(Column("resolutionX"), "640");
    EXPECT_EQ(Column("resolutionY"), "480");
  }
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(SaveVideoTest, PositionIsKeptWhenItCannotBeReadAnyMore) {
  WriteFile(Path("trip/@eaDir/v.mp4/KAVOPHOTO_GPS"), "{\"lat\":\"1\",\"lng\":\"2\"}");
  EXPECT_EQ(SaveVideo(Video()), 0);
  EXPECT_FALSE(std::filesystem::exists(Path("trip/@eaDir/v.mp4/KAVOPHOTO_GPS")));
  Run("update video set lat = 1, lng = 2");
  EXPECT_EQ(SaveVideo(Video()), 0);
  EXPECT_EQ(Column("gps"), "{\"lat\":\"1\",\"lng\":\"2\"}");
  EXPECT_EQ(Column("lat"), "NULL");
  EXPECT_EQ(Column("lng"), "NULL");
}

TEST_P(SaveVideoTest, DescriptionOfADefaultTitleIsNothing) {
  EXPECT_EQ(Save(PHOTO_TABLE_VIDEO_DESC, Video()), 0);
  EXPECT_EQ(Value("select count(*) from video_desc"), "0");
}

TEST_P(SaveVideoTest, DescriptionIsStoredAndReplaced) {
  Json::Value info = Video();
  info["szTitle"] = "Trip's end";
  EXPECT_EQ(Save(PHOTO_TABLE_VIDEO_DESC, info), 0);
  EXPECT_EQ(SavedMediaTest::Column("video_desc", "trip/v.mp4", "title"), "Trip's end");
  info["szDesc"] = "text";
  Run("update video_desc set updated = '0'");
  EXPECT_EQ(Save(PHOTO_TABLE_VIDEO_DESC, info), 0);
  EXPECT_EQ(SavedMediaTest::Column("video_desc", "trip/v.mp4", "description"), "text");
  EXPECT_EQ(SavedMediaTest::Column("video_desc", "trip/v.mp4", "updated"), "1");
}

TEST_P(SaveVideoTest, LargestNumbersAreStored) {
  Json::Value info = Video();
  info["frame_bitrate"] = 4'294'967'295U;
  info["audio_bitrate"] = 2'147'483'648U;
  info["duration"] = 1e300;
  info["fileSize"] = Json::UInt64{18'446'744'073'709'551'615U};
  for (const char* way : {"insert", "update"}) {
    SCOPED_TRACE(way);
    EXPECT_EQ(SaveVideo(info), 0);
    EXPECT_EQ(Column("duration"), "2147483647");
    // The record's unsigned numbers are signed in the statement.
    EXPECT_EQ(Column("filesize"), "-1");
    EXPECT_EQ(Column("frame_bitrate"), "-1");
    EXPECT_EQ(Column("audio_bitrate"), "-2147483648");
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, SaveVideoTest, BothEngines(), EngineName);

}  // namespace
