// The save of a photo's row, the checks before every save, and what follows the row.
#include <json/value.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "support/save_library.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// --- Entry checks.

using SaveEntryTest = SaveTest;

TEST_F(SaveEntryTest, WithoutARecord) {
  EXPECT_EQ(PhotoInfoDBSave(PHOTO_TABLE_IMAGE, nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad parameter"));
  EXPECT_THAT(fake().calls, IsEmpty());
}

TEST_F(SaveEntryTest, WithoutAConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages(), Contains("photo_database.cpp (#) Failed to connect to photo database"));
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(SaveEntryTest, PathThatIsNotUtf8) {
  Json::Value info = Photo();
  info["szPath"] = shared() + "/\xE9.jpg";
  EXPECT_EQ(Save(info), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Invalid path : " + shared() + "/\xE9.jpg"));
}

TEST_F(SaveEntryTest, PathWithoutADot) {
  UsePersonal();
  Json::Value info = Photo();
  info["szPath"] = personal() + "/trip/b";
  EXPECT_EQ(Save(info), -1);
  EXPECT_THAT(Messages(), ElementsAre("Can't get file extenion: trip/b"));
}

TEST_F(SaveEntryTest, ExtensionIsSoughtInTheStoredPathOnly) {
  UsePersonal();
  fake().personal_folders["alice"] = personal();
  Json::Value info = Photo();
  info["szPath"] = personal() + "/a.b/c";
  EXPECT_EQ(Save(info), 0);
}

TEST_F(SaveEntryTest, OtherTablesAreRejected) {
  // 15 is the last value that the enumeration can have without having it.
  for (const int type : {2, 3, 4, 11, 13, 14, 15}) {
    SyslogCapture::Clear();
    EXPECT_EQ(Save(Photo(), type), -1) << type;
    EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad table type.")) << type;
  }
}

TEST_F(SaveEntryTest, ARecordThatIsNoObjectHasNoPath) {
  for (const Json::Value& info :
       {Json::Value(3), Json::Value("x"), Json::Value(Json::arrayValue), Json::Value()}) {
    SyslogCapture::Clear();
    EXPECT_EQ(Save(info), -1);
    EXPECT_THAT(Messages(), ElementsAre("Can't get file extenion: "));
  }
}

TEST_F(SaveEntryTest, MembersOfOtherKindsReadAsEmpty) {
  Json::Value info = Photo();
  info["szTitle"] = Json::Value(Json::arrayValue);
  info["szMake"] = Json::Value();
  info["resolutionX"] = "wide";
  info["iso"] = Json::Value(Json::objectValue);
  info["fileSize"] = "big";
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Written(), HasSubstr("'b.jpg', '', '', 'trip', 0, '', 'Model', '1/60', '2.8', 0, 300, 0,"));
}

// Saves INFO again and again, each time with the next call of FUNCTION failing, until there is none.
void SaveWithEachCallFailing(const std::string& function, const Json::Value& info) {
  FakePlatform& fake = FakePlatform::Get();
  for (int number = 1;; ++number) {
    SCOPED_TRACE(function + " " + std::to_string(number));
    const int failing = fake.Count(function + "(") + number;
    fake.failing_at = {{function, failing}};
    fake.without_result.clear();
    Json::Value copy = info;
    const int result = PhotoInfoDBSave(PHOTO_TABLE_IMAGE, &copy);
    const bool written =
        std::any_of(fake.without_result.begin(), fake.without_result.end(), [](const std::string& sql) {
          return sql.starts_with("INSERT INTO photo_image (path") ||
                 sql.starts_with("UPDATE photo_image SET");
        });
    EXPECT_EQ(result, written ? 0 : -1);
    EXPECT_EQ(fake.open_connections, 0);
    EXPECT_EQ(fake.open_results, 0);
    if (fake.Count(function + "(") < failing) break;
    ASSERT_LT(number, 100);
  }
}

TEST_F(SaveEntryTest, PersonalConnectionIsClosedOnEveryWay) {
  UsePersonal();
  Json::Value info = Photo();
  info["szPath"] = personal() + "/trip/b.jpg";
  for (const bool has_row : {false, true}) {
    SCOPED_TRACE(has_row ? "with a row" : "without a row");
    if (has_row) AddRow("title", "text");
    for (const char* function :
         {"KAVODBConnect", "RLIBCUnicodeIsUTF8", "KAVODBEscapeStringEX3", "KAVODBExecute",
          "KAVODBSelectLimit", "KAVODBFetchRow", "RLIBCSzListAlloc"}) {
      SaveWithEachCallFailing(function, info);
    }
  }
}

// --- New photos.

using SavePhotoTest = SaveTest;

TEST_F(SavePhotoTest, InsertsANewRow) {
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(),
              "INSERT INTO photo_image (path, name, title, description, album, size, camera_make, "
              "camera_model, exposure, "
              "aperture, resolutionx, resolutiony, iso, timetaken, updated, create_time, version, gps, "
              "disabled, shareid, "
              "privilege_shareid, rotation, lat, lng, focal_length_v2, lens_v2, flash_v2) VALUES('" +
                  shared() +
                  "/trip/b.jpg', 'b.jpg', 'b', '', 'trip', 5000000000, 'Make', 'Model', '1/60', '2.8', 400, "
                  "300, 100, "
                  "'2020-01-02 03:04:05', '1', '2021-01-01 00:00:00', 0, '', 'f', '-1', '-1', '0', NULL, "
                  "NULL, '', '', "
                  "'')");
}

TEST_F(SavePhotoTest, UpdatesItsRow) {
  AddRow("", "");
  Json::Value info = Photo();
  info["szDesc"] = "text";
  Answer({.match = "SELECT shareid FROM photo_share", .rows = {{{"shareid", "5"}}}});
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(
      Written(),
      "UPDATE photo_image SET name = 'b.jpg', title = 'b', description = 'text', album = 'trip', size = "
      "5000000000, "
      "camera_make = 'Make', camera_model = 'Model', exposure = '1/60', aperture = '2.8', resolutionx = 400, "
      "resolutiony = 300, iso = 100, timetaken = '2020-01-02 03:04:05', updated = '1', create_time = "
      "'2021-01-01 00:00:00', version = '0', gps = '', disabled = 'f', shareid = '5', privilege_shareid = "
      "'5', "
      "rotation = '0', lat = NULL, lng = NULL, focal_length_v2 = '', lens_v2 = '', flash_v2 = '' where path "
      "= '" +
          shared() + "/trip/b.jpg'");
}

TEST_F(SavePhotoTest, LooksForTheRowByItsStoredPath) {
  UsePersonal();
  Json::Value info = Photo();
  info["szPath"] = personal() + "/trip/b.jpg";
  EXPECT_EQ(Save(info), 0);
  EXPECT_EQ(
      fake().Count("KAVODBSelectLimit(PRAGMA case_sensitive_like=true; SELECT path, title, description FROM "
                   "photo_image WHERE path = 'trip/b.jpg'  , 0, 0)"),
      1);
  EXPECT_THAT(Written(), HasSubstr("VALUES('trip/b.jpg', 'b.jpg', 'b',"));
}

TEST_F(SavePhotoTest, ExcludedFormatIsDisabled) {
  Answer({.match = "excluding_index_format", .rows = {{{"config_value", "gif, jpg"}}}});
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("0, '', 't', '-1'"));
}

