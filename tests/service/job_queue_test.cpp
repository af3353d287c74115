#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20;
constexpr std::size_t kJobSize = 1'000;
constexpr int kTerminated = 128 + SIGTERM;

constexpr const char* kNoJob = "its background job could not be queued";

// What doctor tells without a queue.
const std::string kWell = "all is well\nmemory of a worker: 512 MiB at most\n";

class JobQueueTest : public ServiceTest {
 protected:
  // Somebody is to read the queue.
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 8, 8);
    WriteFile(state() / "var/packages/Lumivault/etc/settings.conf", "runfacerecognition=yes\n");
  }

  fs::path queue() const { return state() / "var/services/photo/@eaDir/kavophoto_face.queue"; }
  static std::size_t LinesIn(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }
  // Jobs of at most kJobSize bytes, BYTES in all; how many.
  std::size_t Fill(std::size_t bytes) const {
    const std::string start = "w:old/";
    const std::string job = start + std::string(kJobSize / 2 - start.size() - 1, 'x') + "\n";
    std::string jobs;
    while (bytes - jobs.size() >= kJobSize) jobs += job;
    jobs += start + std::string(bytes - jobs.size() - start.size() - 1, 'x') + "\n";
    WriteFile(queue(), jobs);
    return LinesIn(jobs);
  }
  std::string Doctor() { return Run({"doctor", folder()}).out; }
};

TEST_F(JobQueueTest, DoctorTellsWhatWaitsAndSinceWhen) {
  Index();
  const std::string size = std::to_string(fs::file_size(queue()));
  const std::string line = Doctor();
  const std::string start = kWell + queue().string() + ": background jobs that wait: 1, " + size +
                            " bytes of at most 67,108,864; nobody has taken one since ";
  ASSERT_TRUE(line.starts_with(start)) << line;
  EXPECT_EQ(line.size(), start.size() + std::string("2026-11-22 08:00:00\n").size());
  const Json::Value json = StrictJson(Run({"doctor", folder(), "--json"}).out);
  EXPECT_TRUE(json["healthy"].asBool());
  EXPECT_EQ(json["job_queue"]["path"].asString(), queue().string());
  EXPECT_EQ(json["job_queue"]["jobs"].asInt(), 1);
  EXPECT_EQ(json["job_queue"]["bytes"].asString(), size);
  EXPECT_EQ(json["job_queue"]["most_bytes"].asInt64(), std::int64_t{kMostBytes});
  EXPECT_EQ(json["job_queue"]["unread_since"].asString() + "\n", line.substr(start.size()));
}

TEST_F(JobQueueTest, DoctorTellsThatJobsAreTaken) {
  Index();
  WriteFile(queue(), "w:b.jpg\nw:c.jpg\n");
  EXPECT_EQ(Doctor(), kWell + queue().string() +
                          ": background jobs that wait: 2, 16 bytes of at most 67,108,864; none has waited "
                          "through a run\n");
  EXPECT_TRUE(StrictJson(Run({"doctor", folder(), "--json"}).out)["job_queue"]["unread_since"].isNull());
}

TEST_F(JobQueueTest, WhatALinkOrAnotherNameLeadsToIsNotSpokenOf) {
  Index();
  WriteFile(scratch() / "private/kavophoto_face.queue", "w:b.jpg\n");
  fs::remove(queue());
  fs::create_hard_link(scratch() / "private/kavophoto_face.queue", queue());
  EXPECT_EQ(Doctor(), kWell);
  fs::remove_all(queue().parent_path());
  fs::create_directory_symlink(scratch() / "private", queue().parent_path());
  EXPECT_EQ(Doctor(), kWell);
}

