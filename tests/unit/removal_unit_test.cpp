#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Labels that nobody carries go in one statement, without a pragma on either engine.
constexpr const char* kUnusedLabels =
    "DELETE FROM photo_label WHERE id NOT IN ( SELECT DISTINCT label_id FROM photo_image_label LEFT OUTER "
    "JOIN "
    "photo_label ON label_id = photo_label.id ) AND id NOT IN ( SELECT DISTINCT label_id FROM "
    "photo_video_label LEFT OUTER JOIN photo_label ON label_id = photo_label.id );";

class Removal : public IndexLibraryTest {
 protected:
  static int Delete(int type, const std::string& path) {
    return PhotoInfoDBDelete(static_cast<PHOTO_TABLE_TYPE>(type), path.c_str());
  }
  // The statements that a delete of TYPE sends, without those that any connection sends first.
  std::vector<std::string> Statements(int type, const std::string& path) {
    fake().statements.clear();
    EXPECT_EQ(Delete(type, path), 0) << type;
    return Sent("DELETE");
  }
};

TEST_F(Removal, RefusesNoPath) {
  EXPECT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, nullptr), -1);
  EXPECT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, ""), -1);
  const std::string message = "photo_database.cpp (#) Bad parameter";
  EXPECT_THAT(Messages(), ElementsAre(message, message));
}

