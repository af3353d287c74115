#include <gmock/gmock.h>

#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "support/child_processes.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"
#include "support/scaled.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AlbumEventsTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (!IsSkipped()) SetDefaultPublic("no");
  }
  // Sets the default of the shared tree, or of the user.
  void SetDefaultPublic(const std::string& value) {
    tree().Set("albumdefpublic", value);
    WriteFile(tree().root() / "usr/kavo/etc/preference/alice/kavoinfo.conf",
              "runpersonallumivault=yes\nalbumdefpublic=" + value + "\n");
  }
  // Makes the folder and reports it.
  int Add(const std::string& relative) {
    fs::create_directories(photos() / relative);
    return IndexDirAdd(FolderPath(relative).c_str());
  }
  std::string FolderPath(const std::string& relative) const {
    return relative.empty() ? photos().string() : Path(relative);
  }
  int Rename(const std::string& new_name, const std::string& old_name) {
    fs::create_directories((photos() / new_name).parent_path());
    fs::rename(photos() / old_name, photos() / new_name);
    return IndexDirRename(Path(new_name).c_str(), Path(old_name).c_str());
  }
  std::string Album(const std::string& name, const std::string& column) {
    return Value("SELECT " + column + " FROM photo_share WHERE sharename = '" + name + "'");
  }
  std::vector<std::string> Albums() {
    std::vector<std::string> names;
    for (const Row& row : Query("SELECT sharename FROM photo_share ORDER BY sharename")) {
      names.push_back(row.at("sharename"));
    }
    return names;
  }
  // A user may see this album.
  void GiveRight(const std::string& album) {
    const std::string table = personal() ? "photo_access_right" : "photo_access_right_for_zor_account";
    Run("INSERT INTO " + table + " (userid, shareid, time) VALUES (1026, " + Album(album, "shareid") +
        ", 'x')");
  }
  std::string RightsOf(const std::string& album) {
    const std::string table = personal() ? "photo_access_right" : "photo_access_right_for_zor_account";
    return Value("SELECT count(*) FROM " + table +
                 " WHERE userid = 1026 AND shareid = " + Album(album, "shareid"));
  }
};

TEST_P(AlbumEventsTest, RootIsPublicWhateverTheSettings) {
  Run("DELETE FROM photo_share");
  ASSERT_EQ(Add(""), 0);
  EXPECT_THAT(Albums(), ElementsAre("/"));
  EXPECT_EQ(Album("/", "public"), "t");
}

TEST_P(AlbumEventsTest, TopLevelAlbumFollowsTheSettingOfItsTree) {
  SetDefaultPublic("no");
  ASSERT_EQ(Add("closed"), 0);
  SetDefaultPublic("yes");
  ASSERT_EQ(Add("open"), 0);
  EXPECT_EQ(Album("closed", "public"), "f");
  EXPECT_EQ(Album("open", "public"), "t");
}

TEST_P(AlbumEventsTest, SideFileMakesAnAlbumPublicAndIsConsumed) {
  const fs::path side = photos() / "2024/@eaDir/KAVOPHOTO:PUBLIC";
  WriteFile(side, "1");
  ASSERT_EQ(Add("2024"), 0);
  EXPECT_EQ(Album("2024", "public"), "t");
  EXPECT_FALSE(fs::exists(side));
}

TEST_P(AlbumEventsTest, AddOpensTheFolderToEverybody) {
  ASSERT_EQ(Add("2024"), 0);
  EXPECT_EQ(fs::status(photos() / "2024").permissions(), fs::perms::all);
}

TEST_P(AlbumEventsTest, AddTwiceKeepsOneRowAndItsId) {
  ASSERT_EQ(Add("it's 100%"), 0);
  const std::string id = Album("it''s 100%", "shareid");
  ASSERT_EQ(Add("it's 100%"), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "it's 100%"));
  EXPECT_EQ(Album("it''s 100%", "shareid"), id);
}

TEST_P(AlbumEventsTest, PrivateSubAlbumGetsTheRightsOfItsParent) {
  ASSERT_EQ(Add("2024"), 0);
  GiveRight("2024");
  ASSERT_EQ(Add("2024/trip"), 0);
  EXPECT_EQ(Album("2024/trip", "public"), "f");
  EXPECT_EQ(Album("2024/trip", "is_subdir"), "t");
  EXPECT_EQ(RightsOf("2024/trip"), "1");
}

