// Reading rows, counts and configuration.
#include "photo_database/cursor.h"

#include <gmock/gmock.h>

#include <cstring>

#include "base/owned_list.h"
#include "lumivault/photo_database.h"
#include "support/databases.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class CursorTest : public LibraryTest {
 protected:
  // NAME is part of a statement: quotes doubled.
  void AddPhoto(const std::string& name, const std::string& title = "") {
    Run("INSERT INTO photo_image (path, title) VALUES ('" + Key(name) + "', '" + title + "')");
  }
  void SetConfig(const std::string& key, const std::string& value) {
    Run("INSERT INTO photo_config VALUES ('" + key + "', '" + value + "')");
  }
  // The title of the photo found, "none" without one.
  std::string TitleOf(const std::string& name) {
    KAVO_MEDIA_INFO record;
    return PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Path(name).c_str(), &record) == 0 ? record.szTitle : "none";
  }
  static std::vector<std::string> ExcludedFormats() {
    const OwnedList list(PhotoInfoDBExcludeFormatListGet());
    EXPECT_NE(list, nullptr);
    std::vector<std::string> formats;
    for (int i = 0; i < RLIBCSzListCount(list.get()); ++i)
      formats.emplace_back(RLIBCSzListGet(list.get(), i));
    return formats;
  }
  static std::vector<std::string> Titles(Cursor& cursor) {
    std::vector<std::string> titles;
    while (cursor.Next()) titles.emplace_back(cursor.Field("title"));
    return titles;
  }
};

TEST_P(CursorTest, NoRowIsACursorWithNothingInIt) {
  const Cursor cursor(PHOTO_TABLE_IMAGE, nullptr, "id > 0", nullptr, 0, 0);
  ASSERT_TRUE(cursor);
  EXPECT_EQ(cursor.count(), 0);
  KAVO_MEDIA_INFO record;
  std::memset(&record, 0xff, sizeof record);
  EXPECT_EQ(PhotoInfoDBGet(cursor.get(), &record), -1);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&record), sizeof record),
            std::string(sizeof record, '\0'));
}

TEST_P(CursorTest, OrderLimitAndOffset) {
  for (const char* title : {"b", "d", "a", "c"}) AddPhoto(title, title);
  Cursor all(PHOTO_TABLE_IMAGE, "title", nullptr, "title", 0, 0);
  EXPECT_EQ(all.count(), 4);
  EXPECT_THAT(Titles(all), ElementsAre("a", "b", "c", "d"));
  Cursor none_left_out(PHOTO_TABLE_IMAGE, "title", nullptr, "title", -1, -1);
  EXPECT_EQ(none_left_out.count(), 4);
  Cursor middle(PHOTO_TABLE_IMAGE, "title", nullptr, "title desc", 1, 2);
  EXPECT_THAT(Titles(middle), ElementsAre("c", "b"));
}

TEST_P(CursorTest, CursorKeepsItsRowsWhileOthersWrite) {
  AddPhoto("a.jpg", "before");
  Cursor cursor(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, 0, 0);
  EXPECT_EQ(PhotoDBExec("UPDATE photo_image SET title = 'after'"), 1);
  EXPECT_THAT(Titles(cursor), ElementsAre("before"));
}

TEST_P(CursorTest, LikeComparesLetterCase) {
  AddPhoto("a.jpg", "lower");
  AddPhoto("A.JPG", "upper");
  EXPECT_EQ(TitleOf("a.jpg"), "lower");
  EXPECT_EQ(TitleOf("A.JPG"), "upper");
  EXPECT_EQ(TitleOf("A.jpg"), "none");
}

TEST_P(CursorTest, WildcardsInANameMatchThemselves) {
  AddPhoto("100x_a.jpg", "other");
  EXPECT_EQ(TitleOf("100%_a.jpg"), "none");
  AddPhoto("100%_a.jpg", "percent");
  EXPECT_EQ(TitleOf("100%_a.jpg"), "percent");
  AddPhoto("back\\slash.jpg", "backslash");
  EXPECT_EQ(TitleOf("back\\slash.jpg"), "backslash");
  AddPhoto("it''s.jpg", "quote");
  EXPECT_EQ(TitleOf("it's.jpg"), "quote");
}

TEST_P(CursorTest, OneRecordHasItsAbsolutePath) {
  AddPhoto("trip/a.jpg", "T");
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Path("trip/a.jpg").c_str(), &record), 0);
  EXPECT_EQ(record.szPath, Path("trip/a.jpg"));
  EXPECT_STREQ(record.szTitle, "T");
  EXPECT_GT(record.ID, 0U);
}

TEST_P(CursorTest, SuffixFindsAPathThatEndsWithTheKey) {
  Run("INSERT INTO photo_image (path, title) VALUES ('/elsewhere" + Key("trip/a.jpg") + "', 'T')");
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(PhotoInfoDBGetOneEx(PHOTO_TABLE_IMAGE, Path("trip/a.jpg").c_str(), &record, 0), -1);
  EXPECT_EQ(PhotoInfoDBGetOneEx(PHOTO_TABLE_IMAGE, Path("trip/a.jpg").c_str(), &record, 1), 0);
  EXPECT_STREQ(record.szTitle, "T");
}

