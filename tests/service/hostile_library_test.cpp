// Names chosen to break out of statements, patterns and outputs, through the whole program on both kinds of
// library: as file, folder, title, keyword and person.
#include <gmock/gmock.h>

#include "base/limits.h"
#include "support/hostile_names.h"
#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

class HostileLibraryTest : public SharedTreeTest, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) {
      SharedTreeTest::SetUp();
    } else {
      fs::create_directories(folder());
    }
  }

  static Tags TagsOf(const std::string& name) {
    Tags tags = FaceTags(name);
    tags.emplace_back("Iptc.Application2.Keywords", name);
    return tags;
  }
  static bool IsHidden(const std::string& name) { return name.starts_with('.'); }
  std::string RowsOf(const std::string& relative) const {
    return Value("SELECT count(*) FROM photo_image WHERE path = " + SqlLiteral(Key(relative)));
  }
};

TEST_P(HostileLibraryTest, EveryNameIsIndexedShownAndDeletedAlone) {
  int photos = 0;
  for (const std::string& name : HostileNames()) {
    if (IsHidden(name)) continue;
    MakeJpeg(File(name + "/" + name + ".jpg"), 8, 6);
    ++photos;
  }
  EXPECT_EQ(Index({"-j", "2"})["added"].asInt(), photos);
  EXPECT_EQ(Count(), std::to_string(photos));
  for (const std::string& name : HostileNames()) {
    if (IsHidden(name)) continue;
    SCOPED_TRACE(name);
    const std::string file = name + "/" + name + ".jpg";
    EXPECT_EQ(RowsOf(file), "1");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_share WHERE sharename = " + SqlLiteral(name)), "1");
    const Json::Value shown = StrictJson(Run({"show", File(file), "--json"}).out);
    EXPECT_EQ(shown["row"]["path"].asString(), Key(file));
    EXPECT_EQ(StrictJson(Run({"ls", File(name), "--json"}).out).size(), 1U);
  }
  fs::remove_all(File("100%_"));
  fs::remove_all(File("'; DROP TABLE photo_image; --"));
  EXPECT_EQ(Index({"--accept-loss"})["deleted"].asInt(), 4);
  EXPECT_EQ(Count(), std::to_string(photos - 2));
}

TEST_P(HostileLibraryTest, TitlesKeywordsAndPeopleAreStoredAsTheyAre) {
  int number = 0;
  for (const std::string& name : HostileNames()) {
    const std::string file = "p" + std::to_string(number++) + ".jpg";
    MakeJpeg(File(file), 8, 6, TagsOf(name));
    WriteFile(File("@eaDir/" + file + "/KAVOPHOTO_TITLE"), name);
  }
  Index({"-j", "2"});
  EXPECT_EQ(Count(), std::to_string(number));
  int labels = 0;
  for (const char* name : {"'; DROP TABLE photo_image; --", "x' OR 'a'='a", "100%_", "\\'", "$1", "@KAVO:VAR",
                           "%n", "\xc3\xa9", "a;b"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Value("SELECT count(*) FROM photo_label WHERE category = 0 AND name = " + SqlLiteral(name)),
              "1");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_label WHERE category = 2 AND name = " + SqlLiteral(name)),
              "1");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image WHERE title = " + SqlLiteral(name)), "1");
    ++labels;
  }
  EXPECT_GE(std::stoi(Value("SELECT count(*) FROM photo_label")), 2 * labels);
}

TEST_P(HostileLibraryTest, BytesThatAreNotTextAreReportedAndNothingElseSuffers) {
  MakeJpeg(File("good.jpg"), 8, 6);
  for (const std::string& name : HostileBytes()) MakeJpeg(File(name + ".jpg"), 8, 6);
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["failed"].size(), HostileBytes().size());
  EXPECT_EQ(Count(), "1");
  EXPECT_EQ(RowsOf("good.jpg"), "1");
}

std::string KindName(const testing::TestParamInfo<bool>& info) {
  return info.param ? "Shared" : "Personal";
}
INSTANTIATE_TEST_SUITE_P(Kinds, HostileLibraryTest, testing::Bool(), KindName);

}  // namespace
