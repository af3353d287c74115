#include <filesystem>
#include <set>

#include "support/hostile_names.h"
#include "support/media_maker.h"
#include "support/service_test.h"
#include "support/sql_literal.h"

namespace {

class LabelsTest : public ServiceTest {
 protected:
  Json::Value Labels() {
    const RunResult result = Run({"labels", folder(), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    return StrictJson(result.out);
  }
  void AddLabel(const std::string& category, const std::string& name) {
    Query("INSERT INTO photo_label (category, name) VALUES (" + category + ", " + SqlLiteral(name) + ")");
  }
};

TEST_F(LabelsTest, EveryLabelComesWithKindAndCounts) {
  MakeJpeg(File("a.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
  MakeJpeg(File("b.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
  Index();
  AddLabel("1", "Kiel");
  AddLabel("0", "Ann");
  Query(
      "INSERT INTO photo_video_label (video_path, label_id) SELECT 'v.mp4', id FROM photo_label WHERE name = "
      "'Ann'");
  const Json::Value labels = Labels();
  ASSERT_EQ(labels.size(), 3U);
  EXPECT_EQ(labels[0]["name"].asString() + labels[0]["kind"].asString(), "Annperson");
  EXPECT_EQ(labels[0]["videos"].asInt(), 1);
  EXPECT_EQ(labels[0]["photos"].asInt(), 0);
  EXPECT_EQ(labels[1]["name"].asString() + labels[1]["kind"].asString(), "Kielplace");
  EXPECT_EQ(labels[2]["name"].asString() + labels[2]["kind"].asString(), "seakeyword");
  EXPECT_EQ(labels[2]["category"].asInt(), 2);
  EXPECT_EQ(labels[2]["photos"].asInt(), 2);
  EXPECT_EQ(std::to_string(labels[2]["id"].asInt()), Value("SELECT id FROM photo_label WHERE name = 'sea'"));
}

TEST_F(LabelsTest, APhotoWithTwoFacesOfOnePersonCountsOnce) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Index();
  AddLabel("0", "Ann");
  for (int face = 0; face < 2; ++face) {
    Query(
        "INSERT INTO photo_image_label (image_id, label_id) SELECT P.id, L.id FROM photo_image P, "
        "photo_label L");
  }
  EXPECT_EQ(Labels()[0]["photos"].asInt(), 1);
}

TEST_F(LabelsTest, ALabelOfAnUnknownCategoryIsOther) {
  std::filesystem::create_directory(folder());
  Index();
  AddLabel("7", "x");
  EXPECT_EQ(Labels()[0]["kind"].asString(), "other");
}

TEST_F(LabelsTest, TheTextForPeopleHasOneLineALabel) {
  MakeJpeg(File("a.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
  Index();
  EXPECT_EQ(Run({"labels", folder()}).out, "keyword\t1\t0\tsea\n");
}

TEST_F(LabelsTest, AnyNameIsGivenAsItIs) {
  std::filesystem::create_directory(folder());
  Index();
  std::set<std::string> expected;
  for (const std::string& name : HostileNames()) {
    AddLabel("2", name);
    expected.insert(name);
  }
  std::set<std::string> names;
  for (const Json::Value& label : Labels()) names.insert(label["name"].asString());
  EXPECT_EQ(names, expected);
}

TEST_F(LabelsTest, AnEmptyLibraryHasNone) {
  std::filesystem::create_directory(folder());
  Index();
  EXPECT_EQ(Run({"labels", folder(), "--json"}).out, "[]\n");
  EXPECT_EQ(Run({"labels", folder()}).out, "");
}

}  // namespace