TEST_F(SavePhotoTest, FailsWithoutACondition) {
  // The first text is the one of IsExcludeFormat.
  fake().failing_at = {{"KAVODBEscapeStringEX3", 2}};
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages(), Contains("photo_database.cpp:# Failed to KAVODBEscapeStringEX3 path: " + shared() +
                                   "/trip/b.jpg"));
}

TEST_F(SavePhotoTest, FailsWithoutACursor) {
  Answer({.match = "SELECT path, title, description", .result = -1});
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages(), Contains("photo_database.cpp (#) Error occurred, failed to get records."));
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
}

TEST_F(SavePhotoTest, FailsWhenTheRowCannotBeFetched) {
  Answer({.match = "SELECT path, title, description", .rows = {{{"path", "x"}}}, .fetch_fails = true});
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages(), Contains("photo_database.cpp:# KAVODBFetchRow failed"));
  EXPECT_THAT(Sent("UPDATE"), IsEmpty());
}

TEST_F(SavePhotoTest, FailsWhenTheStatementCannotBeBuilt) {
  EXPECT_EQ(Save(Photo()), 0);
  // The same template text is the same number among the calls of the second save.
  std::vector<std::string> built;
  for (const auto& call : fake().calls) {
    if (call.starts_with("KAVODBEscapeStringEX3(")) built.push_back(call);
  }
  const auto insert = std::find_if(built.begin(), built.end(), [](const auto& call) {
    return call.find("INSERT INTO photo_image (path") != std::string::npos;
  });
  ASSERT_NE(insert, built.end());
  const auto number = static_cast<int>(built.end() - built.begin() + (insert - built.begin()) + 1);
  fake().failing_at = {{"KAVODBEscapeStringEX3", number}};
  SyslogCapture::Clear();
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages().back(), "photo_database.cpp (#) Fail to escape string");
}

TEST_F(SavePhotoTest, FailsWhenTheStatementFails) {
  Answer({.match = "INSERT INTO photo_image", .result = -1});
  EXPECT_EQ(Save(Photo()), -1);
  EXPECT_THAT(Messages().back(),
              StartsWith("photo_database.cpp (#) Failed to exec [INSERT INTO photo_image (path"));
  EXPECT_THAT(Messages().back(), HasSubstr("] (the error)"));
  EXPECT_EQ(fake().Count("ProcessRunner(/usr/kavo/bin/exiv2 -K Xmp.dc.subject"), 0);
}

TEST_F(SavePhotoTest, ThumbnailsVersionIsStored) {
  const std::string thumbnail = shared() + "/trip/@eaDir/b.jpg/KAVOPHOTO_THUMB_XL.jpg";
  WriteFile(thumbnail, "");
  fake().resolutions[thumbnail] = {3, 4};
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Written(), HasSubstr("'2021-01-01 00:00:00', 1, ''"));
}

