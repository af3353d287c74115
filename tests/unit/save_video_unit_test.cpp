// The saves of a video's row and of its description.
#include <json/value.h>

#include <limits>

#include "support/fake_library.h"
#include "support/media_record.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class SaveVideoTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    WriteFile(path(), "");
  }

  std::string path() const { return shared() + "/trip/v.mp4"; }
  Json::Value Video() const {
    Json::Value info(Json::objectValue);
    info["szPath"] = path();
    info["szName"] = "v.mp4";
    info["szTitle"] = "v";
    info["szAlbum"] = "trip";
    FillVideo(info);
    info["rotation"] = 90;
    return info;
  }
  void AddRow(const std::string& gps) {
    Answer({.match = "SELECT path, gps FROM video ", .rows = {{{"path", path()}, {"gps", gps}}}});
  }
  static int Save(Json::Value info) { return PhotoInfoDBSave(PHOTO_TABLE_VIDEO, &info); }
  // The last statement that writes "video".
  static std::string Written() {
    std::string written;
    for (const auto& sql : FakePlatform::Get().statements) {
      if (sql.starts_with("INSERT INTO video(") || sql.starts_with("UPDATE video SET")) written = sql;
    }
    return written;
  }
};

TEST_F(SaveVideoTest, InsertsANewRow) {
  EXPECT_EQ(Save(Video()), 0);
  EXPECT_THAT(
      Written(),
      "INSERT INTO video(path, filesize, title, album, frame_bitrate, duration, resolutionX, resolutionY, "
      "audio_bitrate, frequency, channel, date, mdate, video_codec, audio_codec, video_profile, video_level, "
      "container_type, frame_rate_num, frame_rate_den, video_bitrate, gps, disabled, shareid, "
      "privilege_shareid, rotation, updated, lat, lng)VALUES('" +
          path() +
          "', 5000000000, 'v', 'trip', '1', '12', '640', '480', 2, 44100, 3, 'd', 'm', 'h264', 'aac', '4', "
          "'5', 'mov', '25', '6', '7', '', 'f', '-1', '-1', '6', '1', NULL, NULL)");
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(SaveVideoTest, UpdatesItsRow) {
  AddRow("");
  EXPECT_EQ(Save(Video()), 0);
  EXPECT_THAT(
      Written(),
      "UPDATE video SET filesize = 5000000000, title = 'v', album = 'trip', frame_bitrate = '1', duration = "
      "'12', resolutionX = '640', resolutionY = '480', audio_bitrate = '2', frequency = '44100', channel = "
      "'3', date = 'd', mdate = 'm', video_codec = 'h264', audio_codec = 'aac', video_profile = '4', "
      "video_level = '5', container_type = 'mov', frame_rate_num = '25', frame_rate_den = '6', "
      "video_bitrate = '7', gps = '', disabled = 'f', shareid = '-1', privilege_shareid = '-1', updated = "
      "'1', rotation = '6', lat = NULL, lng = NULL WHERE path = '" +
          path() + "'");
}

TEST_F(SaveVideoTest, RowKeepsItsPositionWhileTheFileHasNone) {
  AddRow("{\"lat\":\"1.000000\",\"lng\":\"2.000000\"}");
  EXPECT_EQ(Save(Video()), 0);
  EXPECT_THAT(Written(), HasSubstr("gps = '{\"lat\":\"1.000000\",\"lng\":\"2.000000\"}', "));
  EXPECT_THAT(Written(), HasSubstr("lat = NULL, lng = NULL"));
}

TEST_F(SaveVideoTest, KeptPositionIsCutToItsColumn) {
  AddRow(std::string(70, 'g'));
  EXPECT_EQ(Save(Video()), 0);
  EXPECT_THAT(Written(), HasSubstr("gps = '" + std::string(63, 'g') + "', "));
}

TEST_F(SaveVideoTest, FailsWhenTheRowCannotBeFetched) {
  Answer({.match = "SELECT path, gps FROM video ", .rows = {{{"gps", "kept"}}}, .fetch_fails = true});
  EXPECT_EQ(Save(Video()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# KAVODBFetchRow failed"));
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(SaveVideoTest, PositionOfTheSideFileReplacesTheRowsOwn) {
  AddRow("old");
  WriteFile(shared() + "/trip/@eaDir/v.mp4/KAVOPHOTO_GPS", "new");
  EXPECT_EQ(Save(Video()), 0);
  EXPECT_THAT(Written(), HasSubstr("gps = 'new', "));
}

TEST_F(SaveVideoTest, RotationBecomesAnOrientation) {
  const std::vector<std::pair<int, std::string>> codes = {{0, "1"},   {90, "6"},  {180, "3"}, {270, "8"},
                                                          {360, "1"}, {-90, "1"}, {91, "1"}};
  for (const auto& [degrees, code] : codes) {
    Json::Value info = Video();
    info["rotation"] = degrees;
    EXPECT_EQ(Save(info), 0);
    EXPECT_THAT(Written(), HasSubstr("'-1', '-1', '" + code + "', '1', NULL")) << degrees;
  }
}

TEST_F(SaveVideoTest, DurationIsAlwaysAnInteger) {
  using Limits = std::numeric_limits<double>;
  const std::vector<std::pair<double, std::string>> durations = {{-0.9, "0"},
                                                                 {1e300, "2147483647"},
                                                                 {-1e300, "-2147483648"},
                                                                 {Limits::quiet_NaN(), "0"},
                                                                 {Limits::infinity(), "2147483647"}};
  for (const auto& [duration, text] : durations) {
    Json::Value info = Video();
    info["duration"] = duration;
    EXPECT_EQ(Save(info), 0);
    EXPECT_THAT(Written(), HasSubstr("'1', '" + text + "', '640'")) << duration;
  }
}

TEST_F(SaveVideoTest, FailsWithoutACondition) {
  fake().failing_at = {{"KAVODBEscapeStringEX3", 4}};  // the format rule and two albums come before
  EXPECT_EQ(Save(Video()), -1);
  EXPECT_THAT(Messages(), Contains("photo_database.cpp:# Failed to KAVODBEscapeStringEX3 path: " + path()));
}

TEST_F(SaveVideoTest, FailsWithoutACursor) {
  Answer({.match = "SELECT path, gps FROM video", .result = -1});
  EXPECT_EQ(Save(Video()), -1);
  EXPECT_THAT(Messages().back(), "photo_database.cpp:# Error occurred, failed to get records.");
  EXPECT_THAT(Written(), IsEmpty());
}

TEST_F(SaveVideoTest, FailsWhenTheStatementFails) {
  Answer({.match = "INSERT INTO video(", .result = -1});
  EXPECT_EQ(Save(Video()), -1);
  EXPECT_THAT(Messages(),
              ElementsAre(StartsWith("photo_database.cpp (#) Failed to exec [INSERT INTO video(")));
}

TEST_F(SaveVideoTest, NoKeywordsAndNoPeopleFollow) {
  Answer({.match = "ms_people_tag_merged", .rows = {{{"config_value", "on"}}}});
  EXPECT_EQ(Save(Video()), 0);
  EXPECT_EQ(fake().Count("ProcessRunner"), 0);
  EXPECT_THAT(Sent("ms_people_tag_merged").size(), 1U);
}

// --- Descriptions.

class SaveVideoDescTest : public SaveVideoTest {
 protected:
  static int Save(const Json::Value& info) {
    Json::Value copy = info;
    return PhotoInfoDBSave(PHOTO_TABLE_VIDEO_DESC, &copy);
  }
  Json::Value Texts(const std::string& title, const std::string& description) const {
    Json::Value info = Video();
    info["szTitle"] = title;
    info["szDesc"] = description;
    return info;
  }
  static int Written() {
    const auto& statements = FakePlatform::Get().statements;
    return static_cast<int>(std::count_if(statements.begin(), statements.end(), [](const auto& sql) {
      return sql.find("video_desc") != std::string::npos;
    }));
  }
};

TEST_F(SaveVideoDescTest, DefaultTitleAloneIsNothingToStore) {
  Answer({.match = "ms_people_tag_merged", .rows = {{{"config_value", "on"}}}});
  EXPECT_EQ(Save(Texts("v", "")), 0);
  EXPECT_EQ(Save(Texts("vacation", "")), 0);  // agrees over the length of the stem
  EXPECT_EQ(Written(), 0);
  EXPECT_THAT(Sent("ms_people_tag_merged"), IsEmpty());
}

TEST_F(SaveVideoDescTest, NameWithoutADotIsComparedWhole) {
  Json::Value info = Texts("hol", "");
  info["szName"] = "holiday";
  EXPECT_EQ(Save(info), 0);
  EXPECT_EQ(Written(), 2);
  info["szTitle"] = "holiday";
  EXPECT_EQ(Save(info), 0);
  EXPECT_EQ(Written(), 2);
}

TEST_F(SaveVideoDescTest, InsertsANewRow) {
  EXPECT_EQ(Save(Texts("Trip", "")), 0);
  EXPECT_THAT(Sent("INSERT"),
              ElementsAre("INSERT INTO video_desc (path, title, description, updated) VALUES ('" + path() +
                          "', 'Trip', '', '1')"));
}

TEST_F(SaveVideoDescTest, UpdatesItsRow) {
  Answer({.match = "SELECT path FROM video_desc", .rows = {{{"path", path()}}}});
  EXPECT_EQ(Save(Texts("v", "text")), 0);
  EXPECT_THAT(Sent("UPDATE"),
              ElementsAre("UPDATE video_desc SET title = 'v', description = 'text', updated = '1' "
                          "where path = '" +
                          path() + "'"));
}

TEST_F(SaveVideoDescTest, FailsWithoutACondition) {
  fake().failing_at = {{"KAVODBEscapeStringEX3", 2}};
  EXPECT_EQ(Save(Texts("Trip", "")), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Failed to KAVODBEscapeStringEX3 path: " + path()));
}

TEST_F(SaveVideoDescTest, FailsWithoutACursor) {
  Answer({.match = "SELECT path FROM video_desc", .result = -1});
  EXPECT_EQ(Save(Texts("Trip", "")), -1);
  EXPECT_THAT(Messages().back(), "photo_database.cpp (#) Error occurred, failed to get records.");
}

TEST_F(SaveVideoDescTest, FailsWhenTheStatementCannotBeBuiltOrFails) {
  fake().failing_at = {{"KAVODBEscapeStringEX3", 3}};
  EXPECT_EQ(Save(Texts("Trip", "")), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Fail to escape string"));
  Answer({.match = "INSERT INTO video_desc", .result = -1});
  EXPECT_EQ(Save(Texts("Trip", "")), -1);
  EXPECT_THAT(Messages().back(), StartsWith("photo_database.cpp (#) Failed to exec [INSERT INTO video_desc"));
}

}  // namespace
