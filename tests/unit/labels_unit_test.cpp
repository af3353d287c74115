#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/owned_list.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "support/fake_platform.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kForeignKeys = "PRAGMA foreign_keys = ON;";
constexpr const char* kSharedPhoto = "/volume1/photo/a.jpg";

std::string Logged(const std::string& text) {
  return "photo_database.cpp:# " + text;
}

std::vector<std::string> Lines(const RLIBCSZLIST* list) {
  std::vector<std::string> lines;
  for (int i = 0; i < RLIBCSzListCount(list); ++i) lines.emplace_back(RLIBCSzListGet(list, i));
  return lines;
}

// No operation may leave a connection of its own or a result behind.
class LabelStoreTest : public testing::Test {
 protected:
  void SetUp() override {
    FakePlatform::Reset();
    gHGAInformation = {};
  }
  void TearDown() override {
    PhotoDBConnClose();
    EXPECT_EQ(fake().open_connections, 0);
    EXPECT_EQ(fake().open_results, 0);
    EXPECT_EQ(fake().Count("RLIBCSzListAlloc"), fake().Count("RLIBCSzListFree") + failed_lists_);
    gHGAInformation = {};
  }

  static FakePlatform& fake() { return FakePlatform::Get(); }
  static void Answer(const std::string& match, const std::vector<std::map<std::string, std::string>>& rows,
                     bool once = false) {
    fake().answers.push_back({.match = match, .rows = rows, .once = once});
  }
  static void Fail(const std::string& match) { fake().answers.push_back({.match = match, .result = -1}); }

  // Makes the library of alice and the request one of hers; a photo in it.
  std::string PersonalPhoto() {
    photos_ = fake().AddPersonalLibrary(dir_.path(), "alice");
    EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
    return photos_ + "/2024/a.jpg";
  }

  TempDir dir_;
  std::string photos_;
  int failed_lists_ = 0;
};

// --- The face switch.

TEST_F(LabelStoreTest, FacesAreOnOnlyForTheValueOn) {
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  for (const auto& [value, expected] :
       std::map<std::string, bool>{{"on", true}, {"off", false}, {"", false}}) {
    fake().answers = {{.match = "photo_config", .rows = {{{"config_value", value}}}}};
    EXPECT_EQ(PhotoInfoDBFaceRecognitionEnableGet(), expected) << value;
  }
  fake().answers = {{.match = "photo_config", .rows = {{}}}};
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  EXPECT_EQ(fake().statements[0], "select * from photo_config where config_key = 'enable_face_recognition'");
}

TEST_F(LabelStoreTest, FaceSwitchThatCannotBeReadIsOff) {
  Fail("photo_config");
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(Logged("Failed to exec [select * from photo_config where config_key = "
                                 "'enable_face_recognition'] (the error)")));
}

// --- Labels.

constexpr const char* kFindSea = "select * from photo_label where category = 2 and name = 'sea'";

