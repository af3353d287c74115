// The server of the shared tree takes nothing: the run ends once, and no file is to blame.
#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace {

constexpr int kDatabaseStatus = 5;
constexpr int kPhotos = 40;

class ServerFailureTest : public SharedTreeTest {
 protected:
  void SetUp() override {
    SharedTreeTest::SetUp();
    if (IsSkipped()) return;
    MakeJpeg(File("first.jpg"), 8, 8);
    Index();
    for (int i = 0; i < kPhotos; ++i) MakeJpeg(File("p" + std::to_string(i) + ".jpg"), 8, 8);
  }
  void TearDown() override {
    if (!IsSkipped())
      Query("SET transaction_read_only = off; ALTER DATABASE photo RESET default_transaction_read_only");
  }

  // Photos are refused with this SQLSTATE.
  void Refuse(const std::string& state) const {
    Query(
        "CREATE OR REPLACE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS "
        "$$ BEGIN RAISE EXCEPTION 'refused' USING ERRCODE = '" +
        state +
        "'; END $$; CREATE OR REPLACE TRIGGER refuse BEFORE INSERT ON photo_image FOR EACH ROW EXECUTE "
        "FUNCTION refuse()");
  }
  void ExpectBroken(const std::string& command, const std::string& why) {
    SCOPED_TRACE(command);
    const RunResult result = Run({command, "--shared", "--json", "--quiet", "-j", "2"});
    EXPECT_EQ(result.status, kDatabaseStatus);
    EXPECT_EQ(result.err, "lumivault: photo: " + why + "; what was done before is kept\n");
    const Json::Value report = StrictJson(result.out);
    EXPECT_EQ(report["error"].asString(), "photo: " + why + "; what was done before is kept");
    EXPECT_EQ(report["failed"].size(), 0U) << result.out;
    EXPECT_EQ(report["added"].asInt(), 0);
  }
};

TEST_F(ServerFailureTest, AServerThatOnlyReadsEndsTheRun) {
  Query("ALTER DATABASE photo SET default_transaction_read_only = on");
  ExpectBroken("index", "the server only reads");
  ExpectBroken("reindex", "the server only reads");
  TearDown();
  EXPECT_EQ(Index()["added"].asInt(), kPhotos);
}

TEST_F(ServerFailureTest, AServerWhoseDiskIsFullEndsTheRun) {
  Refuse("53100");
  ExpectBroken("index", "the server's disk is full");
  Query("DROP TRIGGER refuse ON photo_image");
  EXPECT_EQ(Index()["added"].asInt(), kPhotos);
}

TEST_F(ServerFailureTest, AValueThatItDoesNotTakeCostsItsFileAlone) {
  Refuse("22001");
  EXPECT_EQ(Index({}, 3)["failed"].size(), std::size_t{kPhotos});
}

}  // namespace
