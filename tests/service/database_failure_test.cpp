// The database as a whole fails while a run goes on: the run ends once, and keeps what it has done.
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <fstream>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDatabaseStatus = 5;
constexpr int kLossStatus = 7;
constexpr int kPhotos = 80;

class DatabaseFailureTest : public ServiceTest {
 protected:
  fs::path database() const { return folder() / ".KAVOHGADB"; }
  fs::path away() const { return scratch() / "away"; }

  void MakePhotos(int count, const std::string& prefix) const {
    for (int i = 0; i < count; ++i) MakeJpeg(File(prefix + std::to_string(1000 + i) + ".jpg"), 8, 8);
  }
  std::string Line(const std::string& why) const {
    return "lumivault: " + database().string() + ": " + why + "; what was done before is kept\n";
  }
  // Where nothing was done before.
  std::string Unusable(const std::string& why) const {
    return "lumivault: " + database().string() + ": " + why + "\n";
  }
  // A run that ended with the database: STATUS, one line, one object, and no file to blame.
  static Json::Value ExpectBroken(const RunResult& result, const std::string& line, int status) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.err, line);
    Json::Value report = StrictJson(result.out);
    EXPECT_EQ("lumivault: " + report["error"].asString() + "\n", line);
    EXPECT_EQ(report["status"].asInt(), status);
    EXPECT_EQ(report["failed"].size(), 0U) << result.out;
    return report;
  }
};

// With the plug-in that does as the names of the files say: the last photo waits until the test lets it go,
// so that no run ends before the test has done its damage.
class FailureDuringRunTest : public DatabaseFailureTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    Environment("LUMIVAULT_PLUGIN", TEST_PLUGIN);
    Environment("TEST_PLUGIN_GATE", gate());
    WriteFile(gate(), "");
    MakePhotos(kPhotos - 1, "slow");
    MakeJpeg(File("z_gate.jpg"), 8, 8);
  }

  fs::path gate() const { return scratch() / "gate"; }
  // How RUN ends with what was done to its database.
  RunResult LetGo(ProgramRun& run) const {
    fs::remove(gate());
    return run.Wait();
  }
  std::unique_ptr<ProgramRun> StartAndAwaitRows() {
    auto run = Start({"index", folder(), "--json", "--quiet", "-j", GetParam()});
    EXPECT_TRUE(Eventually([&] { return Kept(database()) > 0; }));
    return run;
  }
  static int Kept(const fs::path& file) {
    if (!fs::exists(file)) return 0;
    const auto tables = QueryDatabase(file, "SELECT name FROM sqlite_master WHERE name = 'photo_share'");
    if (tables.empty()) return 0;
    return std::stoi(
        QueryDatabase(file, "SELECT count(DISTINCT path) AS n FROM seen WHERE path LIKE '%.jpg'")[0]["n"]);
  }
};

TEST_P(FailureDuringRunTest, TheDatabaseIsRenamedAway) {
  const auto run = StartAndAwaitRows();
  // What is committed is in its log for a while.
  const fs::path log = database().string() + "-wal";
  if (fs::exists(log)) fs::rename(log, away().string() + "-wal");
  fs::rename(database(), away());
  const Json::Value report = ExpectBroken(LetGo(*run), Line("it was removed or replaced"), kDatabaseStatus);
  EXPECT_GT(report["added"].asInt(), 0);
  EXPECT_LT(report["added"].asInt(), kPhotos);
  EXPECT_LT(report["found"].asInt(), kPhotos);
  EXPECT_GE(Kept(away()), report["added"].asInt());
}

TEST_P(FailureDuringRunTest, TheDatabaseIsRemovedAndTheNextRunMakesItAnew) {
  const auto run = StartAndAwaitRows();
  fs::remove(database());
  ExpectBroken(LetGo(*run), Line("it was removed or replaced"), kDatabaseStatus);
  EXPECT_EQ(Index()["added"].asInt(), kPhotos);
  EXPECT_EQ(Kept(database()), kPhotos);
}

