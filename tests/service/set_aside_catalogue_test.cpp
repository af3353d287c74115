// The catalogue of a database that another has taken the place of waits beside the other's, whatever happens
// while the two are exchanged.
#include <sqlite3.h>

#include <chrono>
#include <memory>
#include <thread>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFiles = 3;

class SetAsideCatalogueTest : public ServiceTest {
 protected:
  void SetUp() override {
    for (int i = 0; i < kFiles; ++i) MakeJpeg(File(std::to_string(i) + ".jpg"), 8, 8);
    Index();
  }
  fs::path Catalogue(const std::string& suffix = "") const {
    return fs::directory_iterator(state() / "libraries")->path() / ("catalogue.db" + suffix);
  }
  void TakeDatabaseAway() const { fs::rename(File(".KAVOHGADB"), scratch() / "away"); }
  void PutDatabaseBack() const { fs::rename(scratch() / "away", File(".KAVOHGADB")); }
};

// As a doctor does that looks while a run begins. What is in the log then is in no other place.
TEST_F(SetAsideCatalogueTest, HasWhatWasInItsLogWhoeverHasItOpen) {
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(Catalogue().c_str(), &reader), SQLITE_OK);
  std::unique_ptr<sqlite3, decltype(&sqlite3_close)> open(reader, &sqlite3_close);
  sqlite3_exec(reader, "SELECT count(*) FROM entry", nullptr, nullptr, nullptr);
  MakeJpeg(File("more.jpg"), 8, 8);
  EXPECT_EQ(Index()["added"].asInt(), 1);
  ASSERT_GT(fs::file_size(Catalogue("-wal")), 0U);
  TakeDatabaseAway();
  const auto run = Start({"index", folder(), "--quiet"});
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  open.reset();
  EXPECT_EQ(run->Wait().status, 0);
  PutDatabaseBack();
  EXPECT_EQ(Index()["unchanged"].asInt(), kFiles + 1);
}

// The first name of the exchange was given, then the run was killed.
TEST_F(SetAsideCatalogueTest, IsTakenUpBesideTheOther) {
  TakeDatabaseAway();
  Index();
  fs::rename(Catalogue(".other"), Catalogue(".exchange"));
  PutDatabaseBack();
  EXPECT_EQ(Index()["unchanged"].asInt(), kFiles);
}

// The second, too.
TEST_F(SetAsideCatalogueTest, IsTakenUpWhereTheOtherHasLeftItsPlace) {
  TakeDatabaseAway();
  Index();
  fs::rename(Catalogue(".other"), Catalogue(".exchange"));
  fs::rename(Catalogue(), Catalogue(".other"));
  PutDatabaseBack();
  EXPECT_EQ(Index()["unchanged"].asInt(), kFiles);
}

TEST_F(SetAsideCatalogueTest, IsKnownToADryRunFromBetweenTheTwoPlacesToo) {
  TakeDatabaseAway();
  Index();
  fs::rename(Catalogue(".other"), Catalogue(".exchange"));
  fs::rename(Catalogue(), Catalogue(".other"));
  PutDatabaseBack();
  const RunResult tried = Run({"index", folder(), "--dry-run"});
  EXPECT_EQ(tried.status, 0) << tried.err;
  EXPECT_EQ(tried.out, "");
  EXPECT_TRUE(fs::exists(Catalogue(".exchange"))) << "it changes nothing";
}

// As on a disk on which there is no room for another name.
TEST_F(SetAsideCatalogueTest, StaysWhereTheOtherCannotBeRenamed) {
  TakeDatabaseAway();
  Index();
  PutDatabaseBack();
  WriteFile(Catalogue(".exchange") / "x", "");
  const RunResult result = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + Catalogue().string() + ": Is a directory\n");
  fs::remove_all(Catalogue(".exchange"));
  EXPECT_EQ(Index()["unchanged"].asInt(), kFiles);
}

}  // namespace