TEST_F(LabelStoreTest, ExistingLabelGivesItsId) {
  Answer(kFindSea, {{{"id", "17"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), 17);
  EXPECT_THAT(fake().statements, ElementsAre(kFindSea));
}

TEST_F(LabelStoreTest, SharedDatabaseNumbersItsLabels) {
  Answer(kFindSea, {}, true);
  Answer(kFindSea, {{{"id", "18"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), 18);
  EXPECT_THAT(fake().statements,
              ElementsAre(kFindSea, "insert into photo_label (category, name) values (2, 'sea')", kFindSea));
}

TEST_F(LabelStoreTest, PersonalLabelTakesTheHighestIdAndOne) {
  const std::string photo = PersonalPhoto();
  Answer(kFindSea, {}, true);
  Answer(kFindSea, {{{"id", "8"}}});
  Answer("order by id desc limit 1", {{{"id", "7"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), 8);
  EXPECT_THAT(fake().statements,
              ElementsAre(kForeignKeys, kFindSea, "select * from photo_label order by id desc limit 1",
                          "insert into photo_label (id, category, name) values (8, 2, 'sea')", kFindSea));
}

TEST_F(LabelStoreTest, FirstPersonalLabelGetsTheId1) {
  const std::string photo = PersonalPhoto();
  Answer(kFindSea, {}, true);
  Answer(kFindSea, {{{"id", "1"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), 1);
  EXPECT_EQ(fake().statements[3], "insert into photo_label (id, category, name) values (1, 2, 'sea')");
}

TEST_F(LabelStoreTest, PersonalLabelGetsTheId1WhenTheHighestCannotBeTold) {
  const std::string photo = PersonalPhoto();
  Fail("order by id desc limit 1");
  PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2);
  EXPECT_EQ(fake().statements[3], "insert into photo_label (id, category, name) values (1, 2, 'sea')");
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(Logged("Failed to exec [select * from photo_label order by id desc limit 1] "
                                 "(the error)")));
}

TEST_F(LabelStoreTest, PercentInANameIsNoConversion) {
  Answer("photo_label", {{{"id", "3"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "100%d", 2), 3);
  EXPECT_EQ(fake().statements[0], "select * from photo_label where category = 2 and name = '100%d'");
}

TEST_F(LabelStoreTest, LabelMayHaveTheEmptyName) {
  Answer("category = 0 and name = ''", {{{"id", "4"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "", 0), 4);
}

TEST_F(LabelStoreTest, FailedLookUpInsertsNothing) {
  Fail(kFindSea);
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), -1);
  EXPECT_THAT(fake().statements, ElementsAre(kFindSea));
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(Logged(std::string("Failed to exec [") + kFindSea + "] (the error)")));
}

TEST_F(LabelStoreTest, FailedInsertFails) {
  Fail("insert into");
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), -1);
  EXPECT_THAT(
      SyslogCapture::Messages(),
      ElementsAre(Logged("Failed to exec [insert into photo_label (category, name) values (2, 'sea')] "
                         "(the error)")));
}

TEST_F(LabelStoreTest, LabelThatAnotherProcessHasJustMadeIsFound) {
  Answer(kFindSea, {}, true);
  Answer(kFindSea, {{{"id", "18"}}});
  Fail("insert into");
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), 18);
}

TEST_F(LabelStoreTest, LabelThatIsNotThereAfterItsInsertFails) {
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), -1);
  EXPECT_EQ(fake().statements.size(), 3U);
}

TEST_F(LabelStoreTest, StatementThatCannotBeBuiltFailsSilently) {
  for (int call : {1, 2, 3}) {
    FakePlatform::Reset();
    fake().failing_at["KAVODBEscapeStringEX3"] = call;
    EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), -1);
    EXPECT_EQ(fake().statements.size(), call == 1 ? 0U : 2U);
    PhotoDBConnClose();
  }
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
}

// --- The id of a photo.

TEST_F(LabelStoreTest, SharedPhotoIsFoundByItsPath) {
  Answer("FROM photo_image", {{{"id", "5"}}});
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(kSharedPhoto), 5);
  EXPECT_THAT(
      fake().statements,
      ElementsAre(testing::HasSubstr("SELECT id FROM photo_image WHERE path = '/volume1/photo/a.jpg'")));
}

TEST_F(LabelStoreTest, PersonalPhotoIsFoundByItsRelativePath) {
  const std::string photo = PersonalPhoto();
  Answer("FROM photo_image", {{{"id", "5"}}});
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(photo.c_str()), 5);
  EXPECT_THAT(fake().statements.back(), testing::HasSubstr("WHERE path = '2024/a.jpg'"));
}

TEST_F(LabelStoreTest, PhotoWithoutARowHasNoId) {
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(kSharedPhoto), -1);
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
}

TEST_F(LabelStoreTest, PhotoWhoseRowCannotBeFetchedHasNoId) {
  fake().answers = {{.match = "photo_image", .rows = {{{"id", "5"}}}, .fetch_fails = true}};
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(kSharedPhoto), -1);
}

TEST_F(LabelStoreTest, PhotoQueryThatFailsIsLogged) {
  fake().failing.insert("KAVODBConnect");
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(kSharedPhoto), -1);
  EXPECT_EQ(SyslogCapture::Messages().back(), Logged("Error occurred, failed to get records."));
}

// --- Links.

constexpr const char* kFindLink =
    "SELECT id FROM photo_image_label WHERE image_id = 5 AND label_id = 17 ORDER BY id DESC";
