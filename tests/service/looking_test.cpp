// Started by root, a run looks at a folder of somebody else's with the rights of that person.
#include "files/looking.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>

#include "base/file_descriptor.h"
#include "files/file_counter.h"
#include "files/fingerprint.h"
#include "files/gone.h"
#include "files/walk.h"
#include "service/owned_library_fixture.h"
#include "support/child_processes.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kClosed = "cannot be opened: Permission denied";

// In the owner's library lies a folder of the stranger's, which is closed to everybody else.
class LookingTest : public OwnedLibraryTest {
 protected:
  void SetUp() override {
    OwnedLibraryTest::SetUp();
    if (IsSkipped()) return;
    Photo("a.jpg");
    MakeJpeg(File("closed/within/b.jpg"), 8, 6);
    Close(File("closed"));
  }
  void TearDown() override { EXPECT_TRUE(LookAs(std::nullopt)); }

  static void Close(const fs::path& path) {
    Own(path, kStranger);
    chmod(path.c_str(), 0700);
  }
  static void Open(const fs::path& path) { chmod(path.c_str(), 0755); }
  std::string Albums() const {
    return Value("SELECT count(*) FROM photo_share WHERE sharename LIKE 'closed%'");
  }
  std::string Photos() const { return Value("SELECT count(*) FROM photo_image"); }
};

TEST_F(LookingTest, AFolderThatTheOwnerMayNotListHasNoRows) {
  const Json::Value first = Index({}, 3);
  EXPECT_EQ(FailureOf(first, "closed"), kClosed);
  EXPECT_EQ(first["found"].asInt(), 1);
  Photo("c.jpg");
  EXPECT_EQ(Index()["added"].asInt(), 1) << "known, as what cannot be opened is";
  EXPECT_EQ(Run({"reindex", folder()}).status, 3);
  EXPECT_EQ(Albums(), "0");
  EXPECT_EQ(Photos(), "2");
}

TEST_F(LookingTest, NorIsItListedByADryRun) {
  EXPECT_EQ(Run({"index", folder(), "--dry-run"}).out.find("closed"), std::string::npos);
  Index({}, 3);
  Photo("c.jpg");
  const RunResult result = Run({"index", folder(), "--dry-run"});
  EXPECT_EQ(result.out, "add photo " + File("c.jpg").string() + "\n");
}

TEST_F(LookingTest, AsRootItIs) {
  EXPECT_EQ(Index({"--as-root"})["added"].asInt(), 2);
  EXPECT_EQ(Albums(), "2");
  EXPECT_NE(Run({"index", folder(), "--as-root", "--dry-run"}).status, 3);
}

TEST_F(LookingTest, RowsOfAFolderThatWasClosedStay) {
  Open(File("closed"));
  EXPECT_EQ(Index()["added"].asInt(), 2);
  chmod(File("closed").c_str(), 0700);
  fs::remove_all(File("closed/within"));
  const Json::Value report = Index({"--accept-loss"}, 3);
  EXPECT_EQ(FailureOf(report, "closed"), kClosed);
  EXPECT_EQ(report["deleted"].asInt(), 0);
  EXPECT_EQ(Run({"reindex", folder(), "--accept-loss"}).status, 3);
  EXPECT_EQ(Albums(), "2");
  EXPECT_EQ(Photos(), "2");
  Open(File("closed"));
  EXPECT_EQ(Index({"--accept-loss"})["deleted"].asInt(), 2);
}

TEST_F(LookingTest, ALinkDoesNotTellWhetherThereIsWhatItNames) {
  Link("there.jpg", secret(), kOwner);
  Link("missing.jpg", secret().parent_path() / "missing.jpg", kOwner);
  EXPECT_EQ(Index({}, 3)["skipped"][kRefusedLink].asInt(), 2);
}

