// Albums and their rights.
#include <gmock/gmock.h>

#include <ctime>
#include <filesystem>
#include <memory>

#include "base/text.h"
#include "lumivault/photo_database.h"
#include "support/databases.h"

namespace {

using testing::EndsWith;
using testing::IsEmpty;

using AlbumRecord = std::unique_ptr<KAVO_PHOTO_SHARE_INFO>;

class AlbumsTest : public LibraryTest {
 protected:
  AlbumRecord Album(int id, const std::string& name) const {
    auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
    album->shareId = id;
    CopyText(album->szShareName, sizeof album->szShareName, name);
    CopyText(album->szAlbumPath, sizeof album->szAlbumPath, Path(name));
    album->isSubdir = name.find('/') != std::string::npos ? 1 : 0;
    return album;
  }
  void Save(int id, const std::string& name) { EXPECT_EQ(PhotoShareInfoDBSave(Album(id, name).get()), 0); }
  int Rename(const std::string& to, const std::string& from) const {
    return PhotoShareDBRename(Album(50, to).get(), Album(51, from).get());
  }
  // The row of album ID; NAME is not asked for, so that names need no quoting here.
  Row AlbumRow(int id) {
    const auto rows = Query("SELECT * FROM photo_share WHERE shareid = " + std::to_string(id));
    return rows.size() == 1 ? rows.front() : Row{};
  }
  std::string Cover(const std::string& relative) const {
    return personal() ? relative : "/var/services/photo/" + relative;
  }
  std::string RightTable(const std::string& right) const {
    return "photo_" + right + "_right" + (personal() ? "" : "_for_zor_account");
  }
};

TEST_P(AlbumsTest, NewIdFollowsTheHighest) {
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 2);
  Run("INSERT INTO photo_share (shareid, sharename) VALUES (9, 'a')");
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 10);
  Run("DELETE FROM photo_share");
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 1);
}

