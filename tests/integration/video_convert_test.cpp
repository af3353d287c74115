// Converted copies of videos, and what is converted and indexed at all.
#include <gmock/gmock.h>

#include "base/text.h"
#include "lumivault/photo_database.h"
#include "support/databases.h"

namespace {

using testing::IsEmpty;

class VideoConvertTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (!IsSkipped()) WriteFile(Path("a/it's.mp4"), "12345");
    info_.frame_bitrate = 3;
    info_.video_bitrate = 99;
    CopyText(info_.szVideoCodec, sizeof info_.szVideoCodec, "h264");
  }
  void IndexVideo() { Run("INSERT INTO video (path) VALUES ('" + Key("a/it''s.avi") + "')"); }
  int Save(const std::string& type) {
    CopyText(info_.szPath, sizeof info_.szPath, Path("a/it's.avi"));
    return PhotoInfoVideoConvertDBSave(&info_, Path("a/it's.mp4").c_str(), type.c_str());
  }

  KAVO_MEDIA_INFO info_{};
};

TEST_P(VideoConvertTest, CopyOfAnIndexedVideoIsRecorded) {
  IndexVideo();
  EXPECT_EQ(Save("mobile"), 0);
  const auto rows = Query("SELECT * FROM video_convert");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].at("video_path"), Key("a/it's.avi"));
  EXPECT_EQ(rows[0].at("convert_file_path"), Key("a/it's.mp4"));
  EXPECT_EQ(rows[0].at("filesize"), "5");
  EXPECT_EQ(rows[0].at("video_bitrate"), "3");
  EXPECT_EQ(rows[0].at("vcodec"), "h264");
  EXPECT_EQ(rows[0].at("convert_type"), "mobile");
  EXPECT_EQ(rows[0].at("updated"), "1");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(VideoConvertTest, SavingAgainUpdatesTheRow) {
  IndexVideo();
  EXPECT_EQ(Save("mobile"), 0);
  const std::string id = Value("SELECT id FROM video_convert");
  Run("UPDATE video_convert SET updated = '0'");
  WriteFile(Path("a/it's.mp4"), "1234567");
  info_.frame_bitrate = 4'000'000'000U;
  info_.resolutionX = 640;
  EXPECT_EQ(Save("high"), 0);
  const auto rows = Query("SELECT * FROM video_convert");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].at("id"), id);
  EXPECT_EQ(rows[0].at("filesize"), "7");
  EXPECT_EQ(rows[0].at("resolutionx"), "640");
  EXPECT_EQ(rows[0].at("video_bitrate"), "-294967296");
  EXPECT_EQ(rows[0].at("convert_type"), "high");
  EXPECT_EQ(rows[0].at("updated"), "1");
}

TEST_P(VideoConvertTest, CopyOfAnUnknownVideoIsSkipped) {
  EXPECT_EQ(Save("mobile"), 0);
  EXPECT_THAT(Query("SELECT * FROM video_convert"), IsEmpty());
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(VideoConvertTest, MissingCopyIsSkipped) {
  IndexVideo();
  std::filesystem::remove(Path("a/it's.mp4"));
  EXPECT_EQ(Save("mobile"), 0);
  EXPECT_THAT(Query("SELECT * FROM video_convert"), IsEmpty());
}

TEST_P(VideoConvertTest, TopLevelAlbumDecidesConversion) {
  Run("INSERT INTO photo_share (shareid, sharename, conversion) VALUES (2, 'it''s', 'f'), "
      "(3, 'it''s/day', 't'), (4, 'on', 't'), (5, 'empty', ''), (6, 'null', NULL)");
  EXPECT_EQ(IsPathNeedConversion(Path("it's/v.avi").c_str()), 0);
  EXPECT_EQ(IsPathNeedConversion(Path("it's/day/v.avi").c_str()), 0);
  EXPECT_EQ(IsPathNeedConversion(Path("on/v.avi").c_str()), 1);
  EXPECT_EQ(IsPathNeedConversion(Path("empty/v.avi").c_str()), 1);
  EXPECT_EQ(IsPathNeedConversion(Path("null/v.avi").c_str()), 1);
  EXPECT_EQ(IsPathNeedConversion(Path("unknown/v.avi").c_str()), 1);
  EXPECT_EQ(IsPathNeedConversion(Path("v.avi").c_str()), 1);
  Run("UPDATE photo_share SET conversion = 'f' WHERE shareid = 1");
  EXPECT_EQ(IsPathNeedConversion(Path("v.avi").c_str()), 0);
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(VideoConvertTest, ExcludedFormatInAnyLetterCase) {
  EXPECT_EQ(IsExcludeFormat("a.tif"), 0);
  Run("INSERT INTO photo_config VALUES ('excluding_index_format', '.TIF;bmp')");
  EXPECT_EQ(IsExcludeFormat("a.tif"), 1);
  EXPECT_EQ(IsExcludeFormat("a.Bmp"), 1);
  EXPECT_EQ(IsExcludeFormat("a.jpg"), 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, VideoConvertTest, BothEngines(), EngineName);

}  // namespace
