// Nothing is deleted because a folder cannot be seen.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/library_rows.h"
#include "support/media_maker.h"
#include "support/open_watch.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFiles = 12;
constexpr int kManyFiles = 110;
constexpr int kNoDatabase = 5;
constexpr int kLoss = 7;
constexpr int kSomeFailed = 3;

class LossTest : public LibraryRowsTest {
 protected:
  void SetUp() override { Fill(kFiles); }

  void Fill(int files) {
    for (int i = 0; i < files; ++i) MakeJpeg(File("f" + std::to_string(i % 2) + "/" + Name(i)), 8 + i % 5, 8);
    Index();
    rows_ = Rows();
    ASSERT_EQ(Count(), std::to_string(files));
  }
  static std::string Name(int i) { return std::to_string(i) + ".jpg"; }

  int Status(std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"index", folder(), "--quiet"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments).status;
  }
  // Everything is there again: nothing was deleted meanwhile, and nothing is read again.
  void ExpectRecovery(int files = kFiles) {
    EXPECT_EQ(Rows(), rows_);
    const OpenWatch watch(File("f1/1.jpg"));
    const Json::Value report = Index();
    EXPECT_FALSE(watch.WasOpened());
    EXPECT_EQ(report["unchanged"].asInt(), files);
    for (const char* work : {"added", "folders", "moved", "deleted"})
      EXPECT_EQ(report[work].asInt(), 0) << work;
    EXPECT_EQ(Rows(), rows_);
  }
  fs::path away() const { return scratch() / "away"; }
  // An hour passes between two scans.
  void AgeLastScan() const {
    QueryDatabase(
        Catalogue(),
        "UPDATE fact SET value = substr(value, 1, instr(value, ' ')) || '1000' WHERE name = 'loss'");
  }
  // That of the only library.
  fs::path Catalogue() const {
    return fs::directory_iterator(state() / "libraries")->path() / "catalogue.db";
  }

  std::vector<Row> rows_;
};

TEST_F(LossTest, TheRootIsRenamedAway) {
  fs::rename(folder(), away());
  EXPECT_EQ(Status(), 2);
  fs::rename(away(), folder());
  ExpectRecovery();
}

TEST_F(LossTest, TheRootIsAFile) {
  fs::rename(folder(), away());
  WriteFile(folder(), "no folder");
  EXPECT_EQ(Status(), 2);
  fs::remove(folder());
  fs::rename(away(), folder());
  ExpectRecovery();
}

TEST_F(LossTest, TheRootIsALinkThatLeadsNowhere) {
  fs::rename(folder(), away());
  fs::create_symlink(scratch() / "nowhere", folder());
  EXPECT_EQ(Status(), 2);
  fs::remove(folder());
  fs::rename(away(), folder());
  ExpectRecovery();
}

TEST_F(LossTest, AnEmptyFolderStandsInTheRootsPlace) {
  fs::rename(folder(), away());
  fs::create_directory(folder());
  EXPECT_EQ(Status(), kLoss);
  EXPECT_TRUE(fs::is_empty(folder())) << "nothing is written where a disk is not mounted";
  fs::remove(folder());
  fs::rename(away(), folder());
  ExpectRecovery();
}

TEST_F(LossTest, AnotherFolderStandsInTheRootsPlace) {
  fs::rename(folder(), away());
  MakeJpeg(File("other.jpg"), 8, 8);
  EXPECT_EQ(Status(), kLoss);
  EXPECT_EQ(Status({"--dry-run"}), kLoss);
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, kLoss);
  EXPECT_FALSE(fs::exists(folder() / ".KAVOHGADB"));
  fs::remove_all(folder());
  fs::rename(away(), folder());
  ExpectRecovery();
}

