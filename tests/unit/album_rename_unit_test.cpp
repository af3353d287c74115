#include "unit/album_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AlbumRenameTest : public AlbumTest {
 protected:
  int Rename(const std::string& to, const std::string& from) {
    return PhotoShareDBRename(Album(9, to).get(), Album(0, from).get());
  }
  // What was sent to change photo_share.
  static std::vector<std::string> Changes() {
    std::vector<std::string> changes;
    for (const auto& sql : fake().statements) {
      if (sql.starts_with("U") || sql.starts_with("I")) changes.push_back(sql);
    }
    return changes;
  }
};

constexpr const char* kRenameTop =
    "Update photo_share set sharename = 'new', is_subdir = 'f', ref_shareid = '4' where sharename = 'old'";
constexpr const char* kCoverTop =
    "UPDATE photo_share SET cover = replace(cover, '/var/services/photo/old/', '/var/services/photo/new/') "
    "WHERE sharename='new'";

TEST_F(AlbumRenameTest, TopAlbumKeepsItsOwnIdAndMovesItsCover) {
  AddAlbum("old", "4");
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "replace(", .affected = 1});
  EXPECT_EQ(Rename("new", "old"), 0);
  EXPECT_THAT(Changes(), ElementsAre(kRenameTop, kCoverTop));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumRenameTest, KnownAlbumIsNotInsertedThoughItsFolderExists) {
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "replace(", .affected = 1});
  const auto to = Album(9, "new");
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), 0);
  ASSERT_EQ(Changes().size(), 2U);
  EXPECT_EQ(Changes().back(), kCoverTop);
}

TEST_F(AlbumRenameTest, PersonalCoverHasRelativeKeys) {
  UsePersonal();
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "replace(", .affected = 1});
  EXPECT_EQ(Rename("new", "old"), 0);
  EXPECT_EQ(Changes().back(),
            "UPDATE photo_share SET cover = replace(cover, 'old/', 'new/') WHERE sharename='new'");
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
}

TEST_F(AlbumRenameTest, SubAlbumRefersToTheNewTopAlbumAndConverts) {
  AddAlbum("a", "3");
  SetConfig("def_album_disable_conversion", "on");
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "UPDATE", .affected = 1});
  EXPECT_EQ(Rename("a/new", "old"), 0);
  EXPECT_THAT(Changes(), ElementsAre("Update photo_share set sharename = 'a/new', is_subdir = 't', "
                                     "ref_shareid = '3' where sharename = 'old'",
                                     "UPDATE photo_share SET conversion = 't' WHERE sharename = 'a/new'",
                                     "UPDATE photo_share SET cover = replace(cover, "
                                     "'/var/services/photo/old/', '/var/services/photo/a/new/') "
                                     "WHERE sharename='a/new'"));
}

TEST_F(AlbumRenameTest, SubAlbumThatBecomesATopAlbumTakesTheConfiguredConversion) {
  SetConfig("def_album_disable_conversion", "on");
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "UPDATE", .affected = 1});
  EXPECT_EQ(Rename("new", "a/old"), 0);
  ASSERT_EQ(Changes().size(), 3U);
  EXPECT_EQ(Changes()[0],
            "Update photo_share set sharename = 'new', is_subdir = 'f', ref_shareid = '9' where sharename = "
            "'a/old'");
  EXPECT_EQ(Changes()[1], "UPDATE photo_share SET conversion = 'f' WHERE sharename = 'new'");
}

TEST_F(AlbumRenameTest, UnknownAlbumWithAFolderIsInserted) {
  SetConfig("album_def_allow_comment", "on");
  const auto to = Album(9, "new");
  to->isPublic = 1;
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), 0);
  EXPECT_THAT(
      Changes(),
      ElementsAre("Update photo_share set sharename = 'new', is_subdir = 'f', ref_shareid = '9' where "
                  "sharename = 'old'",
                  std::string(kInsertStart) + "9, 'new', '', '', 't', 0, '', 't', 'f', '1', 't', '9');"));
}

TEST_F(AlbumRenameTest, AlbumThatVanishesBetweenTheStepsIsInserted) {
  Answer({.match = "Update", .affected = 1});
  const auto to = Album(9, "a/new");
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), 0);
  ASSERT_EQ(Changes().size(), 3U);
  EXPECT_EQ(Changes()[2],
            std::string(kInsertStart) + "9, 'a/new', '', '', 'f', 0, '', 'f', 't', '1', 't', '9');");
}

TEST_F(AlbumRenameTest, AlbumThatVanishesBetweenTheStepsWithoutAFolderGoesOnToItsCover) {
  Answer({.match = "Update", .affected = 1});
  EXPECT_EQ(Rename("a/new", "old"), -1);
  ASSERT_EQ(Changes().size(), 3U);
  EXPECT_THAT(Changes()[2], testing::HasSubstr("replace("));
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# UPDATE cover failed, sharename [old] not exists in db."));
  Answer({.match = "replace(", .affected = 1});
  EXPECT_EQ(Rename("a/new", "old"), 0);
}

// The name decides about the column, the flag about the conversion.
TEST_F(AlbumRenameTest, SubAlbumByNameAlone) {
  SetConfig("def_album_disable_conversion", "on");
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "UPDATE", .affected = 1});
  const auto to = Album(9, "a/new");
  to->isSubdir = 0;
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), 0);
  ASSERT_EQ(Changes().size(), 3U);
  EXPECT_THAT(Changes()[0], testing::HasSubstr("is_subdir = 't'"));
  EXPECT_EQ(Changes()[1], "UPDATE photo_share SET conversion = 'f' WHERE sharename = 'a/new'");
}

