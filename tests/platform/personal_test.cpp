#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "core/key_value.h"
#include "platform/index.h"
#include "support/appliance_tree.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class PersonalTest : public testing::Test {
 protected:
  void List(const std::string& content) { WriteFile(tree_.root() / "etc/kavo/personal.conf", content); }
  fs::path homes() const { return tree_.personal("x").parent_path().parent_path(); }

  ApplianceTree tree_;
};

// The owner of PATH, "" when it is nobody's.
std::string Owner(const std::string& path, int size = 492) {
  char user[492] = "";
  return KAVOIndexIsPersonalPackagePath(path.c_str(), "photo", user, size) != 0 ? user : "";
}

// "(none)" when USER has none.
std::string FolderOf(const char* user, int size = 4096) {
  std::string out(4096, '\0');
  return KAVOIndexPersonalPhotoPathGet(user, out.data(), size) == 0 ? out.c_str() : "(none)";
}

// The processor time of this process alone, however busy the machine.
template <typename Action>
std::clock_t CostOf(int times, Action&& action) {
  const std::clock_t start = std::clock();
  for (int i = 0; i < times; ++i) action();
  return std::clock() - start;
}

TEST_F(PersonalTest, AUserWhoIsNotListedHasThePhotoFolderOfTheirHome) {
  tree_.AddUser("alice");
  EXPECT_EQ(FolderOf("alice"), tree_.personal("alice"));
  EXPECT_EQ(Owner(tree_.personal("alice")), "alice");
  EXPECT_EQ(Owner(tree_.personal("alice") / "trip" / "a.jpg"), "alice");
}

TEST_F(PersonalTest, AHomeWithoutAPhotoFolderIsNotPersonal) {
  fs::create_directories(homes() / "bob");
  EXPECT_EQ(FolderOf("bob"), "(none)");
  EXPECT_EQ(Owner(tree_.personal("bob") / "a.jpg"), "");
  WriteFile(tree_.personal("bob"), "a file");
  EXPECT_EQ(FolderOf("bob"), "(none)");
}

TEST_F(PersonalTest, OnlyThePhotoFolderOfAHomeIsPersonal) {
  tree_.AddUser("alice");
  EXPECT_EQ(Owner(homes()), "");
  EXPECT_EQ(Owner(homes() / "alice"), "");
  EXPECT_EQ(Owner(homes() / "alice" / "photos" / "a.jpg"), "");
  EXPECT_EQ(Owner(homes() / "alice" / "phot"), "");
  EXPECT_EQ(Owner(homes().string() + "2/alice/photo/a.jpg"), "");
  EXPECT_EQ(Owner((tree_.shared() / "a.jpg")), "");
}

TEST_F(PersonalTest, HomesWithoutALinkAreFoundAtTheirFixedPath) {
  fs::remove(tree_.root() / "var/services/homes");
  const fs::path folder = tree_.root() / "var/services/homes/carol/photo";
  fs::create_directories(folder);
  EXPECT_EQ(FolderOf("carol"), folder);
  EXPECT_EQ(Owner(folder / "a.jpg"), "carol");
}

TEST_F(PersonalTest, APathIsPersonalOnlyUnderTheNameThatKeysAreCutBy) {
  tree_.AddUser("alice");
  EXPECT_EQ(Owner(tree_.root() / "var/services/homes/alice/photo/a.jpg"), "");
  EXPECT_EQ(Owner(homes().string() + "//alice/photo/a.jpg"), "");
}

TEST_F(PersonalTest, AListedFolderMatchesOnWholeComponents) {
  List("alice=/photos\nbob=/photos2\n");
  EXPECT_EQ(Owner("/photos/a.jpg"), "alice");
  EXPECT_EQ(Owner("/photos"), "alice");
  EXPECT_EQ(Owner("/photos/"), "alice");
  EXPECT_EQ(Owner("/photos2/a.jpg"), "bob");
  EXPECT_EQ(Owner("/photos3/a.jpg"), "");
  EXPECT_EQ(Owner("/photo"), "");
  EXPECT_EQ(Owner("/Photos/a.jpg"), "");
}

