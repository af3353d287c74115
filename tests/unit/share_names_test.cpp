#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "photo_util/photo_dir.h"
#include "support/fake_platform.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

// A shared tree; paths are those of the shared photo folder unless a test makes the request a personal one.
class SharedTreeTest : public testing::Test {
 protected:
  void SetUp() override {
    FakePlatform::Reset();
    ResetPhotoDirForTest();
    gHGAInformation = {};
    photos_ = fake().AddSharedLibrary(dir_.path());
  }
  void TearDown() override {
    ResetPhotoDirForTest();
    gHGAInformation = {};
  }

  static FakePlatform& fake() { return FakePlatform::Get(); }

  // Makes the request one of the personal library in FOLDER.
  static void MakePersonal(const std::string& folder) {
    gHGAInformation.isHGARequest = 1;
    std::strcpy(gHGAInformation.szPhotoDir, folder.c_str());
  }

  TempDir dir_;
  std::string photos_;
};

// --- The shared photo folder.

TEST_F(SharedTreeTest, PhotoDirIsTheTargetOfTheLink) {
  EXPECT_EQ(PhotoUtilPhotoDirLenGet(), 0);
  EXPECT_EQ(PhotoUtilPhotoDirGet(), photos_);
  EXPECT_EQ(PhotoUtilPhotoDirLenGet(), static_cast<int>(photos_.size()));
}

TEST_F(SharedTreeTest, PhotoDirIsTriedAgainUntilTheLinkCanBeRead) {
  const std::string link = fake().root + "/var/services/photo";
  fs::remove(link);
  fs::create_directory(link);
  EXPECT_EQ(PhotoUtilPhotoDirGet(), nullptr);
  EXPECT_EQ(PhotoUtilPhotoDirLenGet(), 0);
  fs::remove(link);
  fs::create_symlink("/volume2/photo", link);
  EXPECT_STREQ(PhotoUtilPhotoDirGet(), "/volume2/photo");
}

TEST_F(SharedTreeTest, PhotoDirIsKeptAfterItsFirstSuccess) {
  const char* first = PhotoUtilPhotoDirGet();
  fs::remove(fake().root + "/var/services/photo");
  EXPECT_EQ(PhotoUtilPhotoDirGet(), first);
  EXPECT_EQ(first, photos_);
}

// --- Album names.

using Naming = int (*)(const char*, char*, size_t);

// The name that NAMING gives, or "failed".
std::string Named(Naming naming, const std::string& text) {
  char out[4096] = "untouched";
  return naming(text.c_str(), out, sizeof out) == 0 ? out : "failed";
}

TEST_F(SharedTreeTest, ShareNameIsThePathBelowTheRoot) {
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "/2024/trip"), "2024/trip");
}

TEST_F(SharedTreeTest, ShareNameOfTheRootIsASlash) {
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_), "/");
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "/"), "/");
}

TEST_F(SharedTreeTest, ShareNameNeedsASlashBehindTheRoot) {
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "s/a"), "failed");
  EXPECT_EQ(Named(PhotoUtilShareNameGet, "/v"), "failed");
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST_F(SharedTreeTest, ShareNameDoesNotCompareTheRoot) {
  EXPECT_EQ(Named(PhotoUtilShareNameGet, std::string(photos_.size(), 'X') + "/2024"), "2024");
}

TEST_F(SharedTreeTest, ShareNameOfAPersonalRequestIsBelowThePhotoFolder) {
  MakePersonal("/homes/alice/photo");
  EXPECT_EQ(Named(PhotoUtilShareNameGet, "/homes/alice/photo/2024"), "2024");
}

TEST_F(SharedTreeTest, ShareNameWithoutAPhotoFolderFails) {
  fs::remove(fake().root + "/var/services/photo");
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "/2024"), "failed");
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST_F(SharedTreeTest, ShareNameIsCutToTheBuffer) {
  char out[5];
  EXPECT_EQ(PhotoUtilShareNameGet((photos_ + "/2024/trip").c_str(), out, sizeof out), 0);
  EXPECT_STREQ(out, "2024");
}