TEST_F(LossTest, AnotherFolderInTheRootsPlaceHasTheDatabase) {
  fs::rename(folder(), away());
  MakeJpeg(File("other.jpg"), 40, 8);
  fs::rename(away() / ".KAVOHGADB", folder() / ".KAVOHGADB");
  for (int scan = 0; scan < 2; ++scan) {
    EXPECT_EQ(Index({}, kLoss)["withheld"]["reason"].asString(),
              "the folder is not the one that was indexed before")
        << scan;
    EXPECT_EQ(Count(), std::to_string(kFiles + 1)) << scan;
  }
}

// The tool that the plug-in starts for each photo takes the disk away.
TEST_F(LossTest, TheDiskGoesAwayWhileAReindexGoesOn) {
  fs::create_directory(away());
  UsePreviewTool("mv '" + File("f0").string() + "' '" + File("f1").string() + "' '" + away().string() + "'");
  EXPECT_EQ(Run({"reindex", folder(), "--quiet", "-j", "1"}).status, kLoss);
  EXPECT_EQ(Count(), std::to_string(kFiles));
  UsePreviewTool("true");
  for (const char* name : {"f0", "f1"}) fs::rename(away() / name, File(name));
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0);
  ExpectRecovery();
}

// A disk that is mounted again may have another number; the folder on it is the same.
TEST_F(LossTest, TheRootIsOnADeviceOfAnotherNumber) {
  QueryDatabase(Catalogue(), "UPDATE fact SET value = '9' || value WHERE name = 'root'");
  fs::remove(File("f0/0.jpg"));
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
}

