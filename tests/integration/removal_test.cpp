#include <gmock/gmock.h>

#include "lumivault/photo_database.h"
#include "support/databases.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RemovalTest : public LibraryTest {
 protected:
  int Delete(PHOTO_TABLE_TYPE type, const std::string& relative) {
    return PhotoInfoDBDelete(type, relative.empty() ? photos().c_str() : Path(relative).c_str());
  }
  void AddPhoto(const std::string& relative) {
    Run("INSERT INTO photo_image (path, name) VALUES ('" + Key(relative) + "', 'n')");
  }
  void AddVideo(const std::string& relative) {
    const std::string key = "'" + Key(relative) + "'";
    Run("INSERT INTO video (path) VALUES (" + key + ")");
    Run("INSERT INTO video_desc (path, title) VALUES (" + key + ", 't')");
    Run("INSERT INTO video_comment (path, comment) VALUES (" + key + ", 'c')");
    Run("INSERT INTO video_convert (video_path, convert_file_path) VALUES (" + key + ", 'x')");
  }
  void AddAlbum(int id, const std::string& name) {
    Run("INSERT INTO photo_share (shareid, sharename) VALUES (" + std::to_string(id) + ", '" + name + "')");
  }
  void AddLabel(int id, const std::string& name) {
    Run("INSERT INTO photo_label (id, category, name) VALUES (" + std::to_string(id) + ", 2, '" + name +
        "')");
  }
  void LinkPhoto(const std::string& relative, int label) {
    Run("INSERT INTO photo_image_label (image_id, label_id) SELECT id, " + std::to_string(label) +
        " FROM photo_image WHERE path = '" + Key(relative) + "'");
  }
  void LinkVideo(const std::string& relative, int label) {
    Run("INSERT INTO photo_video_label (video_path, label_id) VALUES ('" + Key(relative) + "', " +
        std::to_string(label) + ")");
  }
  // The values of COLUMN in TABLE, in order.
  std::vector<std::string> Column(const std::string& table, const std::string& column) {
    std::vector<std::string> values;
    for (const Row& row : Query("SELECT " + column + " FROM " + table + " ORDER BY 1")) {
      values.push_back(row.begin()->second);
    }
    return values;
  }
};

TEST_P(RemovalTest, DeletesThePhotoOfExactlyThatPath) {
  for (const char* name : {"a_b.jpg", "axb.jpg", "A_B.jpg", "a_b.jpg.bak", "sub/a_b.jpg"}) AddPhoto(name);
  ASSERT_EQ(Delete(PHOTO_TABLE_IMAGE, "a_b.jpg"), 0);
  EXPECT_THAT(
      Column("photo_image", "path"),
      testing::UnorderedElementsAre(Key("A_B.jpg"), Key("a_b.jpg.bak"), Key("axb.jpg"), Key("sub/a_b.jpg")));
}

TEST_P(RemovalTest, DeletesThePhotosOfHostileNamesAlone) {
  AddPhoto("other.jpg");
  for (const std::string name : {"100%.jpg", "it''s.jpg", "back\\slash.jpg", "; DELETE.jpg"}) {
    AddPhoto(name);
    std::string path = name;
    if (const auto quote = path.find("''"); quote != std::string::npos) path.erase(quote, 1);
    ASSERT_EQ(Delete(PHOTO_TABLE_IMAGE, path), 0) << name;
    EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("other.jpg"))) << name;
  }
}

TEST_P(RemovalTest, DeletesTheRowsOfEveryTableByItsKeyColumn) {
  AddLabel(1, "kept");
  AddVideo("a.mp4");
  AddVideo("b.mp4");
  LinkVideo("a.mp4", 1);
  LinkVideo("b.mp4", 1);
  for (const int type : {1, 2, 3, 12, 13}) {
    EXPECT_EQ(Delete(static_cast<PHOTO_TABLE_TYPE>(type), "a.mp4"), 0) << type;
  }
  for (const char* table : {"video_desc", "video_comment", "video"}) {
    EXPECT_THAT(Column(table, "path"), ElementsAre(Key("b.mp4"))) << table;
  }
  for (const char* table : {"photo_video_label", "video_convert"}) {
    EXPECT_THAT(Column(table, "video_path"), ElementsAre(Key("b.mp4"))) << table;
  }
}

TEST_P(RemovalTest, DeletesLabelsThatNothingCarriesAnyMore) {
  AddPhoto("a.jpg");
  AddPhoto("b.jpg");
  for (int label = 1; label <= 3; ++label) AddLabel(label, "label" + std::to_string(label));
  LinkPhoto("a.jpg", 1);
  LinkPhoto("a.jpg", 2);
  LinkPhoto("b.jpg", 2);
  LinkVideo("c.mp4", 3);
  ASSERT_EQ(Delete(PHOTO_TABLE_IMAGE, "a.jpg"), 0);
  EXPECT_THAT(Column("photo_label", "name"), ElementsAre("label2", "label3"));
}

TEST_P(RemovalTest, KeepsUnusedLabelsWhenASideTableIsCleared) {
  AddLabel(1, "unused");
  ASSERT_EQ(Delete(PHOTO_TABLE_VIDEO_DESC, "a.mp4"), 0);
  EXPECT_THAT(Column("photo_label", "name"), ElementsAre("unused"));
}

