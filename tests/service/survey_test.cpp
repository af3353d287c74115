// What a scan makes of a tree and a catalogue.
#include "changes/survey.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>

#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

template <typename Entries>
Strings Paths(const Entries& entries) {
  Strings paths;
  for (const auto& entry : entries) paths.push_back(entry.path);
  return paths;
}

class SurveyTest : public testing::Test {
 protected:
  SurveyTest() { fs::create_directory(root()); }

  fs::path root() const { return dir_.path() / "photos"; }
  void Make(const std::string& path) const { WriteFile(root() / path, path); }
  Differences Run() {
    Library library;
    library.folder = root();
    auto differences = Survey(library, catalogue_).Run();
    EXPECT_TRUE(differences);
    return std::move(*differences);
  }
  // Everything that a scan finds is sent.
  void RecordAll() {
    const Differences found = Run();
    for (const auto* arrivals : {&found.folders, &found.files}) {
      for (const Arrival& arrival : *arrivals) catalogue_.Put({arrival.path, arrival.kind, arrival.stamp});
    }
    for (const auto& entry : found.gone_files) catalogue_.Remove(entry.path, entry.kind);
  }
  // Something that is gone may be out of reach with its file system.
  bool IsUnknown() {
    const Differences found = Run();
    const auto elsewhere = [](const CatalogueEntry& entry) { return entry.elsewhere; };
    return std::any_of(found.gone_files.begin(), found.gone_files.end(), elsewhere);
  }
  void ExpectNothing() {
    const Differences found = Run();
    EXPECT_EQ(Paths(found.files), Strings());
    EXPECT_EQ(Paths(found.folders), Strings());
    EXPECT_EQ(Paths(found.gone_files), Strings());
    EXPECT_EQ(Paths(found.gone_folders), Strings());
  }

  TempDir dir_;
  Catalogue catalogue_ = std::move(*Catalogue::Open(dir_ / "catalogue.db"));
};

TEST_F(SurveyTest, ATreeThatIsRecordedHasNoDifferences) {
  for (const char* path : {"a.jpg", "b/c.jpg", "b/d/e.mp4", "b d/f.jpg", "b!/g.jpg"}) Make(path);
  RecordAll();
  ExpectNothing();
}

TEST_F(SurveyTest, WhatIsNewOrGoneOrAnotherIsTold) {
  for (const char* path : {"a.jpg", "b.jpg", "c/d.jpg", "c/e/f.jpg"}) Make(path);
  RecordAll();
  fs::remove_all(root() / "c");
  fs::rename(root() / "b.jpg", root() / "a.jpg");
  Make("n/new.jpg");
  const Differences found = Run();
  EXPECT_EQ(Paths(found.folders), Strings({"n"}));
  EXPECT_EQ(Paths(found.files), Strings({"a.jpg", "n/new.jpg"}));
  EXPECT_TRUE(found.files.front().replaces);
  EXPECT_EQ(Paths(found.replaced_files), Strings({"a.jpg"}));
  EXPECT_EQ(Paths(found.gone_folders), Strings({"c", "c/e"}));
  EXPECT_EQ(Paths(found.gone_files), Strings({"b.jpg", "c/d.jpg", "c/e/f.jpg"}));
  EXPECT_EQ(found.recorded_files, 4U);
  EXPECT_FALSE(found.gone_files.front().elsewhere);
}

// A run that ends between the move of a folder and those of its files leaves the catalogue like this.
TEST_F(SurveyTest, FilesWhoseFolderIsNotRecordedAnyMoreAreNotForgotten) {
  for (const char* path : {"old/a.jpg", "old/deep/b.jpg"}) Make(path);
  RecordAll();
  fs::rename(root() / "old", root() / "new");
  for (const char* folder : {"old", "old/deep"}) catalogue_.Remove(folder, ItemKind::kFolder);
  const Differences found = Run();
  EXPECT_EQ(Paths(found.gone_files), Strings({"old/a.jpg", "old/deep/b.jpg"}));
  EXPECT_EQ(Paths(found.gone_folders), Strings({"old", "old/deep"}));
}