TEST_P(FailureDuringRunTest, AnotherDatabaseTakesItsPlaceAndIsNotTakenForTheOneThatWasFilled) {
  const auto run = StartAndAwaitRows();
  WriteFile(scratch() / "empty", "");
  fs::rename(database(), away());
  fs::rename(scratch() / "empty", database());
  ExpectBroken(LetGo(*run), Line("it was removed or replaced"), kDatabaseStatus);
  Index();
  EXPECT_EQ(Kept(database()), kPhotos);
}

TEST_P(FailureDuringRunTest, TheFolderIsRenamedAwayAndBack) {
  const auto run = StartAndAwaitRows();
  fs::rename(folder(), away());
  const RunResult result = LetGo(*run);
  ExpectBroken(
      result,
      "lumivault: " + folder().string() +
          ": the folder went away while it was indexed; nothing was deleted, and what was done before "
          "is kept\n",
      kLossStatus);
  EXPECT_FALSE(fs::exists(folder())) << "nothing is made in its place";
  fs::rename(away(), folder());
  Index();
  EXPECT_EQ(Kept(database()), kPhotos);
}

INSTANTIATE_TEST_SUITE_P(Workers, FailureDuringRunTest, testing::Values("1", "2"),
                         [](const auto& workers) { return std::string("J") + workers.param; });

// A disk of its own for the folder.
class SmallDiskTest : public DatabaseFailureTest {
 protected:
  void TearDown() override { umount(folder().c_str()); }

  bool Mount(const char* options) const {
    fs::create_directories(folder());
    return mount("none", folder().c_str(), "tmpfs", 0, options) == 0;
  }
  // Fills the disk but for so much.
  void Leave(std::uint64_t bytes) const {
    struct statvfs disk {};
    ASSERT_EQ(statvfs(folder().c_str(), &disk), 0);
    const std::uint64_t free = disk.f_bavail * disk.f_bsize;
    ASSERT_GT(free, bytes);
    WriteFile(File("filler.txt"), std::string(static_cast<std::size_t>(free - bytes), 'x'));
  }
};

TEST_F(SmallDiskTest, AFullDiskEndsTheRunAndTheNextOneGoesOn) {
  if (!Mount("size=6m")) GTEST_SKIP() << "no mounts here";
  MakePhotos(1, "first");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  MakePhotos(kPhotos, "p");
  Leave(120'000);
  const RunResult result = Run({"index", folder(), "--json", "--quiet"});
  const Json::Value report = ExpectBroken(result, Line("database or disk is full"), kDatabaseStatus);
  EXPECT_LT(report["added"].asInt(), kPhotos);
  const int kept = std::stoi(Value("SELECT count(*) FROM photo_image"));
  EXPECT_EQ(kept, 1 + report["added"].asInt());
  fs::remove(File("filler.txt"));
  EXPECT_EQ(Index()["added"].asInt(), kPhotos - report["added"].asInt());
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), std::to_string(kPhotos + 1));
}

TEST_F(SmallDiskTest, AReadOnlyDiskEndsTheRun) {
  if (!Mount("size=6m")) GTEST_SKIP() << "no mounts here";
  MakePhotos(1, "first");
  Index();
  MakePhotos(40, "p");
  ASSERT_EQ(mount("none", folder().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  const RunResult result = Run({"index", folder(), "--json", "--quiet"});
  ExpectBroken(result, Unusable("unable to open database file"), kDatabaseStatus);
}

TEST_F(DatabaseFailureTest, ADamagedDatabaseEndsTheRun) {
  MakePhotos(3, "first");
  Index();
  MakePhotos(40, "p");
  Damage(database());
  const RunResult result = Run({"index", folder(), "--json", "--quiet"});
  ExpectBroken(result, Unusable("database disk image is malformed"), kDatabaseStatus);
}

}  // namespace