TEST_F(SavePhotoTest, WritesThroughOneStatementWithoutAResult) {
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_EQ(fake().Count("KAVODBExecute(INSERT INTO photo_image (path"), 1);
  EXPECT_THAT(fake().without_result, Contains(StartsWith("INSERT INTO photo_image (path")));
}

// --- What follows the row.

class SaveStepsTest : public SaveTest {
 protected:
  void SwitchPeopleOn(const std::string& value) {
    Answer({.match = "ms_people_tag_merged", .rows = {{{"config_value", value}}}});
  }
  int KeywordSteps() const {
    return static_cast<int>(Sent("DELETE FROM photo_image_label WHERE image_id = 7 AND label_id IN").size());
  }
  int PeopleSteps() const { return fake().Count("ProcessRunner(/usr/kavo/bin/exiv2 -Pkt"); }
};

TEST_F(SaveStepsTest, KeywordsFollowEveryInsert) {
  Json::Value info = Photo();
  info["szPath"] = shared() + "/trip/b.gif";
  EXPECT_EQ(Save(info), 0);
  EXPECT_EQ(KeywordSteps(), 1);
}

TEST_F(SaveStepsTest, KeywordsFollowAnUpdateOfSomeFormats) {
  AddRow("t", "");
  Json::Value info = Photo();
  info["szPath"] = shared() + "/trip/b.gif";
  EXPECT_EQ(Save(info), 0);
  EXPECT_EQ(KeywordSteps(), 0);
  info["szPath"] = shared() + "/trip/b.NEF";
  EXPECT_EQ(Save(info), 0);
  EXPECT_EQ(KeywordSteps(), 1);
}

TEST_F(SaveStepsTest, PeopleAreMergedWhenSwitchedOn) {
  EXPECT_EQ(Save(Photo()), 0);
  SwitchPeopleOn("off");
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_EQ(PeopleSteps(), 0);
  fake().answers.pop_back();
  SwitchPeopleOn("on");
  WriteFile(shared() + "/trip/b.jpg", "");
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_GT(PeopleSteps(), 0);
}

TEST_F(SaveStepsTest, TheirFailuresDoNotFailTheSave) {
  SwitchPeopleOn("on");
  fake().answers.erase(fake().answers.begin());  // the photo's id
  EXPECT_EQ(Save(Photo()), 0);
  EXPECT_THAT(Messages(),
              Contains("photo_database.cpp:# PhotoInfoDBPhotoIdGet failed for " + shared() + "/trip/b.jpg.")
                  .Times(2));
}

TEST_F(SaveStepsTest, KeywordsComeBeforePeople) {
  SwitchPeopleOn("on");
  WriteFile(shared() + "/trip/b.jpg", "");
  EXPECT_EQ(Save(Photo()), 0);
  const auto first = [](const std::string& part) {
    const auto& calls = fake().calls;
    return std::find_if(calls.begin(), calls.end(),
                        [&](const auto& call) { return call.find(part) != std::string::npos; });
  };
  EXPECT_LT(first("INSERT INTO photo_image (path"), first("Xmp.dc.subject"));
  EXPECT_LT(first("Xmp.dc.subject"), first("DELETE FROM photo_image_label"));
  EXPECT_LT(first("DELETE FROM photo_image_label"), first("ms_people_tag_merged"));
  EXPECT_LT(first("ms_people_tag_merged"), first("exiv2 -Pkt"));
  EXPECT_NE(first("exiv2 -Pkt"), fake().calls.end());
}

TEST_F(SaveStepsTest, AnExceptionInOneLeavesTheRestAsItIs) {
  SwitchPeopleOn("on");
  Answer({.match = "SELECT rotation", .rows = {{{"rotation", "1"}}}});
  WriteFile(shared() + "/trip/b.jpg", "");
  for (const std::string step : {"Xmp.dc.subject", "-Pkt"}) {
    SyslogCapture::Clear();
    fake().calls.clear();
    fake().on_program = [&](const std::string& command) {
      if (command.find(step) != std::string::npos) throw std::runtime_error("thrown");
    };
    EXPECT_EQ(Save(Photo()), 0) << step;
    EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Unexpected error: thrown"));
    EXPECT_GT(PeopleSteps(), 0) << step;
  }
}

TEST_F(SaveStepsTest, NothingFollowsOnceTheRequestIsLost) {
  UsePersonal();
  SwitchPeopleOn("on");
  Json::Value info = Photo();
  info["szPath"] = personal() + "/trip/b.jpg";
  WriteFile(personal() + "/trip/b.jpg", "");
  // The library is switched off while the position is read.
  fake().on_program = [](const std::string&) { fake().key_values.clear(); };
  EXPECT_EQ(Save(info), 0);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# HGAStatusCheck failed for " + personal() + "/trip/b.jpg."));
  EXPECT_THAT(Sent("ms_people_tag_merged"), IsEmpty());
  fake().personal_folders.clear();
}

}  // namespace