constexpr const char* kAddLink =
    "INSERT INTO photo_image_label (image_id, label_id, info_new, status) VALUES(5, 17, '{}', 't')";

TEST_F(LabelStoreTest, ExistingLinkGivesItsIdAndInsertsNothing) {
  Answer(kFindLink, {{{"id", "30"}}, {{"id", "29"}}});
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), 30);
  EXPECT_THAT(fake().statements, ElementsAre(kFindLink));
}

TEST_F(LabelStoreTest, NewLinkIsTheOneWithTheHighestId) {
  Answer("photo_image_label order by id desc limit 1", {{{"id", "31"}}});
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), 31);
  EXPECT_THAT(fake().statements,
              ElementsAre(kFindLink, kAddLink, "select * from photo_image_label order by id desc limit 1"));
}

TEST_F(LabelStoreTest, LinkThatCannotBeFetchedIsLogged) {
  fake().answers = {{.match = kFindLink, .rows = {{{"id", "30"}}}, .fetch_fails = true}};
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre(Logged("KAVODBFetchRow failed")));
  EXPECT_THAT(fake().statements, ElementsAre(kFindLink));
}

TEST_F(LabelStoreTest, FailedStatementsOfALinkAreLogged) {
  for (const char* statement :
       {kFindLink, kAddLink, "select * from photo_image_label order by id desc limit 1"}) {
    SyslogCapture::Clear();
    fake().answers.clear();
    Fail(statement);
    EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), -1);
    EXPECT_THAT(SyslogCapture::Messages(),
                ElementsAre(Logged(std::string("Failed to exec [") + statement + "] (the error)")));
  }
}

TEST_F(LabelStoreTest, LinkNeedsAStatusOfTOrF) {
  Answer(kFindLink, {{{"id", "30"}}});
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "f"), 30);
  for (const char* status : {"", "T", "true", static_cast<const char*>(nullptr)}) {
    SyslogCapture::Clear();
    EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", status), -1);
    EXPECT_THAT(SyslogCapture::Messages(), ElementsAre(Logged("Bad parameter.")));
  }
  EXPECT_EQ(fake().statements.size(), 1U);
}

TEST_F(LabelStoreTest, OnlyTheConfirmedLinkIsDeleted) {
  EXPECT_EQ(PhotoInfoDBImageLabelDataDelete(5, 17), 0);
  EXPECT_THAT(fake().statements,
              ElementsAre("DELETE FROM photo_image_label WHERE image_id = 5 AND label_id = 17 "
                          "AND status = 't'"));
}

TEST_F(LabelStoreTest, LinkThatCannotBeDeletedIsLogged) {
  Fail("DELETE");
  EXPECT_EQ(PhotoInfoDBImageLabelDataDelete(5, 17), -1);
  EXPECT_THAT(
      SyslogCapture::Messages(),
      ElementsAre(Logged("Failed to exec [DELETE FROM photo_image_label WHERE image_id = 5 AND label_id = "
                         "17 AND status = 't'] (the error)")));
}

constexpr const char* kDeleteKeywords =
    "DELETE FROM photo_image_label WHERE image_id = 5 AND label_id IN "
    "(SELECT id FROM photo_label WHERE category = 2)";

TEST_F(LabelStoreTest, KeywordLinksOfAPhotoAreDeleted) {
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(5), 0);
  EXPECT_THAT(fake().statements, ElementsAre(kDeleteKeywords));
}

TEST_F(LabelStoreTest, KeywordLinksThatCannotBeDeletedAreLoggedWithAFullStop) {
  Fail("DELETE");
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(5), -1);
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(Logged(std::string("Failed to exec [") + kDeleteKeywords + "] (the error).")));
}

