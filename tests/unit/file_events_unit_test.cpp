#include <syslog.h>

#include <algorithm>

#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// --- Add.

class FileAdd : public IndexLibraryTest {
 protected:
  // Adds PATH and keeps the record as it is afterwards.
  int Add(const std::string& path, unsigned type = kIndexed) {
    info_ = InfoOf(path);
    return IndexAdd_Json(&info_, type);
  }
  Json::Value info_;
};

TEST_F(FileAdd, RefusesNoRecord) {
  EXPECT_EQ(IndexAdd_Json(nullptr, kIndexed), -1);
  EXPECT_EQ(IndexAdd(nullptr, kIndexed), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
}

TEST_F(FileAdd, RefusesAFolder) {
  EXPECT_EQ(Add(shared()), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_index.cpp:# Path should be a file, not a directory: " + shared()));
}

TEST_F(FileAdd, RefusesExcludedAndUnknownExtensionsWithoutTheDatabase) {
  EXPECT_EQ(Add(SharedFile("a.srt")), -1);
  EXPECT_EQ(Add(SharedFile("a.ISO")), -1);
  EXPECT_EQ(Add(SharedFile("a.xyz")), -1);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(FileAdd, LeavesOtherKindsOfFoldersAlone) {
  EXPECT_EQ(Add(SharedFile("a.jpg"), kNotIndexed), 0);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
  EXPECT_FALSE(info_.isMember("szName"));
}

TEST_F(FileAdd, LooksAtTheSettingsOnceAndTheNextAddNoticesAChange) {
  UsePersonal();
  const std::string path = PersonalFile("a.jpg");
  const int before = fake().Count("KAVOIndexPersonalPhotoPathGet");
  ASSERT_EQ(Add(path), 0);
  EXPECT_EQ(fake().Count("KAVOIndexPersonalPhotoPathGet") - before, 1);
  Set("runpersonallumivault", "no");
  fake().statements.clear();
  EXPECT_EQ(Add(path), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

// Once for the texts, and once for the position, behind the wait for the database.
TEST_F(FileAdd, LooksTwiceForSideFilesAndTheNextAddNoticesOne) {
  UsePersonal();
  const std::string path = PersonalFile("a.jpg");
  ASSERT_EQ(Add(path), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathFolderGone"), 2);
  EXPECT_EQ(fake().Count("KAVOBeneathExist"), 0);
  WriteFile(personal() + "/@eaDir/a.jpg/KAVOPHOTO_TITLE", "title");
  ASSERT_EQ(Add(path), 0);
  EXPECT_EQ(info_["szTitle"], "title");
}

TEST_F(FileAdd, DoesNothingForARefusedPath) {
  UsePersonal();
  const std::string side = personal() + "/@eaDir/a.jpg/KAVOPHOTO_TITLE";
  WriteFile(side, "title");
  Set("runpersonallumivault", "no");
  KAVO_MEDIA_INFO record = RecordOf(PersonalFile("a.jpg"));
  EXPECT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_EQ(Add(record.szPath), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(side));
}

TEST_F(FileAdd, SavesAPhotoAndStartsThePreview) {
  const std::string path = SharedFile("a.jpg");
  ASSERT_EQ(Add(path), 0);
  EXPECT_EQ(info_["szName"], "a.jpg");
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
  EXPECT_THAT(Sent("video"), IsEmpty());
  EXPECT_EQ(
      fake().Count("RLIBCExec(/var/packages/Lumivault/target/bin/kavophoto_extract_preview " + path + ")"),
      1);
  EXPECT_EQ(fake().Count("RLIBCExec(/usr/kavo/bin/kavoflvconv"), 0);
}

TEST_F(FileAdd, OpensTheFileToEverybody) {
  const std::string path = SharedFile("a.jpg");
  ASSERT_EQ(Add(path), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode(" + shared() + ", " + path + ", 0777)"), 1);
}

TEST_F(FileAdd, SucceedsWhenTheModeCannotBeSet) {
  fake().failing.insert("KAVOBeneathMode");
  EXPECT_EQ(Add(SharedFile("a.jpg")), 0);
}

TEST_F(FileAdd, ReportsAPhotoThatCannotBeSaved) {
  FailStatement("INTO photo_image");
  EXPECT_EQ(Add(SharedFile("a.jpg")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
  EXPECT_EQ(fake().Count("RLIBCExec(/var/packages"), 0);
}

TEST_F(FileAdd, SavesAWebVideoWithItsDescription) {
  Json::Value info = InfoOf(SharedFile("a.mp4"));
  info["szTitle"] = "A title of its own";
  ASSERT_EQ(IndexAdd_Json(&info, kIndexed), 0);
  EXPECT_EQ(Sent("INTO video ").size() + Sent("INTO video(").size(), 1U);
  EXPECT_EQ(Sent("INTO video_desc").size(), 1U);
  EXPECT_EQ(fake().Count("RLIBCExec(/usr/kavo/bin/kavoflvconv"), 0);
}

TEST_F(FileAdd, ReportsAWebVideoThatCannotBeSaved) {
  FailStatement("INTO video");
  EXPECT_EQ(Add(SharedFile("a.mp4")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
  EXPECT_THAT(Sent("video_desc"), IsEmpty());
}

TEST_F(FileAdd, ReportsADescriptionThatCannotBeSaved) {
  FailStatement("INTO video_desc");
  Json::Value info = InfoOf(SharedFile("a.mp4"));
  info["szTitle"] = "A title of its own";
  EXPECT_EQ(IndexAdd_Json(&info, kIndexed), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# Failed to save photo info into video_desc table.");
}

TEST_F(FileAdd, HandsAnotherVideoToTheConverter) {
  const std::string path = SharedFile("a.avi");
  ASSERT_EQ(Add(path), 0);
  EXPECT_THAT(Sent("video_desc"), IsEmpty());
  EXPECT_EQ(fake().Count("RLIBCExec(/usr/kavo/bin/kavoflvconv -f " + path + ")"), 1);
  EXPECT_EQ(fake().Count("RLIBCExec(/var/packages/Lumivault/target/bin/kavophoto_extract_preview"), 1);
}

TEST_F(FileAdd, SavesThenConvertsThenOpensThenPreviews) {
  const std::string path = SharedFile("a.avi");
  ASSERT_EQ(Add(path), 0);
  const auto position = [&](const std::string& prefix) {
    const auto is_wanted = [&](const std::string& call) { return call.starts_with(prefix); };
    const auto found = std::find_if(fake().calls.begin(), fake().calls.end(), is_wanted);
    EXPECT_NE(found, fake().calls.end()) << prefix;
    return found - fake().calls.begin();
  };
  const auto save = position("KAVODBExecute(INSERT INTO video");
  const auto convert = position("RLIBCExec(/usr/kavo/bin/kavoflvconv");
  const auto open = position("KAVOBeneathMode(");
  const auto preview = position("RLIBCExec(/var/packages/Lumivault/target/bin/kavophoto_extract_preview");
  EXPECT_LT(save, convert);
  EXPECT_LT(convert, open);
  EXPECT_LT(open, preview);
}

TEST_F(FileAdd, ReportsAnotherVideoThatCannotBeSaved) {
  FailStatement("INTO video");
  EXPECT_EQ(Add(SharedFile("a.avi")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
  EXPECT_EQ(fake().Count("RLIBCExec(/usr/kavo/bin/kavoflvconv"), 0);
}

TEST_F(FileAdd, TakesARecordAsItsJsonForm) {
  KAVO_MEDIA_INFO record = RecordOf(SharedFile("a.jpg"));
  EXPECT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_THAT(Sent("INTO photo_image"), ElementsAre(HasSubstr(record.szPath)));
}

TEST_F(FileAdd, SurvivesARecordOfAnotherJsonKind) {
  Json::Value list(Json::arrayValue);
  EXPECT_EQ(IndexAdd_Json(&list, kIndexed), -1);
  Json::Value info(Json::objectValue);
  info["szPath"] = Json::Value(Json::arrayValue);
  EXPECT_EQ(IndexAdd_Json(&info, kIndexed), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_index.cpp:# Bad path name ", "photo_index.cpp:# Bad path name "));
}

TEST_F(FileAdd, QueuesNothingWhileThePackageIsOff) {
  Set("runfacerecognition", "yes");
  ASSERT_EQ(Add(SharedFile("a.jpg")), 0);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
}

TEST_F(FileAdd, QueuesTheWatermarkWhileThePackageIsOn) {
  EnablePackage();
  ASSERT_EQ(Add(SharedFile("a.jpg")), 0);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 1);
  EXPECT_THAT(Sent("enable_face_recognition"), IsEmpty());
}

TEST_F(FileAdd, QueuesFaceRecognitionBeforeTheWatermarkWhereItIsOn) {
  EnablePackage();
  Set("runfacerecognition", "yes");
  Answer({.match = "enable_face_recognition", .rows = {{{"config_value", "on"}}}});
  const std::string path = SharedFile("a.jpg");
  ASSERT_EQ(Add(path), 0);
  const std::string queue = ReadFile(fake().root + "/var/services/photo/@eaDir/kavophoto_face.queue");
  EXPECT_THAT(queue, StartsWith("F:" + path + "\nw:"));
}

TEST_F(FileAdd, SucceedsWhenNothingCanBeQueued) {
  EnablePackage();
  fake().failing.insert("RLIBCFileLockByFile");
  EXPECT_EQ(Add(SharedFile("a.jpg")), 0);
}

TEST_F(FileAdd, QueuesNoVideo) {
  EnablePackage();
  ASSERT_EQ(Add(SharedFile("a.mp4")), 0);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
}

// --- Delete.

class FileDelete : public IndexLibraryTest {};

TEST_F(FileDelete, RefusesNoPath) {
  EXPECT_EQ(IndexDelete(nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter));
}

TEST_F(FileDelete, KeepsTheRowsOfAFileThatIsStillThere) {
  EXPECT_EQ(IndexDelete(SharedFile("a.jpg").c_str()), -1);
  EXPECT_THAT(Messages(), ElementsAre("[6] photo_index.cpp:# File exists. Skip remove it from database."));
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(FileDelete, LeavesPathsOutsideTheSharedFolderAlone) {
  EXPECT_EQ(IndexDelete("/elsewhere/a.jpg"), 0);
  EXPECT_EQ(fake().Count("IsFileExist"), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(FileDelete, ReportsARefusedContext) {
  UsePersonal();
  Set("runpersonallumivault", "no");
  EXPECT_EQ(IndexDelete((personal() + "/a.jpg").c_str()), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(FileDelete, LeavesSideFilesAndTemporaryItemsAlone) {
  EXPECT_EQ(IndexDelete((shared() + "/@eaDir/a.jpg").c_str()), 0);
  EXPECT_EQ(IndexDelete((shared() + "/x@eaDirx/a.jpg").c_str()), 0);
  EXPECT_EQ(IndexDelete((shared() + "/.TemporaryItems/a.jpg").c_str()), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(FileDelete, TakesANameThatOnlyEndsLikeTemporaryItemsForAnyOther) {
  ASSERT_EQ(IndexDelete((shared() + "/x.TemporaryItems/a.jpg").c_str()), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image").size(), 1U);
}

TEST_F(FileDelete, ClearsEveryTableOfFilesInOrder) {
  const std::string path = shared() + "/a.jpg";
  ASSERT_EQ(IndexDelete(path.c_str()), 0);
  const auto by = [&](const std::string& table, const std::string& column) {
    return "DELETE FROM " + table + " WHERE " + column + " like '" + path + "'";
  };
  EXPECT_THAT(Sent("like '" + path),
              ElementsAre(by("photo_image", "path"), by("video_desc", "path"), by("video_comment", "path"),
                          by("photo_video_label", "video_path"), by("video", "path"),
                          by("video_convert", "video_path")));
}

TEST_F(FileDelete, GoesOnAfterATableThatCannotBeCleared) {
  FailStatement("DELETE FROM photo_image");
  EXPECT_EQ(IndexDelete((shared() + "/a.jpg").c_str()), 0);
  EXPECT_EQ(Sent("DELETE FROM video_convert").size(), 1U);
}

}  // namespace
