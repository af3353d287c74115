#include "unit/label_store_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(LabelStoreTest, PersonalLabelTakesTheNextIdWhenAnotherProcessTookItsOwn) {
  const std::string photo = PersonalPhoto();
  Answer("order by id desc limit 1", {{{"id", "7"}}}, true);
  Answer("order by id desc limit 1", {{{"id", "8"}}}, true);
  Fail("values (8, 2, 'sea')");
  Answer(kFindSea, {}, true);
  Answer(kFindSea, {}, true);
  Answer(kFindSea, {{{"id", "9"}}});
  EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), 9);
  EXPECT_EQ(fake().statements[fake().statements.size() - 2],
            "insert into photo_label (id, category, name) values (9, 2, 'sea')");
}

TEST_F(LabelStoreTest, PersonalLabelIsNotTriedAgainWhenNobodyTookItsId) {
  const std::string photo = PersonalPhoto();
  Answer("order by id desc limit 1", {{{"id", "7"}}});
  Fail("insert into");
  EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), -1);
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(Logged("Failed to exec [insert into photo_label (id, category, name) values "
                                 "(8, 2, 'sea')] (the error)")));
}

TEST_F(LabelStoreTest, PersonalLabelIsGivenUpWhenEveryIdIsTaken) {
  const std::string photo = PersonalPhoto();
  for (int highest = 0; highest < 200; ++highest) {
    Answer("order by id desc limit 1", {{{"id", std::to_string(highest)}}}, true);
  }
  Fail("insert into");
  EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), -1);
  EXPECT_EQ(SyslogCapture::Lines().size(), 100U);
}

TEST_F(LabelStoreTest, LookUpThatFailsAfterAnInsertEndsTheTries) {
  const std::string photo = PersonalPhoto();
  Answer(kFindSea, {}, true);
  Fail(kFindSea);
  Fail("insert into");
  EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), -1);
  EXPECT_EQ(fake().statements.back(), kFindSea);
}

TEST_F(LabelStoreTest, NoPersonalLabelIsMadeBehindTheHighestIdThereIs) {
  const std::string photo = PersonalPhoto();
  for (const char* highest : {"2147483647", "99999999999999999999"}) {
    fake().answers.clear();
    Answer("order by id desc limit 1", {{{"id", highest}}});
    EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), -1);
  }
  EXPECT_EQ(fake().Count("KAVODBExecute(insert"), 0);
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

TEST_F(LabelStoreTest, PersonalStatementThatCannotBeBuiltFailsSilently) {
  for (int call : {1, 2, 3, 4}) {
    FakePlatform::Reset();
    const std::string photo = PersonalPhoto();
    fake().failing_at["KAVODBEscapeStringEX3"] = call;
    EXPECT_EQ(PhotoInfoDBLabelCheck(photo.c_str(), "sea", 2), -1);
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

TEST_F(LabelStoreTest, LinkOfAnotherWriterThatCannotBeLookedUpIsLogged) {
  Answer(kFindLink, {}, true);
  Fail(kAddLink);
  Fail(kFindLink);
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), -1);
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(Logged(std::string("Failed to exec [") + kAddLink + "] (the error)"),
                          Logged(std::string("Failed to exec [") + kFindLink + "] (the error)")));
}

TEST_F(LabelStoreTest, NewLinkThatIsNotThereAfterItsInsertIsLogged) {
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), -1);
  EXPECT_EQ(fake().statements.size(), 3U);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre(Logged("KAVODBFetchRow failed")));
}

TEST_F(LabelStoreTest, LinkWhoseStatementCannotBeBuiltFailsSilently) {
  for (int call : {1, 2, 3}) {
    FakePlatform::Reset();
    fake().failing_at["KAVODBEscapeStringEX3"] = call;
    EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(5, 17, "{}", "t"), -1);
    EXPECT_EQ(fake().statements.size(), static_cast<std::size_t>(call - 1));
    PhotoDBConnClose();
  }
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
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
  EXPECT_EQ(SyslogCapture::Messages(), std::vector<std::string>(2, Logged("Bad parameter.")));
  EXPECT_THAT(fake().statements, IsEmpty());
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
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, -1), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult(nullptr, 30), -1);
  EXPECT_EQ(SyslogCapture::Messages(), std::vector<std::string>(10, Logged("Bad parameter.")));
  EXPECT_THAT(fake().calls, IsEmpty());
}

TEST_F(LabelStoreTest, OperationWhoseStatementCannotBeBuiltFailsSilently) {
  char out[8] = "before";
  fake().failing.insert("KAVODBEscapeStringEX3");
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(kSharedPhoto), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDataDelete(5, 17), -1);
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(5), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 1, 0), nullptr);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionDataGet(kSharedPhoto, 0, 0), nullptr);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(30, 17), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), -1);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult("{}", 30), -1);
  EXPECT_STREQ(out, "before");
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
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
