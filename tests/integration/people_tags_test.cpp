// People between a photo's metadata and the database.
#include <algorithm>

#include "support/hostile_names.h"
#include "support/saved_media.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr int kPeople = 0;
constexpr const char* kMicrosoft = "Xmp.MP.RegionInfo/MPRI:Regions";
constexpr const char* kGroup = "Xmp.mwg-rs.Regions/mwg-rs:RegionList";

class PeopleTagsTest : public SavedMediaTest {
 protected:
  void SetUp() override {
    SavedMediaTest::SetUp();
    if (!IsSkipped()) SwitchPeopleMerge("on");
  }

  struct Region {
    std::string name;
    std::string rectangle;
  };
  // b.jpg with these regions of the Microsoft schema.
  void MakePhoto(const std::vector<Region>& regions, Tags tags = {}) {
    if (!regions.empty()) {
      tags.emplace_back("Xmp.MP.RegionInfo", "type=Struct");
      tags.emplace_back(kMicrosoft, "type=Bag");
    }
    for (std::size_t i = 0; i < regions.size(); ++i) {
      const std::string region = std::string(kMicrosoft) + "[" + std::to_string(i + 1) + "]";
      if (!regions[i].name.empty()) tags.emplace_back(region + "/MPReg:PersonDisplayName", regions[i].name);
      tags.emplace_back(region + "/MPReg:Rectangle", regions[i].rectangle);
    }
    MakeJpeg(Path("b.jpg"), 8, 6, tags);
  }
  // "name info_new" of every people link, in order of the names.
  std::vector<std::string> People() {
    std::vector<std::string> people;
    for (const Row& row : Query("select name, info_new from photo_label join photo_image_label on label_id = "
                                "photo_label.id where category = 0 order by name")) {
      people.push_back(row.at("name") + " " + row.at("info_new"));
    }
    return people;
  }
  int Link(const std::string& name, const std::string& info) {
    const int label = PhotoInfoDBLabelCheck(Path("b.jpg").c_str(), name.c_str(), kPeople);
    return PhotoInfoDBImageLabelDataAdd(std::stoi(Photo("b.jpg", "id")), label, info.c_str(), "t");
  }
};

