#include "base/owned_list.h"
#include "unit/label_store_test.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> Lines(const RLIBCSZLIST* list) {
  std::vector<std::string> lines;
  for (int i = 0; i < RLIBCSzListCount(list); ++i) lines.emplace_back(RLIBCSzListGet(list, i));
  return lines;
}

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

TEST_F(LabelStoreTest, FaceOfALinkWithoutAnyIsEmptyAndFromInfo) {
  char out[64];
  Answer("where id = 30", {{}});
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(30, kSharedPhoto, out, sizeof out), 0);
  EXPECT_STREQ(out, "\tinfo");
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

}  // namespace
