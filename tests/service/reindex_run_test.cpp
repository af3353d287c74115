#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

#include "support/library_rows.h"
#include "support/media_maker.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFiles = 120;
constexpr int kKills = 12;

class ReindexTest : public LibraryRowsTest {
 protected:
  void SetUp() override {
    for (int i = 0; i < kFiles; ++i) {
      MakeJpeg(
          File("f" + std::to_string(i % 5) + "/s" + std::to_string(i % 2) + "/" + std::to_string(i) + ".jpg"),
          8 + i % 7, 8, {{"Iptc.Application2.Keywords", "k" + std::to_string(i % 4)}});
    }
    Index();
  }

  Json::Value Reindex(int expected_status = 0) {
    const RunResult result = Run({"reindex", folder(), "--quiet", "--json"});
    EXPECT_EQ(result.status, expected_status) << result.out << result.err;
    return StrictJson(result.out);
  }
  std::string Ids() const {
    return Value("SELECT group_concat(id || path) FROM (SELECT id, path FROM photo_image ORDER BY path)") +
           Value(
               "SELECT group_concat(shareid || sharename) FROM (SELECT * FROM photo_share ORDER BY "
               "sharename)");
  }
};

TEST_F(ReindexTest, ATrueLibraryStaysAsItIs) {
  const std::vector<Row> rows = Rows();
  const std::string ids = Ids();
  EXPECT_EQ(Reindex()["added"].asInt(), kFiles);
  EXPECT_EQ(Rows(), rows);
  EXPECT_EQ(Ids(), ids);
}

TEST_F(ReindexTest, WhatChangedIsMadeTrue) {
  fs::remove(File("f0/s0/0.jpg"));
  fs::remove_all(File("f4/s1"));
  MakeJpeg(File("new/x.jpg"), 8, 8);
  const std::string id = IdOf("f1/s1/1.jpg");
  fs::rename(File("f1/s1/1.jpg"), File("f2/moved.jpg"));
  Reindex();
  EXPECT_EQ(IdOf("f2/moved.jpg"), id);
  EXPECT_EQ(AlbumId("f4/s1"), "");
  const std::vector<Row> rows = Rows();
  EXPECT_EQ(Index()["unchanged"].asInt(), kFiles - 1 - 12 + 1);
  ForgetLibrary();
  Index();
  EXPECT_EQ(Rows(), rows);
}

TEST_F(ReindexTest, RowsThatNobodySentAreSwept) {
  Query("INSERT INTO photo_image (path, name) VALUES ('f0/ghost.jpg', 'ghost.jpg')");
  Query("INSERT INTO photo_share (shareid, sharename) VALUES (99, 'f0/ghosts')");
  Reindex();
  EXPECT_EQ(IdOf("f0/ghost.jpg"), "");
  EXPECT_EQ(AlbumId("f0/ghosts"), "");
}

// More than a hundred, and more than a tenth.
TEST_F(ReindexTest, ManyRowsThatNobodySentStayUntilSomebodyAcceptsTheLoss) {
  Query(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 101) "
      "INSERT INTO photo_image (path, name) SELECT 'f0/ghost' || i || '.jpg', 'ghost' FROM n");
  EXPECT_EQ(Reindex(7)["withheld"]["reason"].asString(), "101 of 221 files are gone");
  EXPECT_EQ(Count(), "221");
  EXPECT_EQ(Run({"reindex", folder(), "--quiet", "--accept-loss"}).status, 0);
  EXPECT_EQ(Count(), std::to_string(kFiles));
}

TEST_F(ReindexTest, LabelsOfWhatIsSweptGoWithIt) {
  Query("INSERT INTO photo_image (id, path, name) VALUES (9999, 'f0/ghost.jpg', 'ghost.jpg')");
  Query("INSERT INTO photo_label (id, category, name) VALUES (99, 2, 'ghostly')");
  Query("INSERT INTO photo_image_label (image_id, label_id) VALUES (9999, 99)");
  Reindex();
  EXPECT_EQ(Value("SELECT count(*) FROM photo_label WHERE name = 'ghostly'"), "0");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_label"), "4");
}

TEST_F(ReindexTest, AFileThatCannotBeReadAnyMoreKeepsItsRow) {
  Query("INSERT INTO photo_image (path, name) VALUES ('f0/ghost.jpg', 'ghost.jpg')");
  const std::string id = IdOf("f0/s0/0.jpg");
  WriteFile(File("f0/s0/0.jpg"), "this was a picture");
  Reindex(3);
  EXPECT_EQ(IdOf("f0/s0/0.jpg"), id);
  EXPECT_EQ(IdOf("f0/ghost.jpg"), "") << "what is gone for sure goes all the same";
}

// Nobody has looked behind the link, whose folder has the files' names or has not.
TEST_F(ReindexTest, WhatIsBehindALinkNowKeepsItsRows) {
  const std::vector<Row> rows = Rows();
  fs::rename(File("f0/s0"), scratch() / "elsewhere");
  fs::create_directories(scratch() / "empty");
  fs::create_symlink(scratch() / "empty", File("f0/s0"));
  Reindex();
  EXPECT_EQ(Rows(), rows);
}

TEST_F(ReindexTest, KilledAtAnyMomentAndRunAgainItEndsTheSame) {
  fs::remove_all(File("f4/s1"));
  fs::rename(File("f1"), File("g1"));
  MakeJpeg(File("new/x.jpg"), 8, 8);
  const unsigned seed = FromEnvironment("LUMIVAULT_SEED", std::random_device()());
  SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed));
  std::printf("LUMIVAULT_SEED=%u\n", seed);
  std::mt19937 random(seed);
  const std::string ids = IdOf("f1/s1/1.jpg");
  int killed = 0;
  for (int i = 0; i < kKills; ++i) {
    const auto run = Start({"reindex", folder(), "--quiet"});
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 600));
    run->Signal(SIGKILL);
    killed += run->Wait().status == kKilledBy + SIGKILL ? 1 : 0;
  }
  EXPECT_GT(killed, 0);
  Reindex();
  EXPECT_EQ(IdOf("g1/s1/1.jpg"), ids);
  const std::vector<Row> rows = Rows();
  ForgetLibrary();
  Index();
  Reindex();
  EXPECT_EQ(Rows(), rows);
}

}  // namespace
