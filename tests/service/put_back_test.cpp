// A database that is older than the catalogue, or newer: copies put back in place, and runs that were killed
// before they could note what they had done. On both engines, where copies of files are no matter.
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFiles = 20;
constexpr const char* kAllIsWell = "all is well\nmemory of a worker: 512 MiB at most\n";

template <typename Base>
class GenerationTest : public Base {
 protected:
  void SetUp() override {
    Base::SetUp();
    if (this->IsSkipped()) return;
    for (int i = 0; i < kFiles; ++i) MakeJpeg(this->File(Name(i)), 8 + i % 5, 8);
    this->Index();
  }
  static std::string Name(int i) { return "f" + std::to_string(i % 3) + "/" + std::to_string(i) + ".jpg"; }

  fs::path Catalogue() const {
    return fs::directory_iterator(this->state() / "libraries")->path() / "catalogue.db";
  }
  std::string Generation() const {
    return this->Value("SELECT number FROM lumivault_fact WHERE name = 'generation'");
  }
  std::string Noted(const std::string& fact) const {
    return QueryDatabase(Catalogue(), "SELECT value FROM fact WHERE name = '" + fact + "'").at(0).at("value");
  }
  // As a run leaves it that is killed before it can note anything of what it does but its name.
  Json::Value IndexAndForget() {
    fs::copy_file(Catalogue(), this->scratch() / "before", fs::copy_options::overwrite_existing);
    Json::Value report = this->Index();
    const std::string run = Noted("run");
    fs::copy_file(this->scratch() / "before", Catalogue(), fs::copy_options::overwrite_existing);
    QueryDatabase(Catalogue(), "INSERT OR REPLACE INTO fact VALUES ('run', '" + run + "')");
    return report;
  }
  void ExpectUnchanged(int files = kFiles) {
    const Json::Value report = this->Index();
    EXPECT_EQ(report["unchanged"].asInt(), files);
    EXPECT_EQ(report["added"].asInt() + report["moved"].asInt() + report["deleted"].asInt(), 0);
  }
};

TYPED_TEST_SUITE(GenerationTest, BothKinds);

TYPED_TEST(GenerationTest, EveryRunThatWritesRaisesItAndNoOther) {
  const std::string first = this->Generation();
  EXPECT_NE(first, "");
  this->ExpectUnchanged();
  EXPECT_EQ(this->Generation(), first);
  MakeJpeg(this->File("new.jpg"), 8, 8);
  this->Index();
  EXPECT_EQ(std::stoi(this->Generation()), std::stoi(first) + 1);
  this->ExpectUnchanged(kFiles + 1);
}

TYPED_TEST(GenerationTest, AnOlderDatabaseGetsEverythingAgain) {
  const auto rows = this->Rows();
  this->Query("DELETE FROM photo_image WHERE path = " + this->KeyLiteral("f1/1.jpg"));
  this->Query("UPDATE lumivault_fact SET number = number - 1 WHERE name = 'generation'");
  const Json::Value report = this->Index();
  EXPECT_EQ(report["added"].asInt(), kFiles);
  EXPECT_EQ(report["deleted"].asInt(), 0);
  EXPECT_EQ(this->Rows(), rows);
  this->ExpectUnchanged();
}

TYPED_TEST(GenerationTest, ADatabaseOfBeforeItHadOneGetsEverythingAgain) {
  this->Query("DROP TABLE lumivault_fact");
  EXPECT_EQ(this->Index()["added"].asInt(), kFiles);
  this->ExpectUnchanged();
}

// Where numbers are the same, the name of the run is not.
TYPED_TEST(GenerationTest, ADatabaseOfTheSameNumberFromAnotherRunGetsEverythingAgain) {
  this->Query("UPDATE lumivault_fact SET value = 'another' WHERE name LIKE 'generation%'");
  EXPECT_EQ(this->Index()["added"].asInt(), kFiles);
  this->ExpectUnchanged();
}

TYPED_TEST(GenerationTest, SeveralWorkersLeaveTheCatalogueInStepWithTheDatabase) {
  for (int i = 0; i < 200; ++i) MakeJpeg(this->File("many/" + std::to_string(i) + ".jpg"), 8, 8);
  EXPECT_EQ(this->Index({"--jobs", "2"})["added"].asInt(), 200);
  EXPECT_EQ(this->Noted("generation"),
            this->Value("SELECT number || ' ' || value FROM lumivault_fact WHERE name = 'generation'"));
}