TEST_P(RemovalTest, DeletesEverythingBelowAFolderAndNothingBeside) {
  for (const char* folder : {"2024", "2024b", "2024/trip"}) {
    AddPhoto(std::string(folder) + "/a.jpg");
    AddVideo(std::string(folder) + "/a.mp4");
  }
  AddAlbum(2, "2024");
  AddAlbum(3, "2024b");
  AddAlbum(4, "2024/trip");
  ASSERT_EQ(Delete(PHOTO_TABLE_DIRECTORY, "2024"), 0);
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("2024b/a.jpg")));
  for (const char* table : {"video", "video_desc", "video_comment"}) {
    EXPECT_THAT(Column(table, "path"), ElementsAre(Key("2024b/a.mp4"))) << table;
  }
  EXPECT_THAT(Column("video_convert", "video_path"), ElementsAre(Key("2024b/a.mp4")));
  EXPECT_THAT(Column("photo_share", "sharename"), ElementsAre("/", "2024b"));
}

TEST_P(RemovalTest, TakesWildcardsOfAFolderNameLiterally) {
  AddPhoto("a_b/x.jpg");
  AddPhoto("axb/x.jpg");
  AddPhoto("a%/x.jpg");
  AddPhoto("abc/x.jpg");
  ASSERT_EQ(Delete(PHOTO_TABLE_DIRECTORY, "a_b"), 0);
  ASSERT_EQ(Delete(PHOTO_TABLE_DIRECTORY, "a%"), 0);
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("abc/x.jpg"), Key("axb/x.jpg")));
}

TEST_P(RemovalTest, ComparesLetterCaseBelowAFolder) {
  AddPhoto("Trip/x.jpg");
  ASSERT_EQ(Delete(PHOTO_TABLE_DIRECTORY, "trip"), 0);
  EXPECT_THAT(Column("photo_image", "path"), ElementsAre(Key("Trip/x.jpg")));
}

TEST_P(RemovalTest, EmptiesTheLibraryAtTheRootAndMakesTheRootAlbumAgain) {
  AddPhoto("a.jpg");
  AddVideo("a.mp4");
  AddLabel(1, "gone");
  LinkVideo("a.mp4", 1);
  AddAlbum(2, "2024");
  Run("UPDATE photo_share SET public = 'f', comment = 't' WHERE shareid = 1");
  ASSERT_EQ(Delete(PHOTO_TABLE_DIRECTORY, ""), 0);
  for (const char* table : {"photo_image", "video", "video_desc", "video_comment", "video_convert",
                            "photo_video_label", "photo_label"}) {
    EXPECT_EQ(Value(std::string("SELECT count(*) FROM ") + table), "0") << table;
  }
  EXPECT_THAT(
      Query("SELECT shareid, sharename, public, comment, ref_shareid FROM photo_share"),
      ElementsAre(Row{
          {"shareid", "1"}, {"sharename", "/"}, {"public", "t"}, {"comment", "f"}, {"ref_shareid", "1"}}));
}

TEST_P(RemovalTest, EmptiesOneTableAtTheRoot) {
  AddPhoto("a.jpg");
  AddVideo("a.mp4");
  ASSERT_EQ(Delete(PHOTO_TABLE_IMAGE, ""), 0);
  EXPECT_THAT(Column("photo_image", "path"), IsEmpty());
  EXPECT_THAT(Column("video", "path"), ElementsAre(Key("a.mp4")));
}

TEST_P(RemovalTest, DeletesAnAlbumWithItsSubAlbums) {
  AddAlbum(2, "2024");
  AddAlbum(3, "2024/trip");
  AddAlbum(4, "2024b");
  ASSERT_EQ(Delete(PHOTO_TABLE_SHARE, "2024"), 0);
  EXPECT_THAT(Column("photo_share", "sharename"), ElementsAre("/", "2024b"));
}

// The personal statement tests the name as a pattern, which other albums may match too.
TEST_P(RemovalTest, TakesAWildcardOfAPersonalAlbumNameAsSuch) {
  AddAlbum(2, "100%");
  AddAlbum(3, "100abc");
  ASSERT_EQ(Delete(PHOTO_TABLE_SHARE, "100%"), 0);
  const std::vector<std::string> left =
      personal() ? std::vector<std::string>{"/"} : std::vector<std::string>{"/", "100abc"};
  EXPECT_EQ(Column("photo_share", "sharename"), left);
}

TEST_P(RemovalTest, DeletesNothingForATableWithoutAStatement) {
  Run("INSERT INTO photo_access_right (userid, shareid, time) VALUES (1, 1, 'x')");
  EXPECT_EQ(Delete(PHOTO_TABLE_ACCESS_RIGHT, "a.jpg"), -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp (#) Bad table type."));
  EXPECT_EQ(Value("SELECT count(*) FROM photo_access_right"), "1");
}

INSTANTIATE_TEST_SUITE_P(Engines, RemovalTest, BothEngines(), EngineName);

}  // namespace
