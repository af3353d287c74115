#include <algorithm>
#include <memory>

#include "photo_index/album_info.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Album = KAVO_PHOTO_SHARE_INFO;

// --- The album record.

class AlbumInfo : public IndexLibraryTest {
 protected:
  // The record of FOLDER, in a request of its own.
  Album Build(const std::string& folder, bool expected = true) {
    EXPECT_EQ(HGAStatusCheck(folder.c_str()), 0);
    const auto album = std::make_unique<Album>();
    EXPECT_EQ(IndexAlbumInfoBuild(*album, folder.c_str()), expected);
    return *album;
  }
  // What photo_share says of one album.
  void AnswerAlbum(const std::string& name, const std::map<std::string, std::string>& row) {
    Answer({.match = "sharename = '" + name + "'", .rows = {row}});
  }
  static void WritePublic(const std::string& folder, const std::string& item, const std::string& text) {
    WriteFile(folder + "/@eaDir/" + item, text);
  }
};

TEST_F(AlbumInfo, RefusesNoFolder) {
  Album album = {};
  EXPECT_FALSE(IndexAlbumInfoBuild(album, nullptr));
  EXPECT_FALSE(IndexAlbumInfoBuild(album, ""));
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
}

TEST_F(AlbumInfo, StaysEmptyForAFolderWithoutAnAlbumName) {
  const Album album = Build("/x");
  EXPECT_STREQ(album.szShareName, "");
  EXPECT_STREQ(album.szAlbumPath, "");
}

TEST_F(AlbumInfo, DescribesTheRootAsPublicWhateverTheSettings) {
  Set("albumdefpublic", "no");
  const Album album = Build(shared());
  EXPECT_STREQ(album.szShareName, "/");
  EXPECT_EQ(album.szAlbumPath, shared());
  EXPECT_EQ(album.isPublic, 1);
  EXPECT_EQ(album.isSubdir, 0);
}

TEST_F(AlbumInfo, NumbersTheAlbumAfterTheHighestId) {
  Set("albumdefpublic", "no");
  Answer({.match = "shareid > 0", .rows = {{{"shareid", "41"}}}});
  EXPECT_EQ(Build(shared() + "/2024").shareId, 42);
}

TEST_F(AlbumInfo, AsksForTheIdBeforeTheSideFile) {
  Set("albumdefpublic", "no");
  Build(shared() + "/2024");
  const auto& calls = fake().calls;
  const auto begins = [](const std::string& start) {
    return [start](const std::string& call) { return call.starts_with(start); };
  };
  const auto id = std::find_if(calls.begin(), calls.end(), begins("KAVODBSelectLimit"));
  const auto side_file = std::find_if(calls.begin(), calls.end(), begins("KAVOEAPath"));
  ASSERT_NE(side_file, calls.end());
  EXPECT_LT(id, side_file);
}

TEST_F(AlbumInfo, ReadsTheDefaultOfTheSharedTreeInto16Bytes) {
  Set("albumdefpublic", "yes");
  Build(shared() + "/2024");
  EXPECT_EQ(
      fake().Count("RLIBCFileGetKeyValue(" + fake().root + kPackageSettings + ", albumdefpublic, 16, 0)"), 1);
}