// Others may write to its folder in a shared tree.
TEST_F(JobQueueTest, APrivateFileOfSomebodysInItsPlaceIsNeitherReadNorWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may write to others' private files";
  constexpr uid_t kSomebody = 20'001;
  const std::string secret = "a private line\n" + std::string(kMostBytes, 'x') + "\n";
  fs::create_directories(queue().parent_path());
  fs::permissions(queue().parent_path(), fs::perms::all);
  WriteFile(queue(), secret);
  ASSERT_EQ(chown(queue().c_str(), kSomebody, kSomebody), 0);
  fs::permissions(queue(), fs::perms::owner_read | fs::perms::owner_write);
  for (int run = 0; run < 2; ++run) EXPECT_EQ(FailureOf(Index({}, run == 0 ? 3 : 0), "a.jpg"), kNoJob);
  EXPECT_EQ(Doctor().find("background jobs"), std::string::npos);
  EXPECT_FALSE(fs::exists(state() / "oldest-job"));
  EXPECT_TRUE(ReadFile(queue()) == secret);
}

TEST_F(JobQueueTest, AnEmptyQueueIsNotSpokenOf) {
  Index();
  WriteFile(queue(), "");
  EXPECT_EQ(Doctor(), kWell);
  EXPECT_FALSE(StrictJson(Run({"doctor", folder(), "--json"}).out).isMember("job_queue"));
}

TEST_F(JobQueueTest, TheTimeIsThatOfTheFirstRunThatSawTheJob) {
  Index();
  const std::string seen = ReadFile(state() / "oldest-job");
  WriteFile(state() / "oldest-job", "2001-02-03 04:05:06" + seen.substr(seen.find('\n')));
  MakeJpeg(File("b.jpg"), 8, 8);
  Index();
  EXPECT_NE(Doctor().find("nobody has taken one since 2001-02-03 04:05:06\n"), std::string::npos);
  WriteFile(queue(), "w:c.jpg\n");
  Index();
  EXPECT_EQ(Doctor().find("2001-02-03"), std::string::npos);
}

// The same photo was the first to get a job again.
TEST_F(JobQueueTest, AQueueThatWasEmptiedAndBegunAnewIsTaken) {
  Index();
  const std::string jobs = ReadFile(queue());
  WriteFile(queue(), jobs + "w:c.jpg\n");
  EXPECT_NE(Doctor().find("nobody has taken one since"), std::string::npos);
  WriteFile(state() / "oldest-job", "");
  Index();
  WriteFile(queue(), jobs);
  EXPECT_NE(Doctor().find("none has waited through a run"), std::string::npos);
}

TEST_F(JobQueueTest, BeyondItsBoundTheOldestAreDroppedAndThatIsToldOnce) {
  Index();
  const std::size_t before = Fill(kMostBytes);  // one job more is too much
  Index();                                      // sees that nobody takes them
  MakeJpeg(File("b.jpg"), 8, 8);
  const Json::Value report = Index();
  const std::string kept = ReadFile(queue());
  EXPECT_LE(kept.size(), kMostBytes / 2);
  EXPECT_GT(kept.size(), kMostBytes / 2 - kJobSize);
  EXPECT_TRUE(kept.starts_with("w:old/")) << kept.substr(0, 50);
  EXPECT_TRUE(kept.ends_with("b.jpg\n"));
  EXPECT_EQ(report["dropped_jobs"].asUInt64(), before + 1 - LinesIn(kept));
  EXPECT_FALSE(Index().isMember("dropped_jobs"));
}

// Somebody may be taking them, more slowly than a first run makes them.
TEST_F(JobQueueTest, JobsThatNoEarlierRunHasSeenAreKeptBeyondTheBound) {
  Index();
  Fill(kMostBytes + 1);
  const std::string before = ReadFile(queue());
  EXPECT_FALSE(Index().isMember("dropped_jobs"));
  EXPECT_EQ(ReadFile(queue()), before);
  EXPECT_TRUE(Index().isMember("dropped_jobs"));
}

// Jobs of an earlier version, for years; what is dropped is not held in memory.
TEST_F(JobQueueTest, OneOfAnySizeIsBroughtWithinItsBound) {
  Index();
  fs::resize_file(queue(), std::uintmax_t{1} << 40);
  std::ofstream(queue(), std::ios::app) << "x\nw:c.jpg\n";
  const Json::Value report = Index();
  EXPECT_EQ(report["dropped_jobs"].asInt(), 2);
  EXPECT_EQ(ReadFile(queue()), "w:c.jpg\n");
}