// Each finds no album of that name, and each gives the new one the rights of its parent.
TEST_P(AlbumEventsTest, ProcessesThatAddAnAlbumAtTheSameMomentGiveItItsRightsOnce) {
  constexpr int kProcesses = 3;
  constexpr int kRounds = Scaled(60, 15);
  ASSERT_EQ(Add("2024"), 0);
  GiveRight("2024");
  for (int i = 0; i < kRounds; ++i) fs::create_directories(photos() / "2024" / std::to_string(i));
  PhotoDBConnClose();
  const MeetingPoint meeting(kProcesses);
  EXPECT_TRUE(RunChildren(kProcesses, [&](int) {
    int failures = 0;
    for (int i = 0; i < kRounds; ++i) {
      meeting.Wait();
      failures += IndexDirAdd(FolderPath("2024/" + std::to_string(i)).c_str()) == 0 ? 0 : 1;
    }
    return failures;
  }));
  for (int i = 0; i < kRounds; ++i) EXPECT_EQ(RightsOf("2024/" + std::to_string(i)), "1") << i;
  EXPECT_EQ(Value("SELECT count(*) FROM photo_share"), std::to_string(kRounds + 2));
}

TEST_P(AlbumEventsTest, SubAlbumThatExistsKeepsItsOwnRights) {
  ASSERT_EQ(Add("2024"), 0);
  ASSERT_EQ(Add("2024/trip"), 0);
  GiveRight("2024/trip");
  ASSERT_EQ(Add("2024/trip"), 0);
  EXPECT_EQ(RightsOf("2024/trip"), "1");
}

TEST_P(AlbumEventsTest, SubAlbumBelowAPasswordIsPublic) {
  ASSERT_EQ(Add("2024"), 0);
  Run("UPDATE photo_share SET password = 'secret' WHERE sharename = '2024'");
  ASSERT_EQ(Add("2024/trip"), 0);
  EXPECT_EQ(Album("2024/trip", "public"), "t");
}

TEST_P(AlbumEventsTest, DeleteRemovesAlbumsAndMediaBelow) {
  ASSERT_EQ(Add("2024"), 0);
  ASSERT_EQ(Add("2024/trip"), 0);
  ASSERT_EQ(Add("2024b"), 0);
  MakeJpeg(photos() / "2024/trip/a.jpg", 8, 6);
  KAVO_MEDIA_INFO record = RecordOf(Path("2024/trip/a.jpg"));
  ASSERT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_EQ(IndexDirDelete(Path("2024").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "2024b"));
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "0");
}

TEST_P(AlbumEventsTest, RenameKeepsTheIdAndTheRights) {
  ASSERT_EQ(Add("2024"), 0);
  ASSERT_EQ(Add("2024/old"), 0);
  GiveRight("2024/old");
  const std::string id = Album("2024/old", "shareid");
  ASSERT_EQ(Rename("2024/new", "2024/old"), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "2024", "2024/new"));
  EXPECT_EQ(Album("2024/new", "shareid"), id);
  EXPECT_EQ(RightsOf("2024/new"), "1");
}

TEST_P(AlbumEventsTest, RenameOntoItselfKeepsAlbumAndMedia) {
  ASSERT_EQ(Add("2024"), 0);
  const std::string id = Album("2024", "shareid");
  Run("INSERT INTO photo_image (path) VALUES ('" + Key("2024/a.jpg") + "')");
  ASSERT_EQ(IndexDirRename(Path("2024").c_str(), Path("2024").c_str()), 0);
  EXPECT_EQ(Album("2024", "shareid"), id);
  EXPECT_EQ(Value("SELECT path FROM photo_image"), Key("2024/a.jpg"));
}

TEST_P(AlbumEventsTest, RenameClearsWhatStoodUnderTheNewName) {
  ASSERT_EQ(Add("old"), 0);
  Run("INSERT INTO photo_share (shareid, sharename) VALUES (77, 'new')");
  Run("INSERT INTO photo_image (path) VALUES ('" + Key("new/stale.jpg") + "')");
  ASSERT_EQ(Rename("new", "old"), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "new"));
  EXPECT_NE(Album("new", "shareid"), "77");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "0");
}

