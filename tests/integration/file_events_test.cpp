#include <gmock/gmock.h>
#include <sys/stat.h>

#include "lumivault/photo_database.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileEventsTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (!IsSkipped()) fs::create_directories(photos() / "2024");
  }
  int Add(const std::string& relative, const std::string& title = "") {
    KAVO_MEDIA_INFO record = RecordOf(Path(relative));
    std::snprintf(record.szTitle, sizeof record.szTitle, "%s", title.c_str());
    return IndexAdd(&record, kIndexed);
  }
  int Rename(const std::string& new_path, const std::string& old_path) {
    KAVO_MEDIA_INFO record = RecordOf(new_path);
    return IndexRename(&record, kIndexed, old_path.c_str());
  }
  // A photo on disk and in the database.
  void AddPhoto(const std::string& relative) {
    MakeJpeg(photos() / relative, 8, 6);
    ASSERT_EQ(Add(relative), 0);
  }
  // Moves the file on disk, as whoever renamed it did.
  void MoveFile(const std::string& new_name, const std::string& old_name) {
    fs::create_directories((photos() / new_name).parent_path());
    fs::rename(photos() / old_name, photos() / new_name);
  }
  std::vector<std::string> Keys(const std::string& table) {
    std::vector<std::string> keys;
    for (const Row& row : Query("SELECT path FROM " + table + " ORDER BY path"))
      keys.push_back(row.at("path"));
    return keys;
  }
  // A tool of the appliance that notes its arguments.
  fs::path MakeTool(const std::string& path) {
    const fs::path tool = tree().root() / path;
    const fs::path notes = tool.string() + ".notes";
    WriteFile(tool, "#!/bin/sh\necho \"$@\" >> '" + notes.string() + "'\n");
    fs::permissions(tool, fs::perms::owner_all);
    return notes;
  }
  std::string Queue() const {
    return ReadFile(tree_root_ / "var/services/photo/@eaDir/kavophoto_face.queue");
  }
  const fs::path tree_root_ = tree().root();
};

TEST_P(FileEventsTest, AddWritesOnePhoto) {
  AddPhoto("2024/a.jpg");
  EXPECT_THAT(Query("SELECT path, name, updated FROM photo_image"),
              ElementsAre(Row{{"path", Key("2024/a.jpg")}, {"name", "a.jpg"}, {"updated", "1"}}));
}

TEST_P(FileEventsTest, AddTwiceKeepsOneRow) {
  AddPhoto("2024/a.jpg");
  const std::string id = Value("SELECT id FROM photo_image");
  ASSERT_EQ(Add("2024/a.jpg"), 0);
  EXPECT_EQ(Value("SELECT id FROM photo_image"), id);
  EXPECT_EQ(Keys("photo_image").size(), 1U);
}

TEST_P(FileEventsTest, AddTakesTheTitleFromADescriptionSideFileAndConsumesBoth) {
  const fs::path side = photos() / "2024/@eaDir/a.jpg";
  WriteFile(side / "KAVOPHOTO_TITLE", "title");
  WriteFile(side / "KAVOPHOTO:DESC", "sunset");
  AddPhoto("2024/a.jpg");
  EXPECT_EQ(Value("SELECT title FROM photo_image"), "sunset");
  EXPECT_TRUE(fs::is_empty(side));
}

TEST_P(FileEventsTest, AddOpensTheFileToEverybody) {
  AddPhoto("2024/a.jpg");
  EXPECT_EQ(fs::status(photos() / "2024/a.jpg").permissions(), fs::perms::all);
}