TEST_F(LookingTest, WhatTheRunKeepsIsRoots) {
  Index({}, 3);
  for (const auto& entry : fs::recursive_directory_iterator(state() / "libraries")) {
    const bool of_worker = entry.path().string().find("/worker") != std::string::npos;
    EXPECT_TRUE(of_worker || OwnerOf(entry.path()) == 0) << entry.path();
  }
}

TEST_F(LookingTest, AFolderBehindAnotherClosedOneCannotBeIndexed) {
  chmod(scratch().c_str(), 0700);
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.err, "lumivault: " + folder().string() + ": Permission denied\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(LookingTest, NothingIsGoneThatTheOwnerMayNotLookAt) {
  EXPECT_TRUE(IsGone(File("closed/x.jpg"), ItemKind::kPhoto));
  ASSERT_TRUE(LookAs(kOwner));
  EXPECT_FALSE(IsGone(File("closed/x.jpg"), ItemKind::kPhoto));
  EXPECT_TRUE(IsGone(File("x.jpg"), ItemKind::kPhoto));
}

TEST_F(LookingTest, NoFingerprintIsTakenOfWhatTheOwnerMayNotRead) {
  Photo("mine.jpg");
  Close(File("mine.jpg"));
  EXPECT_NE(Fingerprint(File("mine.jpg")), "");
  ASSERT_TRUE(LookAs(kOwner));
  EXPECT_EQ(Fingerprint(File("mine.jpg")), "");
  EXPECT_NE(Fingerprint(File("a.jpg")), "");
}

TEST_F(LookingTest, FilesAreCountedWithItsRightsToo) {
  ASSERT_TRUE(LookAs(kOwner));
  const FileCounter counter(folder());
  EXPECT_TRUE(Eventually([&] { return counter.total().has_value(); }));
  EXPECT_EQ(counter.total(), 1U);
}

TEST_F(LookingTest, AWalkEndsWithTheRightsThatItBeganWith) {
  ASSERT_TRUE(LookAs(kOwner));
  auto walk = Walk::Start(folder());
  ASSERT_TRUE(walk);
  while (walk->Next()) EXPECT_TRUE(fs::exists(secret()));
}

// The owner exchanges FOLDER, which WALK has listed, for a link to TARGET; what is told of it then.
std::string ReasonAfterExchange(const fs::path& folder, const fs::path& target) {
  auto walk = Walk::Start(folder.parent_path());
  EXPECT_TRUE(walk && walk->Next());
  fs::remove_all(folder);
  fs::create_directory_symlink(target, folder);
  EXPECT_EQ(lchown(folder.c_str(), kOwner, kOwner), 0);
  while (const auto entry = walk->Next()) {
    if (entry->path == folder) return entry->reason;
  }
  return "";
}

TEST_F(LookingTest, WhetherALinkThatTheOwnerMayNotReadLeadsToAServerIsNotTold) {
  constexpr int kNoMounts = 77;
  Photo("trip/c.jpg");
  const fs::path beyond = scratch() / "beyond";
  fs::create_directories(beyond / "server");
  fs::create_directory_symlink("server", beyond / "way");
  chmod(beyond.c_str(), 0700);
  const int status = WaitFor(StartChild([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("nas:/export", (beyond / "server").c_str(), "tmpfs", 0, nullptr) != 0)
      return kNoMounts;
    EXPECT_TRUE(LookAs(kOwner));
    const std::string reason = ReasonAfterExchange(File("trip"), beyond / "way/x");
    EXPECT_TRUE(reason.starts_with("cannot be opened: ")) << reason;
    return HasFailure() ? 1 : 0;
  }));
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoMounts) GTEST_SKIP() << "may not mount";
  EXPECT_EQ(status, 0);
}

TEST_F(LookingTest, WhoIsNotRootLooksAsHeIs) {
  AsUser(kOwner);
  chmod(scratch().c_str(), 01777);
  EXPECT_EQ(FailureOf(Index({}, 3), "closed"), kClosed);
}

}  // namespace
