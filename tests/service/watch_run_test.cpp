// The real program watches a folder.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include "base/file_descriptor.h"
#include "service/watch_run_fixture.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kInterrupted = 128 + SIGINT;
constexpr int kUsage = 2;

TEST_F(WatchRunTest, WhatIsThereIsIndexedFirst) {
  Photos("d", 3);
  Watch();
  EXPECT_EQ(Rows(), "3");
  EXPECT_EQ(Sum("added"), 3U);
  Photo("d/e/new.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("d/e/new.jpg"));
  EXPECT_EQ(Sum("added"), 4U);
}

TEST_F(WatchRunTest, AStopEndsItAtOnceAndLosesNothing) {
  Photos("d", 40);
  Watch();
  Photos("e", 300);
  Pause(milliseconds(100));
  const auto begin = Clock::now();
  EXPECT_EQ(StopWatch().status, kTerminated);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
  Index();
  ExpectNothingToDo();
  EXPECT_EQ(Rows(), "340");
}

TEST_F(WatchRunTest, AnInterruptInTheFirstRunEndsIt) {
  Photos("d", 300);
  watch_ = Start({"watch", folder(), "--json"});
  ASSERT_TRUE(Eventually([&] { return ChildOf(watch_->pid()) != 0; }));
  const auto begin = Clock::now();
  EXPECT_EQ(StopWatch(SIGINT).status, kInterrupted);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
}

TEST_F(WatchRunTest, WhatHappensWhileItIsDeadIsFoundByTheNext) {
  Photos("d", 5);
  Watch();
  Photos("e", 50);
  Pause(milliseconds(80));
  EXPECT_EQ(StopWatch(SIGKILL).status, kKilledBy + SIGKILL);
  fs::rename(File("d/1.jpg"), File("e/moved.jpg"));
  fs::remove(File("d/2.jpg"));
  Photo("d/new.jpg");
  Watch();
  ExpectAsNew();
  ExpectNothingToDo();
}

TEST_F(WatchRunTest, WorkersAreThereForTheNextChange) {
  Photo("a.jpg");
  Watch();
  const pid_t worker = ChildOf(watch_->pid());
  ASSERT_NE(worker, 0);
  Photo("b.jpg");
  CatchUp();
  EXPECT_EQ(ChildOf(watch_->pid()), worker);
  kill(worker, SIGKILL);
  Photo("c.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("c.jpg"));
}

TEST_F(WatchRunTest, WithNothingToDoItSleeps) {
  Photos("d", 10);
  Watch();
  CatchUp();
  Pause(milliseconds(200));
  EXPECT_TRUE(Eventually([&] { return IsAsleep(); }));
}

TEST_F(WatchRunTest, WorkersWithoutWorkGo) {
  Photo("a.jpg");
  Watch();
  ASSERT_NE(ChildOf(watch_->pid()), 0);
  EXPECT_TRUE(Eventually([&] { return ChildOf(watch_->pid()) == 0; }));
  EXPECT_TRUE(Eventually([&] { return IsAsleep(); }));
  Photo("b.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("b.jpg"));
}

TEST_F(WatchRunTest, OtherCommandsWorkMeanwhile) {
  Photos("d", 3);
  Watch();
  EXPECT_EQ(Run({"ls", File("d")}).status, 0);
  EXPECT_EQ(Run({"doctor", folder()}).status, 0);
  Photo("d/new.jpg");
  Index();
  EXPECT_TRUE(HasRow("d/new.jpg"));
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0);
  Photo("d/last.jpg");
  CatchUp();
  ExpectAsNew();
}

TEST_F(WatchRunTest, WhatHappensWhileAnotherRunHoldsTheLibraryWaits) {
  Photo("a.jpg");
  Watch();
  FileDescriptor held(open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  Photo("b.jpg");
  EXPECT_TRUE(Eventually([&] { return !News("failed").empty(); }));
  EXPECT_NE(News("failed").front()["text"].asString().find("another run holds the library"),
            std::string::npos);
  Pause(milliseconds(500));
  EXPECT_FALSE(HasRow("b.jpg"));
  EXPECT_EQ(News("failed").size(), 1U);
  held = FileDescriptor();
  EXPECT_TRUE(Eventually([&] { return HasRow("b.jpg"); }));
}

TEST_F(WatchRunTest, ManyNewFoldersAreFollowed) {
  Watch();
  for (int i = 0; i < 100; ++i) Photo(std::to_string(i) + "/a/b/c/d/n.jpg");
  CatchUp();
  EXPECT_EQ(Rows(), "100");
  ExpectAsNew();
}

TEST_F(WatchRunTest, ASlowWriterIsReadOnce) {
  constexpr int kWriters = 40;
  Photos("old", kWriters);
  Watch();
  CatchUp();
  const std::size_t before = Sum("added");
  const std::string content = ReadFile(File("old/0.jpg"));
  std::vector<std::ofstream> files;
  for (int i = 0; i < kWriters; ++i) {
    files.emplace_back(File("old/" + std::to_string(i) + ".jpg"));
    fs::create_directories(File("new/" + std::to_string(i)));
    files.emplace_back(File("new/" + std::to_string(i) + "/n.jpg"));
  }
  constexpr std::size_t kPieces = 8;
  for (std::size_t piece = 0; piece < kPieces; ++piece) {
    const std::size_t from = content.size() * piece / kPieces;
    const std::size_t to = content.size() * (piece + 1) / kPieces;
    for (std::ofstream& file : files) file << content.substr(from, to - from) << std::flush;
    Pause(milliseconds(150));
  }
  EXPECT_EQ(Sum("added"), before);
  const std::size_t written = files.size();
  files.clear();
  CatchUp();
  EXPECT_EQ(Sum("added"), before + written);
  ExpectAsNew();
}

TEST_F(WatchRunTest, WhatIsRenamedKeepsItsRows) {
  for (int i = 0; i < 30; ++i) Photos(std::to_string(i), 2);
  Watch();
  const std::string id = IdOf("7/1.jpg");
  for (int i = 0; i < 30; ++i) fs::rename(File(std::to_string(i)), File("to" + std::to_string(i)));
  CatchUp();
  EXPECT_EQ(IdOf("to7/1.jpg"), id);
  EXPECT_EQ(Sum("added"), 60U);
  EXPECT_EQ(Sum("moved"), 90U);
  EXPECT_EQ(Sum("deleted"), 0U);
}

TEST_F(WatchRunTest, WhatIsRenamedUnderRunsIsMadeGood) {
  Photos("d", 60);
  for (const char* folder : {"e", "f"}) fs::create_directory(File(folder));
  Watch();
  std::vector<std::string> names;
  for (int i = 0; i < 60; ++i) names.push_back("d/" + std::to_string(i) + ".jpg");
  for (int i = 0; i < 1'200; ++i) {
    std::string& name = names[static_cast<std::size_t>(i * 7) % names.size()];
    const std::string to = (i % 2 == 0 ? "e/" : "f/") + std::to_string(i) + ".jpg";
    fs::rename(File(name), File(to));
    name = to;
    Pause(milliseconds(1));
  }
  CatchUp();
  const std::vector<std::string> fresh = ExportOfNew();
  const auto begin = Clock::now();
  EXPECT_TRUE(Eventually([&] { return Exported(folder()) == fresh; }));
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(WatchRunTest, MoreThanCanBeToldIsFoundAll) {
  std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
  int most = 0;
  limit >> most;
  if (most == 0 || most > 200'000) GTEST_SKIP() << "the queue of events is " << most << " long";
  for (int i = 0; i < 30; ++i) Photos("d" + std::to_string(i), 10);
  Watch();
  watch_->Signal(SIGSTOP);
  for (int i = 0; i < most / 2 + 100; ++i)
    fs::rename(File("d0/0.jpg"), File(i % 2 == 0 ? "x.jpg" : "y.jpg")),
        fs::rename(File(i % 2 == 0 ? "x.jpg" : "y.jpg"), File("d0/0.jpg"));
  for (int i = 0; i < 10; ++i) {
    const std::string folder = "d" + std::to_string(i);
    fs::rename(File(folder), File("moved" + std::to_string(i)));
    fs::remove(File("moved" + std::to_string(i) + "/1.jpg"));
    Photo("made/deep" + std::to_string(i) + "/n.jpg");
    Photo("d20/" + std::to_string(i) + ".jpg");
  }
  watch_->Signal(SIGCONT);
  EXPECT_TRUE(Eventually([&] { return !News("overflow").empty(); }));
  CatchUp();
  ExpectAsNew();
}

// Whoever watches as root looks as the owner.
TEST_F(WatchRunTest, ALibraryThatIsGivenToSomebodyElseIsFollowed) {
  constexpr uid_t kOne = 20001;
  constexpr uid_t kOther = 20002;
  if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  const auto give = [&](uid_t owner) {
    for (const auto& entry : fs::recursive_directory_iterator(folder()))
      ASSERT_EQ(lchown(entry.path().c_str(), owner, owner), 0);
    ASSERT_EQ(lchown(folder().c_str(), owner, owner), 0);
  };
  Photos("d", 2);
  ASSERT_EQ(chmod(folder().c_str(), 0700), 0);
  give(kOne);
  Watch();
  ASSERT_EQ(Rows(), "2");
  fs::rename(folder(), Aside());
  ASSERT_TRUE(IsAway());
  fs::rename(Aside(), folder());
  give(kOther);
  EXPECT_TRUE(IsBack()) << watch_->out();
  for (const char* name : {"late/e/n.jpg", "late/e/m.jpg"}) {
    Photo(name);
    give(kOther);
    EXPECT_TRUE(Eventually([&] { return HasRow(name); })) << watch_->out();
  }
}

// Its files are looked at while their folder is closed, so that no event is left that would tell of them.
TEST_F(WatchRunTest, AFolderThatIsOpenedLateShowsAllThatCameBefore) {
  Photos("d", 1);
  Photos("lib2/e", 2);
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  fs::rename(File("lib2"), Aside());
  Watch();
  ASSERT_EQ(chmod(Aside().c_str(), 0444), 0);
  fs::rename(Aside(), File("late"));
  ASSERT_TRUE(Eventually([&] { return NewFailures("late/e") > 0; })) << watch_->out();
  ASSERT_EQ(chmod(File("late").c_str(), 0755), 0);
  EXPECT_TRUE(Eventually([&] { return HasRow("late/e/0.jpg") && HasRow("late/e/1.jpg"); })) << watch_->out();
  Photo("late/e/2.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("late/e/2.jpg"));
}

TEST_F(WatchRunTest, ALibraryThatCannotBeEnteredIsWaitedForInPeace) {
  Photos("d", 2);
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  ASSERT_EQ(chmod(folder().c_str(), 0444), 0);
  watch_ = Start({"watch", folder(), "--json"});
  EXPECT_TRUE(IsAway());
  ExpectIdle();
  EXPECT_EQ(News("away").size(), 1U);
  ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
  EXPECT_TRUE(IsBack(1));
  EXPECT_EQ(Rows(), "2");
}

TEST_F(WatchRunTest, ARunOverEverythingWaitsInPeaceForAPartOfAnotherLibrary) {
  Photo("a.jpg");
  fs::create_hard_link(File("a.jpg"), File("h.jpg"));
  const fs::path other = scratch() / "other";
  MakeJpeg(other / "a.jpg", 8, 8);
  Watch({other});
  ASSERT_TRUE(IsBack());
  const fs::path hold = scratch() / "hold";
  const fs::path begun = scratch() / "begun";
  WriteFile(hold, "");
  UsePreviewTool("touch '" + begun.string() + "'; while [ -e '" + hold.string() + "' ]; do sleep 0.05; done");
  MakeJpeg(other / "b.jpg", 8, 8);
  ASSERT_TRUE(Eventually([&] { return fs::exists(begun); }));
  std::ofstream(File("a.jpg"), std::ios::app) << "more";
  Pause(milliseconds(300));
  ExpectIdle();
  fs::remove(hold);
  CatchUp();
  ExpectAsNew();
}

TEST_F(WatchRunTest, AnIdleWatchKeepsNoDiskFromBeingUnmounted) {
  fs::create_directory(Aside());
  if (mount(Aside().c_str(), folder().c_str(), nullptr, MS_BIND, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  Photos("d", 4);
  Watch();
  fs::rename(File("d/0.jpg"), File("d/moved.jpg"));
  CatchUp();
  ASSERT_TRUE(Eventually([&] { return ChildOf(watch_->pid()) == 0; }));
  EXPECT_EQ(umount(folder().c_str()), 0);
  EXPECT_TRUE(IsAway());
  umount2(folder().c_str(), MNT_DETACH);
}

TEST_F(WatchRunTest, WithoutRoomForWatchesNothingIsLost) {
  for (int i = 0; i < 40; ++i) Photo(std::to_string(i) + "/a.jpg");
  const std::string limit = "echo 20 > /proc/sys/user/max_inotify_watches && exec \"$0\" \"$@\"";
  const std::vector<std::string> begin{"-Ur", "sh", "-c", limit};
  if (ProgramRun({"-Ur", "sh", "-c", "echo 20 > /proc/sys/user/max_inotify_watches"}, scratch() / "try", {},
                 {}, "/usr/bin/unshare")
          .Wait()
          .status != 0)
    GTEST_SKIP() << "no user namespace can be made here";
  std::vector<std::string> arguments = begin;
  arguments.insert(arguments.end(), {LUMIVAULT_PROGRAM, "watch", folder(), "--json", "--settle", "0.05",
                                     "--poll", "1", "--root=" + state().string()});
  watch_ =
      std::make_unique<ProgramRun>(arguments, scratch() / "limited", std::map<std::string, std::string>(),
                                   std::nullopt, "/usr/bin/unshare");
  ASSERT_TRUE(Eventually([&] { return !News("watching").empty(); }));
  for (int i = 0; i < 40; ++i) Photo(std::to_string(i) + "/b.jpg");
  EXPECT_TRUE(Eventually([&] { return Rows() == "80"; })) << Rows() << watch_->out();
  ASSERT_EQ(News("unwatched").size(), 1U);
  EXPECT_NE(News("unwatched").front()["text"].asString().find("fs.inotify.max_user_watches"),
            std::string::npos);
  StopWatch();
  ExpectAsNew();
}

TEST_F(WatchRunTest, OneLibraryThatFailsDoesNotEndTheOthers) {
  Photo("a.jpg");
  const fs::path other = scratch() / "other";
  MakeJpeg(other / "a.jpg", 8, 8);
  EXPECT_EQ(Run({"index", other, "--quiet"}).status, 0);
  Damage(other / ".KAVOHGADB");
  WriteFile(other / ".KAVOHGADB", "no database");
  Watch({other});
  EXPECT_TRUE(Eventually([&] { return !News("failed").empty(); }));
  EXPECT_EQ(News("failed").front()["library"].asString(), other.string());
  Photo("b.jpg");
  CatchUp();
  EXPECT_TRUE(HasRow("b.jpg"));
  fs::remove(other / ".KAVOHGADB");
  EXPECT_TRUE(Eventually([&] { return fs::exists(other / ".KAVOHGADB"); }));
  EXPECT_EQ(StopWatch().status, kTerminated);
}

TEST_F(WatchRunTest, TwoLibrariesAreFollowedAtOnce) {
  Photos("d", 50);
  const fs::path other = scratch() / "other";
  for (int i = 0; i < 50; ++i) MakeJpeg(other / (std::to_string(i) + ".jpg"), 8, 8);
  Watch({other});
  EXPECT_TRUE(Eventually([&] { return News("watching").size() == 2; }));
  Photos("e", 50);
  for (int i = 0; i < 50; ++i) MakeJpeg(other / ("n" + std::to_string(i) + ".jpg"), 8, 8);
  CatchUp();
  EXPECT_EQ(Rows(), "100");
  EXPECT_TRUE(Eventually(
      [&] { return QueryDatabase(other / ".KAVOHGADB", "SELECT path FROM photo_image").size() == 100; }));
}

TEST_F(WatchRunTest, WhatIsNoFolderIsRefused) {
  WriteFile(File("file"), "no folder");
  const RunResult result = Run({"watch", File("file")});
  EXPECT_EQ(result.status, kUsage);
  EXPECT_EQ(result.err, "lumivault: " + File("file").string() + ": not a folder\n");
  EXPECT_EQ(Run({"watch"}).status, kUsage);
}

TEST_F(WatchRunTest, PeopleReadOneLineForEachThing) {
  Photos("d", 2);
  watch_ = Start({"watch", folder(), "--quiet", "--settle", "0.05"});
  EXPECT_TRUE(Eventually([&] { return watch_->out().find("watching 2 folders\n") != std::string::npos; }));
  const std::string out = watch_->out();
  EXPECT_TRUE(out.starts_with(folder().string() + ": ")) << out;
  EXPECT_NE(out.find(" s, added 2, folders 2\n"), std::string::npos) << out;
  EXPECT_EQ(StopWatch().err, "");
}

TEST_F(WatchRunTest, OneFolderIsOneFolder) {
  watch_ = Start({"watch", folder(), "--quiet"});
  EXPECT_TRUE(Eventually([&] { return watch_->out().find(": watching 1 folder\n") != std::string::npos; }))
      << watch_->out();
}

TEST_F(MarkedRunTest, MoreThanCanBeToldIsFoundAll) {
  std::ifstream limit("/proc/sys/fs/fanotify/max_queued_events");
  int most = 0;
  limit >> most;
  if (most == 0 || most > 200'000) GTEST_SKIP() << "the queue of events is " << most << " long";
  Photos("d", 20);
  WatchMarked();
  watch_->Signal(SIGSTOP);
  // What concerns one name is told as one event.
  for (int i = 0; i < most + 100; ++i) {
    fs::create_directory(File("n" + std::to_string(i)));
    fs::remove(File("n" + std::to_string(i)));
  }
  fs::rename(File("d"), File("e"));
  fs::remove(File("e/1.jpg"));
  Photo("f/g/n.jpg");
  watch_->Signal(SIGCONT);
  EXPECT_TRUE(Eventually([&] { return !News("overflow").empty(); }));
  CatchUp();
  ExpectAsNew();
}

TEST_F(MarkedRunTest, WithoutTheRightItSaysSo) {
  ASSERT_EQ(chmod(scratch().c_str(), 0755), 0);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as nobody";
  const RunResult result = Run({"watch", folder(), "--events", "fanotify"});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + folder().string() +
                            ": cannot be watched by fanotify: Operation not permitted (--events inotify)\n");
}

}  // namespace
