#include <gmock/gmock.h>

#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/request_context.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;

class ReindexTest : public LibraryTest {
 protected:
  int Update(const std::string& relative) {
    KAVO_MEDIA_INFO record = RecordOf(Path(relative));
    return IndexReindexUpdate(&record, kIndexed);
  }
  // A photo on disk and in the database.
  void AddPhoto(const std::string& relative) {
    MakeJpeg(photos() / relative, 8, 6);
    ASSERT_EQ(Update(relative), 0);
  }
  void AddRow(const std::string& table, const std::string& column, const std::string& relative) {
    Run("INSERT INTO " + table + " (" + column + ") VALUES ('" + Key(relative) + "')");
  }
  // A video with a description, a comment and the label 1.
  void AddVideoWithSideRows(const std::string& relative) {
    AddRow("video", "path", relative);
    AddRow("video_desc", "path", relative);
    AddRow("video_comment", "path", relative);
    Run("INSERT INTO photo_video_label (video_path, label_id) VALUES ('" + Key(relative) + "', 1)");
  }
  std::vector<std::string> Column(const std::string& table, const std::string& column) {
    std::vector<std::string> values;
    for (const Row& row : Query("SELECT " + column + " FROM " + table + " ORDER BY 1")) {
      values.push_back(row.begin()->second);
    }
    return values;
  }
  std::string Updated(const std::string& relative) {
    return Value("SELECT updated FROM photo_image WHERE path = '" + Key(relative) + "'");
  }
};

TEST_P(ReindexTest, RemovesTheRowsOfFilesThatWentWhileNobodyWatched) {
  AddPhoto("2024/kept.jpg");
  AddPhoto("2024/gone.jpg");
  fs::remove(photos() / "2024/gone.jpg");
  ASSERT_EQ(IndexPreReindex(photos().c_str()), 0);
  ASSERT_EQ(Update("2024/kept.jpg"), 0);
  ASSERT_EQ(IndexPostReindex(photos().c_str()), 0);
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("2024/kept.jpg")));
}

TEST_P(ReindexTest, KeepsTheIdOfAPhotoThatIsSeenAgain) {
  AddPhoto("2024/a.jpg");
  const std::string id = Value("SELECT id FROM photo_image");
  ASSERT_EQ(IndexPreReindex(photos().c_str()), 0);
  EXPECT_EQ(Updated("2024/a.jpg"), "0");
  ASSERT_EQ(Update("2024/a.jpg"), 0);
  EXPECT_EQ(Updated("2024/a.jpg"), "1");
  EXPECT_EQ(Value("SELECT id FROM photo_image"), id);
}

TEST_P(ReindexTest, RemovesAlbumsOfFoldersThatWentAndKeepsTheRoot) {
  Run("INSERT INTO photo_share (shareid, sharename) VALUES (2, '2024'), (3, 'gone')");
  fs::create_directories(photos() / "2024");
  ASSERT_EQ(IndexPreReindex(photos().c_str()), 0);
  EXPECT_EQ(IndexReindexDirUpdate(photos().c_str()), -1);
  EXPECT_EQ(IndexReindexDirUpdate(Path("2024").c_str()), -1);
  ASSERT_EQ(IndexPostReindex(photos().c_str()), 0);
  EXPECT_THAT(Column("photo_share", "sharename"), ElementsAre("/", "2024"));
}

TEST_P(ReindexTest, SweepsBelowAFolderOnlyAndNotBesideIt) {
  for (const char* name : {"2024/a.jpg", "2024b/a.jpg", "2024.jpg", "2023/a.jpg"}) {
    AddRow("photo_image", "path", name);
  }
  Run("INSERT INTO photo_share (shareid, sharename) VALUES (2, '2024'), (3, '2024b'), (4, '2024/trip')");
  Run("UPDATE photo_image SET updated = '0'");
  ASSERT_EQ(IndexPreReindex(Path("2024").c_str()), 0);
  ASSERT_EQ(IndexPostReindex(Path("2024").c_str()), 0);
  EXPECT_THAT(Column("photo_image", "path"),
              testing::UnorderedElementsAre(Key("2024.jpg"), Key("2024b/a.jpg"), Key("2023/a.jpg")));
  EXPECT_THAT(Column("photo_share", "sharename"), ElementsAre("/", "2024", "2024b"));
}

TEST_P(ReindexTest, MarksBelowAFolderOnly) {
  AddRow("photo_image", "path", "2024/a.jpg");
  AddRow("photo_image", "path", "2024b/a.jpg");
  ASSERT_EQ(IndexPreReindex(Path("2024").c_str()), 0);
  EXPECT_EQ(Updated("2024/a.jpg"), "0");
  EXPECT_EQ(Updated("2024b/a.jpg"), "1");
}