TEST_F(SurveyTest, AFolderAboveWhatIsRecordedIsNotNew) {
  Make("x/deep/a.jpg");
  RecordAll();
  catalogue_.Remove("x", ItemKind::kFolder);
  const Differences found = Run();
  ASSERT_EQ(Paths(found.folders), Strings({"x"}));
  EXPECT_TRUE(found.folders.front().known) << "what is below it must not be cleared by a move to it";
  EXPECT_FALSE(found.folders.front().replaces);
}

TEST_F(SurveyTest, AFolderThatTookTheNameOfAFileLeavesBothToBeTold) {
  Make("x.jpg");
  RecordAll();
  fs::remove(root() / "x.jpg");
  Make("x.jpg/y.jpg");
  Differences found = Run();
  EXPECT_EQ(Paths(found.gone_files), Strings({"x.jpg"}));
  catalogue_.Put({"x.jpg", ItemKind::kFolder, found.folders.front().stamp});
  found = Run();
  EXPECT_EQ(Paths(found.gone_files), Strings({"x.jpg"})) << "recorded until its row is gone";
}

TEST_F(SurveyTest, WhatALinkOrASpecialFileHidesIsNotGone) {
  for (const char* path : {"a.jpg", "b/c.jpg", "b/d/e.jpg"}) Make(path);
  RecordAll();
  fs::rename(root() / "b", dir_.path() / "b");
  fs::create_directory_symlink(dir_.path() / "b", root() / "b");
  fs::remove(root() / "a.jpg");
  ASSERT_EQ(mkfifo((root() / "a.jpg").c_str(), 0600), 0);
  ExpectNothing();
}

TEST_F(SurveyTest, AnEmptyRootIsSeen) {
  Make("a.jpg");
  RecordAll();
  EXPECT_FALSE(Run().root_empty);
  fs::remove(root() / "a.jpg");
  WriteFile(root() / "note.txt", "x");
  WriteFile(root() / ".KAVOHGADB", "x");
  EXPECT_TRUE(Run().root_empty);
}

TEST_F(SurveyTest, AFolderOnAnotherDeviceIsSeenWhenSomethingOfItIsGone) {
  for (const char* path : {"a.jpg", "disk/b.jpg", "disk/deep/c.jpg"}) Make(path);
  RecordAll();
  for (const char* folder : {"disk", "disk/deep"}) {
    for (CatalogueEntry entry : catalogue_.Files(folder, "")) {
      entry.stamp.device = 77;
      catalogue_.Put(entry);
    }
  }
  EXPECT_FALSE(IsUnknown()) << "nothing is gone";
  fs::remove(root() / "a.jpg");
  EXPECT_FALSE(IsUnknown()) << "what is gone was on the device of its folder";
  fs::remove(root() / "disk/deep/c.jpg");
  EXPECT_TRUE(IsUnknown());
}

TEST_F(SurveyTest, AMountPointThatIsGoneWithItsDiskIsSeen) {
  Make("a.jpg");
  Make("disk/b.jpg");
  RecordAll();
  CatalogueEntry entry = catalogue_.Files("disk", "").front();
  entry.stamp.device = 77;
  catalogue_.Put(entry);
  fs::remove_all(root() / "disk");
  EXPECT_TRUE(IsUnknown());
}

// As of a catalogue that was made anew from the database.
TEST_F(SurveyTest, AnEntryWithoutAnObjectTellsOfNoDevice) {
  fs::create_directory(root() / "disk");
  if (mount("none", (root() / "disk").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  Make("disk/a.jpg");
  FileStamp unknown;
  unknown.device = kUnknownDevice;
  catalogue_.Put({"disk/b.jpg", ItemKind::kPhoto, unknown, "", ItemOutcome::kPartial});
  const Differences found = Run();
  umount((root() / "disk").c_str());
  EXPECT_EQ(Paths(found.gone_files), Strings({"disk/b.jpg"}));
  EXPECT_FALSE(found.gone_files.front().elsewhere);
}

TEST_F(SurveyTest, AFileGoneFromAMountedDiskIsGone) {
  fs::create_directory(root() / "disk");
  if (mount("none", (root() / "disk").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  Make("disk/a.jpg");
  Make("disk/deep/b.jpg");
  RecordAll();
  fs::remove_all(root() / "disk/deep");
  const Differences found = Run();
  umount((root() / "disk").c_str());
  EXPECT_EQ(Paths(found.gone_files), Strings({"disk/deep/b.jpg"}));
  EXPECT_FALSE(found.gone_files.front().elsewhere);
}

}  // namespace
