#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class FileRename : public IndexLibraryTest {
 protected:
  int Rename(const std::string& new_path, const std::string& old_path, unsigned type = kIndexed) {
    Json::Value info = InfoOf(new_path);
    return IndexRename_Json(&info, type, old_path.c_str());
  }
  std::string Old(const std::string& name) const { return shared() + "/" + name; }
  // "old.jpg" has a row, which is found under "new.jpg" afterwards.
  void AnswerMoved() {
    AnswerRows("path like '" + Old("old.jpg") + "' ", 1);
    Answer({.match = "SELECT id FROM photo_image", .rows = {{{"id", "7"}}}});
  }
  // The folder of a second user.
  std::string Bob() {
    const std::string folder = std::filesystem::path(personal()).parent_path() / "bob";
    fake().personal_folders["bob"] = Folder(folder);
    fake().preference_dirs["bob"] = fake().preference_dirs["alice"];
    WriteFile(folder + "/.KAVOHGADB", "");
    return folder;
  }
};

TEST_F(FileRename, RefusesMissingArguments) {
  Json::Value info = InfoOf(SharedFile("a.jpg"));
  EXPECT_EQ(IndexRename_Json(nullptr, kIndexed, "/old.jpg"), -1);
  EXPECT_EQ(IndexRename_Json(&info, kIndexed, nullptr), -1);
  EXPECT_EQ(IndexRename_Json(&info, kIndexed, ""), -1);
  EXPECT_EQ(IndexRename(nullptr, kIndexed, "/old.jpg"), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter, kBadParameter, kBadParameter));
}

TEST_F(FileRename, RefusesAFolder) {
  EXPECT_EQ(Rename(shared(), Old("old.jpg")), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_index.cpp:# Path should be a file, not a directory: " + shared()));
}

TEST_F(FileRename, LeavesOtherKindsOfFoldersAlone) {
  EXPECT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg"), kNotIndexed), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(FileRename, DoesNothingForARefusedPath) {
  UsePersonal();
  const std::string path = PersonalFile("new.jpg");
  const std::string side = personal() + "/@eaDir/new.jpg/KAVOPHOTO_TITLE";
  WriteFile(side, "title");
  Set("runpersonallumivault", "no");
  EXPECT_EQ(Rename(path, personal() + "/old.jpg"), 0);
  KAVO_MEDIA_INFO record = RecordOf(path);
  EXPECT_EQ(IndexRename(&record, kIndexed, (personal() + "/old.jpg").c_str()), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(side));
}

TEST_F(FileRename, AnIdOfZeroIsARow) {
  AnswerRows("path like '" + Old("old.jpg") + "' ", 1);
  Answer({.match = "SELECT id FROM photo_image", .rows = {{{"id", "0"}}}});
  ASSERT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), 0);
  EXPECT_THAT(Sent("INTO photo_image"), IsEmpty());
}

TEST_F(FileRename, MovesTheRowOfAPhotoThatHasOne) {
  AnswerMoved();
  ASSERT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), 0);
  EXPECT_THAT(Sent("INTO photo_image"), IsEmpty());
  EXPECT_EQ(Sent("Update photo_image set path = '" + Old("new.jpg")).size(), 1U);
  EXPECT_THAT(
      Sent("like '" + Old("new.jpg") + "'"),
      ElementsAre(StartsWith("DELETE FROM photo_image"), StartsWith("DELETE FROM video_desc"),
                  StartsWith("DELETE FROM video_comment"), StartsWith("DELETE FROM photo_video_label")));
}

TEST_F(FileRename, RunsNoToolAndQueuesNothing) {
  EnablePackage();
  AnswerMoved();
  ASSERT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), 0);
  EXPECT_EQ(fake().Count("RLIBCExec(/var/packages"), 0);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
}

TEST_F(FileRename, AddsAPhotoWithoutARow) {
  ASSERT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), 0);
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
  EXPECT_THAT(Sent("Update photo_image"), IsEmpty());
}

TEST_F(FileRename, AddsAPhotoWhenNoRowMoved) {
  AnswerRows("path like '" + Old("old.jpg") + "' ", 1);
  ASSERT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), 0);
  EXPECT_EQ(Sent("Update photo_image set path").size(), 1U);
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
}

TEST_F(FileRename, OntoItselfChangesNothing) {
  AnswerMoved();
  ASSERT_EQ(Rename(SharedFile("old.jpg"), Old("old.jpg")), 0);
  EXPECT_THAT(Sent("DELETE"), IsEmpty());
  EXPECT_THAT(Sent("pdate "), IsEmpty());
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
}

TEST_F(FileRename, OntoItselfKeepsTheConversionsOfAWebVideo) {
  ASSERT_EQ(Rename(SharedFile("old.mp4"), Old("old.mp4")), 0);
  EXPECT_THAT(Sent("DELETE"), IsEmpty());
  EXPECT_EQ(Sent("INTO video").size(), 1U);
}

TEST_F(FileRename, ReportsAPhotoThatCannotBeSaved) {
  FailStatement("INTO photo_image");
  EXPECT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
}

