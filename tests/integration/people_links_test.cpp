// What becomes of links between a photo and its people when there is more than one of a thing: a photo has
// one link to a label, and all unnamed faces have the same label.
#include "support/saved_media.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kPeople = 0;
constexpr const char* kRegions = "Xmp.MP.RegionInfo/MPRI:Regions";
constexpr const char* kFirstPlace = R"({"x":0.100000,"y":0.100000,"width":0.100000,"height":0.100000})";
constexpr const char* kSecondPlace = R"({"x":0.500000,"y":0.500000,"width":0.200000,"height":0.200000})";
constexpr const char* kElsewhere = R"({"x":0.800000,"y":0.100000,"width":0.100000,"height":0.200000})";

class PeopleLinksTest : public SavedMediaTest {
 protected:
  void SetUp() override {
    SavedMediaTest::SetUp();
    if (!IsSkipped()) SwitchPeopleMerge("on");
  }
  // b.jpg with a region of that name at each of the places.
  void MakePhoto(const std::string& name, const std::vector<std::string>& places) {
    Tags tags = {{"Xmp.MP.RegionInfo", "type=Struct"}, {kRegions, "type=Bag"}};
    for (std::size_t i = 0; i < places.size(); ++i) {
      const std::string region = std::string(kRegions) + "[" + std::to_string(i + 1) + "]";
      if (!name.empty()) tags.emplace_back(region + "/MPReg:PersonDisplayName", name);
      tags.emplace_back(region + "/MPReg:Rectangle", places[i]);
    }
    MakeJpeg(Path("b.jpg"), 8, 6, tags);
  }
  // "name status info_new" of every people link, in the order in which they were made.
  std::vector<std::string> Links() {
    std::vector<std::string> links;
    for (const Row& row :
         Query("select name, status, info_new from photo_label join photo_image_label on label_id = "
               "photo_label.id where category = 0 order by photo_image_label.id")) {
      links.push_back(row.at("name") + " " + row.at("status") + " " + row.at("info_new"));
    }
    return links;
  }
  int LabelId(const std::string& name) {
    return PhotoInfoDBLabelCheck(Path("b.jpg").c_str(), name.c_str(), kPeople);
  }
  // A link that another program made, past the rule of one link to a label.
  void AddLink(const std::string& name, const std::string& info, const std::string& status) {
    Run("insert into photo_image_label (image_id, label_id, info_new, status) values (" +
        Photo("b.jpg", "id") + ", " + std::to_string(LabelId(name)) + ", '" + info + "', '" + status + "')");
  }
};

TEST_P(PeopleLinksTest, OnlyTheFirstOfSeveralUnnamedRegionsIsLinked) {
  MakePhoto("", {"0.1, 0.1, 0.1, 0.1", "0.5, 0.5, 0.2, 0.2"});
  for (int save = 0; save < 2; ++save) {
    ASSERT_EQ(SavePhoto("b.jpg"), 0);
    EXPECT_THAT(Links(), ElementsAre(std::string(" t ") + kFirstPlace)) << save;
  }
}

TEST_P(PeopleLinksTest, SeveralUnnamedFacesThatTheFileHasStay) {
  MakePhoto("", {"0.1, 0.1, 0.1, 0.1", "0.5, 0.5, 0.2, 0.2"});
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  AddLink("", kSecondPlace, "t");
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Links(), ElementsAre(std::string(" t ") + kFirstPlace, std::string(" t ") + kSecondPlace));
}

TEST_P(PeopleLinksTest, OneUnnamedFaceTooManyLeavesTheFirstOfTheFile) {
  MakePhoto("", {"0.1, 0.1, 0.1, 0.1", "0.5, 0.5, 0.2, 0.2"});
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  AddLink("", kSecondPlace, "t");
  AddLink("", kElsewhere, "t");
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Links(), ElementsAre(std::string(" t ") + kFirstPlace));
}

TEST_P(PeopleLinksTest, OfSeveralRegionsOneThatHadAFaceIsLinkedAgain) {
  MakePhoto("", {"0.1, 0.1, 0.1, 0.1", "0.5, 0.5, 0.2, 0.2"});
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  Run("delete from photo_image_label");
  AddLink("", kSecondPlace, "t");
  AddLink("", kElsewhere, "t");
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Links(), ElementsAre(std::string(" t ") + kSecondPlace));
}

TEST_P(PeopleLinksTest, AProposedPersonWhomTheFileNamesStaysProposedWhereItWas) {
  MakePhoto("Marie", {"0.1, 0.1, 0.1, 0.1"});
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  Run("delete from photo_image_label");
  AddLink("Marie", kElsewhere, "f");
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Links(), ElementsAre(std::string("Marie f ") + kElsewhere));
}

TEST_P(PeopleLinksTest, AConfirmedPersonElsewhereTakesNoProposedLinkAlong) {
  MakePhoto("Marie", {"0.1, 0.1, 0.1, 0.1"});
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  Run("delete from photo_image_label");
  AddLink("Marie", kSecondPlace, "f");
  AddLink("Marie", kElsewhere, "t");
  ASSERT_EQ(SavePhoto("b.jpg"), 0);
  // The proposed link is the photo's link to that label, so none is made for the place in the file.
  EXPECT_THAT(Links(), ElementsAre(std::string("Marie f ") + kSecondPlace));
}

INSTANTIATE_TEST_SUITE_P(Engines, PeopleLinksTest, BothEngines(), EngineName);

}  // namespace
