// Files on a disk that answers late, in the real program: what that says about the file, which is nothing.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>

#include "probe/av_file.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr int kSomeFailed = 3;
constexpr const char* kTooLong = "it took too long to analyse";

class SlowReadsTest : public ServiceTest {
 protected:
  void SetUp() override {
    if (!MakeVideo(File("a.mp4"), 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  }
  // One large read of a run takes so long.
  void ReadsTake(std::chrono::seconds time) {
    Environment("LD_PRELOAD", SLOW_READS);
    Environment("SLOW_READ_SECONDS", std::to_string(time.count()));
  }
  std::string Videos() const { return Value("SELECT count(*) FROM video WHERE duration > 0"); }
};

TEST_F(SlowReadsTest, ADiskThatHasToStartCostsAVideoNothing) {
  ReadsTake(20s);  // far more than the work may take
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1) << report.toStyledString();
  EXPECT_EQ(report["notes"].size(), 0U) << report.toStyledString();
  EXPECT_EQ(Videos(), "1");
}

TEST_F(SlowReadsTest, AVideoThatCouldNotBeReadInTimeIsTriedAgainByEachRun) {
  ReadsTake(30s);
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "a.mp4"), kTooLong);
  Environment("LD_PRELOAD", "");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(Videos(), "1");
}

// What it is shown to a decoder for is the size, which a damaged one does not tell elsewhere.
TEST_F(SlowReadsTest, APictureThatCouldNotBeReadInTimeIsTriedAgainByEachRun) {
  fs::remove(File("a.mp4"));
  MakeJpeg(scratch() / "whole.jpg", 40, 30);
  constexpr std::size_t kStart = 20;
  WriteFile(File("c.jpg"), ReadFile(scratch() / "whole.jpg").substr(0, kStart));
  ReadsTake(30s);
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "c.jpg"), kTooLong);
  Environment("LD_PRELOAD", "");
  EXPECT_NE(FailureOf(Index({}, kSomeFailed), "c.jpg"), kTooLong);
}

// The header was there in time.
TEST_F(SlowReadsTest, ANewVideoGetsWhatIsKnownOfIt) {
  fs::remove(File("a.mp4"));
  ASSERT_TRUE(
      MakeCodedVideo(File("b.mov"), "-c:v mjpeg -q:v 1 -s 1280x720 -c:a pcm_s16le -movflags faststart"));
  ReadsTake(30s);
  Environment("SLOW_READ_AFTER", "1");
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "b.mov"), kTooLong);
  EXPECT_EQ(Value("SELECT resolutionX FROM video"), "1280");
  Environment("LD_PRELOAD", "");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(Index()["added"].asInt(), 0) << "it was read to its end";
}

TEST_F(SlowReadsTest, ARowThatIsThereStaysWhenItsVideoCannotBeReadInTime) {
  Index();
  fs::last_write_time(File("a.mp4"), fs::file_time_type::clock::now() + 1h);
  ReadsTake(30s);
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "a.mp4"), kTooLong);
  EXPECT_EQ(Videos(), "1");
}

TEST_F(SlowReadsTest, AVideoThatMovedKeepsItsRowWhenItCannotBeReadInTime) {
  Index();
  fs::rename(File("a.mp4"), File("b.mp4"));
  ReadsTake(30s);
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "b.mp4"), kTooLong);
  EXPECT_EQ(Videos(), "1");
  Environment("LD_PRELOAD", "");
  Index();
  EXPECT_EQ(Value("SELECT path FROM video WHERE duration > 0"), Key("b.mp4"));
}

// It, and at once: a worker that is at nothing may take a minute longer.
TEST_F(SlowReadsTest, AFileThatIsNeverReadIsTheOneToBlame) {
  fs::remove(File("a.mp4"));
  for (const char* name : {"b.jpg", "c.jpg", "d.jpg"}) MakeJpeg(File(name), 8, 8);
  Environment("LD_PRELOAD", SLOW_READS);
  Environment("STUCK_READ_NAME", "/c.jpg");
  const auto begin = std::chrono::steady_clock::now();
  const Json::Value report = Index({"--jobs=1", "--timeout=1"}, kSomeFailed);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
  EXPECT_EQ(report["added"].asInt(), 2);
  ASSERT_EQ(report["failed"].size(), 1U);
  EXPECT_TRUE(report["failed"][0]["path"].asString().ends_with("/c.jpg")) << report.toStyledString();
}

bool IsLate(const fs::path& path, const AvFile::Limits& limits) {
  const int descriptor = open(path.c_str(), O_RDONLY);
  const bool late = AvFile(descriptor, AvFile::Kind::kVideo, limits).late();
  close(descriptor);
  return late;
}

TEST_F(SlowReadsTest, TheTimeOfTheWorkIsBounded) {
  EXPECT_TRUE(IsLate(File("a.mp4"), {0ms, 30s}));
}

TEST_F(SlowReadsTest, TheTimeOfTheReadingIsBounded) {
  EXPECT_TRUE(IsLate(File("a.mp4"), {30s, 0ms}));
}

TEST_F(SlowReadsTest, NothingIsLateInTime) {
  EXPECT_FALSE(IsLate(File("a.mp4"), {30s, 30s}));
}

}  // namespace