TEST_F(JobQueueTest, UpToItsBoundAllAreKept) {
  Index();
  Fill(kMostBytes - 100);
  const std::string before = ReadFile(queue());
  EXPECT_FALSE(Index().isMember("dropped_jobs"));
  EXPECT_EQ(ReadFile(queue()), before);
}

// The plug-in waits for the lock, and loses its job then.
TEST_F(JobQueueTest, WhatIsDroppedIsCountedBeforeTheQueueIsLocked) {
  Index();
  const std::size_t before = Fill(kMostBytes + 1);
  Index();
  Environment("LD_PRELOAD", FAILING_CALLS);
  Environment("FAIL_CALL", "pread-locked");
  Environment("FAIL_NAME", queue().filename());
  const Json::Value report = Index();
  EXPECT_EQ(report["dropped_jobs"].asUInt64(), before - LinesIn(ReadFile(queue())));
}

// There may be more of it than anybody waits for.
TEST_F(JobQueueTest, ASignalEndsTheCountAndNothingIsDropped) {
  Index();
  Fill(kMostBytes + 1);
  Index();
  const std::string before = ReadFile(queue());
  Environment("LD_PRELOAD", FAILING_CALLS);
  Environment("FAIL_CALL", "pread-signalled");
  Environment("FAIL_NAME", queue().filename());
  EXPECT_FALSE(Index({}, kTerminated).isMember("dropped_jobs"));
  EXPECT_EQ(ReadFile(queue()), before);
}

TEST_F(JobQueueTest, WantOfMemoryForItCostsNoReport) {
#ifdef LUMIVAULT_SANITIZED_WORKER
  GTEST_SKIP() << "a sanitizer has an allocation of its own";
#endif
  Index();
  Fill(kMostBytes + 1);
  Index();
  Environment("LD_PRELOAD", FAILING_MEMORY);
  EXPECT_EQ(Index()["unchanged"].asInt(), 1);
}

TEST_F(JobQueueTest, TheTextTellsHowManyWereDropped) {
  Index();
  const std::size_t before = Fill(kMostBytes + 1);
  Index();
  const std::string text = Run({"index", "--quiet", folder()}).out;
  std::string dropped = std::to_string(before - LinesIn(ReadFile(queue())));
  dropped.insert(dropped.size() - 3, ",");
  dropped.insert(dropped.size() > 7 ? dropped.size() - 7 : 0, dropped.size() > 7 ? "," : "");
  EXPECT_TRUE(
      text.ends_with("\ndropped: " + dropped + " background jobs that nobody took (see lumivault doctor)\n"))
      << text;
}

// A link may lead anywhere, and a FIFO would be waited for.
TEST_F(JobQueueTest, NothingElseIsReadInItsPlace) {
  Index();
  fs::remove(queue());
  WriteFile(scratch() / "other", "one\ntwo\n");
  fs::create_symlink(scratch() / "other", queue());
  EXPECT_EQ(Doctor(), kWell);
  fs::remove(queue());
  ASSERT_EQ(mkfifo(queue().c_str(), 0600), 0);
  EXPECT_EQ(Doctor(), kWell);
}

// With a queue that somebody holds locked: the plug-in waits ten seconds for it at first.
using JobQueueLockTest = JobQueueTest;

// The row is there meanwhile, so it moves and goes with its file.
TEST_F(JobQueueLockTest, AFileWhoseJobCannotBeQueuedIsSentAgain) {
  Index();
  for (const char* name : {"b.jpg", "gone.jpg"}) MakeJpeg(File(name), 8, 8);
  WriteFile(File("@eaDir/b.jpg/KAVOPHOTO_TITLE"), "a title");
  const int file = open(queue().c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(file, LOCK_EX), 0);
  EXPECT_EQ(FailureOf(Index({}, 3), "b.jpg"), kNoJob);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "3");
  EXPECT_FALSE(fs::exists(File("@eaDir/b.jpg/KAVOPHOTO_TITLE"))) << "its title is in the row";
  close(file);
  fs::remove(File("gone.jpg"));
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["deleted"].asInt(), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "2");
  EXPECT_TRUE(ReadFile(queue()).ends_with("b.jpg\n"));
}