TEST_F(AlbumRenameTest, SubAlbumByFlagAlone) {
  SetConfig("def_album_disable_conversion", "on");
  SetConfig("album_def_allow_comment", "on");
  const auto to = Album(9, "new");
  to->isSubdir = 1;
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), 0);
  ASSERT_EQ(Changes().size(), 2U);
  EXPECT_THAT(Changes()[0], testing::HasSubstr("is_subdir = 'f'"));
  EXPECT_EQ(Changes()[1],
            std::string(kInsertStart) + "9, 'new', '', '', 'f', 0, '', 'f', 't', '1', 't', '9');");
}

TEST_F(AlbumRenameTest, UnknownAlbumWithoutAFolderFails) {
  EXPECT_EQ(Rename("new", "old"), -1);
  EXPECT_EQ(Changes().back(), kCoverTop);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# UPDATE cover failed, sharename [old] not exists in db."));
}

using AlbumRenameFailureTest = OnBothRequests<AlbumRenameTest>;

TEST_P(AlbumRenameFailureTest, RefusedRename) {
  Answer({.match = "Update", .result = -1});
  EXPECT_EQ(Rename("a/new", "old"), -1);
  ASSERT_EQ(Messages().size(), 2U);
  EXPECT_EQ(
      Messages()[1],
      "photo_database.cpp (#) Failed to exec [Update photo_share set sharename = 'a/new', is_subdir = 't', "
      "ref_shareid = '9' where sharename = 'old']");
  EXPECT_EQ(Changes().size(), 1U);
}

TEST_P(AlbumRenameFailureTest, RefusedConversion) {
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "conversion =", .result = -1});
  EXPECT_EQ(Rename("a/new", "old"), -1);
  EXPECT_EQ(Messages().back(),
            "photo_database.cpp:# Failed to exec [UPDATE photo_share SET conversion = 't' WHERE sharename = "
            "'a/new']");
  EXPECT_EQ(Changes().size(), 2U);
}

TEST_P(AlbumRenameFailureTest, RefusedCover) {
  Answer({.match = "Update", .affected = 1});
  Answer({.match = "replace(", .result = -1});
  EXPECT_EQ(Rename("new", "old"), -1);
  EXPECT_THAT(Changes().back(), testing::HasSubstr("replace("));
  EXPECT_EQ(Messages().back(), "photo_database.cpp:# Failed to exec [" + Changes().back() + "]");
}

TEST_P(AlbumRenameFailureTest, RefusedInsert) {
  Answer({.match = "INSERT", .result = -1});
  const auto to = Album(9, "new");
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), -1);
  EXPECT_EQ(Messages().back(), "photo_database.cpp:# Failed to exec [" + Changes().back() + "]");
}

TEST_P(AlbumRenameFailureTest, NewNameThatIsRecordedAlready) {
  Answer({.match = "INSERT", .result = -1});
  AddAlbum("new", "4");
  const auto to = Album(9, "new");
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), -1);
  EXPECT_EQ(Changes().size(), 2U);  // no other id is tried
  EXPECT_EQ(Messages().back(), "photo_database.cpp:# Failed to exec [" + Changes().back() + "]");
}

// The number of templates built before: the id (1), the rename (2); a sub-album asks for no configuration, so
// its conversion is the third.
TEST_P(AlbumRenameFailureTest, RenameThatCannotBeBuilt) {
  fake().failing_at["KAVODBEscapeStringEX3"] = 2;
  EXPECT_EQ(Rename("a/new", "old"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to escape string!"));
  EXPECT_THAT(Changes(), IsEmpty());
}

TEST_P(AlbumRenameFailureTest, ConversionThatCannotBeBuilt) {
  Answer({.match = "Update", .affected = 1});
  fake().failing_at["KAVODBEscapeStringEX3"] = 3;
  EXPECT_EQ(Rename("a/new", "old"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to escape string!"));
}

TEST_P(AlbumRenameFailureTest, CoverThatCannotBeBuiltIsSilent) {
  Answer({.match = "Update", .affected = 1});
  fake().failing_at["KAVODBEscapeStringEX3"] = 4;  // after the conversion setting
  EXPECT_EQ(Rename("new", "old"), -1);
  EXPECT_EQ(Changes().size(), 1U);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_P(AlbumRenameFailureTest, InsertThatCannotBeBuilt) {
  fake().failing_at["KAVODBEscapeStringEX3"] = 4;  // after the comment setting
  const auto to = Album(9, "a/new");
  CopyText(to->szAlbumPath, sizeof to->szAlbumPath, shared());
  EXPECT_EQ(PhotoShareDBRename(to.get(), Album(0, "old").get()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to escape string!"));
  EXPECT_EQ(Changes().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Requests, AlbumRenameFailureTest, BothRequests(), RequestName);

TEST_F(AlbumRenameTest, NullIsRefused) {
  EXPECT_EQ(PhotoShareDBRename(nullptr, Album(0, "old").get()), -1);
  EXPECT_EQ(PhotoShareDBRename(Album(0, "new").get(), nullptr), -1);
  EXPECT_EQ(fake().Count("KAVODB"), 0);
}

}  // namespace