TEST_F(PersonalTest, APathThatIsNotAbsoluteIsNobodys) {
  List("bob=/volume1/share\n");
  for (const char* path : {"a.jpg", "share/a.jpg", "share", "volume1/share", "."}) EXPECT_EQ(Owner(path), "");
}

TEST_F(PersonalTest, OfNestedFoldersTheInnermostWins) {
  List("outer=/data\ninner=/data/photos/inner\nmiddle=/data/photos\n");
  EXPECT_EQ(Owner("/data/a.jpg"), "outer");
  EXPECT_EQ(Owner("/data/photos/a.jpg"), "middle");
  EXPECT_EQ(Owner("/data/photos/inner/b/a.jpg"), "inner");
  EXPECT_EQ(Owner("/data/photos/inner2/a.jpg"), "middle");
}

TEST_F(PersonalTest, AHomeInsideAListedFolderWinsAndTheOtherWayRound) {
  tree_.AddUser("alice");
  List("all=" + homes().string() + "\nchild=" + (tree_.personal("alice") / "child").string() + "\n");
  EXPECT_EQ(Owner(homes() / "a.jpg"), "all");
  EXPECT_EQ(Owner(tree_.personal("alice") / "a.jpg"), "alice");
  EXPECT_EQ(Owner(tree_.personal("alice") / "child" / "a.jpg"), "child");
}

TEST_F(PersonalTest, AListedUserHasTheListedFolderAlone) {
  tree_.AddUser("alice");
  List("alice=/photos\n");
  EXPECT_EQ(FolderOf("alice"), "/photos");
  EXPECT_EQ(Owner(tree_.personal("alice") / "a.jpg"), "");
}

TEST_F(PersonalTest, ListedFoldersLoseDuplicateSlashesAndThoseAtTheEnd) {
  List("alice=//data///photos//\n");
  EXPECT_EQ(FolderOf("alice"), "/data/photos");
  EXPECT_EQ(Owner("/data/photos/a.jpg"), "alice");
}

TEST_F(PersonalTest, EntriesThatCannotBeFoldersOrUsersDoNotCount) {
  List("alice=photos\nbob=/\n..=/data/a\na/b=/data/b\ncarol=\ndave=/photos\n");
  EXPECT_EQ(FolderOf("alice"), "(none)");
  EXPECT_EQ(FolderOf("bob"), "(none)");
  EXPECT_EQ(FolderOf("carol"), "(none)");
  EXPECT_EQ(Owner("/data/a/x.jpg"), "");
  EXPECT_EQ(Owner("/data/b/x.jpg"), "");
  EXPECT_EQ(FolderOf("dave"), "/photos");
}

TEST_F(PersonalTest, AnEntryThatReplacesAnEarlierOneTakesItsFolderAway) {
  List("alice=/old\nalice=/new\n");
  EXPECT_EQ(FolderOf("alice"), "/new");
  EXPECT_EQ(Owner("/new/a.jpg"), "alice");
  EXPECT_EQ(Owner("/old/a.jpg"), "");
}

TEST_F(PersonalTest, AChangedListIsSeen) {
  List("alice=/photos\n");
  EXPECT_EQ(Owner("/photos/a.jpg"), "alice");
  List("carla=/photos\n");
  EXPECT_EQ(Owner("/photos/a.jpg"), "carla");
  fs::remove(tree_.root() / "etc/kavo/personal.conf");
  EXPECT_EQ(Owner("/photos/a.jpg"), "");
}

TEST_F(PersonalTest, NamesWithASlashOrOfTheFolderItselfHaveNoFolder) {
  tree_.AddUser("alice");
  fs::create_directories(homes() / "photo");
  for (const char* user : {"", ".", "..", "alice/../alice", "../homes/alice", "/alice"}) {
    EXPECT_EQ(FolderOf(user), "(none)") << user;
  }
  EXPECT_EQ(FolderOf(nullptr), "(none)");
  EXPECT_EQ(Owner(homes() / ".." / "photo" / "a.jpg"), "");
}

