#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- The entry points.

class Reindex : public IndexLibraryTest {
 protected:
  static int Update(const std::string& path, unsigned type = kIndexed) {
    Json::Value info = InfoOf(path);
    return IndexReindexUpdate_Json(&info, type);
  }
};

TEST_F(Reindex, RefusesNoArgument) {
  EXPECT_EQ(IndexPreReindex(nullptr), -1);
  EXPECT_EQ(IndexPostReindex(nullptr), -1);
  EXPECT_EQ(IndexReindexUpdate_Json(nullptr, kIndexed), -1);
  EXPECT_EQ(IndexReindexUpdate(nullptr, kIndexed), -1);
  EXPECT_EQ(IndexReindexDirUpdate(nullptr), -1);
  EXPECT_EQ(Messages(), std::vector<std::string>(5, kBadParameter));
}

TEST_F(Reindex, MarksFilesThenAlbums) {
  ASSERT_EQ(IndexPreReindex(shared().c_str()), 0);
  EXPECT_THAT(
      fake().statements,
      ElementsAre(" UPDATE photo_image SET updated = '0' ", " UPDATE video SET updated = '0' ",
                  " UPDATE video_convert SET updated = '0' ", "Update photo_share set updated = '0'"));
}

TEST_F(Reindex, LeavesRootsOutsideAlone) {
  EXPECT_EQ(IndexPreReindex("/elsewhere"), 0);
  EXPECT_EQ(IndexPostReindex("/elsewhere"), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Reindex, DoesNothingForARefusedPath) {
  UsePersonal();
  const std::string path = PersonalFile("a.jpg");
  const std::string side = personal() + "/@eaDir/a.jpg/KAVOPHOTO_TITLE";
  WriteFile(side, "title");
  Set("runpersonallumivault", "no");
  EXPECT_EQ(IndexPreReindex(personal().c_str()), 0);
  EXPECT_EQ(Update(path), 0);
  KAVO_MEDIA_INFO record = RecordOf(path);
  EXPECT_EQ(IndexReindexUpdate(&record, kIndexed), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(side));
}

TEST_F(Reindex, ReportsASweepWhoseContextIsRefused) {
  EXPECT_EQ(IndexPostReindex("user:"), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Reindex, ReportsFilesThatCannotBeMarked) {
  FailStatement("UPDATE photo_image");
  EXPECT_EQ(IndexPreReindex(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# Failed to set updated to 0 for all rows of photo_image table.");
  EXPECT_THAT(Sent("photo_share"), IsEmpty());
}

TEST_F(Reindex, ReportsAlbumsThatCannotBeMarked) {
  FailStatement("Update photo_share");
  EXPECT_EQ(IndexPreReindex(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# Failed to set updated to 0 for all rows of photo_share table.");
}

TEST_F(Reindex, SweepsFilesThenAlbumsThenCompacts) {
  ASSERT_EQ(IndexPostReindex(shared().c_str()), 0);
  EXPECT_THAT(
      fake().statements,
      ElementsAre(" DELETE FROM photo_image WHERE updated = '0' ", " DELETE FROM video WHERE updated = '0' ",
                  " DELETE FROM video_convert WHERE updated = '0' ",
                  " DELETE FROM video_desc WHERE path NOT IN (SELECT path FROM video) ",
                  " DELETE FROM video_comment WHERE path NOT IN (SELECT path FROM video) ",
                  " DELETE FROM photo_video_label WHERE video_path NOT IN (SELECT path FROM video) ",
                  "DELETE FROM photo_share WHERE updated = '0'", "VACUUM ANALYZE"));
}

TEST_F(Reindex, ReportsFilesOrAlbumsThatCannotBeSwept) {
  constexpr const char* kMessage = "photo_index.cpp (#) Failed to delete none updated rows.";
  Answer({.match = "DELETE FROM photo_image", .result = -1, .once = true});
  EXPECT_EQ(IndexPostReindex(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), kMessage);
  EXPECT_THAT(Sent("photo_share"), IsEmpty());
  FailStatement("DELETE FROM photo_share");
  SyslogCapture::Clear();
  EXPECT_EQ(IndexPostReindex(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), kMessage);
  EXPECT_THAT(Sent("VACUUM"), IsEmpty());
}

TEST_F(Reindex, SucceedsWhenTheDatabaseCannotBeCompacted) {
  FailStatement("VACUUM");
  EXPECT_EQ(IndexPostReindex(shared().c_str()), 0);
}

TEST_F(Reindex, UpdatesAPhotoWithoutQueueing) {
  EnablePackage();
  Set("runfacerecognition", "yes");
  const std::string path = SharedFile("a.jpg");
  ASSERT_EQ(Update(path), 0);
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode(" + shared() + ", " + path + ", 0777)"), 1);
  EXPECT_EQ(
      fake().Count("RLIBCExec(/var/packages/Lumivault/target/bin/kavophoto_extract_preview " + path + ")"),
      1);
}

TEST_F(Reindex, NamesAPhotoThatCannotBeSaved) {
  FailStatement("INTO photo_image");
  const std::string path = SharedFile("a.jpg");
  EXPECT_EQ(Update(path), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# Failed to save photo info: " + path);
}

TEST_F(Reindex, KeepsTheDescriptionOfAWebVideo) {
  Json::Value info = InfoOf(SharedFile("a.mp4"));
  info["szTitle"] = "A title of its own";
  ASSERT_EQ(IndexReindexUpdate_Json(&info, kIndexed), 0);
  EXPECT_EQ(Sent("INTO video").size(), 1U);
  EXPECT_THAT(Sent("video_desc"), IsEmpty());
}

TEST_F(Reindex, ReportsAVideoThatCannotBeSaved) {
  FailStatement("INTO video");
  EXPECT_EQ(Update(SharedFile("a.mp4")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
  SyslogCapture::Clear();
  EXPECT_EQ(Update(SharedFile("a.avi")), -1);
  EXPECT_EQ(LastMessage(), kSaveFailed);
}

TEST_F(Reindex, HandsAnotherVideoToTheConverter) {
  const std::string path = SharedFile("a.avi");
  ASSERT_EQ(Update(path), 0);
  EXPECT_EQ(fake().Count("RLIBCExec(/usr/kavo/bin/kavoflvconv -f " + path + ")"), 1);
}

TEST_F(Reindex, RefusesFoldersAndUnknownKinds) {
  EXPECT_EQ(Update(shared()), -1);
  EXPECT_EQ(Update(SharedFile("a.txt")), -1);
  EXPECT_EQ(Update(SharedFile("a.jpg"), kNotIndexed), 0);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_index.cpp:# Path should be a file, not a directory: " + shared()));
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Reindex, TakesARecordAsItsJsonForm) {
  KAVO_MEDIA_INFO record = RecordOf(SharedFile("a.jpg"));
  EXPECT_EQ(IndexReindexUpdate(&record, kIndexed), 0);
  EXPECT_EQ(Sent("INTO photo_image").size(), 1U);
}

TEST_F(Reindex, UpdatesAFolderAndStillReportsFailure) {
  Set("albumdefpublic", "no");
  EXPECT_EQ(IndexReindexDirUpdate(Folder(shared() + "/2024").c_str()), -1);
  EXPECT_EQ(Sent("INSERT INTO photo_share").size(), 1U);
  EXPECT_THAT(Messages(), IsEmpty());
}

// --- Mark and sweep.

class MarkSweep : public IndexLibraryTest {
 protected:
  static constexpr const char* kNoAlbum = "/x";  // a folder without an album name
};

TEST_F(MarkSweep, MarksBelowASharedFolder) {
  const std::string folder = shared() + "/2024";
  ASSERT_EQ(KAVOPhotoInitAllRows(folder.c_str()), 0);
  const std::string below = " LIKE '" + folder + "/%'";
  EXPECT_THAT(fake().statements,
              ElementsAre(" UPDATE photo_image SET updated = '0' WHERE path" + below,
                          " UPDATE video SET updated = '0' WHERE path" + below,
                          " UPDATE video_convert SET updated = '0' WHERE video_path" + below));
}

TEST_F(MarkSweep, MarksBelowAPersonalFolder) {
  UsePersonal();
  ASSERT_EQ(KAVOPhotoInitAllRows((personal() + "/2024").c_str()), 0);
  EXPECT_EQ(Sent("photo_image").front(),
            "PRAGMA case_sensitive_like=true; UPDATE photo_image SET updated = '0' WHERE path LIKE '2024/%'");
  ASSERT_EQ(KAVOPhotoInitAllRows(personal().c_str()), 0);
  EXPECT_EQ(Sent("photo_image").back(),
            "PRAGMA case_sensitive_like=true; UPDATE photo_image SET updated = '0' ");
}

TEST_F(MarkSweep, MarksSubAlbumsButNotTheAlbumItself) {
  ASSERT_EQ(KAVOPhotoShareInitAllRows((shared() + "/2024").c_str()), 0);
  EXPECT_THAT(fake().statements,
              ElementsAre("Update photo_share set updated = '0' where sharename like '2024/%'"));
}

TEST_F(MarkSweep, MarksPersonalAlbums) {
  UsePersonal();
  ASSERT_EQ(KAVOPhotoShareInitAllRows((personal() + "/2024").c_str()), 0);
  ASSERT_EQ(KAVOPhotoShareInitAllRows(personal().c_str()), 0);
  EXPECT_THAT(
      Sent("photo_share"),
      ElementsAre("PRAGMA case_sensitive_like=true; Update photo_share set updated = '0' where sharename "
                  "like '2024/%'",
                  "PRAGMA case_sensitive_like=true; Update photo_share set updated = '0'"));
}

TEST_F(MarkSweep, SweepsBelowASharedFolder) {
  const std::string folder = shared() + "/2024";
  ASSERT_EQ(KAVOPhotoDeleteNoUpdateRows(folder.c_str()), 0);
  const std::string below = " LIKE '" + folder + "/%'";
  const std::string orphan = " NOT IN (SELECT path FROM video) AND ";
  EXPECT_THAT(fake().statements,
              ElementsAre(" DELETE FROM photo_image WHERE updated = '0' AND path" + below,
                          " DELETE FROM video WHERE updated = '0' AND path" + below,
                          " DELETE FROM video_convert WHERE updated = '0' AND video_path" + below,
                          " DELETE FROM video_desc WHERE path" + orphan + "path" + below,
                          " DELETE FROM video_comment WHERE path" + orphan + "path" + below,
                          " DELETE FROM photo_video_label WHERE video_path" + orphan + "video_path" + below));
}

TEST_F(MarkSweep, SweepsPersonalRowsWithThePragma) {
  UsePersonal();
  ASSERT_EQ(KAVOPhotoDeleteNoUpdateRows((personal() + "/2024").c_str()), 0);
  EXPECT_EQ(
      Sent("video_convert").front(),
      "PRAGMA case_sensitive_like=true; DELETE FROM video_convert WHERE updated = '0' AND video_path LIKE "
      "'2024/%'");
  EXPECT_EQ(Sent("PRAGMA case_sensitive_like=true; DELETE").size(), 6U);
}

TEST_F(MarkSweep, SweepsAlbums) {
  ASSERT_EQ(KAVOPhotoShareDeleteNoUpdateRows((shared() + "/2024").c_str()), 0);
  UsePersonal();
  ASSERT_EQ(KAVOPhotoShareDeleteNoUpdateRows(personal().c_str()), 0);
  EXPECT_THAT(Sent("photo_share"),
              ElementsAre("DELETE FROM photo_share WHERE updated = '0' AND sharename LIKE '2024/%'",
                          "PRAGMA case_sensitive_like=true; DELETE FROM photo_share WHERE updated = '0'"));
}

TEST_F(MarkSweep, ReportsAFolderWithoutAnAlbumNameExceptWhenSweepingFiles) {
  EXPECT_EQ(KAVOPhotoInitAllRows(kNoAlbum), -1);
  EXPECT_EQ(KAVOPhotoShareInitAllRows(kNoAlbum), -1);
  EXPECT_EQ(KAVOPhotoDeleteNoUpdateRows(kNoAlbum), -1);
  EXPECT_EQ(KAVOPhotoShareDeleteNoUpdateRows(kNoAlbum), -1);
  EXPECT_EQ(Messages(),
            std::vector<std::string>(3, "photo_database.cpp:# Failed to get share name from [/x]"));
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(MarkSweep, ReportsAPatternThatCannotBeBuilt) {
  fake().failing.insert("KAVODBEscapeStringEX3");
  const std::string folder = shared() + "/2024";
  EXPECT_EQ(KAVOPhotoInitAllRows(folder.c_str()), -1);
  EXPECT_EQ(KAVOPhotoShareInitAllRows(folder.c_str()), -1);
  EXPECT_EQ(KAVOPhotoDeleteNoUpdateRows(folder.c_str()), -1);
  EXPECT_EQ(KAVOPhotoShareDeleteNoUpdateRows(folder.c_str()), -1);
  EXPECT_EQ(Messages(), std::vector<std::string>(
                            4, "photo_database.cpp:# Failed to get escaped path from [" + folder + "]"));
}

TEST_F(MarkSweep, StopsAtTheFirstTableThatFails) {
  FailStatement("video ");
  EXPECT_EQ(KAVOPhotoInitAllRows(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# Failed to exec [ UPDATE video SET updated = '0' ]");
  EXPECT_EQ(KAVOPhotoDeleteNoUpdateRows(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# Failed to exec [ DELETE FROM video WHERE updated = '0' ]");
  EXPECT_THAT(Sent("video_convert"), IsEmpty());
}

TEST_F(MarkSweep, ReportsAlbumsThatFail) {
  FailStatement("photo_share");
  EXPECT_EQ(KAVOPhotoShareInitAllRows(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# Failed to exec [Update photo_share set updated = '0'].");
  EXPECT_EQ(KAVOPhotoShareDeleteNoUpdateRows(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(),
            "photo_database.cpp:# Failed to exec [DELETE FROM photo_share WHERE updated = '0'].");
}

TEST_F(MarkSweep, ReportsOrphansThatCannotBeSwept) {
  FailStatement("DELETE FROM video_comment");
  EXPECT_EQ(KAVOPhotoDeleteNoUpdateRows(shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# Failed to exec [" + Sent("video_comment").front() + "]");
  EXPECT_THAT(Sent("photo_video_label"), IsEmpty());
}

TEST_F(MarkSweep, SendsAStatementThatJustFitsItsBufferButNoLongerOne) {
  const std::string around = " UPDATE photo_image SET updated = '0' WHERE path LIKE '/%'";
  const std::string folder = shared() + "/" + std::string(4095 - around.size() - shared().size() - 1, 'd');
  // The second table's statement is shorter, the third one's longer.
  EXPECT_EQ(KAVOPhotoInitAllRows(folder.c_str()), -1);
  ASSERT_EQ(fake().statements.size(), 2U);
  EXPECT_EQ(fake().statements.front().size(), 4095U);
  const std::string unsent = " UPDATE video_convert SET updated = '0' WHERE video_path LIKE '" + folder;
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# Failed to exec [" + unsent.substr(0, 4095) + "]");
}

}  // namespace
