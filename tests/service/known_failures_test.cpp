#include <sys/stat.h>
#include <unistd.h>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kSomeFailed = 3;

class KnownFailuresTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("good.jpg"), 8, 8);
    WriteFile(File("bad.jpg"), "");
    MakeJpeg(File("cut.jpg"), 64, 32);
    fs::resize_file(File("cut.jpg"), fs::file_size(File("cut.jpg")) - 20);
    ASSERT_EQ(Index({}, kSomeFailed)["added"].asInt(), 2);
  }

  // The lines behind the counts.
  std::string LinesOf(const std::vector<std::string>& arguments, int expected_status = 0) {
    const RunResult result = Run(arguments);
    EXPECT_EQ(result.status, expected_status) << result.err;
    return result.out.substr(result.out.find('\n') + 1);
  }
  bool IsKnown(const Json::Value& report, const std::string& file) {
    const Json::Value failed = ProblemOf(report["failed"], file);
    EXPECT_FALSE(failed.isNull()) << file;
    return failed["known"].asBool();
  }
};

TEST_F(KnownFailuresTest, WhatFailedOrWasNotedBeforeIsCounted) {
  EXPECT_EQ(LinesOf({"index", "--quiet", folder()}),
            "1 failed before, unchanged (--failed lists them)\n"
            "1 noted before, unchanged (--failed lists them)\n");
}

TEST_F(KnownFailuresTest, WhatFailedOrWasNotedBeforeIsListedOnDemand) {
  EXPECT_EQ(LinesOf({"index", "--quiet", "--failed", folder()}),
            "failed before: " + File("bad.jpg").string() + ": the file is empty\n" +
                "noted before: " + File("cut.jpg").string() + ": the picture is cut short\n");
}

TEST_F(KnownFailuresTest, NewDamageBesideTheOldIsToldAndFailsTheRun) {
  WriteFile(File("worse.jpg"), "");
  EXPECT_EQ(LinesOf({"index", "--quiet", folder()}, kSomeFailed),
            "failed: " + File("worse.jpg").string() +
                ": the file is empty\n"
                "1 failed before, unchanged (--failed lists them)\n"
                "1 noted before, unchanged (--failed lists them)\n");
}

TEST_F(KnownFailuresTest, TheJsonTellsWhatIsKnown) {
  WriteFile(File("worse.jpg"), "");
  const Json::Value report = Index({}, kSomeFailed);
  EXPECT_EQ(report["failed"].size(), 2U);
  EXPECT_TRUE(IsKnown(report, "bad.jpg"));
  EXPECT_FALSE(IsKnown(report, "worse.jpg"));
  ASSERT_EQ(report["notes"].size(), 1U);
  EXPECT_TRUE(report["notes"][0]["known"].asBool());
}

// It never had a row.
TEST_F(KnownFailuresTest, OneThatGoesIsNoRowDeleted) {
  fs::remove(File("bad.jpg"));
  EXPECT_EQ(Run({"index", "--dry-run", folder()}).out, "");
  for (int run = 0; run < 2; ++run) {
    const Json::Value report = Index();
    EXPECT_EQ(report["deleted"].asInt(), 0);
    EXPECT_EQ(report["failed"].size(), 0U);
  }
  WriteFile(File("bad.jpg"), "");
  EXPECT_FALSE(IsKnown(Index({}, kSomeFailed), "bad.jpg")) << "it was forgotten";
}

TEST_F(KnownFailuresTest, OneThatGoesWithAllOthersIsNotWithheld) {
  for (const char* name : {"bad.jpg", "good.jpg", "cut.jpg"}) fs::remove(File(name));
  constexpr int kLoss = 7;
  const Json::Value withheld = Index({}, kLoss)["withheld"]["paths"];
  ASSERT_EQ(withheld.size(), 2U);
  EXPECT_EQ(withheld[0]["path"].asString(), File("cut.jpg").string());
  EXPECT_EQ(withheld[1]["path"].asString(), File("good.jpg").string());
  WriteFile(File("bad.jpg"), "");
  MakeJpeg(File("good.jpg"), 8, 8);
  const Json::Value accepted = Index({"--accept-loss"}, kSomeFailed);
  EXPECT_EQ(accepted["deleted"].asInt(), 1) << "the one cut short";
}

// Its row is that of what it was.
TEST_F(KnownFailuresTest, OneWithARowIsDeleted) {
  WriteFile(File("good.jpg"), "");
  Index({}, kSomeFailed);
  fs::remove(File("good.jpg"));
  EXPECT_EQ(Run({"index", "--dry-run", folder()}).out, "delete photo " + File("good.jpg").string() + "\n");
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "1");
}

// The file was damaged before; that its row stays now is another matter.
TEST_F(KnownFailuresTest, ARefusedDeleteOfADamagedFileIsNew) {
  WriteFile(File("good.jpg"), "");
  EXPECT_FALSE(IsKnown(Index({}, kSomeFailed), "good.jpg"));
  Environment("LD_PRELOAD", REFUSING_TRIGGERS);
  Environment("TRIGGER_AT_OPEN",
              "CREATE TEMP TRIGGER refusal BEFORE DELETE ON photo_image BEGIN SELECT RAISE(IGNORE); END");
  fs::remove(File("good.jpg"));
  for (int run = 0; run < 2; ++run) EXPECT_FALSE(IsKnown(Index({}, kSomeFailed), "good.jpg")) << run;
  Environment("LD_PRELOAD", "");
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
}

