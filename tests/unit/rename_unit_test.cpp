#include "photo_database/default_title.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class Rename : public IndexLibraryTest {
 protected:
  void AnswerTitle(const std::string& table, const std::string& title) {
    Answer({.match = "SELECT title FROM " + table, .rows = {{{"title", title}}}});
  }
  void AnswerAlbumIds() {
    Answer({.match = "SELECT shareid FROM photo_share", .rows = {{{"shareid", "4"}}}});
  }
  std::string Photo(const std::string& name) const { return shared() + "/2024/" + name; }
};

// --- Default titles.

TEST_F(Rename, DefaultTitleIsTheNameWithoutItsExtension) {
  EXPECT_EQ(DefaultTitle("2024/a.b.jpg"), "a.b");
  EXPECT_EQ(DefaultTitle("a.jpg"), std::nullopt);
  EXPECT_EQ(DefaultTitle("2024.d/name"), std::nullopt);
  EXPECT_EQ(DefaultTitle("/.jpg"), "");
}

TEST_F(Rename, DefaultTitleMustFitATitle) {
  EXPECT_EQ(DefaultTitle("/" + std::string(250, 'n') + ".jpg"), std::string(250, 'n'));
  EXPECT_EQ(DefaultTitle("/" + std::string(251, 'n') + ".jpg"), std::nullopt);
}

TEST_F(Rename, IsDefaultTitleComparesTheRow) {
  AnswerTitle("photo_image", "a");
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/a.jpg"), 1);
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/A.jpg"), 0);
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/ab.jpg"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(Rename, IsDefaultTitleAsksNothingForAKeyWithoutATitle) {
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "a.jpg"), 0);
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/a"), 0);
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, nullptr), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Rename, IsDefaultTitleIsFalseWithoutARowOrATitle) {
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/a.jpg"), 0);
  Answer({.match = "SELECT title", .rows = {{}}});
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/.jpg"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(Rename, IsDefaultTitleReportsAQueryThatFails) {
  FailStatement("SELECT title");
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/a.jpg"), 0);
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# Error occurred, failed to get records.");
}

TEST_F(Rename, IsDefaultTitleReportsARowThatCannotBeFetched) {
  Answer({.match = "SELECT title", .rows = {{{"title", "a"}}}, .fetch_fails = true});
  EXPECT_EQ(PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, "/p/a.jpg"), 0);
  EXPECT_EQ(LastMessage(), "photo_database.cpp:# KAVODBFetchRow failed");
}

// --- Photos.