TEST_P(AlbumsTest, NewAlbumsAreRecorded) {
  Save(2, "trip");
  Save(3, "trip/day");
  Save(4, "trip/day/noon");
  EXPECT_EQ(AlbumRow(2)["sharename"], "trip");
  EXPECT_EQ(AlbumRow(2)["is_subdir"], "f");
  EXPECT_EQ(AlbumRow(2)["ref_shareid"], "2");
  EXPECT_EQ(AlbumRow(2)["updated"], "1");
  EXPECT_EQ(AlbumRow(3)["is_subdir"], "t");
  EXPECT_EQ(AlbumRow(3)["ref_shareid"], "2");
  EXPECT_EQ(AlbumRow(4)["ref_shareid"], "3");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(AlbumsTest, ConfigurationGivesTheSettingsOfNewTopAlbums) {
  Run("INSERT INTO photo_config VALUES ('album_def_allow_comment', 'on'), ('def_album_disable_conversion', "
      "'on')");
  const auto top = Album(2, "trip");
  top->isPublic = 1;
  EXPECT_EQ(PhotoShareInfoDBSave(top.get()), 0);
  Save(3, "trip/day");
  EXPECT_EQ(AlbumRow(2)["public"] + AlbumRow(2)["comment"] + AlbumRow(2)["conversion"], "ttf");
  EXPECT_EQ(AlbumRow(3)["public"] + AlbumRow(3)["comment"] + AlbumRow(3)["conversion"], "fft");
}

TEST_P(AlbumsTest, SavingAgainKeepsWhatPeopleHaveSet) {
  Save(2, "trip");
  Save(3, "trip/day");
  Run("UPDATE photo_share SET title = 'T', cover = 'C', conversion = 'f', is_subdir = 'f', ref_shareid = 77, "
      "updated = '0' WHERE shareid = 3");
  Save(99, "trip/day");
  EXPECT_EQ(AlbumRow(3)["title"] + AlbumRow(3)["cover"] + AlbumRow(3)["conversion"], "TCf");
  EXPECT_EQ(AlbumRow(3)["is_subdir"], "t");
  EXPECT_EQ(AlbumRow(3)["ref_shareid"], "2");
  EXPECT_EQ(AlbumRow(3)["updated"], "1");
  EXPECT_EQ(Query("SELECT * FROM photo_share").size(), 3U);
}

TEST_P(AlbumsTest, NameThatIsNotTextIsSkipped) {
  Save(2, "tr\xff");
  EXPECT_EQ(Query("SELECT * FROM photo_share").size(), 1U);
}

TEST_P(AlbumsTest, HostileNamesAreNames) {
  const std::vector<std::string> names = {"it's",    "x' OR 'a'='a",    "a;b -- c",
                                          "100%_\\", "\"q\" @KAVO:VAR", "%s%n"};
  int id = 2;
  for (const auto& name : names) {
    Save(id, name);
    Save(id + 100, name);
    EXPECT_EQ(AlbumRow(id)["sharename"], name);
    EXPECT_EQ(getShareIdBySharename(name.c_str()), id);
    ++id;
  }
  EXPECT_EQ(Query("SELECT * FROM photo_share").size(), names.size() + 1);
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(AlbumsTest, TakenIdGivesWayToTheNextOne) {
  Save(2, "trip");
  const auto other = Album(2, "other");
  EXPECT_EQ(PhotoShareInfoDBSave(other.get()), 0);
  EXPECT_EQ(other->shareId, 3);
  EXPECT_EQ(AlbumRow(2)["sharename"], "trip");
  EXPECT_EQ(AlbumRow(3)["sharename"], "other");
  EXPECT_EQ(AlbumRow(3)["ref_shareid"], "3");
  // The failure of the first statement.
  EXPECT_EQ(SyslogCapture::Messages().size(), 1U);
}

TEST_P(AlbumsTest, TakenIdOfAnAlbumThatARenameAddsGivesWay) {
  Save(2, "trip");
  std::filesystem::create_directories(Path("new"));
  EXPECT_EQ(PhotoShareDBRename(Album(2, "new").get(), Album(0, "unknown").get()), 0);
  EXPECT_EQ(AlbumRow(2)["sharename"], "trip");
  EXPECT_EQ(AlbumRow(3)["sharename"], "new");
  EXPECT_EQ(AlbumRow(3)["ref_shareid"], "3");
}

TEST_P(AlbumsTest, RenameToANameThatIsRecordedAlreadyFails) {
  Save(2, "trip");
  std::filesystem::create_directories(Path("trip"));
  EXPECT_EQ(PhotoShareDBRename(Album(3, "trip").get(), Album(0, "unknown").get()), -1);
  EXPECT_EQ(Query("SELECT * FROM photo_share").size(), 2U);
  EXPECT_EQ(AlbumRow(2)["sharename"], "trip");
  EXPECT_THAT(SyslogCapture::Messages().back(),
              testing::HasSubstr("Failed to exec [INSERT INTO photo_share"));
}

TEST_P(AlbumsTest, IdsByPath) {
  Save(2, "a");
  Save(3, "a/b");
  Save(4, "a/b/c");
  int album = 0;
  int rights = 0;
  EXPECT_EQ(getShareIdPrivilegeShareIdByPath(Path("a/b/c/x.jpg").c_str(), &album, &rights), 0);
  EXPECT_EQ(album, 4);
  EXPECT_EQ(rights, 3);
  EXPECT_EQ(getShareIdPrivilegeShareIdByPath(Path("x.jpg").c_str(), &album, &rights), 0);
  EXPECT_EQ(album, 1);
  EXPECT_EQ(rights, 1);
}

TEST_P(AlbumsTest, RightsFollowTheGoverningAlbum) {
  Save(2, "trip");
  Save(3, "trip/day");
  Run("INSERT INTO " + RightTable("access") +
      " VALUES (1024, 2, 'then'), (1025, 2, 'then'), (1026, 3, 'then')");
  Run("INSERT INTO " + RightTable("manage") + " VALUES (1027, 2, 'then')");
  const auto album = Album(3, "trip/day");
  CopyText(album->szRightsShareName, sizeof album->szRightsShareName, "trip");
  EXPECT_EQ(PhotoSharePriviledgeDBSave(album.get()), 0);
  const auto access = Query("SELECT * FROM " + RightTable("access") + " WHERE shareid = 3 ORDER BY userid");
  ASSERT_EQ(access.size(), 2U);
  EXPECT_EQ(access[0].at("userid"), "1024");
  EXPECT_EQ(access[1].at("userid"), "1025");
  EXPECT_EQ(Value("SELECT userid FROM " + RightTable("manage") + " WHERE shareid = 3"), "1027");
  EXPECT_THAT(Query("SELECT * FROM " + RightTable("upload")), IsEmpty());
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(AlbumsTest, CopiedRightsHoldTheTimeAndItsLineEnd) {
  Run("INSERT INTO photo_access_right VALUES (1024, 2, 'then')");
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, "3", "2"), 0);
  const std::string text = Value("SELECT time FROM photo_access_right WHERE shareid = 3");
  std::tm time{};
  const char* end = strptime(text.c_str(), "%a %b %d %H:%M:%S %Y", &time);
  ASSERT_NE(end, nullptr) << text;
  EXPECT_STREQ(end, "\n");
  time.tm_isdst = -1;
  EXPECT_NEAR(static_cast<double>(std::mktime(&time)), static_cast<double>(std::time(nullptr)), 60);
}

TEST_P(AlbumsTest, RenamedTopAlbumTakesItsCoverWithIt) {
  Save(2, "old");
  Run("UPDATE photo_share SET title = 'T', cover = '" + Cover("old/x.jpg") + "' WHERE shareid = 2");
  std::filesystem::create_directories(Path("new it's"));
  EXPECT_EQ(Rename("new it's", "old"), 0);
  EXPECT_EQ(AlbumRow(2)["sharename"], "new it's");
  EXPECT_EQ(AlbumRow(2)["cover"], Cover("new it's/x.jpg"));
  EXPECT_EQ(AlbumRow(2)["ref_shareid"], "2");
  EXPECT_EQ(AlbumRow(2)["title"], "T");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(AlbumsTest, RenameIntoAnotherAlbum) {
  Run("INSERT INTO photo_config VALUES ('def_album_disable_conversion', 'on')");
  Save(2, "top");
  Save(3, "old");
  EXPECT_EQ(AlbumRow(3)["conversion"], "f");
  EXPECT_EQ(Rename("top/old", "old"), 0);
  EXPECT_EQ(AlbumRow(3)["is_subdir"] + AlbumRow(3)["conversion"] + AlbumRow(3)["ref_shareid"], "tt2");
  EXPECT_EQ(Rename("again", "top/old"), 0);
  EXPECT_EQ(AlbumRow(3)["is_subdir"] + AlbumRow(3)["conversion"] + AlbumRow(3)["ref_shareid"], "ff3");
}

TEST_P(AlbumsTest, RenameOfAnUnknownAlbumRecordsItWhenItsFolderExists) {
  std::filesystem::create_directories(Path("new"));
  EXPECT_EQ(Rename("new", "old"), 0);
  EXPECT_EQ(AlbumRow(50)["sharename"], "new");
  EXPECT_EQ(AlbumRow(50)["ref_shareid"], "50");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(AlbumsTest, RenameOfAnUnknownAlbumWithoutAFolderFails) {
  EXPECT_EQ(Rename("new", "old"), -1);
  EXPECT_EQ(Query("SELECT * FROM photo_share").size(), 1U);
  ASSERT_EQ(SyslogCapture::Messages().size(), 1U);
  EXPECT_EQ(SyslogCapture::Messages()[0],
            "photo_database.cpp:# UPDATE cover failed, sharename [old] not exists in db.");
}

TEST_P(AlbumsTest, RenameOntoAnotherAlbumIsRefused) {
  Save(2, "old");
  Save(3, "new");
  EXPECT_EQ(Rename("new", "old"), -1);
  EXPECT_EQ(AlbumRow(2)["sharename"], "old");
  EXPECT_EQ(AlbumRow(3)["sharename"], "new");
  ASSERT_EQ(SyslogCapture::Messages().size(), 2U);
  EXPECT_THAT(SyslogCapture::Messages()[1], EndsWith("where sharename = 'old']"));
}

TEST_P(AlbumsTest, RenameOfLetterCaseAlone) {
  Save(2, "trip");
  Save(3, "Trip2");
  EXPECT_EQ(Rename("Trip", "trip"), 0);
  EXPECT_EQ(AlbumRow(2)["sharename"], "Trip");
}

TEST_P(AlbumsTest, FieldValue) {
  Save(2, "it's");
  char out[128];
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("it's", "shareid", out, sizeof out), 0);
  EXPECT_STREQ(out, "2");
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("none", "shareid", out, sizeof out), -1);
}

INSTANTIATE_TEST_SUITE_P(Engines, AlbumsTest, BothEngines(), EngineName);

}  // namespace