TEST_F(KnownFailuresTest, AnotherReasonForAnUnchangedFileIsNew) {
  const auto library = *fs::directory_iterator(state() / "libraries");
  QueryDatabase(library.path() / "catalogue.db", "UPDATE entry SET reason = 'another' WHERE reason <> ''");
  const Json::Value report = StrictJson(Run({"reindex", "--quiet", "--json", folder()}).out);
  EXPECT_FALSE(IsKnown(report, "bad.jpg"));
  ASSERT_EQ(report["notes"].size(), 1U);
  EXPECT_FALSE(report["notes"][0]["known"].asBool());
  const RunResult again = Run({"reindex", "--quiet", "--json", folder()});
  EXPECT_EQ(again.status, 0);
  EXPECT_TRUE(IsKnown(StrictJson(again.out), "bad.jpg"));
}

TEST_F(KnownFailuresTest, ANoteAloneIsNoFailure) {
  fs::remove(File("bad.jpg"));
  Index();
  fs::copy_file(File("cut.jpg"), File("copy.jpg"));
  EXPECT_EQ(LinesOf({"index", "--quiet", folder()}), "note: " + File("copy.jpg").string() +
                                                         ": the picture is cut short\n"
                                                         "1 noted before, unchanged (--failed lists them)\n");
}

TEST_F(KnownFailuresTest, AFullReindexFindsTheOldDamageAgain) {
  const RunResult result = Run({"reindex", "--quiet", "--json", folder()});
  EXPECT_EQ(result.status, 0) << result.err;
  const Json::Value report = StrictJson(result.out);
  EXPECT_TRUE(IsKnown(report, "bad.jpg"));
  EXPECT_TRUE(ProblemOf(report["notes"], "cut.jpg")["known"].asBool());
}

TEST_F(KnownFailuresTest, DamageThatMovesIsKnown) {
  MakeJpeg(File("trip/a.jpg"), 8, 8);
  WriteFile(File("trip/broken.jpg"), "no picture");
  Index({}, kSomeFailed);
  fs::rename(File("trip"), File("voyage"));
  EXPECT_TRUE(IsKnown(Index(), "voyage/broken.jpg"));
}

TEST_F(KnownFailuresTest, DamageWhoseRightsChangeIsKnown) {
  chmod(File("bad.jpg").c_str(), 0640);
  EXPECT_TRUE(IsKnown(Index(), "bad.jpg"));
}

TEST_F(KnownFailuresTest, OtherContentThatFailsIsNew) {
  WriteFile(File("bad.jpg"), "no picture");
  EXPECT_FALSE(IsKnown(Index({}, kSomeFailed), "bad.jpg"));
}

// The first time the file was stored.
TEST_F(KnownFailuresTest, AFileThatWasNotedAndFailsIsNew) {
  WriteFile(File("cut.jpg"), "no picture");
  EXPECT_FALSE(IsKnown(Index({}, kSomeFailed), "cut.jpg"));
}

TEST_F(KnownFailuresTest, ALaterReaderTriesThemOnceMore) {
  const std::string catalogue = fs::directory_iterator(state() / "libraries")->path() / "catalogue.db";
  QueryDatabase(catalogue, "UPDATE fact SET value = '1' WHERE name = 'reader'");
  const Json::Value report = Index();
  EXPECT_EQ(report["unchanged"].asInt(), 1);
  EXPECT_TRUE(IsKnown(report, "bad.jpg"));
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

TEST_F(KnownFailuresTest, ANameThatNoDatabaseHoldsIsKnown) {
  MakeJpeg(File("\xff.jpg"), 8, 8);
  Index({}, kSomeFailed);
  EXPECT_EQ(LinesOf({"index", "--quiet", "--failed", folder()}),
            "failed before: " + File("bad.jpg").string() + ": the file is empty\n" +
                "failed before: " + folder().string() + "/\\xff.jpg: its name is not UTF-8\n" +
                "noted before: " + File("cut.jpg").string() + ": the picture is cut short\n");
}

// What cannot be opened is tried by every run.
class UnopenedTest : public KnownFailuresTest {
 protected:
  void SetUp() override {
    KnownFailuresTest::SetUp();
    MakeJpeg(File("closed/a.jpg"), 8, 8);
    MakeJpeg(File("shut.jpg"), 8, 8);
    if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
    chmod(File("closed").c_str(), 0);
    chmod(File("shut.jpg").c_str(), 0);
  }
  void TearDown() override { chmod(File("closed").c_str(), 0700); }
};

TEST_F(UnopenedTest, WhatCannotBeOpenedIsNewOnce) {
  const Json::Value first = Index({}, kSomeFailed);
  EXPECT_FALSE(IsKnown(first, "closed"));
  EXPECT_FALSE(IsKnown(first, "shut.jpg"));
  for (int run = 0; run < 2; ++run) {
    const Json::Value again = Index();
    EXPECT_TRUE(IsKnown(again, "closed"));
    EXPECT_TRUE(IsKnown(again, "shut.jpg"));
  }
}

// It is asked to read everything.
TEST_F(UnopenedTest, AFullReindexTellsOfItEachTime) {
  Index({}, kSomeFailed);
  for (int run = 0; run < 2; ++run) EXPECT_EQ(Run({"reindex", "--quiet", folder()}).status, kSomeFailed);
}

TEST_F(UnopenedTest, WhatCouldBeOpenedMeanwhileIsNewAgain) {
  Index({}, kSomeFailed);
  chmod(File("closed").c_str(), 0700);
  Index();
  chmod(File("closed").c_str(), 0);
  const Json::Value report = Index({}, kSomeFailed);
  EXPECT_FALSE(IsKnown(report, "closed"));
  EXPECT_TRUE(IsKnown(report, "shut.jpg"));
}

TEST_F(UnopenedTest, WhatCannotBeOpenedIsReadWhenItCan) {
  Index({}, kSomeFailed);
  chmod(File("shut.jpg").c_str(), 0600);
  EXPECT_EQ(Index()["added"].asInt(), 1);
}

}  // namespace