TEST_P(CursorTest, PhotoRecordEndsWithoutSizeAndDate) {
  Run("INSERT INTO photo_image (path, size, create_time, resolutionx, resolutiony, timetaken) VALUES ('" +
      Key("a.jpg") + "', 77, '2024-01-01', 640, 480, '2023-12-31 10:00:00')");
  KAVO_MEDIA_INFO record;
  ASSERT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Path("a.jpg").c_str(), &record), 0);
  EXPECT_EQ(record.fileSize, 0U);
  EXPECT_STREQ(record.szDate, "");
  EXPECT_EQ(record.resolutionX, 640);
  EXPECT_EQ(record.resolutionY, 480);
  EXPECT_STREQ(record.szTakenTime, "2023-12-31 10:00:00");
}

TEST_P(CursorTest, VideoRecord) {
  Run("INSERT INTO video (path, filesize, duration, frame_bitrate, video_codec, date, mdate, video_level) "
      "VALUES ('" +
      Key("v.mp4") + "', 5000000000, 12, 4000000000, 'h264', 'd', 'm', NULL)");
  KAVO_MEDIA_INFO record;
  ASSERT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_VIDEO, Path("v.mp4").c_str(), &record), 0);
  EXPECT_EQ(record.fileSize, 5'000'000'000U);
  EXPECT_EQ(record.duration, 12.0F);
  EXPECT_EQ(record.frame_bitrate, 4'000'000'000U);
  EXPECT_STREQ(record.szVideoCodec, "h264");
  EXPECT_STREQ(record.szDate, "d");
  EXPECT_STREQ(record.szMDate, "m");
  EXPECT_EQ(record.videoLevel, 0);
}

TEST_P(CursorTest, CountOfARawCondition) {
  Run("INSERT INTO photo_share (shareid, sharename) VALUES (2, 'it''s'), (3, 'x'' OR ''a''=''a')");
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", " sharename='it's' ", ""), 1);
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", " sharename='x' OR 'a'='a' ", ""), 1);
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", " sharename='none' ", ""), 0);
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", nullptr, nullptr), 3);
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(CursorTest, CountOfGroups) {
  Run("INSERT INTO photo_share (shareid, sharename, public) VALUES (2, 'a', 'f'), (3, 'b', 'f')");
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "public", nullptr, "public"), 2);
}

TEST_P(CursorTest, ConditionThatIsMoreThanOneComparisonIsNotCounted) {
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", "1=1; DELETE FROM photo_share", ""), -1);
  EXPECT_EQ(Value("SELECT shareid FROM photo_share"), "1");
}

TEST_P(CursorTest, ACountRunsNoSecondStatement) {
  for (const char* condition :
       {"1=1 -- '\n; DELETE FROM photo_share --'", "shareid=1 -- '\n; DELETE FROM photo_share --'",
        "sharename = $$'$$; DELETE FROM photo_share --'", "sharename = E'\\'; DELETE FROM photo_share --'"}) {
    EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", condition, ""), -1) << condition;
    EXPECT_EQ(Value("SELECT shareid FROM photo_share"), "1") << condition;
  }
}

TEST_P(CursorTest, EmptyConditionIsRefusedByTheEngine) {
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_SHARE, nullptr, "", nullptr, nullptr, 0, 0), nullptr);
  ASSERT_EQ(SyslogCapture::Messages().size(), 1U);
  EXPECT_THAT(SyslogCapture::Messages()[0],
              StartsWith(std::string("photo_database.cpp (#) Failed to exec [") +
                         (personal() ? "PRAGMA case_sensitive_like=true; " : "") +
                         "SELECT * FROM photo_share WHERE   ] ("));
}

TEST_P(CursorTest, EmptyConditionIsNotCounted) {
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", "", ""), -1);
  EXPECT_EQ(SyslogCapture::Messages().size(), 1U);
}

TEST_P(CursorTest, ConfigurationValueThatIsNullIsEmpty) {
  Run("INSERT INTO photo_config VALUES ('k', NULL)");
  char out[128] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), 0);
  EXPECT_STREQ(out, "");
}

TEST_P(CursorTest, ConfigurationValue) {
  SetConfig("account_system", "0");
  char out[128] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("none", out, sizeof out), -1);
  EXPECT_STREQ(out, "before");
  EXPECT_EQ(PhotoInfoDBConfigGet("account_system", out, sizeof out), 0);
  EXPECT_STREQ(out, "0");
}

TEST_P(CursorTest, ExcludedFormats) {
  EXPECT_THAT(ExcludedFormats(), IsEmpty());
  SetConfig("excluding_index_format", "tif, .bmp;;PNG");
  EXPECT_THAT(ExcludedFormats(), ElementsAre("tif", "bmp", "PNG"));
}

INSTANTIATE_TEST_SUITE_P(Engines, CursorTest, BothEngines(), EngineName);

}  // namespace