TEST_F(AlbumInfo, TakesTheDefaultOfTheSharedTree) {
  for (const auto& [value, is_public] : {std::pair{"yes", 1}, std::pair{"YES", 1}, std::pair{"no", 0}}) {
    Set("albumdefpublic", value);
    EXPECT_EQ(Build(shared() + "/2024").isPublic, is_public) << value;
  }
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumInfo, IsPrivateAndSaysSoWithoutADefault) {
  EXPECT_EQ(Build(shared() + "/2024").isPublic, 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_index.cpp:# Can't get key valude. key=albumdefpublic"));
}

TEST_F(AlbumInfo, TakesTheDefaultOfTheUser) {
  UsePersonal();
  fake().album_default_right["alice"] = 1;
  EXPECT_EQ(Build(personal() + "/2024").isPublic, 1);
  fake().album_default_right["alice"] = 0;
  EXPECT_EQ(Build(personal() + "/2024").isPublic, 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumInfo, IsPrivateAndSaysSoWithoutADefaultOfTheUser) {
  UsePersonal();
  EXPECT_EQ(Build(personal() + "/2024").isPublic, 0);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_index.cpp:# Can't get key valude. key=albumdefpublic, user:alice"));
}

TEST_F(AlbumInfo, PrefersTheSideFileToTheDefaultAndConsumesIt) {
  const std::string folder = Folder(shared() + "/2024");
  Set("albumdefpublic", "no");
  WritePublic(folder, "KAVOPHOTO:PUBLIC", "1\n");
  EXPECT_EQ(Build(folder).isPublic, 1);
  EXPECT_FALSE(std::filesystem::exists(folder + "/@eaDir/KAVOPHOTO:PUBLIC"));
  EXPECT_EQ(Build(folder).isPublic, 0);
}

TEST_F(AlbumInfo, PrefersTheNewerNameOfTheSideFile) {
  const std::string folder = Folder(shared() + "/2024");
  Set("albumdefpublic", "yes");
  WritePublic(folder, "KAVOPHOTO_PUBLIC", "0");
  WritePublic(folder, "KAVOPHOTO:PUBLIC", "1");
  EXPECT_EQ(Build(folder).isPublic, 0);
  EXPECT_TRUE(std::filesystem::exists(folder + "/@eaDir/KAVOPHOTO:PUBLIC"));
}

TEST_F(AlbumInfo, ComparesTheRootInAnyLetterCase) {
  Set("albumdefpublic", "no");
  std::string root = shared();
  root.back() = static_cast<char>(std::toupper(root.back()));
  EXPECT_EQ(Build(root).isSubdir, 0);
}

TEST_F(AlbumInfo, CountsWhatLiesBelowATopLevelFolderAsSubAlbum) {
  Set("albumdefpublic", "no");
  EXPECT_EQ(Build(shared() + "/2024").isSubdir, 0);
  AnswerAlbum("2024", {{"public", "f"}, {"password", ""}});
  EXPECT_EQ(Build(shared() + "/2024/trip").isSubdir, 1);
}

TEST_F(AlbumInfo, InheritsThePublicFlagOfTheParentAgainstItsOwnSettings) {
  const std::string folder = Folder(shared() + "/2024/trip");
  Set("albumdefpublic", "yes");
  WritePublic(folder, "KAVOPHOTO_PUBLIC", "1");
  AnswerAlbum("2024", {{"public", "f"}, {"password", ""}});
  const Album album = Build(folder);
  EXPECT_EQ(album.isPublic, 0);
  EXPECT_STREQ(album.szRightsShareName, "2024");
}

TEST_F(AlbumInfo, IsAsPublicAsItsParent) {
  Set("albumdefpublic", "no");
  AnswerAlbum("a/b", {{"public", "T"}, {"password", ""}});
  const Album album = Build(shared() + "/a/b/c");
  EXPECT_EQ(album.isPublic, 1);
  EXPECT_STREQ(album.szRightsShareName, "a/b");
}

TEST_F(AlbumInfo, IsPublicBelowAPassword) {
  Set("albumdefpublic", "no");
  AnswerAlbum("2024", {{"public", "f"}, {"password", "secret"}});
  const Album album = Build(shared() + "/2024/trip");
  EXPECT_EQ(album.isPublic, 1);
  EXPECT_STREQ(album.szReserved, "secret");
}

TEST_F(AlbumInfo, KeepsAPasswordOfUpTo4095Bytes) {
  Set("albumdefpublic", "no");
  AnswerAlbum("2024", {{"public", "f"}, {"password", std::string(5000, 'p')}});
  EXPECT_EQ(Build(shared() + "/2024/trip").szReserved, std::string(4095, 'p'));
}

TEST_F(AlbumInfo, FailsSilentlyWithoutAParent) {
  Set("albumdefpublic", "no");
  Build(shared() + "/2024/trip", false);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumInfo, ReportsAParentThatIsGoneBetweenTheTwoQuestions) {
  Set("albumdefpublic", "no");
  Answer({.match = "sharename = '2024'", .rows = {{{"password", ""}}}, .once = true});
  Build(shared() + "/2024/trip", false);
  EXPECT_THAT(Messages(), ElementsAre("photo_index.cpp:# KAVOPhotoShareGetFieldValue failed."));
}

TEST_F(AlbumInfo, ReportsANameThatHasLostItsParent) {
  Set("albumdefpublic", "no");
  Build(shared() + "/" + std::string(255, 'n') + "/trip", false);
  EXPECT_THAT(Messages(), ElementsAre("photo_index.cpp:# PhotoIndexSupperShareNameGet failed."));
}

TEST_F(AlbumInfo, CutsTheNameTo254Bytes) {
  Set("albumdefpublic", "no");
  const std::string long_name = std::string(200, 'a') + "/" + std::string(200, 'b');
  AnswerAlbum(std::string(200, 'a'), {{"public", "t"}, {"password", ""}});
  EXPECT_EQ(Build(shared() + "/" + long_name).szShareName, long_name.substr(0, 254));
}

// --- Folder events.

class AlbumEvents : public AlbumInfo {
 protected:
  void SetUp() override {
    AlbumInfo::SetUp();
    Set("albumdefpublic", "no");
  }
  // The album has a row.
  void AnswerExisting(const std::string& name) { AnswerRows("sharename='" + name + "'", 1); }
  void AnswerPrivateParent(const std::string& name) {
    AnswerAlbum(name, {{"public", "f"}, {"password", ""}, {"shareid", "7"}});
  }
};

TEST_F(AlbumEvents, RefuseNoFolder) {
  EXPECT_EQ(IndexDirAdd(nullptr), -1);
  EXPECT_EQ(IndexDirDelete(nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
}

TEST_F(AlbumEvents, RefuseARenameWithoutBothNames) {
  constexpr const char* kBad = "photo_index.cpp (#) Bad parameter.";
  EXPECT_EQ(IndexDirRename(nullptr, "/old"), -1);
  EXPECT_EQ(IndexDirRename("/new", nullptr), -1);
  EXPECT_EQ(IndexDirRename("/new", ""), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBad, kBad, kBad));
}

TEST_F(AlbumEvents, LeaveFoldersOutsideAlone) {
  EXPECT_EQ(IndexDirAdd("/elsewhere/2024"), 0);
  EXPECT_EQ(IndexDirRename("/elsewhere/2024", (shared() + "/2024").c_str()), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(AlbumEvents, LeaveAFolderWithoutAnAlbumNameAlone) {
  UsePersonal();
  EXPECT_EQ(IndexDirAdd("user:alice:/2024"), 0);
  EXPECT_THAT(Sent("photo_share"), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumEvents, DoNothingForARefusedFolder) {
  UsePersonal();
  const std::string folder = Folder(personal() + "/2024");
  WritePublic(folder, "KAVOPHOTO_PUBLIC", "1");
  Set("runpersonallumivault", "no");
  EXPECT_EQ(IndexDirAdd(folder.c_str()), 0);
  EXPECT_EQ(IndexDirRename(folder.c_str(), (personal() + "/old").c_str()), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(folder + "/@eaDir/KAVOPHOTO_PUBLIC"));
}

TEST_F(AlbumEvents, AddANewAlbumAndOpenItsFolder) {
  const std::string folder = Folder(shared() + "/2024");
  ASSERT_EQ(IndexDirAdd(folder.c_str()), 0);
  EXPECT_EQ(Sent("INSERT INTO photo_share").size(), 1U);
  EXPECT_EQ(fake().Count("KAVOBeneathMode(" + shared() + ", " + folder + ", 0777)"), 1);
}

TEST_F(AlbumEvents, UpdateAnAlbumThatExists) {
  AnswerExisting("2024");
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024").c_str()), 0);
  EXPECT_THAT(Sent("INSERT INTO photo_share"), IsEmpty());
  EXPECT_EQ(Sent("UPDATE photo_share").size(), 1U);
}

TEST_F(AlbumEvents, ReportAnAlbumThatCannotBeSaved) {
  FailStatement("INSERT INTO photo_share");
  EXPECT_EQ(IndexDirAdd(Folder(shared() + "/2024").c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# PhotoShareInfoDBSave failed.");
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
}

TEST_F(AlbumEvents, GiveANewPrivateSubAlbumItsParentsRights) {
  AnswerPrivateParent("2024");
  AnswerAlbum("2024/trip", {{"shareid", "8"}});
  Answer({.match = "FROM photo_access_right", .rows = {{{"userid", "1026"}}}});
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), 0);
  EXPECT_THAT(Sent("Insert into"), ElementsAre(StartsWith("Insert into photo_access_right")));
}

TEST_F(AlbumEvents, ReportRightsThatCannotBeGiven) {
  AnswerPrivateParent("2024");
  EXPECT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# PhotoSharePriviledgeDBSave failed: 2024/trip");
}

TEST_F(AlbumEvents, GiveNoRightsToASubAlbumThatExists) {
  AnswerPrivateParent("2024");
  AnswerExisting("2024/trip");
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), 0);
  EXPECT_THAT(Sent("_right"), IsEmpty());
}

TEST_F(AlbumEvents, ReplaceNoRightsWhenTheCountFails) {
  AnswerPrivateParent("2024");
  FailStatement("sharename='2024/trip'");
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), 0);
  EXPECT_THAT(Sent("_right"), IsEmpty());
}

TEST_F(AlbumEvents, GiveNoRightsToAPublicSubAlbum) {
  AnswerAlbum("2024", {{"public", "t"}, {"password", ""}});
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), 0);
  EXPECT_THAT(Sent("_right"), IsEmpty());
}

