// People that photos name, from the files into the labels.
#include <gmock/gmock.h>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

class PeopleTest : public ServiceTest {
 protected:
  void SetUp() override { fs::create_directories(folder()); }

  void MakePhotoOf(const std::string& person, const std::string& name) const {
    MakeJpeg(File(name), 8, 6, FaceTags(person));
  }
  std::vector<std::string> People() const {
    std::vector<std::string> names;
    for (const Row& row :
         Query("SELECT L.name FROM photo_label L JOIN photo_image_label B ON B.label_id = L.id "
               "WHERE L.category = 0 ORDER BY L.name")) {
      names.push_back(row.at("name"));
    }
    return names;
  }
  // Every value of the switch that the library holds.
  std::string Switch() const {
    return Value(
        "SELECT group_concat(config_value) FROM photo_config WHERE config_key = 'ms_people_tag_merged'");
  }
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(PeopleTest, OfAPhotoBecomeItsLabels) {
  MakePhotoOf("Marie", "a.jpg");
  Index();
  EXPECT_EQ(Switch(), "on");
  EXPECT_THAT(People(), ElementsAre("Marie"));
  const Json::Value shown = StrictJson(Run({"show", File("a.jpg"), "--json"}).out);
  ASSERT_EQ(shown["people"].size(), 1U);
  EXPECT_EQ(shown["people"][0]["name"].asString(), "Marie");
}

class NamedByHandTest : public PeopleTest {
 protected:
  void SetUp() override {
    MakePhotoOf("Marie", "a.jpg");
    Index();
    Query("INSERT INTO photo_label (category, name) VALUES (0, 'Ann')");
    Query(
        "INSERT INTO photo_image_label (image_id, label_id, info_new) SELECT 1, id, "
        "'{\"x\":0.1,\"y\":0.1,\"width\":0.2,\"height\":0.2}' FROM photo_label WHERE name = 'Ann'");
  }
};

TEST_F(NamedByHandTest, StayOnAPhotoThatMoves) {
  fs::create_directory(File("album"));
  fs::rename(File("a.jpg"), File("album/b.jpg"));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  EXPECT_THAT(People(), ElementsAre("Ann", "Marie"));
  EXPECT_EQ(Switch(), "on");
}

TEST_F(NamedByHandTest, StayOnACopyWhoseOriginalIsGone) {
  fs::copy_file(File("a.jpg"), File("b.jpg"));
  fs::remove(File("a.jpg"));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  EXPECT_THAT(People(), ElementsAre("Ann", "Marie"));
}

TEST_F(NamedByHandTest, GiveWayWhenTheMovedPhotoWasAlsoWrittenAnew) {
  fs::rename(File("a.jpg"), File("b.jpg"));
  const std::string before = Value("SELECT id FROM photo_image");
  const fs::path other = scratch() / "other.jpg";
  MakePhotoOf("Pierre", "other.jpg");
  fs::rename(File("other.jpg"), other);
  fs::copy_file(other, File("b.jpg"), fs::copy_options::overwrite_existing);
  fs::last_write_time(File("b.jpg"), fs::last_write_time(File("b.jpg")) + std::chrono::seconds(2));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  EXPECT_EQ(Value("SELECT id FROM photo_image"), before);
  EXPECT_THAT(People(), ElementsAre("Pierre"));
}

TEST_F(PeopleTest, SwitchedOffStaysOff) {
  MakePhotoOf("Marie", "a.jpg");
  Index();
  Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
  MakePhotoOf("Pierre", "b.jpg");
  Index();
  EXPECT_EQ(Switch(), "off");
  EXPECT_THAT(People(), ElementsAre("Marie"));
}

TEST_F(PeopleTest, SwitchedOffBeforeTheFirstPhotoStaysOffToo) {
  Index();
  EXPECT_EQ(Switch(), "on");
  Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
  MakePhotoOf("Marie", "a.jpg");
  Index();
  EXPECT_EQ(Switch(), "off");
  EXPECT_THAT(People(), IsEmpty());
}

TEST_F(PeopleTest, ALibraryThatHasPhotosIsLeftAsItIs) {
  MakeJpeg(File("old.jpg"), 8, 6);
  Index();
  Query("DELETE FROM photo_config");
  MakePhotoOf("Marie", "a.jpg");
  Index();
  EXPECT_EQ(Switch(), "NULL");
  EXPECT_THAT(People(), IsEmpty());
}

TEST_F(PeopleTest, AFirstRunThatWasCutShortIsMadeUpFor) {
  Index();
  Query("DELETE FROM photo_config");
  MakePhotoOf("Marie", "a.jpg");
  Index();
  EXPECT_EQ(Switch(), "on");
  EXPECT_THAT(People(), ElementsAre("Marie"));
}

}  // namespace
