// The order of the steps of a file event, and what a step that fails keeps from happening.
#include <algorithm>

#include "support/call_order.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileEventOrder : public IndexLibraryTest {
 protected:
  static constexpr const char* kPreview =
      "RLIBCExec(/var/packages/Lumivault/target/bin/kavophoto_extract_preview";
  static constexpr const char* kStillThere =
      "[6] photo_index.cpp:# File exists. Skip remove it from database.";

  // Fails check NUMBER (from 1) of a personal request from here on. UsePersonal has made one.
  void FailCheck(int number) { fake().failing_at["KAVOIndexPersonalPhotoPathGet"] = number + 1; }
  static int Rename(const std::string& new_path, const std::string& old_path) {
    Json::Value info = InfoOf(new_path);
    return IndexRename_Json(&info, kIndexed, old_path.c_str());
  }
};

TEST_F(FileEventOrder, JobsAreQueuedBetweenTheSaveAndThePreview) {
  EnablePackage();
  Set("runfacerecognition", "yes");
  Answer({.match = "enable_face_recognition", .rows = {{{"config_value", "on"}}}});
  Json::Value info = InfoOf(SharedFile("a.jpg"));
  ASSERT_EQ(IndexAdd_Json(&info, kIndexed), 0);
  const std::string save = "KAVODBExecute(INSERT INTO photo_image";
  EXPECT_THAT(OrderOf({save, "RLIBCFileLockByFile", "KAVOBeneathMode", kPreview}),
              ElementsAre(save, "RLIBCFileLockByFile", "KAVOBeneathMode", kPreview));
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 2);
}

TEST_F(FileEventOrder, APhotoThatCannotBeSavedIsQueuedNowhere) {
  EnablePackage();
  Set("runfacerecognition", "yes");
  Answer({.match = "enable_face_recognition", .rows = {{{"config_value", "on"}}}});
  FailStatement("INTO photo_image");
  Json::Value info = InfoOf(SharedFile("a.jpg"));
  EXPECT_EQ(IndexAdd_Json(&info, kIndexed), -1);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
}

TEST_F(FileEventOrder, DeleteAsksWhetherASideFileIsThereBeforeItIsPassedOver) {
  EXPECT_EQ(IndexDelete(SharedFile("@eaDir/a.jpg/KAVOPHOTO_X").c_str()), -1);
  EXPECT_EQ(IndexDelete(SharedFile(".TemporaryItems/a.jpg").c_str()), -1);
  EXPECT_THAT(Messages(), ElementsAre(kStillThere, kStillThere));
}

TEST_F(FileEventOrder, RenameAcrossLibrariesSucceedsWhenTheOldFileIsStillThere) {
  UsePersonal();
  const std::string old_path = PersonalFile("old.jpg");
  EXPECT_EQ(Rename(SharedFile("new.jpg"), old_path), 0);
  KAVO_MEDIA_INFO record = RecordOf(SharedFile("new.jpg"));
  EXPECT_EQ(IndexRename(&record, kIndexed, old_path.c_str()), 0);
  const auto messages = Messages();
  EXPECT_EQ(std::count(messages.begin(), messages.end(), kStillThere), 2);
}

TEST_F(FileEventOrder, RenameOfAnotherVideoSucceedsWhenTheOldFileIsStillThere) {
  EXPECT_EQ(Rename(SharedFile("new.avi"), SharedFile("old.avi")), 0);
  EXPECT_THAT(Messages(), ElementsAre(kStillThere));
}

TEST_F(FileEventOrder, RenameToNoMediumSucceedsWhenTheOldFileIsStillThere) {
  EXPECT_EQ(Rename(SharedFile("new.txt"), SharedFile("old.jpg")), 0);
  EXPECT_THAT(Messages(), ElementsAre(kStillThere));
}

TEST_F(FileEventOrder, RenameOfAWebVideoMovesDescriptionCommentsAndLabelsInThisOrder) {
  ASSERT_EQ(Rename(SharedFile("new.mp4"), shared() + "/old.mp4"), 0);
  const std::string desc = "KAVODBSelectLimit(SELECT path FROM video_desc";
  const std::string comment = "KAVODBSelectLimit(SELECT path FROM video_comment";
  const std::string label = "KAVODBSelectLimit(SELECT video_path FROM photo_video_label";
  EXPECT_THAT(OrderOf({"KAVODBExecute(INSERT INTO video", desc, comment, label}),
              ElementsAre("KAVODBExecute(INSERT INTO video", desc, comment, label));
}

TEST_F(FileEventOrder, RenameChecksTheNewPathAgainBeforeItTouchesAnything) {
  UsePersonal();
  const std::string path = PersonalFile("new.jpg");
  const std::string side = personal() + "/@eaDir/new.jpg/KAVOPHOTO_TITLE";
  WriteFile(side, "title");
  // The gate makes two.
  FailCheck(3);
  Json::Value info = InfoOf(path);
  EXPECT_EQ(IndexRename_Json(&info, kIndexed, (personal() + "/old.jpg").c_str()), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(side));
  EXPECT_FALSE(info.isMember("szName"));
}

TEST_F(FileEventOrder, RenameCompletesTheRecordOfWhatIsNoMedium) {
  WriteFile(shared() + "/@eaDir/new.txt/KAVOPHOTO_TITLE", "title");
  Json::Value info = InfoOf(SharedFile("new.txt"));
  ASSERT_EQ(IndexRename_Json(&info, kIndexed, (shared() + "/old.jpg").c_str()), 0);
  EXPECT_EQ(info["szName"], "new.txt");
  EXPECT_EQ(info["szTitle"], "title");
}

TEST_F(FileEventOrder, RenameFromARefusedPathIsAnAdd) {
  AnswerRows("path like 'user:nobody/old.jpg' ", 1);
  ASSERT_EQ(Rename(SharedFile("new.jpg"), "user:nobody/old.jpg"), 0);
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
  EXPECT_THAT(Sent("Update photo_image"), IsEmpty());
  EXPECT_EQ(fake().Count(kPreview), 1);
}

}  // namespace