// What is kept of a photo that moved while an older database was put back: its object is known still.
TYPED_TEST(GenerationTest, AMoveIsKnownThoughEverythingIsSentAgain) {
  this->NamePerson("f1/1.jpg", "Ada");
  const std::string id = this->IdOf("f1/1.jpg");
  this->Query("UPDATE lumivault_fact SET number = number - 1 WHERE name LIKE 'generation%'");
  fs::rename(this->File("f1/1.jpg"), this->File("f2/moved.jpg"));
  const Json::Value report = this->Index();
  EXPECT_EQ(report["moved"].asInt(), 1);
  EXPECT_EQ(report["added"].asInt(), kFiles - 1);
  EXPECT_EQ(this->IdOf("f2/moved.jpg"), id);
  EXPECT_EQ(this->PersonOn("f2/moved.jpg"), "Ada");
  this->ExpectUnchanged();
}

// Two state folders for one library, in turn.
template <typename Base>
class TwoStatesTest : public GenerationTest<Base> {
 protected:
  void SetUp() override {
    GenerationTest<Base>::SetUp();
    if (this->IsSkipped()) return;
    fs::rename(this->state(), Other());
    if (this->shared()) {
      ASSERT_EQ(this->Run({"init", "--shared", this->folder()}).status, 0);
    }
    EXPECT_EQ(this->Index()["added"].asInt(), kFiles) << "it knows nothing of them";
    Exchange();
  }
  fs::path Other() const { return this->scratch() / "other"; }
  void Exchange() const {
    fs::rename(this->state(), this->scratch() / "between");
    fs::rename(Other(), this->state());
    fs::rename(this->scratch() / "between", Other());
  }
  Json::Value InOther() {
    Exchange();
    Json::Value report = this->Index();
    Exchange();
    return report;
  }
  static int Sent(const Json::Value& report) {
    return report["added"].asInt() + report["moved"].asInt() + report["deleted"].asInt();
  }
};
TYPED_TEST_SUITE(TwoStatesTest, BothKinds);

TYPED_TEST(TwoStatesTest, NeitherReadsAgainWhatIsAsItWas) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(this->Sent(this->Index()), 0) << i;
    EXPECT_EQ(this->Sent(this->InOther()), 0) << i;
  }
}

TYPED_TEST(TwoStatesTest, EachReadsItsOwnChangesAlone) {
  for (int i = 0; i < 2; ++i) {
    MakeJpeg(this->File("a" + std::to_string(i) + ".jpg"), 8, 8);
    EXPECT_EQ(this->Sent(this->Index()), 1) << i;
    EXPECT_EQ(this->Sent(this->InOther()), 1) << "that one, which it has not read yet; " << i;
    EXPECT_EQ(this->Sent(this->Index()), 0) << i;
  }
}

TYPED_TEST(TwoStatesTest, APhotoThatMovesKeepsItsPeople) {
  this->NamePerson("f1/1.jpg", "Ada");
  MakeJpeg(this->File("new.jpg"), 8, 8);
  this->InOther();
  fs::rename(this->File("f1/1.jpg"), this->File("f1/renamed.jpg"));
  const Json::Value report = this->Index();
  EXPECT_EQ(report["moved"].asInt(), 1);
  EXPECT_EQ(report["deleted"].asInt(), 0);
  EXPECT_EQ(this->PersonOn("f1/renamed.jpg"), "Ada");
  EXPECT_EQ(this->InOther()["deleted"].asInt(), 0);
  EXPECT_EQ(this->PersonOn("f1/renamed.jpg"), "Ada");
}

TYPED_TEST(TwoStatesTest, AnOlderDatabaseIsNoneOfTheOthersMaking) {
  this->Query("DELETE FROM photo_image WHERE path = " + this->KeyLiteral("f1/1.jpg"));
  this->Query("UPDATE lumivault_fact SET number = number - 1 WHERE name = 'generation/" +
              this->Noted("writer") + "'");
  EXPECT_EQ(this->Index()["added"].asInt(), kFiles);
}