TEST_F(Rename, PhotoRefusesNoPath) {
  EXPECT_EQ(PhotoInfoDBRename(nullptr, "/old.jpg"), -1);
  EXPECT_EQ(PhotoInfoDBRename("/new.jpg", nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre("Invalid parameter.", "Invalid parameter."));
}

TEST_F(Rename, PhotoIgnoresANewPathWithoutAFolder) {
  EXPECT_EQ(PhotoInfoDBRename("new.jpg", "/old.jpg"), -1);
  EXPECT_THAT(fake().calls, IsEmpty());
}

TEST_F(Rename, PhotoKeepsACustomTitle) {
  AnswerAlbumIds();
  AnswerTitle("photo_image", "My title");
  EXPECT_EQ(PhotoInfoDBRename(Photo("new.jpg").c_str(), Photo("old.jpg").c_str()), -1);
  EXPECT_THAT(Sent("Update"),
              ElementsAre("Update photo_image set path = '" + Photo("new.jpg") +
                          "', name = 'new.jpg', shareid = '4', privilege_shareid = '4' where path = '" +
                          Photo("old.jpg") + "'"));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(Rename, PhotoTitleThatWasItsNameFollows) {
  AnswerAlbumIds();
  AnswerTitle("photo_image", "old");
  EXPECT_EQ(PhotoInfoDBRename(Photo("new.x.jpg").c_str(), Photo("old.jpg").c_str()), -1);
  EXPECT_THAT(Sent("Update"), ElementsAre("Update photo_image set path = '" + Photo("new.x.jpg") +
                                          "', name = 'new.x.jpg', title = 'new.x', shareid = '4', "
                                          "privilege_shareid = '4' where path = '" +
                                          Photo("old.jpg") + "'"));
}

TEST_F(Rename, PhotoStaysWhenItsNewNameGivesNoTitle) {
  AnswerTitle("photo_image", "old");
  EXPECT_EQ(PhotoInfoDBRename(Photo("new").c_str(), Photo("old.jpg").c_str()), -1);
  EXPECT_THAT(Sent("Update"), IsEmpty());
}

TEST_F(Rename, PersonalPhotoMovesByItsRelativeKeys) {
  UsePersonal();
  const std::string new_path = personal() + "/b/new.jpg";
  const std::string old_path = personal() + "/a/old.jpg";
  EXPECT_EQ(PhotoInfoDBRename(new_path.c_str(), old_path.c_str()), -1);
  EXPECT_THAT(Sent("Update"),
              ElementsAre("Update photo_image set path = 'b/new.jpg', name = 'new.jpg', shareid "
                          "= '-1', privilege_shareid = '-1' where path = 'a/old.jpg'"));
}

TEST_F(Rename, PhotoInFoldersWithoutAlbumsBelongsToNone) {
  PhotoInfoDBRename(Photo("new.jpg").c_str(), Photo("old.jpg").c_str());
  EXPECT_EQ(Sent("shareid = '-1', privilege_shareid = '-1'").size(), 1U);
}

TEST_F(Rename, PhotoReportsAStatementThatCannotBeBuilt) {
  fake().failing.insert("KAVODBEscapeStringEX3");
  EXPECT_EQ(PhotoInfoDBRename(Photo("new.jpg").c_str(), Photo("old.jpg").c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp (#) Failed to escape string!");
}

TEST_F(Rename, PhotoReportsAStatementThatFails) {
  FailStatement("Update photo_image");
  EXPECT_EQ(PhotoInfoDBRename(Photo("new.jpg").c_str(), Photo("old.jpg").c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp (#) Failed to exec [" + Sent("Update").front() + "].");
}

// --- Side rows of videos.

class VideoRename : public Rename {
 protected:
  int Move(int type, const std::string& new_path, const std::string& old_path) {
    return KAVOPhotoInfoVideoRename(static_cast<PHOTO_TABLE_TYPE>(type), new_path.c_str(), old_path.c_str());
  }
  // The rows of the table whose keys begin with the old one.
  void AnswerKeys(const std::string& table, const std::string& column, const std::vector<std::string>& keys) {
    FakePlatform::Answer answer = {.match = "SELECT " + column + " FROM " + table};
    for (const std::string& key : keys) answer.rows.push_back({{column, key}});
    Answer(answer);
  }
};

TEST_F(VideoRename, RefusesBadArguments) {
  EXPECT_EQ(KAVOPhotoInfoVideoRename(PHOTO_TABLE_VIDEO_DESC, nullptr, "/old"), -1);
  EXPECT_EQ(KAVOPhotoInfoVideoRename(PHOTO_TABLE_VIDEO_DESC, "/new", nullptr), -1);
  EXPECT_EQ(Move(1, "", "/old"), -1);
  EXPECT_EQ(Move(1, "/new", ""), -1);
  for (const int type : {0, 4, 12}) EXPECT_EQ(Move(type, "/new", "/old"), -1) << type;
  EXPECT_EQ(Messages(), std::vector<std::string>(7, "photo_database.cpp (#) Bad parameter."));
}

TEST_F(VideoRename, MovesARow) {
  AnswerKeys("video_comment", "path", {Photo("old.mp4")});
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), 0);
  EXPECT_THAT(Sent("SELECT path FROM video_comment"),
              ElementsAre(testing::AllOf(
                  StartsWith("SELECT path FROM video_comment WHERE path like '" + Photo("old.mp4") + "%'"),
                  testing::HasSubstr(" ORDER BY path"))));
  EXPECT_THAT(Sent("Update"), ElementsAre("Update video_comment set path = '" + Photo("new.mp4") +
                                          "' where path = '" + Photo("old.mp4") + "'"));
}

TEST_F(VideoRename, MovesLabelsByTheirOwnColumn) {
  UsePersonal();
  AnswerKeys("photo_video_label", "video_path", {"a/old.mp4"});
  EXPECT_EQ(Move(3, personal() + "/new.mp4", personal() + "/a/old.mp4"), 0);
  EXPECT_THAT(
      Sent("Update"),
      ElementsAre("Update photo_video_label set video_path = 'new.mp4' where video_path = 'a/old.mp4'"));
}

TEST_F(VideoRename, DescriptionTitleThatWasItsNameFollows) {
  AnswerKeys("video_desc", "path", {Photo("old.mp4")});
  AnswerTitle("video_desc", "old");
  EXPECT_EQ(Move(1, Photo("new.mp4"), Photo("old.mp4")), 0);
  EXPECT_THAT(Sent("Update"), ElementsAre("Update video_desc set path = '" + Photo("new.mp4") +
                                          "', title = 'new' where path = '" + Photo("old.mp4") + "'"));
}

TEST_F(VideoRename, DescriptionKeepsACustomTitle) {
  AnswerKeys("video_desc", "path", {Photo("old.mp4")});
  AnswerTitle("video_desc", "My film");
  EXPECT_EQ(Move(1, Photo("new.mp4"), Photo("old.mp4")), 0);
  EXPECT_THAT(Sent("title = "), IsEmpty());
  EXPECT_EQ(Sent("Update video_desc").size(), 1U);
}

TEST_F(VideoRename, DescriptionMovesWithoutATitleToANameWithoutExtension) {
  AnswerKeys("video_desc", "path", {Photo("old.mp4")});
  AnswerTitle("video_desc", "old");
  EXPECT_EQ(Move(1, Photo("new"), Photo("old.mp4")), 0);
  EXPECT_THAT(Sent("Update"), ElementsAre("Update video_desc set path = '" + Photo("new") +
                                          "' where path = '" + Photo("old.mp4") + "'"));
}

TEST_F(VideoRename, KeepsWhatFollowsTheOldKeyAndSelectsByTheOldKey) {
  AnswerKeys("video_comment", "path", {Photo("old.mp4"), Photo("old.mp4.part")});
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), 0);
  const std::string where = "' where path = '" + Photo("old.mp4") + "'";
  EXPECT_THAT(Sent("Update"),
              ElementsAre("Update video_comment set path = '" + Photo("new.mp4") + where,
                          "Update video_comment set path = '" + Photo("new.mp4.part") + where));
}

TEST_F(VideoRename, SkipsRowsThatDoNotHoldTheOldKey) {
  Answer({.match = "SELECT path FROM video_comment", .rows = {{}, {{"path", "/elsewhere"}}}});
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), 0);
  EXPECT_THAT(Sent("Update"), IsEmpty());
}

TEST_F(VideoRename, CutsANewKeyToItsBuffer) {
  const std::string old_key = Photo("o");
  AnswerKeys("video_comment", "path", {old_key + std::string(4090, 'x')});
  EXPECT_EQ(Move(2, "/new/longer", old_key), 0);
  const std::string expected = ("/new/longer" + std::string(4090, 'x')).substr(0, 4095);
  EXPECT_THAT(Sent("Update"), ElementsAre("Update video_comment set path = '" + expected +
                                          "' where path = '" + old_key + "'"));
}

TEST_F(VideoRename, FailsWithoutRows) {
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), -1);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(VideoRename, FailsWhenTheConditionCannotBeBuilt) {
  fake().failing.insert("KAVODBEscapeStringEX3");
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), -1);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(VideoRename, ReportsAQueryThatFails) {
  FailStatement("SELECT path FROM video_comment");
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp (#) Error occurred, failed to get records.");
}

TEST_F(VideoRename, ReportsAStatementThatCannotBeBuiltAndClosesTheCursor) {
  UsePersonal();
  AnswerKeys("video_comment", "path", {"old.mp4"});
  fake().failing_at["KAVODBEscapeStringEX3"] = 2;
  EXPECT_EQ(Move(2, personal() + "/new.mp4", personal() + "/old.mp4"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to escape string!"));
}

TEST_F(VideoRename, ReportsAStatementThatFailsAndStops) {
  AnswerKeys("video_comment", "path", {Photo("old.mp4"), Photo("old.mp4")});
  FailStatement("Update video_comment");
  EXPECT_EQ(Move(2, Photo("new.mp4"), Photo("old.mp4")), -1);
  ASSERT_EQ(Sent("Update").size(), 1U);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to exec [" + Sent("Update").front() +
                                      "] (the error)"));
}

}  // namespace