TEST_P(FileEventsTest, AddGivesNoModeThroughALink) {
  const fs::path outside = tree().root() / "secret.jpg";
  MakeJpeg(outside, 8, 6);
  fs::permissions(outside, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink(outside, photos() / "2024/a.jpg");
  EXPECT_EQ(Add("2024/a.jpg"), 0);
  EXPECT_EQ(fs::status(outside).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_P(FileEventsTest, AddStartsThePreviewAndQueuesTheWatermark) {
  const fs::path notes = MakeTool("var/packages/Lumivault/target/bin/kavophoto_extract_preview");
  AddPhoto("2024/a.jpg");
  EXPECT_EQ(ReadFile(notes), Path("2024/a.jpg") + "\n");
  EXPECT_EQ(Queue(), personal() ? "u:alice/2024/a.jpg\n" : "w:2024/a.jpg\n");
}

TEST_P(FileEventsTest, AddQueuesFacesWhereTheyAreOn) {
  tree().Set("runfacerecognition", "yes");
  Run("INSERT INTO photo_config (config_key, config_value) VALUES ('enable_face_recognition', 'on')");
  AddPhoto("2024/a.jpg");
  EXPECT_THAT(Queue(), testing::StartsWith("F:" + Path("2024/a.jpg") + "\n"));
}

TEST_P(FileEventsTest, AddWritesAWebVideoWithItsDescription) {
  WriteFile(photos() / "2024/a.mp4", "film");
  ASSERT_EQ(Add("2024/a.mp4", "My film"), 0);
  EXPECT_THAT(Keys("video"), ElementsAre(Key("2024/a.mp4")));
  EXPECT_THAT(Keys("video_desc"), ElementsAre(Key("2024/a.mp4")));
}

TEST_P(FileEventsTest, AddHandsAnotherVideoToTheConverter) {
  const fs::path notes = MakeTool("usr/kavo/bin/kavoflvconv");
  WriteFile(photos() / "2024/a.avi", "film");
  ASSERT_EQ(Add("2024/a.avi", "My film"), 0);
  EXPECT_THAT(Keys("video"), ElementsAre(Key("2024/a.avi")));
  EXPECT_THAT(Keys("video_desc"), IsEmpty());
  EXPECT_EQ(ReadFile(notes), "-f " + Path("2024/a.avi") + "\n");
}

TEST_P(FileEventsTest, AddRefusesWhatIsNoMedium) {
  for (const char* name : {"a.srt", "a.ISO", "a.xyz", "name"}) {
    WriteFile(photos() / name, "x");
    EXPECT_EQ(Add(name), -1) << name;
  }
  EXPECT_EQ(Add(""), -1);
  EXPECT_THAT(Keys("photo_image"), IsEmpty());
  EXPECT_THAT(Keys("video"), IsEmpty());
}

TEST_P(FileEventsTest, DeleteRemovesTheRowsOfAFileThatIsGone) {
  AddPhoto("2024/a.jpg");
  AddPhoto("2024/b.jpg");
  fs::remove(photos() / "2024/a.jpg");
  EXPECT_EQ(IndexDelete(Path("2024/a.jpg").c_str()), 0);
  EXPECT_THAT(Keys("photo_image"), ElementsAre(Key("2024/b.jpg")));
}

TEST_P(FileEventsTest, DeleteKeepsTheRowsOfAFileThatIsThere) {
  AddPhoto("2024/a.jpg");
  EXPECT_EQ(IndexDelete(Path("2024/a.jpg").c_str()), -1);
  EXPECT_THAT(Keys("photo_image"), ElementsAre(Key("2024/a.jpg")));
}

TEST_P(FileEventsTest, DeleteLeavesRowsOfSideFoldersAlone) {
  for (const char* name : {"2024/@eaDir/a.jpg", "2024/.TemporaryItems/a.jpg"}) {
    Run("INSERT INTO photo_image (path) VALUES ('" + Key(name) + "')");
    EXPECT_EQ(IndexDelete(Path(name).c_str()), 0);
  }
  EXPECT_EQ(Keys("photo_image").size(), 2U);
}

TEST_P(FileEventsTest, RenameKeepsTheIdAndTheLabelsOfAPhoto) {
  AddPhoto("2024/it's.jpg");
  const std::string id = Value("SELECT id FROM photo_image");
  Run("INSERT INTO photo_label (id, category, name) VALUES (1, 0, 'Ann')");
  Run("INSERT INTO photo_image_label (image_id, label_id) VALUES (" + id + ", 1)");
  MoveFile("2025/new.jpg", "2024/it's.jpg");
  ASSERT_EQ(Rename(Path("2025/new.jpg"), Path("2024/it's.jpg")), 0);
  EXPECT_THAT(Query("SELECT id, path, name FROM photo_image"),
              ElementsAre(Row{{"id", id}, {"path", Key("2025/new.jpg")}, {"name", "new.jpg"}}));
  EXPECT_EQ(Value("SELECT image_id FROM photo_image_label"), id);
}

TEST_P(FileEventsTest, RenameReplacesWhatStoodUnderTheNewName) {
  AddPhoto("2024/a.jpg");
  AddPhoto("2024/b.jpg");
  const std::string id = Value("SELECT id FROM photo_image WHERE path = '" + Key("2024/a.jpg") + "'");
  MoveFile("2024/b.jpg", "2024/a.jpg");
  ASSERT_EQ(Rename(Path("2024/b.jpg"), Path("2024/a.jpg")), 0);
  EXPECT_THAT(Query("SELECT id, path FROM photo_image"),
              ElementsAre(Row{{"id", id}, {"path", Key("2024/b.jpg")}}));
}

TEST_P(FileEventsTest, RenameOntoItselfKeepsTheRow) {
  AddPhoto("2024/a.jpg");
  const std::string id = Value("SELECT id FROM photo_image");
  ASSERT_EQ(Rename(Path("2024/a.jpg"), Path("2024/a.jpg")), 0);
  EXPECT_THAT(Query("SELECT id, path FROM photo_image"),
              ElementsAre(Row{{"id", id}, {"path", Key("2024/a.jpg")}}));
}

TEST_P(FileEventsTest, RenameOntoItselfKeepsTheConversionsOfAVideo) {
  WriteFile(photos() / "2024/a.mp4", "film");
  ASSERT_EQ(Add("2024/a.mp4", "My film"), 0);
  Run("INSERT INTO video_convert (video_path, convert_file_path) VALUES ('" + Key("2024/a.mp4") + "', 'x')");
  ASSERT_EQ(Rename(Path("2024/a.mp4"), Path("2024/a.mp4")), 0);
  EXPECT_THAT(Keys("video"), ElementsAre(Key("2024/a.mp4")));
  EXPECT_THAT(Keys("video_desc"), ElementsAre(Key("2024/a.mp4")));
  EXPECT_EQ(Value("SELECT video_path FROM video_convert"), Key("2024/a.mp4"));
}

TEST_P(FileEventsTest, RenameAddsAPhotoWhoseOldNameOnlyLooksLikeThatOfARow) {
  AddPhoto("2024/IMG-1.jpg");
  MakeJpeg(photos() / "2024/new.jpg", 8, 6);
  ASSERT_EQ(Rename(Path("2024/new.jpg"), Path("2024/IMG_1.jpg")), 0);
  EXPECT_THAT(Keys("photo_image"), ElementsAre(Key("2024/IMG-1.jpg"), Key("2024/new.jpg")));
}

TEST_P(FileEventsTest, RenameAddsAPhotoThatHadNoRow) {
  MakeJpeg(photos() / "2024/new.jpg", 8, 6);
  ASSERT_EQ(Rename(Path("2024/new.jpg"), Path("2024/old.jpg")), 0);
  EXPECT_THAT(Keys("photo_image"), ElementsAre(Key("2024/new.jpg")));
}

TEST_P(FileEventsTest, RenameMovesWhatPeopleWroteAboutAVideo) {
  WriteFile(photos() / "2024/old.mp4", "film");
  ASSERT_EQ(Add("2024/old.mp4", "My film"), 0);
  Run("INSERT INTO video_comment (path, comment) VALUES ('" + Key("2024/old.mp4") + "', 'nice')");
  Run("INSERT INTO video_convert (video_path, convert_file_path) VALUES ('" + Key("2024/old.mp4") +
      "', 'x')");
  MoveFile("2024/new.mp4", "2024/old.mp4");
  ASSERT_EQ(Rename(Path("2024/new.mp4"), Path("2024/old.mp4")), 0);
  for (const char* table : {"video", "video_desc", "video_comment"}) {
    EXPECT_THAT(Keys(table), ElementsAre(Key("2024/new.mp4"))) << table;
  }
  EXPECT_EQ(Value("SELECT count(*) FROM video_convert"), "0");
}

TEST_P(FileEventsTest, RenameMovesTheRowOfAnotherVideo) {
  WriteFile(photos() / "2024/old.avi", "film");
  ASSERT_EQ(Add("2024/old.avi"), 0);
  MoveFile("2024/new.avi", "2024/old.avi");
  ASSERT_EQ(Rename(Path("2024/new.avi"), Path("2024/old.avi")), 0);
  EXPECT_THAT(Keys("video"), ElementsAre(Key("2024/new.avi")));
}

TEST_P(FileEventsTest, RenameToNoMediumDeletesTheRows) {
  AddPhoto("2024/old.jpg");
  MoveFile("2024/old.txt", "2024/old.jpg");
  ASSERT_EQ(Rename(Path("2024/old.txt"), Path("2024/old.jpg")), 0);
  EXPECT_THAT(Keys("photo_image"), IsEmpty());
}

TEST_P(FileEventsTest, RenameIntoTheFolderOfAnotherUserMovesBetweenTheDatabases) {
  tree().AddUser("bob");
  AddPhoto("2024/a.jpg");
  const fs::path bob = tree().personal("bob");
  fs::rename(photos() / "2024/a.jpg", bob / "a.jpg");
  ASSERT_EQ(Rename(bob / "a.jpg", Path("2024/a.jpg")), 0);
  EXPECT_THAT(Keys("photo_image"), IsEmpty());
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, (bob / "a.jpg").c_str(), &record), 0);
}

TEST_P(FileEventsTest, LeaveKindsOfFoldersThatHoldNoPhotosAlone) {
  MakeJpeg(photos() / "a.jpg", 8, 6);
  KAVO_MEDIA_INFO record = RecordOf(Path("a.jpg"));
  EXPECT_EQ(IndexAdd(&record, kNotIndexed), 0);
  EXPECT_EQ(IndexRename(&record, kNotIndexed, Path("b.jpg").c_str()), 0);
  EXPECT_THAT(Keys("photo_image"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Engines, FileEventsTest, BothEngines(), EngineName);

}  // namespace