TYPED_TEST(TwoStatesTest, TheDatabaseRemembersSixteenOfThem) {
  for (int i = 0; i < 20; ++i) {
    this->Query("INSERT INTO lumivault_fact (name, number, value) VALUES ('generation/" + std::to_string(i) +
                "', 0, 'long ago')");
  }
  MakeJpeg(this->File("new.jpg"), 8, 8);
  this->Index();
  EXPECT_EQ(this->Value("SELECT count(*) FROM lumivault_fact WHERE name LIKE 'generation/%'"), "16");
  EXPECT_EQ(this->Sent(this->InOther()), 1);
}

TYPED_TEST(GenerationTest, AnUpgradeOfBothReadsNothingAgain) {
  this->Query("DROP TABLE lumivault_fact");
  QueryDatabase(this->Catalogue(), "DELETE FROM fact WHERE name IN ('generation', 'writer')");
  this->ExpectUnchanged();
  MakeJpeg(this->File("new.jpg"), 8, 8);
  EXPECT_EQ(this->Index()["added"].asInt(), 1);
  EXPECT_EQ(this->Generation(), "2") << "the first one notes that nothing is mounted below";
  this->ExpectUnchanged(kFiles + 1);
}

TYPED_TEST(GenerationTest, AKilledRunIsNoReasonToReadEverythingAgain) {
  MakeJpeg(this->File("new.jpg"), 8, 8);
  EXPECT_EQ(this->IndexAndForget()["added"].asInt(), 1);
  EXPECT_EQ(this->Index()["added"].asInt(), 1);
  this->ExpectUnchanged(kFiles + 1);
}

TYPED_TEST(GenerationTest, AFileThatAKilledRunHasDeletedIsReadAgainWhenItIsBack) {
  const auto rows = this->Rows();
  fs::rename(this->File("f1/1.jpg"), this->scratch() / "away.jpg");
  EXPECT_EQ(this->IndexAndForget()["deleted"].asInt(), 1);
  fs::rename(this->scratch() / "away.jpg", this->File("f1/1.jpg"));
  EXPECT_EQ(this->Index()["added"].asInt(), 1);
  EXPECT_EQ(this->Rows(), rows);
  this->ExpectUnchanged();
}

TYPED_TEST(GenerationTest, AMoveThatAKilledRunHasMadeIsKept) {
  fs::rename(this->File("f1/1.jpg"), this->File("f2/moved.jpg"));
  EXPECT_EQ(this->IndexAndForget()["moved"].asInt(), 1);
  const auto rows = this->Rows();
  this->Index();
  EXPECT_EQ(this->Rows(), rows);
  this->ExpectUnchanged();
}

TYPED_TEST(GenerationTest, AMoveThatAKilledRunHasMadeAndSomebodyHasUndoneLeavesNoRowBehind) {
  const auto rows = this->Rows();
  fs::rename(this->File("f1/1.jpg"), this->File("f2/moved.jpg"));
  EXPECT_EQ(this->IndexAndForget()["moved"].asInt(), 1);
  fs::rename(this->File("f2/moved.jpg"), this->File("f1/1.jpg"));
  this->Index();
  EXPECT_EQ(this->Rows(), rows);
  this->ExpectUnchanged();
}

TYPED_TEST(GenerationTest, KillsNeitherHideAnythingNorMakeRunsReadEverything) {
  const unsigned seed = FromEnvironment("LUMIVAULT_SEED", std::random_device()());
  SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed));
  std::mt19937 random(seed);
  constexpr int kKills = 5;
  for (int i = 0; i < kKills; ++i) {
    for (int file = 0; file < 8; ++file) {
      MakeJpeg(this->File("n" + std::to_string(i) + "/" + std::to_string(file) + ".jpg"), 8, 8);
    }
    fs::remove(this->File(this->Name(i)));
    const auto run = this->shared() ? this->Start({"index", "--shared", "--quiet"})
                                    : this->Start({"index", this->folder(), "--quiet"});
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 400));
    run->Signal(SIGKILL);
    run->Wait();
  }
  this->Index();
  constexpr int kThere = kFiles - kKills + kKills * 8;
  EXPECT_EQ(this->Count(), std::to_string(kThere));
  this->ExpectUnchanged(kThere);
}