// The count of the event and that of the save.
TEST_F(AlbumEvents, CountByTheRawName) {
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/it's").c_str()), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,  sharename='it's' )"), 2);
}

TEST_F(AlbumEvents, CountByTheWholeName) {
  const std::string name(250, 'n');
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/" + name).c_str()), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,  sharename='" + name + "' )"), 2);
}

TEST_F(AlbumEvents, DeleteEverythingBelowAFolder) {
  ASSERT_EQ(IndexDirDelete((shared() + "/2024").c_str()), 0);
  EXPECT_THAT(Sent("DELETE FROM photo_image"),
              ElementsAre(StartsWith("DELETE FROM photo_image WHERE path like '" + shared() + "/2024/%'; ")));
}

TEST_F(AlbumEvents, DeleteNoAlbumForAFolderBesideTheLibrary) {
  std::string sibling = shared();
  sibling.back() = 'z';
  EXPECT_EQ(IndexDirDelete((sibling + "/2024").c_str()), 0);
  EXPECT_EQ(IndexDirRename(Folder(shared() + "/new").c_str(), (sibling + "/2024").c_str()), 0);
  EXPECT_THAT(Sent("DELETE"), IsEmpty());
}

TEST_F(AlbumEvents, SucceedWhenTheDeleteFails) {
  FailStatement("DELETE FROM photo_image");
  EXPECT_EQ(IndexDirDelete((shared() + "/2024").c_str()), 0);
}