TEST_P(PeopleTagsTest, RegionsBecomePeople) {
  MakePhoto({{"Marie Curie", "0.1, 0.2, 0.3, 0.4"}, {"", "0.5, 0.5, 0.25, 0.25"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(People(),
              ElementsAre(R"( {"x":0.500000,"y":0.500000,"width":0.250000,"height":0.250000})",
                          R"(Marie Curie {"x":0.100000,"y":0.200000,"width":0.300000,"height":0.400000})"));
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(PeopleTagsTest, SavingAgainChangesNothing) {
  MakePhoto(
      {{"Marie Curie", "0.1, 0.2, 0.3, 0.4"}, {"", "0.5, 0.5, 0.25, 0.25"}, {"Pierre", "0.1, 0.2, 0, -1"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const auto links = Query("select * from photo_image_label order by id");
  EXPECT_EQ(links.size(), 3U);
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Query("select * from photo_image_label order by id"), links);
}

TEST_P(PeopleTagsTest, PaddedTextBeforeTheRegionsHidesNobody) {
  using namespace std::string_literals;
  MakePhoto({{"Marie", "0.1, 0.2, 0.3, 0.4"}}, {{"Iptc.Application2.Caption", "text\0\0"s}});
  for (int save = 0; save < 2; ++save) {
    EXPECT_EQ(SavePhoto("b.jpg"), 0);
    EXPECT_THAT(Labels("b.jpg", kPeople), ElementsAre("Marie")) << save;
  }
}

TEST_P(PeopleTagsTest, GroupRegionsFromTheirCentre) {
  const std::string region = std::string(kGroup) + "[1]";
  MakeJpeg(Path("b.jpg"), 8, 6,
           {{"Xmp.mwg-rs.Regions", "type=Struct"},
            {kGroup, "type=Bag"},
            {region + "/mwg-rs:Name", "Marie"},
            {region + "/mwg-rs:Type", "Face"},
            {region + "/mwg-rs:Area/stArea:x", "0.5"},
            {region + "/mwg-rs:Area/stArea:y", "0.5"},
            {region + "/mwg-rs:Area/stArea:w", "0.2"},
            {region + "/mwg-rs:Area/stArea:h", "0.4"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(People(),
              ElementsAre(R"(Marie {"x":0.400000,"y":0.300000,"width":0.200000,"height":0.400000})"));
}

TEST_P(PeopleTagsTest, PeopleThatTheFileDoesNotNameGo) {
  MakePhoto({{"Marie", "0.1, 0.2, 0.3, 0.4"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  Link("Pierre", R"({"x":0.1,"y":0.2,"width":0.3,"height":0.4})");
  Link("", R"({"x":0.1,"y":0.2,"width":0.3,"height":0.4})");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kPeople), ElementsAre("Marie"));
}

TEST_P(PeopleTagsTest, LinksThatNobodyConfirmedStay) {
  MakePhoto({});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  Link("Pierre", "{}");
  Run("update photo_image_label set status = 'f'");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kPeople), ElementsAre("Pierre"));
}

// They share the label without a name, and a photo has one link to a label.
TEST_P(PeopleTagsTest, OfSeveralUnnamedRegionsTheFirstIsLinked) {
  MakePhoto({{"", "0.1, 0.1, 0.2, 0.2"}, {"", "0.5, 0.5, 0.25, 0.25"}, {"", "0.7, 0.7, 0.1, 0.1"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const auto links = Query("select * from photo_image_label order by id");
  EXPECT_THAT(People(), ElementsAre(R"( {"x":0.100000,"y":0.100000,"width":0.200000,"height":0.200000})"));
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Query("select * from photo_image_label order by id"), links);
}

// One of them has to go, and the label is what they go by.
TEST_P(PeopleTagsTest, AnUnnamedFaceThatTheFileLacksTakesTheOthersAlong) {
  constexpr const char* kFirst = R"({"x":0.100000,"y":0.100000,"width":0.200000,"height":0.200000})";
  constexpr const char* kSecond = R"({"x":0.500000,"y":0.500000,"width":0.250000,"height":0.250000})";
  constexpr const char* kGone = R"({"x":0.800000,"y":0.800000,"width":0.100000,"height":0.100000})";
  MakePhoto({{"", "0.1, 0.1, 0.2, 0.2"}, {"", "0.5, 0.5, 0.25, 0.25"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const std::string label = Value("select label_id from photo_image_label");
  for (const char* info : {kSecond, kGone}) {
    Run("insert into photo_image_label (image_id, label_id, info_new, status) values (" +
        Photo("b.jpg", "id") + ", " + label + ", '" + info + "', 't')");
  }
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(People(), ElementsAre(std::string(" ") + kFirst));
}

// The link is there, so nothing is added to it or made of it.
TEST_P(PeopleTagsTest, AProposedLinkOfAPersonInTheFileStaysProposedWhereItIs) {
  MakePhoto({});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const int label = PhotoInfoDBLabelCheck(Path("b.jpg").c_str(), "Marie", kPeople);
  PhotoInfoDBImageLabelDataAdd(std::stoi(Photo("b.jpg", "id")), label, "{\"x\":0.9}", "f");
  MakePhoto({{"Marie", "0.1, 0.2, 0.3, 0.4"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(People(), ElementsAre("Marie {\"x\":0.9}"));
  EXPECT_EQ(Value("select status from photo_image_label"), "f");
}

TEST_P(PeopleTagsTest, FacesOnTheShownImageAgreeInEveryOrientation) {
  // A region of the stored image, and where it is seen in the orientations 1 to 8.
  const char* const seen[] = {
      R"("x":0.1,"y":0.2,"width":0.3,"height":0.25)",  R"("x":0.6,"y":0.2,"width":0.3,"height":0.25)",
      R"("x":0.6,"y":0.55,"width":0.3,"height":0.25)", R"("x":0.1,"y":0.55,"width":0.3,"height":0.25)",
      R"("x":0.2,"y":0.1,"width":0.25,"height":0.3)",  R"("x":0.55,"y":0.1,"width":0.25,"height":0.3)",
      R"("x":0.55,"y":0.6,"width":0.25,"height":0.3)", R"("x":0.2,"y":0.6,"width":0.25,"height":0.3)"};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    MakePhoto({{"Marie", "0.1, 0.2, 0.3, 0.25"}}, {{"Exif.Image.Orientation", std::to_string(orientation)}});
    SwitchPeopleMerge("off");
    EXPECT_EQ(SavePhoto("b.jpg"), 0);
    Run("delete from photo_image_label");
    const std::string face = std::string("{") + seen[orientation - 1] + ",\"face\":\"1\"}";
    Link("Marie", face);
    SwitchPeopleMerge("on");
    EXPECT_EQ(SavePhoto("b.jpg"), 0);
    EXPECT_THAT(People(), ElementsAre("Marie " + face)) << orientation;
  }
}

TEST_P(PeopleTagsTest, NothingIsMergedUnlessSwitchedOn) {
  MakePhoto({{"Marie", "0.1, 0.2, 0.3, 0.4"}});
  SwitchPeopleMerge("off");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  Run("delete from photo_config");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(People(), IsEmpty());
}

TEST_P(PeopleTagsTest, FileThatIsBeingCopiedKeepsItsPeople) {
  MakePhoto({{"Marie", "0.1, 0.2, 0.3, 0.4"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  WriteFile(Path("b.jpg"), "\xFF\xD8\xFF");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kPeople), ElementsAre("Marie"));
}

// The tool prints a name behind padding and in one line, and XML has no U+FFFE and U+FFFF.
bool TravelsInMetadata(const std::string& name) {
  const bool printable =
      std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; });
  return printable && !name.starts_with(' ') && !name.starts_with("type=") &&
         name.find("\xEF\xBF\xBE") == std::string::npos && name.find("\xEF\xBF\xBF") == std::string::npos;
}

TEST_P(PeopleTagsTest, HostileNamesComeBackAsTheyAre) {
  int tried = 0;
  for (const std::string& name : HostileNames()) {
    if (!TravelsInMetadata(name)) continue;
    ++tried;
    MakePhoto({{name, "0.1, 0.2, 0.3, 0.4"}});
    EXPECT_EQ(SavePhoto("b.jpg"), 0) << name;
    EXPECT_THAT(Labels("b.jpg", kPeople), ElementsAre(name));
  }
  EXPECT_GT(tried, 50);
}

TEST_P(PeopleTagsTest, RealPhotos) {
  const auto folder = SharedPhotos() / "media";
  if (!std::filesystem::exists(folder / "immich-test-assets/faces")) GTEST_SKIP() << "no shared photos";
  std::filesystem::copy_file(folder / "immich-test-assets/faces/portrait.jpg", Path("a.jpg"));
  std::filesystem::copy_file(folder / "pigallery2/special_names.jpg", Path("c.jpg"));
  EXPECT_EQ(SavePhoto("a.jpg"), 0);
  EXPECT_EQ(SavePhoto("c.jpg"), 0);
  EXPECT_THAT(Labels("a.jpg", kPeople), ElementsAre("Marie Curie", "Pierre Curie"));
  EXPECT_THAT(Labels("c.jpg", kPeople), testing::Contains("\"quoted \"@#$ name\" !@#$%^&*()_+"));
}

INSTANTIATE_TEST_SUITE_P(Engines, PeopleTagsTest, BothEngines(), EngineName);

}  // namespace