TEST_F(LabelStoreTest, KeywordLinksNeedAPhotoIdAboveZero) {
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(0), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(-1), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

// --- Faces.

TEST_F(LabelStoreTest, NamedFacesOfTheSharedDatabaseAreListed) {
  Answer("A.name <> ''",
         {{{"id", "1"}, {"info", "old"}, {"info_new", "new"}, {"path", "/volume1/photo/a.jpg"}},
          {{"id", "2"}, {"info", "old"}, {"info_new", ""}, {"path", "/volume1/photo/b.jpg"}},
          {{"id", "3"}, {"path", "/volume1/photo/c.jpg"}}});
  const OwnedList list(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 1, 0));
  EXPECT_THAT(Lines(list.get()),
              ElementsAre("1\tnew\t/volume1/photo/a.jpg\tinfo_new", "2\told\t/volume1/photo/b.jpg\tinfo",
                          "3\t\t/volume1/photo/c.jpg\tinfo"));
  EXPECT_THAT(
      fake().statements,
      ElementsAre("select A.id, B.info, B.info_new, C.path from photo_label A, photo_image_label B, "
                  "photo_image C where A.category = 0 and A.name <> '' and B.label_id = A.id and (B.info "
                  "like '%face%' or B.info_new like '%face%') and B.status = 't' and C.id = B.image_id"));
}

TEST_F(LabelStoreTest, FacesOfAPersonalPhotoAreListedWithAbsolutePaths) {
  const std::string photo = PersonalPhoto();
  Answer("C.path", {{{"id", "1"}, {"info_new", "new"}, {"path", "2024/a.jpg"}}});
  const OwnedList list(PhotoInfoDBFaceRecognitionDataGet(photo.c_str(), 0, 0));
  EXPECT_THAT(Lines(list.get()), ElementsAre("1\tnew\t" + photo + "\tinfo_new"));
  EXPECT_EQ(
      fake().statements.back(),
      "select A.id, B.info, B.info_new, C.path from photo_label A, photo_image_label B, photo_image C where "
      "A.category = 0 and B.label_id = A.id  and C.id = B.image_id and C.path = '2024/a.jpg'");
}

TEST_F(LabelStoreTest, EveryConditionSelectorGivesAllPeopleLinksOfThePhoto) {
  for (int condition : {0, 1, 2, -1}) {
    const OwnedList list(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 0, condition));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(RLIBCSzListCount(list.get()), 0);
  }
  EXPECT_EQ(fake().statements, std::vector<std::string>(4, fake().statements[0]));
}

TEST_F(LabelStoreTest, FaceLineIsCutTo8191Bytes) {
  Answer("photo_label", {{{"id", "1"}, {"info_new", std::string(9000, 'x')}, {"path", "p"}}});
  const OwnedList list(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 0, 0));
  EXPECT_THAT(Lines(list.get()), ElementsAre("1\t" + std::string(8189, 'x')));
}

TEST_F(LabelStoreTest, FaceListThatCannotBeAllocatedIsLogged) {
  failed_lists_ = 1;
  fake().failing.insert("RLIBCSzListAlloc");
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 0, 0), nullptr);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre(Logged("RLIBCSzListAlloc failed")));
}

TEST_F(LabelStoreTest, FaceListMakesRoomFor1024Entries) {
  const OwnedList list(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 0, 0));
  EXPECT_EQ(fake().Count("RLIBCSzListAlloc(1024)"), 1);
}

TEST_F(LabelStoreTest, FaceQueryThatFailsGivesNoList) {
  Fail("photo_label");
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 1, 0), nullptr);
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(testing::StartsWith(Logged("Failed to exec [select A.id, "))));
}

TEST_F(LabelStoreTest, FaceLineThatCannotBeKeptGivesNoList) {
  Answer("photo_label", {{{"id", "1"}}});
  fake().failing.insert("RLIBCSzListPush");
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 1, 0), nullptr);
}

TEST_F(LabelStoreTest, LinkIsGivenAnotherLabel) {
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(30, 17), 0);
  EXPECT_THAT(fake().statements, ElementsAre("update photo_image_label set label_id = 17 where id = 30"));
  EXPECT_EQ(fake().Count("KAVODBConnect(NULL, postgres, NULL, photo)"), 1);
}

TEST_F(LabelStoreTest, PersonalLinkIsGivenAnotherLabelWithForeignKeysOn) {
  PersonalPhoto();
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(30, 17), 0);
  EXPECT_THAT(fake().statements,
              ElementsAre(kForeignKeys, "update photo_image_label set label_id = 17 where id = 30"));
  EXPECT_EQ(fake().Count("KAVODBConnect(NULL, NULL, NULL, " + photos_ + "/.KAVOHGADB)"), 1);
}