TEST_F(LossTest, AnEmptyDiskIsMountedOverTheRoot) {
  if (mount("none", folder().c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  EXPECT_EQ(Status(), kLoss);
  EXPECT_TRUE(fs::is_empty(folder()));
  umount(folder().c_str());
  ExpectRecovery();
}

TEST_F(LossTest, AnEmptyDiskIsMountedOverAFolder) {
  if (mount("none", File("f0").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  const int status = Status();
  const int reindexed = Run({"reindex", folder(), "--quiet"}).status;
  umount(File("f0").c_str());
  EXPECT_EQ(status, kLoss);
  EXPECT_EQ(reindexed, kLoss);
  ExpectRecovery();
}

TEST_F(LossTest, EverythingButTheDatabaseIsGone) {
  fs::create_directory(away());
  for (const char* name : {"f0", "f1"}) fs::rename(File(name), away() / name);
  EXPECT_EQ(Status(), kLoss);
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, kLoss);
  for (const char* name : {"f0", "f1"}) fs::rename(away() / name, File(name));
  ExpectRecovery();
}

TEST_F(LossTest, TheDatabaseIsGoneForAWhile) {
  fs::create_directory(away());
  for (const char* suffix : {"", "-wal", "-shm"}) {
    if (fs::exists(File(std::string(".KAVOHGADB") + suffix)))
      fs::rename(File(std::string(".KAVOHGADB") + suffix), away() / (std::string("db") + suffix));
  }
  EXPECT_EQ(Status(), 0) << "a database is made anew";
  ForgetLibrary();
  fs::rename(away() / "db", File(".KAVOHGADB"));
  const OpenWatch watch(File("f0/0.jpg"));
  ExpectRecovery();
  EXPECT_FALSE(watch.WasOpened());
}

TEST_F(LossTest, TheDiskOfAFolderIsGoneForAWhile) {
  fs::create_directory(File("disk"));
  fs::create_directory(away());
  if (mount("none", away().c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  ASSERT_EQ(mount(away().c_str(), File("disk").c_str(), nullptr, MS_BIND, nullptr), 0);
  MakeJpeg(File("disk/deep/x.jpg"), 8, 8);
  Index();
  rows_ = Rows();
  umount(File("disk").c_str());
  EXPECT_EQ(Status(), kLoss);
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, kLoss);
  fs::remove(File("disk"));
  EXPECT_EQ(Status(), kLoss) << "a mount point may go with its disk";
  fs::create_directory(File("disk"));
  EXPECT_EQ(mount(away().c_str(), File("disk").c_str(), nullptr, MS_BIND, nullptr), 0);
  const OpenWatch watch(File("disk/deep/x.jpg"));
  ExpectRecovery(kFiles + 1);
  EXPECT_FALSE(watch.WasOpened());
  umount(File("disk").c_str());
  umount(away().c_str());
}

// A folder whose listing, or whose names, fail with an I/O error: the program runs with a library in front of
// the system's that fails on purpose.
class LossByErrors : public LossTest {
 protected:
  void Fail(const std::string& call, const std::string& name) {
    Environment("LD_PRELOAD", FAILING_CALLS);
    // A program that was built with the address sanitizer wants that one first.
    Environment("ASAN_OPTIONS", "verify_asan_link_order=0");
    Environment("FAIL_CALL", call);
    Environment("FAIL_NAME", name);
  }
  void Work() { Environment("FAIL_CALL", ""); }
  void ExpectKept() {
    EXPECT_EQ(Status(), kSomeFailed);
    EXPECT_EQ(Rows(), rows_);
    EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, kSomeFailed);
    EXPECT_EQ(Count(), std::to_string(kFiles));
    Work();
    const Json::Value report = Index();
    EXPECT_EQ(report["unchanged"].asInt(), kFiles);
  }
};

TEST_F(LossByErrors, AFolderCannotBeListed) {
  Fail("readdir", "f0");
  ExpectKept();
}

TEST_F(LossByErrors, AListingIsCutShort) {
  Fail("readdir-later", "f0");
  ExpectKept();
}

TEST_F(LossByErrors, NamesCannotBeLookedAt) {
  Fail("statx", "0.jpg");
  ExpectKept();
}

TEST_F(LossByErrors, TheRootCannotBeListed) {
  Fail("readdir-later", folder().filename());
  EXPECT_EQ(Status(), 1);
  Work();
  ExpectRecovery();
}

class LossOfAFolderNobodyMayRead : public LossTest {
 protected:
  // As an ordinary user, for whom modes count.
  void SetUp() override {
    LossTest::SetUp();
    if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  }
};

TEST_F(LossOfAFolderNobodyMayRead, TheRoot) {
  chmod(folder().c_str(), 0000);
  const int status = Status();
  chmod(folder().c_str(), 0755);
  EXPECT_EQ(status, kNoDatabase);
  ExpectRecovery();
}

TEST_F(LossOfAFolderNobodyMayRead, OneOfItsFolders) {
  chmod(File("f1").c_str(), 0000);
  const int status = Status();
  const int reindexed = Run({"reindex", folder(), "--quiet"}).status;
  chmod(File("f1").c_str(), 0755);
  EXPECT_EQ(status, kSomeFailed);
  EXPECT_EQ(reindexed, kSomeFailed);
  EXPECT_EQ(Count(), std::to_string(kFiles));
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0);
  EXPECT_EQ(Rows(), rows_);
}

class LossOfManyTest : public LossTest {
 protected:
  void SetUp() override { Fill(kManyFiles * 2); }
  void LoseHalf() { fs::rename(File("f0"), away()); }
};

TEST_F(LossOfManyTest, HalfOfItIsKeptUntilSomebodyAcceptsTheLoss) {
  LoseHalf();
  const Json::Value report = Index({}, kLoss);
  EXPECT_EQ(report["withheld"]["reason"].asString(), "110 of 220 files are gone");
  EXPECT_EQ(report["withheld"]["paths"].size(), 111U);
  EXPECT_EQ(Rows(), rows_);
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, kLoss);
  EXPECT_EQ(Count(), "220");
  EXPECT_EQ(Index({"--accept-loss"})["deleted"].asInt(), 111);
  EXPECT_EQ(Count(), "110");
}

TEST_F(LossOfManyTest, ADryRunTellsWhatWouldBeWithheld) {
  LoseHalf();
  const RunResult result = Run({"index", folder(), "--dry-run"});
  EXPECT_EQ(result.status, kLoss);
  EXPECT_TRUE(result.out.starts_with("withheld: delete photo " + File("f0/0.jpg").string() + "\n"))
      << result.out;
  EXPECT_TRUE(result.out.ends_with("\nwithheld: delete folder " + File("f0").string() + "\n")) << result.out;
  const Json::Value events = StrictJson(Run({"index", folder(), "--dry-run", "--json"}).out);
  ASSERT_EQ(events.size(), 111U);
  for (const Json::Value& event : events) EXPECT_TRUE(event["withheld"].asBool());
}

TEST_F(LossOfManyTest, HalfOfItComesBack) {
  LoseHalf();
  EXPECT_EQ(Status(), kLoss);
  fs::rename(away(), File("f0"));
  ExpectRecovery(kManyFiles * 2);
}

TEST_F(LossOfManyTest, ASecondScanAnHourLaterThatFindsTheSameIsBelieved) {
  LoseHalf();
  EXPECT_EQ(Status(), kLoss);
  EXPECT_EQ(Status(), kLoss) << "not an hour later";
  AgeLastScan();
  EXPECT_EQ(Status(), 0);
  EXPECT_EQ(Count(), "110");
}

TEST_F(LossOfManyTest, ASecondScanThatFindsOtherFilesGoneIsNotBelieved) {
  LoseHalf();
  EXPECT_EQ(Status(), kLoss);
  AgeLastScan();
  fs::remove(File("f1/1.jpg"));
  EXPECT_EQ(Status(), kLoss);
  EXPECT_EQ(Count(), "220");
}

TEST_F(LossOfManyTest, MovesAreNoLoss) {
  fs::rename(File("f0"), File("elsewhere"));
  EXPECT_EQ(Index()["moved"].asInt(), 111);
  EXPECT_EQ(Count(), "220");
}

TEST_F(LossOfManyTest, ATenthOrAHundredMayGo) {
  for (int i = 0; i < 100; ++i) fs::remove(File("f" + std::to_string(i % 2) + "/" + Name(i)));
  EXPECT_EQ(Index()["deleted"].asInt(), 100);
}

TEST_F(LossOfManyTest, WithoutTheCatalogueTheDatabaseRemembers) {
  fs::remove_all(state() / "libraries");
  EXPECT_EQ(Index()["added"].asInt(), kManyFiles * 2);
  EXPECT_EQ(Rows(), rows_);
  fs::remove_all(state() / "libraries");
  LoseHalf();
  EXPECT_EQ(Status(), kLoss);
  EXPECT_EQ(Count(), "220");
  fs::rename(away(), File("f0"));
  fs::remove(File("f0/0.jpg"));
  EXPECT_EQ(Status(), 0);
  EXPECT_EQ(Count(), "219");
}

TEST_F(LossTest, ACatalogueThatIsNoneIsMadeAnew) {
  for (const char* suffix : {"-wal", "-shm"}) fs::remove(Catalogue().string() + suffix);
  WriteFile(Catalogue(), "this is no database, whatever its name says about it");
  EXPECT_EQ(Status(), 0);
  EXPECT_EQ(Rows(), rows_);
}

TEST_F(LossTest, ALinkWhoseTargetIsOutOfReachKeepsItsRow) {
  fs::create_directory(away());
  MakeJpeg(away() / "t.jpg", 8, 8);
  fs::create_symlink(away() / "t.jpg", File("link.jpg"));
  Index();
  fs::rename(away(), scratch() / "unplugged");
  EXPECT_EQ(Status(), 0);
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0);
  EXPECT_NE(IdOf("link.jpg"), "");
  fs::rename(scratch() / "unplugged", away());
  EXPECT_EQ(Status(), 0);
}

}  // namespace