TEST_F(Removal, ReportsAMissingConnection) {
  fake().failing.insert("KAVODBConnect");
  EXPECT_EQ(Delete(0, shared() + "/a.jpg"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to photo database"));
}

TEST_F(Removal, ReportsAnUnknownSharedFolderAndClosesThePersonalConnection) {
  UsePersonal();
  fake().shares.erase("photo");
  EXPECT_EQ(Delete(0, personal() + "/a.jpg"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to get photo share path"));
  EXPECT_EQ(fake().Count("KAVODBConnect("), 1);
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(Removal, EmptiesATableAtTheSharedRoot) {
  for (const int type : {0, 1, 2, 3, 12, 13}) {
    const std::string table = PhotoMapping::GetValue(static_cast<PHOTO_TABLE_TYPE>(type));
    EXPECT_EQ(Statements(type, shared()).front(), "DELETE FROM " + table + ";");
  }
  EXPECT_THAT(Statements(4, shared()), ElementsAre("DELETE FROM photo_share;"));
}

TEST_F(Removal, EmptiesATableAtThePersonalRoot) {
  UsePersonal();
  EXPECT_EQ(Statements(1, personal()).front(), "DELETE FROM video_desc;");
  EXPECT_THAT(Statements(1, shared()).front(), testing::Not("DELETE FROM video_desc;"));
}

TEST_F(Removal, EmptiesTheLibraryAtTheRootAndMakesTheRootAlbumAgain) {
  EXPECT_THAT(
      Statements(14, shared()),
      ElementsAre(
          "DELETE FROM photo_image; DELETE FROM video_desc; DELETE FROM video_comment; DELETE FROM "
          "photo_video_label; DELETE FROM photo_share; INSERT INTO photo_share (shareid, sharename, "
          "public, comment, ref_shareid) VALUES (1, '/', 't', 'f', 1); DELETE FROM video; DELETE FROM "
          "video_convert;",
          kUnusedLabels));
}

TEST_F(Removal, TakesARootWithAnotherSpellingForAFolder) {
  EXPECT_THAT(Statements(1, shared() + "/").front(), testing::HasSubstr("WHERE path like"));
}

TEST_F(Removal, DeletesASharedFileByItsPath) {
  const std::string path = shared() + "/2024/a.jpg";
  EXPECT_EQ(Statements(0, path).front(), "DELETE FROM photo_image WHERE path like '" + path + "'");
  EXPECT_EQ(Statements(1, path).front(), "DELETE FROM video_desc WHERE path like '" + path + "'");
  EXPECT_EQ(Statements(2, path).front(), "DELETE FROM video_comment WHERE path like '" + path + "'");
  EXPECT_EQ(Statements(12, path).front(), "DELETE FROM video WHERE path like '" + path + "'");
  EXPECT_EQ(Statements(3, path).front(),
            "DELETE FROM photo_video_label WHERE video_path like '" + path + "'");
  EXPECT_EQ(Statements(13, path).front(), "DELETE FROM video_convert WHERE video_path like '" + path + "'");
}

TEST_F(Removal, DeletesAPersonalFileByItsRelativeKeyAndLetterCase) {
  UsePersonal();
  const std::string prefix = "PRAGMA case_sensitive_like=true; DELETE FROM ";
  EXPECT_EQ(Statements(0, personal() + "/a.jpg").front(), prefix + "photo_image WHERE path like 'a.jpg'");
  EXPECT_EQ(Statements(13, personal() + "/d/a.mp4").front(),
            prefix + "video_convert WHERE video_path like 'd/a.mp4'");
}

TEST_F(Removal, DeletesAnAlbumWithItsSubAlbums) {
  EXPECT_THAT(Statements(4, shared() + "/2024"),
              ElementsAre("DELETE FROM photo_share WHERE sharename = '2024' or sharename like '2024/%';"));
}

TEST_F(Removal, DeletesAPersonalAlbumByLike) {
  UsePersonal();
  EXPECT_THAT(
      Statements(4, personal() + "/2024"),
      ElementsAre("PRAGMA case_sensitive_like=true; DELETE FROM photo_share WHERE sharename like '2024' "
                  "or sharename like '2024/%';"));
}

TEST_F(Removal, DeletesEverythingBelowASharedFolder) {
  const std::string below = " like '" + shared() + "/2024/%'; ";
  EXPECT_EQ(
      Statements(14, shared() + "/2024").front(),
      "DELETE FROM photo_image WHERE path" + below + "DELETE FROM video_desc WHERE path" + below +
          "DELETE FROM video_comment WHERE path" + below + "DELETE FROM photo_video_label WHERE video_path" +
          below + "DELETE FROM photo_share WHERE sharename = '2024' or sharename like '2024/%';" +
          "DELETE FROM video WHERE path" + below + "DELETE FROM video_convert WHERE video_path" + below);
}

TEST_F(Removal, DeletesEverythingBelowAPersonalFolderWithThePragmaBeforeEachDelete) {
  UsePersonal();
  EXPECT_EQ(Statements(14, personal() + "/2024").front(),
            "PRAGMA case_sensitive_like=true; DELETE FROM photo_image WHERE path like '2024/%'; "
            "PRAGMA case_sensitive_like=true; DELETE FROM video_desc WHERE path like '2024/%'; "
            "PRAGMA case_sensitive_like=true; DELETE FROM video_comment WHERE path like '2024/%'; "
            "PRAGMA case_sensitive_like=true; DELETE FROM photo_video_label WHERE video_path like '2024/%'; "
            "PRAGMA case_sensitive_like=true; DELETE FROM photo_share WHERE sharename = '2024' or sharename "
            "like '2024/%';"
            "PRAGMA case_sensitive_like=true; DELETE FROM video WHERE path like '2024/%'; "
            "PRAGMA case_sensitive_like=true; DELETE FROM video_convert WHERE video_path like '2024/%'; ");
}

TEST_F(Removal, FailsWithoutAnAlbumName) {
  EXPECT_EQ(Delete(4, "/x"), -1);
  EXPECT_EQ(Delete(14, "/x"), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Removal, DeletesUnusedLabelsAfterPhotosVideosAndFolders) {
  for (const int type : {0, 12, 14}) {
    EXPECT_EQ(Statements(type, shared() + "/a").back(), kUnusedLabels) << type;
  }
  for (const int type : {1, 2, 3, 4, 13}) {
    EXPECT_EQ(Statements(type, shared() + "/a").size(), 1U) << type;
  }
}

TEST_F(Removal, DeletesUnusedPersonalLabelsWithoutAPragma) {
  UsePersonal();
  EXPECT_EQ(Statements(0, personal() + "/a.jpg").back(), kUnusedLabels);
}

TEST_F(Removal, ReportsADeleteThatFailsAndKeepsTheLabels) {
  FailStatement("DELETE FROM photo_image");
  EXPECT_EQ(Delete(0, shared() + "/a.jpg"), -1);
  EXPECT_THAT(Sent("photo_label"), IsEmpty());
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp (#) Failed to exec [DELETE FROM photo_image WHERE path "
                          "like '" +
                          shared() + "/a.jpg'] (the error)"));
}

TEST_F(Removal, ReportsLabelsThatCannotBeDeleted) {
  FailStatement("DELETE FROM photo_label");
  EXPECT_EQ(Delete(0, shared() + "/a.jpg"), -1);
  EXPECT_EQ(Delete(1, shared() + "/a.jpg"), 0);
}

TEST_F(Removal, FailsWhenTheStatementCannotBeBuilt) {
  fake().failing.insert("KAVODBEscapeStringEX3");
  EXPECT_EQ(Delete(0, shared() + "/a.jpg"), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Removal, HandsNoStatementToTheDatabaseForOtherTables) {
  for (const int type : {5, 10, 11, 15}) EXPECT_EQ(Delete(type, shared() + "/a.jpg"), -1) << type;
  EXPECT_EQ(fake().Count("KAVODBExecute(NULL)"), 4);
  const std::string message = "photo_database.cpp (#) Bad table type.";
  EXPECT_THAT(Messages(), ElementsAre(message, message, message, message));
}

TEST_F(Removal, ClosesThePersonalConnectionOnEveryWay) {
  UsePersonal();
  Delete(0, personal() + "/a.jpg");
  Delete(5, personal() + "/a.jpg");
  Delete(14, "/x");
  FailStatement("DELETE");
  Delete(0, personal() + "/a.jpg");
  EXPECT_EQ(fake().Count("KAVODBConnect("), 4);
  EXPECT_EQ(fake().open_connections, 0);
}

}  // namespace
