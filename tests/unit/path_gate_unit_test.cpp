// Which paths concern the plug-in, what kind of medium they are, and what their records are completed with.
#include <cctype>

#include "photo_index/media_info_complete.h"
#include "photo_index/media_kind.h"
#include "photo_index/move_rule.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- The path gate.

class PathGate : public IndexLibraryTest {};

TEST_F(PathGate, RefusesNoPath) {
  EXPECT_EQ(IndexIsIndexPath(nullptr, kIndexed), -1);
  EXPECT_EQ(IndexIsIndexPath("", kIndexed), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
}

TEST_F(PathGate, AcceptsFourKindsOfFolders) {
  const std::string path = shared() + "/a.jpg";
  for (const unsigned type : {1U, 2U, 4U, 5U}) EXPECT_EQ(IndexIsIndexPath(path.c_str(), type), 1) << type;
  for (const unsigned type : {0U, 3U, 6U}) EXPECT_EQ(IndexIsIndexPath(path.c_str(), type), 0) << type;
}

TEST_F(PathGate, AcceptsTheSharedFolderInAnyLetterCase) {
  std::string upper = shared();
  for (char& letter : upper) letter = static_cast<char>(std::toupper(letter));
  EXPECT_EQ(IndexIsIndexPath(shared().c_str(), kIndexed), 1);
  EXPECT_EQ(IndexIsIndexPath((upper + "/a.jpg").c_str(), kIndexed), 1);
}

TEST_F(PathGate, IgnoresWhatOnlyBeginsLikeTheSharedFolder) {
  EXPECT_EQ(IndexIsIndexPath((shared() + "s/a.jpg").c_str(), kIndexed), 0);
  EXPECT_EQ(IndexIsIndexPath("/elsewhere/a.jpg", kIndexed), 0);
}

TEST_F(PathGate, IgnoresEverySharedPathWithoutASharedFolder) {
  std::filesystem::remove(fake().root + kSharedPhotoLink);
  EXPECT_EQ(IndexIsIndexPath((shared() + "/a.jpg").c_str(), kIndexed), 0);
}

TEST_F(PathGate, AcceptsAPersonalPathWithoutASharedFolder) {
  UsePersonal();
  std::filesystem::remove(fake().root + kSharedPhotoLink);
  EXPECT_EQ(IndexIsIndexPath((personal() + "/a.jpg").c_str(), kIndexed), 1);
}

TEST_F(PathGate, RefusesAPersonalFolderThatIsNotSwitchedOnForEveryKind) {
  UsePersonal();
  Set("runpersonallumivault", "no");
  EXPECT_EQ(IndexIsIndexPath((personal() + "/a.jpg").c_str(), kIndexed), -1);
  EXPECT_EQ(IndexIsIndexPath((personal() + "/a.jpg").c_str(), kNotIndexed), -1);
}

TEST_F(PathGate, IgnoresRemoteAndImageMounts) {
  fake().remote_paths.insert(shared() + "/a.jpg");
  EXPECT_EQ(IndexIsIndexPath((shared() + "/a.jpg").c_str(), kIndexed), 0);
}

// --- Indexed shares.

class ShareIndexed : public IndexLibraryTest {};

TEST_F(ShareIndexed, RefusesNoPath) {
  EXPECT_EQ(IndexIsShareIndexed(nullptr), -1);
  EXPECT_EQ(IndexIsShareIndexed(""), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
}

TEST_F(ShareIndexed, KnowsTheHomesShareInAnyLetterCaseAndFreesItsRecord) {
  fake().shares["homes"] = "/volume/Homes";
  EXPECT_EQ(IndexIsShareIndexed("/volume/homes"), 1);
  EXPECT_EQ(IndexIsShareIndexed("/volume/homes/alice"), 0);
  EXPECT_EQ(fake().Count("KAVOShareFree(homes)"), 2);
}

TEST_F(ShareIndexed, KnowsTheSharedAndThePersonalFolder) {
  UsePersonal();
  EXPECT_EQ(IndexIsShareIndexed(shared().c_str()), 1);
  EXPECT_EQ(IndexIsShareIndexed(personal().c_str()), 1);
  EXPECT_EQ(IndexIsShareIndexed("/volume/music"), 0);
}

TEST_F(ShareIndexed, DoesNotCountAPersonalFolderThatIsSwitchedOff) {
  UsePersonal();
  Set("runpersonallumivault", "no");
  EXPECT_EQ(IndexIsShareIndexed(personal().c_str()), 0);
}

// --- Kinds of media.

class MediaKindOf : public IndexLibraryTest {};

TEST_F(MediaKindOf, FollowsTheExtension) {
  EXPECT_EQ(IndexMediaKindGet("/p/a.JPG"), MediaKind::kPhoto);
  EXPECT_EQ(IndexMediaKindGet("/p/a.mp4"), MediaKind::kWebVideo);
  EXPECT_EQ(IndexMediaKindGet("/p/a.avi"), MediaKind::kOtherVideo);
  EXPECT_EQ(IndexMediaKindGet("/p/a.txt"), MediaKind::kNone);
  EXPECT_EQ(IndexMediaKindGet("/p/a."), MediaKind::kNone);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(MediaKindOf, ExcludesImagesAndSubtitlesThatThePlatformCountsAsMedia) {
  for (const char* extension : {"iso", "IFO", "srt", "ass", "ssa", "Smi", "psb"}) {
    fake().photo_extensions.insert("iso");
    fake().video_extensions.insert({"ifo", "srt", "ass", "ssa", "smi", "psb"});
    EXPECT_EQ(IndexMediaKindGet((std::string("/p/a.") + extension).c_str()), MediaKind::kNone) << extension;
  }
}

TEST_F(MediaKindOf, PrefersPhotoToWebVideoToOtherVideo) {
  fake().photo_extensions.insert("mp4");
  fake().web_video_extensions.insert("avi");
  EXPECT_EQ(IndexMediaKindGet("/p/a.mp4"), MediaKind::kPhoto);
  EXPECT_EQ(IndexMediaKindGet("/p/a.avi"), MediaKind::kWebVideo);
}

TEST_F(MediaKindOf, TakesTheExtensionFromTheWholePath) {
  fake().photo_extensions.insert("d/name");
  EXPECT_EQ(IndexMediaKindGet("/p/folder.d/name"), MediaKind::kPhoto);
}

TEST_F(MediaKindOf, SaysWhyThereIsNone) {
  EXPECT_EQ(IndexMediaKindGet(nullptr), MediaKind::kNone);
  EXPECT_EQ(IndexMediaKindGet(shared().c_str()), MediaKind::kNone);
  EXPECT_EQ(IndexMediaKindGet("/p/name"), MediaKind::kNone);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, "photo_index.cpp:# Cannot be a folder.",
                                      "photo_index.cpp:# Bad path name /p/name"));
}

// --- Completion.

class Completion : public IndexLibraryTest {
 protected:
  Json::Value Complete(const std::string& path, const std::string& album = "") {
    EXPECT_EQ(HGAStatusCheck(path.c_str()), 0);
    Json::Value info = InfoOf(path);
    info["szAlbum"] = album;
    info["szTitle"] = "given";
    IndexMediaInfoComplete(info);
    return info;
  }
  static std::string SideFile(const std::string& folder, const std::string& name, const std::string& item) {
    return folder + "/@eaDir/" + name + "/" + item;
  }
};

TEST_F(Completion, TakesTheNameFromThePath) {
  EXPECT_EQ(Complete(SharedFile("2024/a.jpg"))["szName"], "a.jpg");
  EXPECT_EQ(Complete("a.jpg")["szName"], "a.jpg");
}

TEST_F(Completion, GoesOnWithoutAPath) {
  Json::Value info(Json::objectValue);
  IndexMediaInfoComplete(info);
  EXPECT_EQ(info["szName"], "");
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter));
}

