// The texts of a saved row: its taken time, title and description.
#include <json/value.h>

#include <algorithm>

#include "support/save_library.h"

namespace {

using testing::HasSubstr;

// --- Taken time.

class TakenTimeTest : public SaveTest {
 protected:
  // What is stored for TEXT.
  std::string Stored(const std::string& text) {
    fake().statements.clear();
    Json::Value info = Photo();
    info["szTakenTime"] = text;
    EXPECT_EQ(Save(info), 0);
    const std::string sql = Written();
    const auto start = sql.find("400, 300, 100, '") + std::strlen("400, 300, 100, '");
    return sql.substr(start, sql.find("', '1', '2021") - start);
  }
};

TEST_F(TakenTimeTest, ATimeIsStoredAsItIs) {
  EXPECT_EQ(Stored("2020-01-02 03:04:05"), "2020-01-02 03:04:05");
  EXPECT_EQ(Stored("1901-01-01 00:00:00"), "1901-01-01 00:00:00");
  EXPECT_EQ(Stored("2020-1-2 3:4:5"), "2020-1-2 3:4:5");
}

TEST_F(TakenTimeTest, WhatIsNoTimeBecomesTheEpoch) {
  for (const char* text :
       {"", "0000-00-00 00:00:00", "0000:00:00 00:00:00", "soon", "2020-01-02", "2020-13-01 00:00:00",
        "2020-01-00 00:00:00", "1900-01-01 00:00:00", "1899-01-01 00:00:00"}) {
    EXPECT_EQ(Stored(text), "1970-01-01 00:00:00") << text;
  }
}

TEST_F(TakenTimeTest, TheValueIsItsOwnFormat) {
  EXPECT_EQ(Stored("2020-01-02 03:04:05 100%% %d%n"), "2020-01-02 03:04:05 100% 0");
  EXPECT_EQ(Stored("2020-01-02 03:04:05%99999999d").size(), 254U);
}

// --- Title and description.

using SaveTitleTest = SaveTest;

TEST_F(SaveTitleTest, EditedTitleOutlivesTheDefault) {
  AddRow("My trip", "");
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("title = 'My trip'"));
}

TEST_F(SaveTitleTest, GivenTitleReplacesTheEditedOne) {
  AddRow("My trip", "");
  Json::Value info = Photo();
  info["szTitle"] = "given";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("title = 'given'"));
}

TEST_F(SaveTitleTest, StemEndsAtTheFirstDot) {
  AddRow("My trip", "");
  Json::Value info = Photo();
  info["szName"] = "a.b.jpg";
  info["szTitle"] = "a.b";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("title = 'My trip'"));
}

TEST_F(SaveTitleTest, NameThatBeginsWithADotHasAnEmptyStem) {
  AddRow("My trip", "");
  Json::Value info = Photo();
  info["szName"] = ".hidden.jpg";
  info["szTitle"] = "given";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("title = 'My trip'"));
}

TEST_F(SaveTitleTest, NameWithoutADotIsComparedOverTheTitle) {
  AddRow("My trip", "");
  Json::Value info = Photo();
  info["szName"] = "holiday";
  info["szTitle"] = "holi";
  EXPECT_EQ(Save(info), 0);
  info["szTitle"] = "holz";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Sent("title = 'My trip'").size(), 1U);
  EXPECT_THAT(Sent("title = 'holz'").size(), 1U);
}

TEST_F(SaveTitleTest, EmptyTitleOfTheRowIsReplaced) {
  AddRow("", "");
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("title = 'b'"));
}

TEST_F(SaveTitleTest, NewRowTakesTheGivenTitle) {
  Json::Value info = Photo();
  info["szTitle"] = "";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("'b.jpg', '', '', 'trip'"));
}

TEST_F(SaveTitleTest, LongTextsAreCutAtACharacter) {
  std::string text(4093, 'x');
  text += "\xE2\x82\xAC and more";
  Json::Value info = Photo();
  info["szTitle"] = text;
  info["szDesc"] = text + text;
  EXPECT_EQ(Save(info), 0);
  const std::string cut(4093, 'x');
  EXPECT_THAT(Written(), HasSubstr("'b.jpg', '" + cut + "', '" + cut + "', 'trip'"));
}

TEST_F(SaveTitleTest, BytesOfACodePageAreConverted) {
  Json::Value info = Photo();
  info["szTitle"] = "caf\xE9";
  info["szMake"] = std::string("caf\xC3\xA9\xE2\x82");  // cut in a character
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("'b.jpg', 'caf\xC3\xA9', ''"));
  EXPECT_THAT(Written(), HasSubstr("'caf\xC3\xA9', 'Model'"));
}

using SaveDescriptionTest = SaveTest;

TEST_F(SaveDescriptionTest, RowsOwnIsKeptWithoutAnother) {
  AddRow("t", "kept");
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("description = 'kept'"));
}

TEST_F(SaveDescriptionTest, MetadataReplacesTheRowsOwn) {
  AddRow("t", "old");
  MakeJpeg(shared() + "/trip/b.jpg", 8, 6, {{"Iptc.Application2.Caption", "Sunset at sea"}});
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("description = 'Sunset at sea'"));
}

TEST_F(SaveDescriptionTest, EmptyMetadataReplacesTheRowsOwn) {
  AddRow("t", "old");
  MakeJpeg(shared() + "/trip/b.jpg", 8, 6);
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("description = '',"));
}

TEST_F(SaveDescriptionTest, RecordsOwnComesFirst) {
  MakeJpeg(shared() + "/trip/b.jpg", 8, 6, {{"Iptc.Application2.Caption", "Sunset"}});
  Json::Value info = Photo();
  info["szDesc"] = "given";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("'b', 'given', 'trip'"));
}

TEST_F(SaveDescriptionTest, MetadataFillTheOtherColumns) {
  MakeJpeg(shared() + "/trip/b.jpg", 8, 6,
           {{"Exif.Image.Orientation", "6"},
            {"Exif.Photo.FocalLength", "50/1"},
            {"Exif.Photo.Flash", "1"},
            {"Xmp.aux.Lens", "A lens"}});
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("'6', NULL, NULL, '50.0 mm', 'A lens', 'Fired')"));
}

TEST_F(SaveDescriptionTest, BytesOfMetadataAreConverted) {
  MakeJpeg(shared() + "/trip/b.jpg", 8, 6, {{"Exif.Image.ImageDescription", "caf\xE9"}});
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("'b', 'caf\xC3\xA9', 'trip'"));
}

}  // namespace