TEST_P(ReindexTest, TakesWildcardsOfAFolderNameLiterally) {
  for (const char* name : {"a_b/x.jpg", "axb/x.jpg", "A_B/x.jpg", "it''s 100%/x.jpg", "it''s 100 %/x.jpg"}) {
    AddRow("photo_image", "path", name);
  }
  for (const char* folder : {"a_b", "it's 100%"}) {
    ASSERT_EQ(IndexPreReindex(Path(folder).c_str()), 0);
    ASSERT_EQ(IndexPostReindex(Path(folder).c_str()), 0);
  }
  EXPECT_EQ(Column("photo_image", "path").size(), 3U);
  EXPECT_EQ(Updated("axb/x.jpg"), "1");
  EXPECT_EQ(Updated("A_B/x.jpg"), "1");
  EXPECT_EQ(Updated("it''s 100 %/x.jpg"), "1");
}

TEST_P(ReindexTest, RemovesWhatBelongsToVideosThatWent) {
  Run("INSERT INTO photo_label (id, category, name) VALUES (1, 2, 'x')");
  for (const char* name : {"a.mp4", "b.mp4"}) AddVideoWithSideRows(name);
  Run("UPDATE video SET updated = '0' WHERE path = '" + Key("a.mp4") + "'");
  ASSERT_EQ(IndexPostReindex(photos().c_str()), 0);
  for (const char* table : {"video", "video_desc", "video_comment"}) {
    EXPECT_THAT(Column(table, "path"), ElementsAre(Key("b.mp4"))) << table;
  }
  EXPECT_THAT(Column("photo_video_label", "video_path"), ElementsAre(Key("b.mp4")));
}

TEST_P(ReindexTest, RemovesWhatBelongsToVideosThatWentBelowAFolderOnly) {
  Run("INSERT INTO photo_label (id, category, name) VALUES (1, 2, 'x')");
  for (const char* name : {"2024/trip/a.mp4", "2024b/a.mp4"}) AddVideoWithSideRows(name);
  Run("DELETE FROM video");
  ASSERT_EQ(IndexPostReindex(Path("2024").c_str()), 0);
  for (const char* table : {"video_desc", "video_comment"}) {
    EXPECT_THAT(Column(table, "path"), ElementsAre(Key("2024b/a.mp4"))) << table;
  }
  EXPECT_THAT(Column("photo_video_label", "video_path"), ElementsAre(Key("2024b/a.mp4")));
}

TEST_P(ReindexTest, SendsNoStatementThatDoesNotFitItsBuffer) {
  AddRow("photo_image", "path", "a.jpg");
  Run("UPDATE photo_image SET updated = '0'");
  const std::string folder = Path(std::string(4090 - photos().string().size(), 'd'));
  EXPECT_EQ(HGAStatusCheck(folder.c_str()), 0);
  EXPECT_EQ(KAVOPhotoDeleteNoUpdateRows(folder.c_str()), -1);
  ASSERT_EQ(SyslogCapture::Messages().size(), 1U);
  EXPECT_THAT(SyslogCapture::Messages()[0],
              testing::MatchesRegex("photo_database.cpp:# Failed to exec "
                                    "\\[.* DELETE FROM photo_image WHERE updated = '0' AND .*d\\]"));
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("a.jpg")));
}

TEST_P(ReindexTest, KeepsTheDescriptionOfAVideoThatIsSeenAgain) {
  WriteFile(photos() / "a.mp4", "film");
  AddRow("video", "path", "a.mp4");
  Run("INSERT INTO video_desc (path, title) VALUES ('" + Key("a.mp4") + "', 'My film')");
  ASSERT_EQ(IndexPreReindex(photos().c_str()), 0);
  ASSERT_EQ(Update("a.mp4"), 0);
  ASSERT_EQ(IndexPostReindex(photos().c_str()), 0);
  EXPECT_THAT(Column("video_desc", "title"), ElementsAre("My film"));
}

TEST_P(ReindexTest, LeavesRootsOutsideAlone) {
  AddRow("photo_image", "path", "a.jpg");
  Run("UPDATE photo_image SET updated = '0'");
  EXPECT_EQ(IndexPreReindex(tree().root().c_str()), 0);
  EXPECT_EQ(IndexPostReindex(tree().root().c_str()), 0);
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("a.jpg")));
}

TEST_P(ReindexTest, SavesAFolderAndStillReportsFailure) {
  tree().Set("albumdefpublic", "yes");
  fs::create_directories(photos() / "2024");
  EXPECT_EQ(IndexReindexDirUpdate(Path("2024").c_str()), -1);
  EXPECT_THAT(Column("photo_share", "sharename"), ElementsAre("/", "2024"));
}

TEST_P(ReindexTest, BrokenOffBeforeTheSweepLosesNothing) {
  AddPhoto("2024/a.jpg");
  ASSERT_EQ(IndexPreReindex(photos().c_str()), 0);
  ASSERT_EQ(IndexPreReindex(photos().c_str()), 0);
  ASSERT_EQ(Update("2024/a.jpg"), 0);
  ASSERT_EQ(IndexPostReindex(photos().c_str()), 0);
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("2024/a.jpg")));
}

INSTANTIATE_TEST_SUITE_P(Engines, ReindexTest, BothEngines(), EngineName);

}  // namespace