TEST_F(JobQueueTest, AFileWhoseJobHasNoFolderIsSentAgain) {
  WriteFile(queue().parent_path(), "");
  EXPECT_EQ(FailureOf(Index({}, 3), "a.jpg"), kNoJob);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "1");
  fs::remove(queue().parent_path());
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_TRUE(ReadFile(queue()).ends_with("a.jpg\n"));
}

// As long as a file may be on this file system, so that nothing can be written behind its end.
TEST_F(JobQueueTest, AFileWhoseJobCannotBeWrittenIsSentAgain) {
  WriteFile(queue(), "");
  off_t longest = 0;
  for (off_t step = off_t{1} << 62; step > 0; step /= 2) {
    if (truncate(queue().c_str(), longest + step) == 0) longest += step;
  }
  EXPECT_EQ(FailureOf(Index({}, 3), "a.jpg"), kNoJob);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "1");
  WriteFile(queue(), "");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_TRUE(ReadFile(queue()).ends_with("a.jpg\n"));
}

// Its rows are where they belong, and it would not be sent again: there is nothing to try.
TEST_F(JobQueueLockTest, AFileThatMovesWithoutItsJobHasANote) {
  Index();
  fs::rename(File("a.jpg"), File("b.jpg"));
  const std::string jobs = ReadFile(queue());
  const int file = open(queue().c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(file, LOCK_EX), 0);
  const Json::Value report = Index();
  close(file);
  EXPECT_EQ(report["moved"].asInt(), 1);
  EXPECT_EQ(NoteOf(report, "b.jpg"), kNoJob);
  EXPECT_EQ(Value("SELECT path FROM photo_image"), "b.jpg");
  EXPECT_EQ(ReadFile(queue()), jobs);
  EXPECT_EQ(Index()["added"].asInt(), 0);
}

// Where nobody reads them.
TEST_F(JobQueueTest, JobsThatNobodyReadsGoWhileARunGoesOn) {
  constexpr int kPhotos = 2000;  // of 20 ms each
  fs::remove(state() / "var/packages/Lumivault/etc/settings.conf");
  Environment("LUMIVAULT_PLUGIN", TEST_PLUGIN);
  for (int i = 0; i < kPhotos; ++i) MakeJpeg(File("slow" + std::to_string(i) + ".jpg"), 8, 8);
  Fill((std::size_t{64} << 10) + 1);
  const auto run = Start({"index", folder(), "--quiet", "--json", "-j", "1"});
  EXPECT_TRUE(Eventually([&] { return fs::file_size(queue()) == 0; }));
  run->Signal(SIGINT);
  const RunResult result = run->Wait();
  EXPECT_EQ(result.status, 130) << "the run had come to its end";
  EXPECT_LT(StrictJson(result.out)["added"].asInt(), kPhotos);
}

// The plug-in queues nothing for a file that it reindexes.
TEST_F(JobQueueLockTest, AFullReindexLosesNoJob) {
  Index();
  MakeJpeg(File("b.jpg"), 8, 8);
  const int file = open(queue().c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(file, LOCK_EX), 0);
  EXPECT_EQ(FailureOf(Index({}, 3), "b.jpg"), "its background job could not be queued");
  close(file);
  MakeJpeg(File("new.jpg"), 8, 8);
  EXPECT_EQ(Run({"reindex", folder()}).status, 0);
  const std::string jobs = ReadFile(queue());
  EXPECT_NE(jobs.find("b.jpg\n"), std::string::npos) << jobs;
  EXPECT_NE(jobs.find("new.jpg\n"), std::string::npos) << jobs;
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "3");
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

}  // namespace