TEST_F(FileRename, ReportsACountThatFails) {
  FailStatement("path like '" + Old("old.jpg") + "' ");
  EXPECT_EQ(Rename(SharedFile("new.jpg"), Old("old.jpg")), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# Error occurred, failed to get records.");
}

TEST_F(FileRename, AsksForTheRowUnderTheRawKey) {
  ASSERT_EQ(Rename(SharedFile("new.jpg"), Old("it's.jpg")), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1, path like '" + Old("it's.jpg") + "' )"), 1);
}

TEST_F(FileRename, CutsTheQuestionForTheRowToItsBuffer) {
  const std::string old_path = Old(std::string(4200, 'o'));
  Rename(SharedFile("new.jpg"), old_path);
  const std::string condition = ("path like '" + old_path + "' ").substr(0, 4223);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1, " + condition + ")"), 1);
}

TEST_F(FileRename, AsksForAPersonalRowUnderItsRelativeKey) {
  UsePersonal();
  ASSERT_EQ(Rename(PersonalFile("new.jpg"), personal() + "/2024/old.jpg"), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(0, path like '2024/old.jpg' )"), 1);
}

TEST_F(FileRename, WritesAWebVideoAnewAndMovesItsSideRows) {
  Answer({.match = "SELECT path FROM video_desc", .rows = {{{"path", Old("old.mp4")}}}});
  ASSERT_EQ(Rename(SharedFile("new.mp4"), Old("old.mp4")), 0);
  EXPECT_THAT(
      Sent("like '" + Old("old.mp4") + "'"),
      ElementsAre(StartsWith("DELETE FROM video WHERE"), StartsWith("DELETE FROM video_convert WHERE")));
  EXPECT_EQ(Sent("Update video_desc set path = '" + Old("new.mp4")).size(), 1U);
  EXPECT_EQ(Sent("SELECT path FROM video_comment").size(), 1U);
  EXPECT_EQ(Sent("SELECT video_path FROM photo_video_label").size(), 1U);
}

TEST_F(FileRename, ReportsAWebVideoThatCannotBeSaved) {
  FailStatement("INTO video");
  EXPECT_EQ(Rename(SharedFile("new.mp4"), Old("old.mp4")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
  EXPECT_THAT(Sent("FROM video_comment"), IsEmpty());
  // Its old rows have gone before.
  EXPECT_THAT(Sent("DELETE FROM video"), ElementsAre(StartsWith("DELETE FROM video WHERE"),
                                                     StartsWith("DELETE FROM video_convert WHERE")));
}

TEST_F(FileRename, AddsAnotherVideoAndDeletesTheOldRows) {
  ASSERT_EQ(Rename(SharedFile("new.avi"), Old("old.avi")), 0);
  EXPECT_EQ(Sent("INTO video").size(), 1U);
  EXPECT_EQ(Sent("DELETE FROM video WHERE path like '" + Old("old.avi") + "'").size(), 1U);
}

TEST_F(FileRename, KeepsTheOldRowsOfAnotherVideoThatCannotBeSaved) {
  FailStatement("INTO video");
  EXPECT_EQ(Rename(SharedFile("new.avi"), Old("old.avi")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
  EXPECT_THAT(Sent("DELETE"), IsEmpty());
}

TEST_F(FileRename, DeletesTheOldRowsOfAFileThatIsNoMediumAnyMore) {
  ASSERT_EQ(Rename(SharedFile("new.txt"), Old("old.jpg")), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image WHERE path like '" + Old("old.jpg") + "'").size(), 1U);
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
}

TEST_F(FileRename, IsADeleteAndAnAddBetweenPersonalAndShared) {
  UsePersonal();
  const std::string old_path = personal() + "/old.jpg";
  ASSERT_EQ(Rename(SharedFile("new.jpg"), old_path), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image WHERE path like 'old.jpg'").size(), 1U);
  EXPECT_THAT(Sent("INTO photo_image"), ElementsAre(HasSubstr(Old("new.jpg"))));
  EXPECT_EQ(fake().Count("RLIBCExec(/var/packages/Lumivault/target/bin/kavophoto_extract_preview"), 1);
}

TEST_F(FileRename, IsADeleteAndAnAddBetweenTwoUsers) {
  UsePersonal();
  const std::string new_path = Written(Bob() + "/new.jpg");
  AnswerRows("path like 'old.jpg' ", 1);
  ASSERT_EQ(Rename(new_path, personal() + "/old.jpg"), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image WHERE path like 'old.jpg'").size(), 1U);
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
  EXPECT_THAT(Sent("Update photo_image"), IsEmpty());
}

TEST_F(FileRename, IsAnAddForAFileFromOutside) {
  ASSERT_EQ(Rename(SharedFile("new.jpg"), "/elsewhere/old.jpg"), 0);
  EXPECT_THAT(Sent("/elsewhere"), IsEmpty());
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
  EXPECT_EQ(fake().Count("RLIBCExec(/var/packages"), 1);
}

TEST_F(FileRename, SucceedsEvenWhenTheDeleteAndTheAddFail) {
  FailStatement("INTO photo_image");
  EXPECT_EQ(Rename(SharedFile("new.jpg"), "/elsewhere/old.jpg"), 0);
  EXPECT_EQ(LastMessage(), kSaveFailed);
}

TEST_F(FileRename, TakesAnOldPathFromTheRecordItself) {
  AnswerMoved();
  WriteFile(shared() + "/@eaDir/new.jpg/KAVOPHOTO_TITLE", std::string(200, 't'));
  Json::Value info = InfoOf(SharedFile("new.jpg"));
  info["szTitle"] = Old("old.jpg");
  ASSERT_EQ(IndexRename_Json(&info, kIndexed, info["szTitle"].asCString()), 0);
  EXPECT_EQ(info["szTitle"], std::string(200, 't'));
  EXPECT_THAT(Sent("Update photo_image"), ElementsAre(HasSubstr("where path = '" + Old("old.jpg") + "'")));
}

TEST_F(FileRename, TakesAnOldPathFromTheRequestContext) {
  UsePersonal();
  const std::string old_path = personal() + "/old.jpg";
  Json::Value info = InfoOf(SharedFile("new.jpg"));
  ASSERT_EQ(HGAStatusCheck(old_path.c_str()), 0);
  ASSERT_EQ(IndexRename_Json(&info, kIndexed, HGAStatusRequestPathGet()), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image WHERE path like 'old.jpg'").size(), 1U);
}

}  // namespace