// Full reindexes that do not come to their end.
template <typename Base>
class MarkedRowsTest : public GenerationTest<Base> {
 protected:
  RunResult Reindex() {
    return this->shared() ? this->Run({"reindex", "--shared", "--quiet"})
                          : this->Run({"reindex", this->folder(), "--quiet"});
  }
  std::string Marked() const {
    return this->Value(
        "SELECT (SELECT count(*) FROM photo_image WHERE updated = '0') + (SELECT count(*) FROM photo_share "
        "WHERE updated = '0')");
  }
  std::string Exported() {
    return this->shared() ? this->Run({"export", "--shared"}).out : this->Run({"export", this->folder()}).out;
  }
  // Ends in the middle of its second phase.
  void KillReindex() {
    this->UsePreviewTool("sleep 5");
    const auto run = this->shared() ? this->Start({"reindex", "--shared", "--quiet"})
                                    : this->Start({"reindex", this->folder(), "--quiet"});
    ASSERT_TRUE(Eventually([this] { return Marked() != "0"; }));
    run->Signal(SIGKILL);
    run->Wait();
    this->UsePreviewTool("true");
    ASSERT_NE(Marked(), "0");
  }
};
TYPED_TEST_SUITE(MarkedRowsTest, BothKinds);

TYPED_TEST(MarkedRowsTest, TheNextRunTakesTheMarksThatAKilledReindexLeaves) {
  const std::string before = this->Exported();
  this->KillReindex();
  if (this->HasFatalFailure()) return;
  this->ExpectUnchanged();
  EXPECT_EQ(this->Marked(), "0");
  EXPECT_EQ(this->Exported(), before);
}

TYPED_TEST(MarkedRowsTest, AReindexThatLeavesOutItsSweepTakesItsMarks) {
  const std::string before = this->Exported();
  WriteFile(this->File("f1/1.jpg"), "no picture");
  EXPECT_EQ(this->Reindex().status, 3);
  EXPECT_EQ(this->Marked(), "0");
  EXPECT_EQ(this->Exported(), before);
}

TYPED_TEST(MarkedRowsTest, AReindexThatEndsWellLeavesNothingToTake) {
  EXPECT_EQ(this->Reindex().status, 0);
  EXPECT_EQ(this->Marked(), "0");
  EXPECT_EQ(this->Value("SELECT count(*) FROM lumivault_fact WHERE name = 'marked'"), "0");
}

TYPED_TEST(MarkedRowsTest, MarksOfAnotherProgramAreItsOwn) {
  this->Query("UPDATE photo_image SET updated = '0' WHERE path = " + this->KeyLiteral("f1/1.jpg"));
  this->ExpectUnchanged();
  EXPECT_EQ(this->Marked(), "1");
}

class UnreadableFolderTest : public MarkedRowsTest<LibraryRowsTest> {};

TEST_F(UnreadableFolderTest, KeepsItsRowsUnmarked) {
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  const std::string before = Exported();
  fs::permissions(File("f1"), fs::perms::none);
  const int status = Reindex().status;
  fs::permissions(File("f1"), fs::perms::owner_all);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(Marked(), "0");
  EXPECT_EQ(Exported(), before);
}

// The bytes of a copy in the file that is there, as `cp` puts them.
class PutBackTest : public GenerationTest<LibraryRowsTest> {
 protected:
  fs::path Database() const { return File(".KAVOHGADB"); }
  fs::path Copy() const { return scratch() / "copy.db"; }
  void PutBack() const {
    fs::remove(File(".KAVOHGADB-wal"));
    fs::remove(File(".KAVOHGADB-shm"));
    std::ofstream(Database(), std::ios::binary | std::ios::trunc) << ReadFile(Copy());
  }
  void ChangeEverything() {
    fs::copy_file(Database(), Copy(), fs::copy_options::overwrite_existing);
    MakeJpeg(File("new.jpg"), 8, 8);
    fs::remove(File(Name(0)));
    fs::rename(File(Name(1)), File("f0/renamed.jpg"));
    Index();
    rows_ = Rows();
  }
  std::vector<Row> rows_;
};

TEST_F(PutBackTest, ByCopyingItOverTheFile) {
  ChangeEverything();
  PutBack();
  EXPECT_EQ(Run({"doctor", folder()}).out,
            Database().string() +
                ": it is not as the last run has left it: an older copy was put back, or runs with another "
                "state folder have written\n  run: lumivault index " +
                folder().string() + "\n");
  Index();
  EXPECT_EQ(Rows(), rows_);
  ExpectUnchanged();
  EXPECT_EQ(Run({"doctor", folder()}).out, kAllIsWell);
}