TEST_P(AlbumEventsTest, RenameOfAFolderWithoutARowAddsIt) {
  ASSERT_EQ(Add("2024"), 0);
  GiveRight("2024");
  fs::create_directories(photos() / "2024/old");
  ASSERT_EQ(Rename("2024/new", "2024/old"), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "2024", "2024/new"));
  EXPECT_EQ(RightsOf("2024/new"), "1");
}

TEST_P(AlbumEventsTest, RenameIntoTheFolderOfAnotherUserMovesBetweenTheDatabases) {
  tree().AddUser("bob");
  ASSERT_EQ(Add("trip"), 0);
  const fs::path target = tree().personal("bob") / "trip";
  fs::rename(photos() / "trip", target);
  ASSERT_EQ(IndexDirRename(target.c_str(), Path("trip").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/"));
  EXPECT_GT(getShareIdBySharename("trip"), 0);
}

TEST_P(AlbumEventsTest, DeleteOfAFolderBesideTheSharedTreeLeavesTheAlbumOfItsNameAlone) {
  ASSERT_EQ(Add("2024"), 0);
  std::string sibling = tree().shared().string();
  sibling.back() = 'z';
  EXPECT_EQ(IndexDirDelete((sibling + "/2024").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "2024"));
}

TEST_P(AlbumEventsTest, FoldersOutsideTheLibraryAreLeftAlone) {
  EXPECT_EQ(IndexDirAdd(tree().root().c_str()), 0);
  EXPECT_EQ(IndexDirRename(tree().root().c_str(), Path("2024").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/"));
}

TEST_P(AlbumEventsTest, ASlashAtTheEndChangesNoName) {
  fs::create_directories(photos() / "2024");
  ASSERT_EQ(IndexDirAdd((Path("2024") + "/").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "2024"));
  const std::string id = Album("2024", "shareid");
  ASSERT_EQ(IndexDirAdd((Path("2024") + "//").c_str()), 0);
  EXPECT_EQ(Album("2024", "shareid"), id);
  fs::rename(photos() / "2024", photos() / "2025");
  ASSERT_EQ(IndexDirRename((Path("2025") + "/").c_str(), (Path("2024") + "/").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/", "2025"));
  EXPECT_EQ(Album("2025", "shareid"), id);
  ASSERT_EQ(IndexDirDelete((Path("2025") + "/").c_str()), 0);
  EXPECT_THAT(Albums(), ElementsAre("/"));
}

TEST_P(AlbumEventsTest, TheRootWithASlashIsTheRoot) {
  const std::string root = photos().string() + "/";
  const std::string id = Album("/", "shareid");
  ASSERT_EQ(IndexDirAdd(root.c_str()), 0);
  EXPECT_EQ(Album("/", "shareid"), id);
  ASSERT_EQ(Add("2024"), 0);
  Run("INSERT INTO photo_image (path) VALUES ('" + Key("a.jpg") + "')");
  ASSERT_EQ(IndexDirDelete(root.c_str()), 0);
  const auto albums = Albums();
  const std::string photos_left = Value("SELECT count(*) FROM photo_image");
  ASSERT_EQ(Add(""), 0);
  ASSERT_EQ(Add("2024"), 0);
  Run("INSERT INTO photo_image (path) VALUES ('" + Key("b.jpg") + "')");
  ASSERT_EQ(IndexDirDelete(photos().c_str()), 0);
  EXPECT_EQ(albums, Albums());
  EXPECT_EQ(photos_left, "0");
}

TEST_P(AlbumEventsTest, ARenameToTheRootEmptiesTheLibraryAndFails) {
  ASSERT_EQ(Add("2024"), 0);
  EXPECT_EQ(IndexDirRename(photos().c_str(), Path("2024").c_str()), -1);
  EXPECT_THAT(Albums(), ElementsAre("/"));
}

TEST_P(AlbumEventsTest, AFolderRenamedOntoItselfWithASlashKeepsItsMedia) {
  ASSERT_EQ(Add("2024"), 0);
  Run("INSERT INTO photo_image (path) VALUES ('" + Key("2024/a.jpg") + "')");
  ASSERT_EQ(IndexDirRename((Path("2024") + "/").c_str(), Path("2024").c_str()), 0);
  EXPECT_EQ(Value("SELECT path FROM photo_image"), Key("2024/a.jpg"));
}

INSTANTIATE_TEST_SUITE_P(Engines, AlbumEventsTest, BothEngines(), EngineName);

}  // namespace