TEST_F(AlbumEvents, ReportADeleteWhoseContextIsRefused) {
  UsePersonal();
  Set("runpersonallumivault", "no");
  EXPECT_EQ(IndexDirDelete(personal().c_str()), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

// --- Folder renames.

class AlbumRename : public AlbumEvents {
 protected:
  int Rename(const std::string& new_folder, const std::string& old_folder) {
    return IndexDirRename(Folder(new_folder).c_str(), old_folder.c_str());
  }
  void AnswerRenamed() { Answer({.match = "set sharename = ", .affected = 1}); }
};

TEST_F(AlbumRename, MovesTheRowAfterClearingTheNewName) {
  AnswerExisting("old");
  AnswerRenamed();
  Answer({.match = "set cover", .affected = 1});
  Answer({.match = "SET cover", .affected = 1});
  ASSERT_EQ(Rename(shared() + "/new", shared() + "/old"), 0);
  EXPECT_THAT(Sent("DELETE FROM photo_image WHERE path"),
              ElementsAre(StartsWith("DELETE FROM photo_image WHERE path like '" + shared() + "/new/%'")));
  EXPECT_THAT(Sent("set sharename = "), ElementsAre(StartsWith("Update photo_share set sharename = 'new'")));
}

TEST_F(AlbumRename, OntoItselfDeletesNothing) {
  AnswerRenamed();
  Answer({.match = "SET cover", .affected = 1});
  AnswerExisting("2024");
  ASSERT_EQ(Rename(shared() + "/2024", shared() + "/2024"), 0);
  EXPECT_THAT(Sent("DELETE"), IsEmpty());
  EXPECT_EQ(Sent("set sharename = '2024'").size(), 1U);
}

TEST_F(AlbumRename, FailsForANewFolderWithoutAnAlbumName) {
  UsePersonal();
  // As long as the photo folder, so that what follows is taken for an album.
  std::string old_folder = "user:alice:/";
  old_folder.resize(personal().size(), 'x');
  EXPECT_EQ(IndexDirRename("user:alice:/new", (old_folder + "/old").c_str()), -1);
  EXPECT_THAT(Sent("photo_share"), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumRename, TakesNamesFromTheRequestContext) {
  UsePersonal();
  ASSERT_EQ(IndexDirRename(Folder(shared() + "/new").c_str(), HGAStatusPhotoDirGet()), 0);
  EXPECT_EQ(Sent("INSERT INTO photo_share (shareid, sharename, public, comment").size(), 1U);
  UsePersonal();
  fake().statements.clear();
  ASSERT_EQ(IndexDirRename(HGAStatusPhotoDirGet(), (shared() + "/old").c_str()), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_share WHERE sharename = 'old'").size(), 1U);
  EXPECT_THAT(Sent("INSERT INTO photo_share"), ElementsAre(testing::HasSubstr("'/'")));
}

TEST_F(AlbumRename, SucceedsWhenTheDeleteAndTheAddFail) {
  UsePersonal();
  FailStatement("DELETE FROM photo_image");
  FailStatement("INSERT INTO photo_share");
  EXPECT_EQ(Rename(shared() + "/new", personal() + "/old"), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image").size(), 1U);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# PhotoShareInfoDBSave failed.");
}

TEST_F(AlbumRename, ReportsARenameThatFails) {
  FailStatement("set sharename = ");
  EXPECT_EQ(Rename(shared() + "/new", shared() + "/old"), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# PhotoShareDBRename failed");
}

TEST_F(AlbumRename, GivesAPrivateSubAlbumThatHadNoRowItsParentsRights) {
  AnswerPrivateParent("2024");
  AnswerAlbum("2024/new", {{"shareid", "8"}});
  ASSERT_EQ(Rename(shared() + "/2024/new", shared() + "/2024/old"), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_access_right").size(), 1U);
}

TEST_F(AlbumRename, KeepsTheRightsOfARowThatMoved) {
  AnswerPrivateParent("2024");
  AnswerExisting("2024/old");
  AnswerRenamed();
  Answer({.match = "SET co", .affected = 1});
  ASSERT_EQ(Rename(shared() + "/2024/new", shared() + "/2024/old"), 0);
  EXPECT_THAT(Sent("_right"), IsEmpty());
}

TEST_F(AlbumRename, CountsByTheWholeOldName) {
  const std::string name(3000, 'o');
  AnswerExisting(name);
  AnswerRenamed();
  Answer({.match = "SET cover", .affected = 1});
  ASSERT_EQ(Rename(shared() + "/new", shared() + "/" + name), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,  sharename='" + name + "' )"), 1);
}

TEST_F(AlbumRename, ReportsRightsThatCannotBeGiven) {
  AnswerPrivateParent("2024");
  EXPECT_EQ(Rename(shared() + "/2024/new", shared() + "/2024/old"), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# PhotoSharePriviledgeDBSave failed: 2024/new");
}

TEST_F(AlbumRename, FailsSilentlyWithoutAParent) {
  EXPECT_EQ(Rename(shared() + "/2024/new", shared() + "/2024/old"), -1);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(Sent("set sharename = "), IsEmpty());
}

TEST_F(AlbumRename, IsADeleteAndAnAddForAFolderFromOutside) {
  ASSERT_EQ(Rename(shared() + "/new", "/elsewhere/old"), 0);
  EXPECT_THAT(Sent("set sharename = "), IsEmpty());
  EXPECT_EQ(Sent("INSERT INTO photo_share (shareid, sharename, title").size(), 1U);
}

TEST_F(AlbumRename, IsADeleteAndAnAddBetweenTwoUsers) {
  UsePersonal();
  const std::string bob = Folder(std::filesystem::path(personal()).parent_path() / "bob");
  fake().personal_folders["bob"] = bob;
  fake().preference_dirs["bob"] = fake().preference_dirs["alice"];
  fake().album_default_right["bob"] = 0;
  WriteFile(bob + "/.KAVOHGADB", "");
  ASSERT_EQ(Rename(bob + "/trip", personal() + "/trip"), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_share WHERE sharename = 'trip'").size(), 1U);
  EXPECT_EQ(Sent("INSERT INTO photo_share").size(), 1U);
  EXPECT_EQ(fake().Count("KAVODBConnect(NULL, NULL, NULL, " + personal()), 1);
}

}  // namespace