TEST_F(Completion, ClearsTheAlbumOfThePersonalFolderItself) {
  UsePersonal();
  EXPECT_EQ(Complete(PersonalFile("a.jpg"), "Photo")["szAlbum"], "");
  EXPECT_EQ(Complete(PersonalFile("a.jpg"), "photos")["szAlbum"], "photos");
}

TEST_F(Completion, KeepsASharedAlbumNamedPhoto) {
  EXPECT_EQ(Complete(SharedFile("a.jpg"), "photo")["szAlbum"], "photo");
}

TEST_F(Completion, PrefersTheNewerNameOfATitle) {
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO_TITLE"), "newer");
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO:TITLE"), "older");
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], "newer");
  EXPECT_FALSE(std::filesystem::exists(SideFile(shared(), "a.jpg", "KAVOPHOTO_TITLE")));
  EXPECT_TRUE(std::filesystem::exists(SideFile(shared(), "a.jpg", "KAVOPHOTO:TITLE")));
}

TEST_F(Completion, FallsBackToTheOlderName) {
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO_TITLE"), "\nsecond line");
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO:TITLE"), "older\n");
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], "older\n");
}

TEST_F(Completion, CutsATitleTo254Bytes) {
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO_TITLE"), std::string(300, 't'));
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], std::string(254, 't'));
}

TEST_F(Completion, ReplacesTheTitleByADescription) {
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO_TITLE"), "title");
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO:DESC"), "sunset");
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], "sunset");
}

TEST_F(Completion, PrefersTheNewerNameOfADescription) {
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO_DESC"), "newer");
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO:DESC"), "older");
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], "newer");
  EXPECT_FALSE(std::filesystem::exists(SideFile(shared(), "a.jpg", "KAVOPHOTO_DESC")));
  EXPECT_TRUE(std::filesystem::exists(SideFile(shared(), "a.jpg", "KAVOPHOTO:DESC")));
}

TEST_F(Completion, TakesADescriptionUnderItsNewerNameAlone) {
  WriteFile(SideFile(shared(), "a.jpg", "KAVOPHOTO_DESC"), "sunset");
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], "sunset");
}

TEST_F(Completion, KeepsTheGivenTitleWithoutSideFiles) {
  EXPECT_EQ(Complete(SharedFile("a.jpg"))["szTitle"], "given");
}

// --- When rows can follow a move.

class MoveRule : public IndexLibraryTest {};

TEST_F(MoveRule, FollowsWithinOneLibrary) {
  UsePersonal();
  EXPECT_TRUE(CanMoveInPlace((shared() + "/b").c_str(), (shared() + "/a").c_str()));
  EXPECT_TRUE(CanMoveInPlace((personal() + "/b").c_str(), (personal() + "/a").c_str()));
}

TEST_F(MoveRule, DoesNotFollowAcrossLibraries) {
  UsePersonal();
  fake().personal_folders["Alice"] = "/home/other";
  EXPECT_FALSE(CanMoveInPlace((shared() + "/b").c_str(), (personal() + "/a").c_str()));
  EXPECT_FALSE(CanMoveInPlace((personal() + "/b").c_str(), (shared() + "/a").c_str()));
  EXPECT_FALSE(CanMoveInPlace((personal() + "/b").c_str(), "/home/other/a"));
  EXPECT_FALSE(CanMoveInPlace("/elsewhere/b", (shared() + "/a").c_str()));
  EXPECT_FALSE(CanMoveInPlace((shared() + "/b").c_str(), "/elsewhere/a"));
}

}  // namespace