TEST_F(SharedTreeTest, LongPathIsCutTo4095Bytes) {
  const std::string path = photos_ + "/" + std::string(5000, 'x');
  EXPECT_EQ(Named(PhotoUtilShareNameGet, path), std::string(4095 - photos_.size() - 1, 'x'));
}

TEST_F(SharedTreeTest, FileLiesInTheAlbumOfItsFolder) {
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_ + "/2024/trip/a.jpg"), "2024/trip");
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_ + "/a.jpg"), "/");
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_), "/");
}

TEST_F(SharedTreeTest, FileOfALongPathLiesInItsWholeAlbum) {
  const std::string album(3000, 'a');
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_ + "/" + album + "/x.jpg"), album);
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/" + album + "/x.jpg"), album);
}

TEST_F(SharedTreeTest, FileInAFolderThatBeginsWithADotLiesInTheRoot) {
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_ + "/.hidden/a.jpg"), "/");
}

TEST_F(SharedTreeTest, FileOutsideTheRootLiesInTheRoot) {
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_ + "s/2024/a.jpg"), "/");
}

TEST_F(SharedTreeTest, ReferenceAlbumIsTheSecondLevelOrTheOneAbove) {
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "a/b/c/d"), "a/b");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "a/b/c"), "a/b");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "a/b/"), "a/b");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "a/b"), "a");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "a"), "a");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "/"), "/");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, ""), "");
}

TEST_F(SharedTreeTest, LongReferenceAlbumIsCutTo4094Bytes) {
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, std::string(4095, 'a')), std::string(4094, 'a'));
  // The '/' lies behind the cut.
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, std::string(4094, 'a') + "/b"), std::string(4094, 'a'));
}

// Names are cut at their slashes and nowhere else: a slash too many is part of the name.
TEST_F(SharedTreeTest, SlashesAreNotCollapsed) {
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "//a"), "/a");
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "//"), "/");
  EXPECT_EQ(Named(PhotoUtilShareNameGet, photos_ + "/a//b/"), "a//b/");
  EXPECT_EQ(Named(GetSharenameByFilePath, photos_ + "//a/x.jpg"), "/a");
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "//a/x.jpg"), "/a");
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/a//x.jpg"), "a/");
}

TEST_F(SharedTreeTest, AReferenceIsCutAtASlashInFrontToo) {
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "/a"), "");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "a/"), "a");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "/a/b"), "/a");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, "//"), "/");
  EXPECT_EQ(Named(GetReferenceSharenameBySharename, ""), "");
}

TEST_F(SharedTreeTest, RightsComeFromAtMostTheSecondLevel) {
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/a/b/c/x.jpg"), "a/b");
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/a/b/x.jpg"), "a/b");
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/a/x.jpg"), "a");
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/x.jpg"), "/");
}

TEST_F(SharedTreeTest, RightsBelowAFolderThatBeginsWithADotAreTheRoots) {
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/.a/b/x.jpg"), "/");
  EXPECT_EQ(Named(GetPrivilegeSharenameByFilePath, photos_ + "/.a/x.jpg"), "/");
}

class NullArgumentTest : public SharedTreeTest, public testing::WithParamInterface<Naming> {};

TEST_P(NullArgumentTest, IsLoggedAndFails) {
  char out[16] = "untouched";
  EXPECT_EQ(GetParam()(nullptr, out, sizeof out), -1);
  EXPECT_EQ(GetParam()("a", nullptr, 0), -1);
  EXPECT_STREQ(out, "untouched");
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre("photo_util.cpp:# Bad parameter.", "photo_util.cpp:# Bad parameter."));
}

INSTANTIATE_TEST_SUITE_P(Functions, NullArgumentTest,
                         testing::Values(PhotoUtilShareNameGet, GetSharenameByFilePath,
                                         GetReferenceSharenameBySharename, GetPrivilegeSharenameByFilePath));

// --- Folders and formats.

TEST_F(SharedTreeTest, OnlyADirectoryIsADirectory) {
  WriteFile(photos_ + "/a.jpg", "");
  EXPECT_EQ(IsDirExist(photos_.c_str()), 1);
  EXPECT_EQ(IsDirExist((photos_ + "/a.jpg").c_str()), 0);
  EXPECT_EQ(IsDirExist((photos_ + "/none").c_str()), 0);
  EXPECT_EQ(IsDirExist(nullptr), 0);
}

