// What becomes of rows while what is watched is out of reach, or cannot be read or kept.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "service/watch_run_fixture.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;

TEST_F(WatchRunTest, ALibraryThatIsAwayLosesNothingAndIsNotReadAgain) {
  Photos("d", 10);
  Watch();
  fs::rename(folder(), Aside());
  EXPECT_TRUE(IsAway());
  fs::rename(Aside(), folder());
  EXPECT_TRUE(IsBack());
  EXPECT_EQ(Rows(), "10");
  EXPECT_EQ(Sum("added"), 10U);
  Photo("d/new.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("d/new.jpg"));
}

// As when somebody's home is set aside and put back from a copy.
TEST_F(WatchRunTest, AFolderAboveThatIsRenamedIsNoticed) {
  const fs::path up = scratch() / "up";
  const fs::path aside = scratch() / "up.old";
  const fs::path lib = up / "alice/lib";
  MakeJpeg(lib / "a.jpg", 8, 8);
  Watch({lib});
  ASSERT_TRUE(IsBack());
  fs::rename(up, aside);
  ASSERT_TRUE(IsAway());
  EXPECT_EQ(News("away").front()["library"].asString(), lib.string());
  ASSERT_EQ(std::system(("cp -a '" + aside.string() + "' '" + up.string() + "'").c_str()), 0);
  ASSERT_TRUE(IsBack(3));
  MakeJpeg(lib / "new.jpg", 16, 8);
  EXPECT_TRUE(Eventually([&] {
    return QueryDatabase(lib / ".KAVOHGADB", "SELECT path FROM photo_image WHERE path = 'new.jpg'").size() ==
           1;
  })) << watch_->out();
}

TEST_F(WatchRunTest, AnotherFolderInItsPlaceCostsNothing) {
  Photos("d", 10);
  Watch();
  fs::rename(folder(), Aside());
  fs::create_directory(folder());
  EXPECT_TRUE(IsAway());
  EXPECT_FALSE(fs::exists(File(".KAVOHGADB")));
  fs::remove(folder());
  fs::rename(Aside(), folder());
  EXPECT_TRUE(IsBack());
  EXPECT_EQ(Rows(), "10");
  EXPECT_EQ(Sum("added"), 10U);
}

TEST_F(WatchRunTest, AnEmptiedLibraryKeepsItsRows) {
  Photos("d", 10);
  Photos("e", 3);
  Watch();
  fs::create_directory(Aside());
  for (const char* name : {"d", "e"}) fs::rename(File(name), Aside() / name);
  EXPECT_TRUE(Eventually([&] { return News("run").size() >= 2; }));
  EXPECT_EQ(News("run").back()["withheld"]["reason"].asString(), "the folder is empty");
  EXPECT_EQ(Rows(), "13");
  for (const char* name : {"d", "e"}) fs::rename(Aside() / name, File(name));
  CatchUp();
  EXPECT_EQ(Rows(), "13");
  EXPECT_EQ(Sum("added"), 13U);
  ExpectAsNew();
}

TEST_F(WatchRunTest, ManyLossesAreHeldBackAsAWhole) {
  Photos("d", 150);
  Photo("a.jpg");
  Watch();
  fs::rename(File("d"), Aside());  // at once
  EXPECT_TRUE(Eventually([&] { return News("run").size() >= 2; }));
  EXPECT_EQ(News("run").back()["withheld"]["reason"].asString(), "150 of 151 files are gone");
  EXPECT_EQ(Rows(), "151");
  Photo("b.jpg");
  CatchUp();
  EXPECT_EQ(Rows(), "152");
  EXPECT_EQ(Run({"index", folder(), "--quiet", "--accept-loss"}).status, 0);
  EXPECT_EQ(Rows(), "2");
}

TEST_F(WatchRunTest, LossesOneAfterTheOtherAddUp) {
  Photos("d", 90);
  Photos("e", 60);
  Photos("", 2);
  Watch();
  for (int i = 0; i < 90; ++i) {
    fs::remove(File("d/" + std::to_string(i) + ".jpg"));
    if (i % 30 == 29) CatchUp();
  }
  EXPECT_EQ(Rows(), "62");
  fs::rename(File("e"), Aside());
  const std::string kReason = "60 of 65 files are gone, and 90 went within the hour before";
  const auto reason = [&] { return News("run").back()["withheld"]["reason"].asString(); };
  EXPECT_TRUE(Eventually([&] { return reason() == kReason; })) << reason();
  EXPECT_EQ(Rows(), "62");
  EXPECT_EQ(Run({"index", folder(), "--quiet", "--accept-loss"}).status, 0);
  EXPECT_EQ(Rows(), "2");
  fs::remove(File("0.jpg"));
  EXPECT_TRUE(Eventually([&] { return Rows() == "1"; })) << "it was told that the loss is meant";
}

// Two videos change names, and one of them cannot be read for a while: the rows of the other wait.
TEST_F(WatchRunTest, RowsThatWaitForANameAreTakenFromThere) {
  ASSERT_TRUE(MakeVideo(File("a.mp4"), 32, 32, 0.2));
  ASSERT_TRUE(MakeVideo(File("b.mp4"), 64, 32, 0.2));
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  Watch();
  const auto paths = [&] {
    return Value("SELECT group_concat(path) FROM (SELECT path FROM video ORDER BY path)");
  };
  ASSERT_EQ(paths(), "a.mp4,b.mp4");
  ASSERT_EQ(chmod(File("a.mp4").c_str(), 0), 0);
  ASSERT_EQ(renameat2(AT_FDCWD, File("a.mp4").c_str(), AT_FDCWD, File("b.mp4").c_str(), RENAME_EXCHANGE), 0);
  ASSERT_TRUE(Eventually([&] { return paths().find(".lumivault-moving-") != std::string::npos; })) << paths();
  Pause(milliseconds(1'000));  // it is tried in vain
  ASSERT_EQ(chmod(File("b.mp4").c_str(), 0644), 0);
  EXPECT_TRUE(Eventually([&] { return paths() == "a.mp4,b.mp4"; })) << paths();
  ExpectAsNew();
}

TEST_F(WatchRunTest, AnUnreadableLibraryKeepsItsRows) {
  Photos("d", 5);
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  Watch();
  ASSERT_EQ(chmod(File("d").c_str(), 0), 0);
  ASSERT_EQ(chmod(folder().c_str(), 0), 0);
  Pause(milliseconds(300));
  ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
  CatchUp();
  EXPECT_EQ(Rows(), "5");
  ASSERT_EQ(chmod(File("d").c_str(), 0755), 0);
  Photo("d/new.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("d/new.jpg"));
  EXPECT_EQ(Sum("added"), 6U);
}

TEST_F(WatchRunTest, WhatCannotBeKeptOnAFullDiskIsKeptWhenThereIsRoom) {
  if (mount("none", folder().c_str(), "tmpfs", 0, "size=4m") != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  Photos("d", 3);
  Watch();
  CatchUp();
  Photo(".late.jpg");
  WriteFile(File("ballast"), "");
  std::ofstream ballast(File("ballast"), std::ios::app);
  while (ballast << std::string(1 << 12, 'x') << std::flush) {
  }
  fs::rename(File(".late.jpg"), File("late.jpg"));
  ASSERT_TRUE(Eventually([&] { return !News("failed").empty(); })) << watch_->out();
  ExpectIdle();
  EXPECT_EQ(News("failed").size(), 1U) << watch_->out();
  EXPECT_FALSE(HasRow("late.jpg"));
  ballast.close();
  fs::remove(File("ballast"));
  EXPECT_TRUE(Eventually([&] { return HasRow("late.jpg"); })) << watch_->out();
  StopWatch();
  EXPECT_EQ(umount(folder().c_str()), 0);
}

// Whatever reads it is killed, as by a system that lacks memory.
TEST_F(WatchRunTest, WhatCannotBeKeptIsTriedUntilItCan) {
  Photos("d", 3);
  Watch();
  const fs::path hold = scratch() / "hold";
  const fs::path tried = scratch() / "tried";
  WriteFile(hold, "");
  UsePreviewTool("if [ -e '" + hold.string() + "' ]; then echo >>'" + tried.string() +
                 "'; kill -9 $PPID; fi");
  const auto times = [&] { return fs::exists(tried) ? fs::file_size(tried) : 0; };
  Photo("late.jpg");
  ASSERT_TRUE(Eventually([&] { return NewFailures("late.jpg") > 0; })) << watch_->out();
  const auto before = times();
  ASSERT_TRUE(Eventually([&] { return times() >= before + 6; })) << times();
  EXPECT_EQ(NewFailures("late.jpg"), 1U) << watch_->out();
  EXPECT_EQ(News("run").size(), 2U) << watch_->out();
  fs::remove(hold);
  EXPECT_TRUE(Eventually([&] { return HasRow("late.jpg"); })) << watch_->out();
  CatchUp();
  ExpectAsNew();
}

// Its photos wait for it, also those that come by themselves.
TEST_F(WatchRunTest, AnAlbumThatCannotBeMadeIsTriedUntilItCan) {
  Environment("LD_PRELOAD", REFUSING_TRIGGERS);
  Environment(
      "TRIGGER_AT_OPEN",
      "CREATE TEMP TRIGGER refuses BEFORE INSERT ON photo_share WHEN NEW.sharename = 'd' AND NOT EXISTS "
      "(SELECT 1 FROM photo_image WHERE path = 'go.jpg') BEGIN SELECT RAISE(ABORT, 'no'); END");
  Watch();
  fs::create_directory(File("d"));
  ASSERT_TRUE(Eventually([&] { return NewFailures("d") > 0; })) << watch_->out();
  Photo("d/y.jpg");
  ASSERT_TRUE(Eventually([&] { return NewFailures("d/y.jpg") > 0; })) << watch_->out();
  EXPECT_FALSE(HasRow("d/y.jpg"));
  CatchUp();
  EXPECT_EQ(NewFailures("d"), 1U) << watch_->out();
  EXPECT_EQ(NewFailures("d/y.jpg"), 1U) << watch_->out();
  Photo("go.jpg");
  EXPECT_TRUE(Eventually([&] { return HasRow("d/y.jpg"); })) << watch_->out();
  Environment("LD_PRELOAD", "");
  CatchUp();
  ExpectAsNew();
}

TEST_F(WatchRunTest, WhatStaysUnreadableIsToldOnce) {
  Photos("d", 3);
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  ASSERT_EQ(chmod(File("d/1.jpg").c_str(), 0), 0);
  Watch();
  Pause(milliseconds(1'000));
  CatchUp();
  EXPECT_EQ(NewFailures("d/1.jpg"), 1U) << watch_->out();
  ExpectIdle();
  ASSERT_EQ(chmod(File("d/1.jpg").c_str(), 0644), 0);
  EXPECT_TRUE(Eventually([&] { return HasRow("d/1.jpg"); }));
}

TEST_F(WatchRunTest, ADiskThatIsUnmountedIsWaitedFor) {
  fs::create_directory(Aside());
  if (mount(Aside().c_str(), folder().c_str(), nullptr, MS_BIND, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  Photos("d", 4);
  Watch();
  ASSERT_EQ(umount2(folder().c_str(), MNT_DETACH), 0);
  EXPECT_TRUE(IsAway());
  EXPECT_TRUE(fs::is_empty(folder()));
  ASSERT_EQ(mount(Aside().c_str(), folder().c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_TRUE(IsBack());
  EXPECT_EQ(Rows(), "4");
  EXPECT_EQ(Sum("added"), 4U);
  StopWatch();
  EXPECT_EQ(umount2(folder().c_str(), MNT_DETACH), 0);
}

TEST_F(WatchRunTest, ADiskThatIsMountedBelowIsIndexed) {
  WriteFile(Aside() / "notes.txt", "");
  MakeJpeg(Aside() / "a.jpg", 8, 8);
  fs::create_directory(File("disk"));
  Photo("b.jpg");
  Watch();
  if (mount("none", File("disk").c_str(), "tmpfs", 0, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  fs::copy_file(Aside() / "a.jpg", File("disk/a.jpg"));
  EXPECT_TRUE(Eventually([&] { return HasRow("disk/a.jpg"); }));
  Photo("disk/b.jpg");
  EXPECT_TRUE(Eventually([&] { return HasRow("disk/b.jpg"); }));
  ASSERT_EQ(umount2(File("disk").c_str(), MNT_DETACH), 0);
  EXPECT_TRUE(Eventually([&] { return News("run").back().isMember("withheld"); }));
  EXPECT_EQ(Rows(), "3");
}

TEST_F(WatchRunTest, AFolderThatIsMissingAtTheStartIsWaitedFor) {
  Photo("a.jpg");
  const fs::path late = scratch() / "disk/late";
  Watch({late});
  ASSERT_EQ(News("away").size(), 1U);
  EXPECT_EQ(News("away").front()["library"].asString(), late.string());
  EXPECT_EQ(News("away").front()["text"].asString(), "the folder is not there; it is waited for");
  Photo("b.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("b.jpg"));
  ExpectIdle();
  MakeJpeg(late / "c.jpg", 8, 8);
  ASSERT_TRUE(IsBack());
  EXPECT_EQ(News("watching").back()["library"].asString(), late.string());
  EXPECT_EQ(QueryDatabase(late / ".KAVOHGADB", "SELECT path FROM photo_image").size(), 1U);
  EXPECT_EQ(News("away").size(), 1U);
  EXPECT_EQ(StopWatch().status, kTerminated);
}

TEST_F(MarkedRunTest, ALibraryThatIsAwayIsWaitedFor) {
  Photos("d", 3);
  WatchMarked();
  fs::rename(folder(), Aside());
  EXPECT_TRUE(IsAway());
  fs::rename(Aside(), folder());
  EXPECT_TRUE(IsBack());
  Photo("d/new.jpg");
  CatchUp();
  EXPECT_EQ(Sum("added"), 4U);
}

TEST_F(MarkedRunTest, ADiskThatIsMountedBelowIsFollowed) {
  fs::create_directory(File("disk"));
  Photo("b.jpg");
  WatchMarked();
  if (mount("none", File("disk").c_str(), "tmpfs", 0, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  Pause(milliseconds(200));
  Photo("disk/d/a.jpg");
  EXPECT_TRUE(Eventually([&] { return HasRow("disk/d/a.jpg"); }));
  EXPECT_EQ(umount2(File("disk").c_str(), MNT_DETACH), 0);
}

}  // namespace