TEST_F(PersonalTest, AUserNameIsCutAndAFolderIsNot) {
  tree_.AddUser("alice");
  EXPECT_EQ(Owner(tree_.personal("alice"), 4), "ali");
  const int length = static_cast<int>(tree_.personal("alice").string().size());
  EXPECT_EQ(FolderOf("alice", length + 1), tree_.personal("alice"));
  EXPECT_EQ(FolderOf("alice", length), "(none)");
}

TEST_F(PersonalTest, OtherPackagesAndNullArgumentsAreNotPersonal) {
  tree_.AddUser("alice");
  char user[492];
  const std::string path = tree_.personal("alice");
  EXPECT_EQ(KAVOIndexIsPersonalPackagePath(path.c_str(), "music", user, sizeof(user)), 0);
  EXPECT_EQ(KAVOIndexIsPersonalPackagePath(path.c_str(), nullptr, user, sizeof(user)), 0);
  EXPECT_EQ(KAVOIndexIsPersonalPackagePath(nullptr, "photo", user, sizeof(user)), 0);
  EXPECT_NE(KAVOIndexIsPersonalPackagePath(path.c_str(), "photo", nullptr, 0), 0);
}

TEST_F(PersonalTest, HostileNamesAreNamesOnly) {
  for (const char* user : {"a b", "'; DROP TABLE x;--", "$(touch x)", "%n", "\xFF\xFE", "-rf", "a\\b"}) {
    tree_.AddUser(user);
    EXPECT_EQ(Owner(tree_.personal(user) / "a.jpg"), user);
    EXPECT_EQ(FolderOf(user), tree_.personal(user));
  }
}

TEST_F(PersonalTest, TheDefaultOfNewAlbumsIsTheUsersSetting) {
  const fs::path settings = tree_.root() / "usr/kavo/etc/preference/alice/kavoinfo.conf";
  int is_public = 7;
  EXPECT_EQ(KAVOIndexPersonalAlbumDefRightGet("alice", &is_public), -1);
  WriteFile(settings, "runpersonallumivault=yes\n");
  EXPECT_EQ(KAVOIndexPersonalAlbumDefRightGet("alice", &is_public), -1);
  EXPECT_EQ(is_public, 7);
  WriteFile(settings, "albumdefpublic=\"Yes\"\n");
  EXPECT_EQ(KAVOIndexPersonalAlbumDefRightGet("alice", &is_public), 0);
  EXPECT_EQ(is_public, 1);
  WriteFile(settings, "albumdefpublic=no\n");
  EXPECT_EQ(KAVOIndexPersonalAlbumDefRightGet("alice", &is_public), 0);
  EXPECT_EQ(is_public, 0);
  EXPECT_EQ(KAVOIndexPersonalAlbumDefRightGet("../alice", &is_public), -1);
  EXPECT_EQ(KAVOIndexPersonalAlbumDefRightGet("alice", nullptr), -1);
}

TEST_F(PersonalTest, AQuestionCostsMicroseconds) {
  std::string list;
  for (int i = 0; i < 2'000; ++i)
    list += "user" + std::to_string(i) + "=/data/photos" + std::to_string(i) + "\n";
  List(list);
  tree_.AddUser("alice");
  usleep(150'000);
  const std::string path = tree_.personal("alice") / "2024" / "trip" / "a.jpg";
  EXPECT_EQ(Owner(path), "alice");

  // Each would take longer if it had the list parsed; it needs a hundredth.
  constexpr int kTimes = 200;
  const std::clock_t parsed = CostOf(kTimes, [&] { ParseKeyValues(list); });
  const std::clock_t asked = CostOf(kTimes, [&] { Owner(path); });
  EXPECT_LT(asked, parsed / 5);
}

}  // namespace