TEST(Formats, AreComparedWithoutRegardToLetterCase) {
  const char* const list[] = {"jpg", "PNG", nullptr};
  EXPECT_EQ(IsFormat("JPG", list), 1);
  EXPECT_EQ(IsFormat("png", list), 1);
  EXPECT_EQ(IsFormat("jp", list), 0);
  EXPECT_EQ(IsFormat("jpgx", list), 0);
  EXPECT_EQ(IsFormat("", list), 0);
}

TEST(Formats, WhoseKeywordsAreReadAgain) {
  for (const char* extension : {"jpg", "JPG", "jpeg", "jpe", "tiff", "tif", "png", "dng", "NEF"}) {
    EXPECT_EQ(IsExiv2TagForceUpdateFormat(extension), 1) << extension;
  }
  for (const char* extension : {"gif", "bmp", "webp", "cr2", "", ".jpg"}) {
    EXPECT_EQ(IsExiv2TagForceUpdateFormat(extension), 0) << extension;
  }
  EXPECT_EQ(IsExiv2TagForceUpdateFormat(nullptr), 0);
}

// --- Side files.

class SideFileTest : public SharedTreeTest {
 protected:
  void SetUp() override {
    SharedTreeTest::SetUp();
    file_ = photos_ + "/2024/a.jpg";
    side_file_ = photos_ + "/2024/@eaDir/a.jpg/KAVOPHOTO_TITLE";
  }

  int Read(char* buf, int size) const {
    return GetFileContentInEA(file_.c_str(), "KAVOPHOTO_TITLE", buf, size);
  }

  std::string file_;
  std::string side_file_;
  char buf_[64] = "untouched";
};

TEST_F(SideFileTest, FirstLineIsReadWithItsNewlineAndTheFileGoes) {
  WriteFile(side_file_, "Harbour\nsecond");
  EXPECT_EQ(Read(buf_, sizeof buf_), 0);
  EXPECT_STREQ(buf_, "Harbour\n");
  EXPECT_FALSE(fs::exists(side_file_));
}

TEST_F(SideFileTest, LastLineMayHaveNoNewline) {
  WriteFile(side_file_, "Harbour");
  EXPECT_EQ(Read(buf_, sizeof buf_), 0);
  EXPECT_STREQ(buf_, "Harbour");
}

TEST_F(SideFileTest, LineIsCutToTheBuffer) {
  WriteFile(side_file_, "Harbour\n");
  EXPECT_EQ(Read(buf_, 5), 0);
  EXPECT_STREQ(buf_, "Harb");
  EXPECT_FALSE(fs::exists(side_file_));
}