TEST_F(LabelStoreTest, LinkThatCannotBeUpdatedIsLogged) {
  Fail("update");
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(30, 17), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult("{}", 30), -1);
  EXPECT_THAT(
      SyslogCapture::Messages(),
      ElementsAre(
          Logged("Failed to exec [update photo_image_label set label_id = 17 where id = 30] (the error)"),
          Logged("Failed to exec [update photo_image_label set info_new = '{}' where id = 30] (the error)")));
}

TEST_F(LabelStoreTest, FaceOfALinkComesFromInfoNewOrInfo) {
  char out[64];
  Answer("where id = 30", {{{"info", "old"}, {"info_new", "new"}}}, true);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), 0);
  EXPECT_STREQ(out, "new\tinfo_new");
  Answer("where id = 30", {{{"info", "old"}, {"info_new", ""}}});
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), 0);
  EXPECT_STREQ(out, "old\tinfo");
  EXPECT_EQ(fake().statements[0], "select info, info_new from photo_image_label where id = 30");
}

TEST_F(LabelStoreTest, FaceOfALinkIsCutToTheBuffer) {
  char out[6] = "xxxxx";
  Answer("where id = 30", {{{"info_new", "new"}}});
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), 0);
  EXPECT_STREQ(out, "new\ti");
}

TEST_F(LabelStoreTest, FaceOfNoLinkIsLoggedWithAFullStop) {
  char out[64] = "untouched";
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), -1);
  EXPECT_STREQ(out, "untouched");
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre(Logged("KAVODBFetchRow failed.")));
}

TEST_F(LabelStoreTest, DetectionResultIsWritten) {
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult("100%s", 30), 0);
  EXPECT_THAT(fake().statements,
              ElementsAre("update photo_image_label set info_new = '100%s' where id = 30"));
}

// --- What all of them share.

TEST_F(LabelStoreTest, MissingArgumentsAreLogged) {
  char out[8];
  EXPECT_EQ(PhotoInfoDBLabelCheck(nullptr, "sea", 2), -1);
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, nullptr, 2), -1);
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(nullptr), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, nullptr, "t"), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(nullptr, 1, 0), nullptr);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, nullptr, out, sizeof out), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, nullptr, sizeof out), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, 0), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult(nullptr, 30), -1);
  EXPECT_EQ(SyslogCapture::Messages(), std::vector<std::string>(9, Logged("Bad parameter.")));
  EXPECT_THAT(fake().calls, IsEmpty());
}

TEST_F(LabelStoreTest, PathThatCannotBeDecidedIsLogged) {
  char out[8];
  EXPECT_EQ(PhotoInfoDBLabelCheck("user:", "sea", 2), -1);
  EXPECT_EQ(PhotoInfoDBPhotoIdGet("user:"), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet("user:", 1, 0), nullptr);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, "user:", out, sizeof out), -1);
  EXPECT_EQ(SyslogCapture::Messages(),
            std::vector<std::string>(4, Logged("HGAStatusCheck failed for user:.")));
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(LabelStoreTest, ConnectionThatFailsIsLogged) {
  char out[8];
  fake().failing.insert("KAVODBConnect");
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  EXPECT_EQ(PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDataDelete(5, 17), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(5), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 1, 0), nullptr);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(30, 17), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult("{}", 30), -1);
  EXPECT_EQ(SyslogCapture::Messages(),
            std::vector<std::string>(9, Logged("Failed to connect to photo database")));
}

TEST_F(LabelStoreTest, PersonalConnectionIsClosedAfterEachOperation) {
  const std::string photo = PersonalPhoto();
  PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2);
  EXPECT_EQ(fake().open_connections, 0);
  PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t");
  EXPECT_EQ(fake().open_connections, 0);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 2);
}

TEST_F(LabelStoreTest, SharedConnectionStaysOpen) {
  PhotoInfoDBLabelCheck(kSharedPhoto, "sea", 2);
  PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t");
  EXPECT_EQ(fake().Count("KAVODBConnect"), 1);
  EXPECT_EQ(fake().open_connections, 1);
}

}  // namespace