TEST_F(PutBackTest, ByRestoringABackup) {
  ChangeEverything();
  ASSERT_EQ(
      std::system(("sqlite3 '" + Database().string() + "' \".restore '" + Copy().string() + "'\"").c_str()),
      0);
  Index();
  EXPECT_EQ(Rows(), rows_);
  ExpectUnchanged();
}

// Its number is higher than that of today, and it is not what a killed run has left.
TEST_F(PutBackTest, AsALaterOneThanTheOneThatWasPutBackBefore) {
  fs::copy_file(Database(), scratch() / "first.db");
  ChangeEverything();
  for (int i = 0; i < 3; ++i) {
    MakeJpeg(File("later" + std::to_string(i) + ".jpg"), 8, 8);
    Index();
  }
  rows_ = Rows();
  fs::copy_file(Database(), scratch() / "later.db");
  fs::copy_file(scratch() / "first.db", Copy(), fs::copy_options::overwrite_existing);
  PutBack();
  Index();
  fs::copy_file(scratch() / "later.db", Copy(), fs::copy_options::overwrite_existing);
  PutBack();
  EXPECT_EQ(Index()["added"].asInt(), kFiles + 3);
  EXPECT_EQ(Rows(), rows_);
}

TEST_F(PutBackTest, WhileAKilledRunWasNotNoted) {
  fs::copy_file(Database(), Copy());
  MakeJpeg(File("new.jpg"), 8, 8);
  IndexAndForget();
  PutBack();
  EXPECT_EQ(Index()["added"].asInt(), 1) << "it is what the catalogue speaks of";
  ExpectUnchanged(kFiles + 1);
}

// Two databases of one number, each written by runs with this catalogue.
TEST_F(PutBackTest, AsTheOneThatAKilledRunHadLeft) {
  fs::copy_file(Database(), scratch() / "first.db");
  MakeJpeg(File("k.jpg"), 8, 8);
  IndexAndForget();
  fs::copy_file(Database(), scratch() / "killed.db");
  fs::remove(File("k.jpg"));
  fs::copy_file(scratch() / "first.db", Copy(), fs::copy_options::overwrite_existing);
  PutBack();
  MakeJpeg(File("z.jpg"), 8, 8);
  EXPECT_EQ(Index()["added"].asInt(), 1);
  rows_ = Rows();
  fs::copy_file(scratch() / "killed.db", Copy(), fs::copy_options::overwrite_existing);
  PutBack();
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
  EXPECT_EQ(Rows(), rows_);
  ExpectUnchanged(kFiles + 1);
}

// A photo that cannot be read any more keeps its row, and hides no other.
TEST_F(PutBackTest, ARowThatSomebodyDeletedIsToldBesideAFileThatFailed) {
  WriteFile(File("f1/1.jpg"), "no picture");
  Index({}, 3);
  Query("DELETE FROM photo_image WHERE path = 'f2/2.jpg'");
  EXPECT_EQ(Run({"doctor", folder()}).out, Database().string() +
                                               ": 1 files that were indexed have no row\n  run: lumivault "
                                               "reindex " +
                                               folder().string() + "\n");
}

// The catalogue of the database that was there before waits beside the other.
TEST_F(PutBackTest, ADryRunKnowsTheCatalogueOfADatabaseThatIsBack) {
  fs::rename(Database(), Copy());
  EXPECT_EQ(Index()["added"].asInt(), kFiles);
  fs::rename(Copy(), Database());
  EXPECT_EQ(Run({"index", folder(), "--dry-run"}).out, "");
  ExpectUnchanged();
}

TEST_F(PutBackTest, RowsThatSomebodyDeletedAreTold) {
  Query("DELETE FROM photo_image WHERE path IN ('f1/1.jpg', 'f2/2.jpg')");
  EXPECT_EQ(Run({"doctor", folder()}).out, Database().string() +
                                               ": 2 files that were indexed have no row\n  run: lumivault "
                                               "reindex " +
                                               folder().string() + "\n");
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0);
  EXPECT_EQ(Run({"doctor", folder()}).out, kAllIsWell);
}

}  // namespace