TEST_F(SideFileTest, NewlineAloneFailsAndIsDeletedAllTheSame) {
  WriteFile(side_file_, "\n");
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_FALSE(fs::exists(side_file_));
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST_F(SideFileTest, EmptyFileFailsAndIsDeletedAllTheSame) {
  WriteFile(side_file_, "");
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_STREQ(buf_, "");
  EXPECT_FALSE(fs::exists(side_file_));
}

TEST_F(SideFileTest, FileThatBeginsWithANulFailsAndIsDeletedAllTheSame) {
  WriteFile(side_file_, std::string("\0Harbour\n", 9));
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_STREQ(buf_, "");
  EXPECT_FALSE(fs::exists(side_file_));
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST_F(SideFileTest, BufferOfOneByteUsesTheFileUpForNothing) {
  WriteFile(side_file_, "Harbour\n");
  EXPECT_EQ(Read(buf_, 1), -1);
  EXPECT_STREQ(buf_, "");
  EXPECT_FALSE(fs::exists(side_file_));
}

TEST_F(SideFileTest, SidePathIsAskedForWithItsCapacity) {
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_EQ(fake().Count("KAVOEAPath(0, " + file_ + ", KAVOPHOTO_TITLE, 4095, 0)"), 1);
}

TEST_F(SideFileTest, WhatIsThrownOnTheWayIsAFailure) {
  WriteFile(side_file_, "Harbour\n");
  fake().beneath_open = [](const char* /*path*/) -> int { throw std::runtime_error("no room"); };
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp:# Unexpected error: no room"));
  EXPECT_TRUE(fs::exists(side_file_));
}

TEST_F(SideFileTest, AbsentFileFailsSilently) {
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_STREQ(buf_, "untouched");
  EXPECT_TRUE(SyslogCapture::Lines().empty());
  EXPECT_EQ(fake().Count("KAVOBeneathOpen"), 0);
}

TEST_F(SideFileTest, FileOfAPersonalRequestIsReachedFromThePhotoFolder) {
  MakePersonal((dir_.path() / "photo").string());
  fs::remove(fake().root + "/var/services/photo");
  WriteFile(side_file_, "Harbour\n");
  EXPECT_EQ(Read(buf_, sizeof buf_), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathRemove(" + photos_ + ", " + side_file_ + ")"), 1);
}

TEST_F(SideFileTest, FileOutsideThePhotoRootCountsAsAbsent) {
  MakePersonal((dir_.path() / "homes").string());
  WriteFile(side_file_, "Harbour\n");
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_TRUE(fs::exists(side_file_));
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST_F(SideFileTest, FileWithoutAPhotoRootCountsAsAbsent) {
  fs::remove(fake().root + "/var/services/photo");
  WriteFile(side_file_, "Harbour\n");
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_TRUE(fs::exists(side_file_));
}

TEST_F(SideFileTest, RootIsTakenAsThePathSpellsIt) {
  MakePersonal((dir_.path() / "PHOTO").string());
  WriteFile(side_file_, "Harbour\n");
  EXPECT_EQ(Read(buf_, sizeof buf_), 0);
  EXPECT_STREQ(buf_, "Harbour\n");
}

TEST_F(SideFileTest, FileThatCannotBeOpenedIsLogged) {
  WriteFile(side_file_, "Harbour\n");
  fake().failing.insert("KAVOBeneathOpen");
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre("photo_database.cpp:# failed to open file " + side_file_ + "."));
  EXPECT_TRUE(fs::exists(side_file_));
}

TEST_F(SideFileTest, FileThatCannotBeRemovedIsReadAllTheSame) {
  WriteFile(side_file_, "Harbour\n");
  fake().failing.insert("KAVOBeneathRemove");
  EXPECT_EQ(Read(buf_, sizeof buf_), 0);
  EXPECT_STREQ(buf_, "Harbour\n");
}

TEST_F(SideFileTest, ReadErrorIsLoggedAndTheFileStays) {
  WriteFile(side_file_, "Harbour\n");
  // A directory opens for reading and fails with EISDIR when it is read.
  fake().beneath_open = [&](const char* /*path*/) { return open(photos_.c_str(), O_RDONLY | O_CLOEXEC); };
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_STREQ(buf_, "");
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp:# fgets() failed."));
  EXPECT_TRUE(fs::exists(side_file_));
}

TEST_F(SideFileTest, SidePathThatCannotBeMadeIsLogged) {
  fake().failing.insert("KAVOEAPath");
  EXPECT_EQ(Read(buf_, sizeof buf_), -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp:# KAVOEAPath() failed."));
}

TEST_F(SideFileTest, MissingArgumentsAreLogged) {
  EXPECT_EQ(GetFileContentInEA(nullptr, "KAVOPHOTO_TITLE", buf_, sizeof buf_), -1);
  EXPECT_EQ(GetFileContentInEA(file_.c_str(), nullptr, buf_, sizeof buf_), -1);
  EXPECT_EQ(GetFileContentInEA(file_.c_str(), "KAVOPHOTO_TITLE", nullptr, sizeof buf_), -1);
  EXPECT_EQ(GetFileContentInEA(file_.c_str(), "KAVOPHOTO_TITLE", buf_, 0), -1);
  EXPECT_EQ(GetFileContentInEA(file_.c_str(), "KAVOPHOTO_TITLE", buf_, -1), -1);
  EXPECT_EQ(SyslogCapture::Messages(), std::vector<std::string>(5, "photo_database.cpp:# Bad parameters."));
}

}  // namespace
