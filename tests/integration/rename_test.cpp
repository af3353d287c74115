#include <gmock/gmock.h>

#include "lumivault/photo_database.h"
#include "support/databases.h"

namespace {

using testing::ElementsAre;

class RenameTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (IsSkipped()) return;
    Run("INSERT INTO photo_share (shareid, sharename) VALUES (2, 'a'), (3, 'b')");
  }
  int Rename(const std::string& new_name, const std::string& old_name) {
    return PhotoInfoDBRename(Path(new_name).c_str(), Path(old_name).c_str());
  }
  int RenameVideo(PHOTO_TABLE_TYPE type, const std::string& new_name, const std::string& old_name) {
    return KAVOPhotoInfoVideoRename(type, Path(new_name).c_str(), Path(old_name).c_str());
  }
  void AddPhoto(const std::string& relative, const std::string& title) {
    Run("INSERT INTO photo_image (id, path, name, title, shareid, privilege_shareid) VALUES (7, '" +
        Key(relative) + "', 'old', '" + title + "', 2, 2)");
  }
  void AddDescription(const std::string& relative, const std::string& title) {
    Run("INSERT INTO video_desc (path, title) VALUES ('" + Key(relative) + "', '" + title + "')");
  }
  void AddComment(const std::string& relative, const std::string& comment) {
    Run("INSERT INTO video_comment (path, comment) VALUES ('" + Key(relative) + "', '" + comment + "')");
  }
  Row Photo() {
    return Query("SELECT id, path, name, title, shareid, privilege_shareid FROM photo_image").at(0);
  }
};

TEST_P(RenameTest, PhotoKeepsItsRowAndCustomTitle) {
  AddPhoto("a/old.jpg", "My title");
  EXPECT_EQ(Rename("b/new.jpg", "a/old.jpg"), -1);
  EXPECT_EQ(Photo(), (Row{{"id", "7"},
                          {"path", Key("b/new.jpg")},
                          {"name", "new.jpg"},
                          {"title", "My title"},
                          {"shareid", "3"},
                          {"privilege_shareid", "3"}}));
}

TEST_P(RenameTest, PhotoTitleThatWasItsNameFollows) {
  AddPhoto("a/old.jpg", "old");
  EXPECT_EQ(Rename("b/it's new.jpg", "a/old.jpg"), -1);
  EXPECT_EQ(Photo().at("title"), "it's new");
  EXPECT_EQ(Photo().at("name"), "it's new.jpg");
}

TEST_P(RenameTest, PhotoThatIsNotThereChangesNothing) {
  AddPhoto("a/old.jpg", "old");
  EXPECT_EQ(Rename("b/new.jpg", "a/other.jpg"), -1);
  EXPECT_EQ(Photo().at("path"), Key("a/old.jpg"));
}

TEST_P(RenameTest, DefaultTitleIsToldFromTheRow) {
  AddPhoto("a/old.jpg", "old");
  const int type = personal() ? 0 : 1;
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(type, PHOTO_TABLE_IMAGE, Key("a/old.jpg").c_str()), 1);
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(type, PHOTO_TABLE_IMAGE, Key("a/none.jpg").c_str()), 0);
}

TEST_P(RenameTest, VideoDescriptionMovesWithItsTitle) {
  AddDescription("a/old.mp4", "old");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_DESC, "b/new.mp4", "a/old.mp4"), 0);
  EXPECT_THAT(Query("SELECT path, title FROM video_desc"),
              ElementsAre(Row{{"path", Key("b/new.mp4")}, {"title", "new"}}));
}

TEST_P(RenameTest, VideoDescriptionKeepsACustomTitle) {
  AddDescription("a/old.mp4", "My film");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_DESC, "b/new.mp4", "a/old.mp4"), 0);
  EXPECT_THAT(Query("SELECT path, title FROM video_desc"),
              ElementsAre(Row{{"path", Key("b/new.mp4")}, {"title", "My film"}}));
}

TEST_P(RenameTest, EveryCommentOfAVideoMoves) {
  AddComment("a/old.mp4", "1");
  AddComment("a/old.mp4", "2");
  AddComment("a/other.mp4", "3");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_COMMENT, "b/new.mp4", "a/old.mp4"), 0);
  EXPECT_THAT(Query("SELECT path FROM video_comment ORDER BY comment"),
              ElementsAre(Row{{"path", Key("b/new.mp4")}}, Row{{"path", Key("b/new.mp4")}},
                          Row{{"path", Key("a/other.mp4")}}));
}

TEST_P(RenameTest, OnlyTheRowOfTheOldKeyMovesWhateverTheOrderOfInsertion) {
  AddDescription("a/old.mp4.part", "longer");
  AddDescription("a/old.mp4", "exact");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_DESC, "b/new.mp4", "a/old.mp4"), 0);
  EXPECT_THAT(Query("SELECT path FROM video_desc ORDER BY title"),
              ElementsAre(Row{{"path", Key("b/new.mp4")}}, Row{{"path", Key("a/old.mp4.part")}}));
}

TEST_P(RenameTest, LabelsOfAVideoMove) {
  Run("INSERT INTO photo_label (id, category, name) VALUES (1, 2, 'x')");
  Run("INSERT INTO photo_video_label (video_path, label_id) VALUES ('" + Key("a/old.mp4") + "', 1)");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_LABEL, "b/new.mp4", "a/old.mp4"), 0);
  EXPECT_EQ(Value("SELECT video_path FROM photo_video_label"), Key("b/new.mp4"));
}

TEST_P(RenameTest, VideoWithoutRowsFails) {
  AddDescription("a/axb.mp4", "x");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_DESC, "b/new.mp4", "a/a_b.mp4"), -1);
}

TEST_P(RenameTest, VideoReportsANameThatIsTaken) {
  AddDescription("a/old.mp4", "My film");
  AddDescription("b/new.mp4", "Other");
  EXPECT_EQ(RenameVideo(PHOTO_TABLE_VIDEO_DESC, "b/new.mp4", "a/old.mp4"), -1);
  ASSERT_EQ(SyslogCapture::Messages().size(), 1U);
  EXPECT_THAT(SyslogCapture::Messages()[0],
              testing::StartsWith("photo_database.cpp (#) Failed to exec [Update video_desc set path = '"));
}

INSTANTIATE_TEST_SUITE_P(Engines, RenameTest, BothEngines(), EngineName);

}  // namespace
