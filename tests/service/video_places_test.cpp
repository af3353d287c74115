// Positions of videos, from their containers into their rows, on both engines.
#include <sys/stat.h>

#include <filesystem>

#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kIso = "+48.8577+002.2950/";
constexpr const char* kPlace = R"({"lat":"48.857700","lng":"2.295000"})";
constexpr const char* kOtherIso = "-33.5000-070.2500+100.000/";
constexpr const char* kOtherPlace = R"({"lat":"-33.500000","lng":"-70.250000"})";

template <typename Base>
class VideoPlacesTest : public Base {
 protected:
  void SetUp() override {
    Base::SetUp();
    if (!this->IsSkipped() && system("command -v ffmpeg >/dev/null") != 0) GTEST_SKIP() << "no ffmpeg";
  }

  void Make(const std::string& name, const char* iso) const {
    ASSERT_TRUE(MakeTaggedVideo(this->File(name), {{"location", iso}}));
  }
  std::string Column(const std::string& name, const std::string& column) const {
    return this->Value("SELECT " + column + " FROM video WHERE path = " + this->KeyLiteral(name));
  }
  std::string Gps(const std::string& name) const { return Column(name, "gps"); }
  void Edit(const std::string& name, const std::string& gps) const {
    this->Query("UPDATE video SET gps = '" + gps + "' WHERE path = " + this->KeyLiteral(name));
  }
  // What is read again because its content has changed.
  void Change(const std::string& name, const char* iso) const {
    Make(name, iso);
    fs::last_write_time(this->File(name), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  void Reindex() {
    EXPECT_EQ(this->Run(this->shared() ? std::vector<std::string>{"reindex", "--shared", "--quiet"}
                                       : std::vector<std::string>{"reindex", this->folder(), "--quiet"})
                  .status,
              0);
  }
};

TYPED_TEST_SUITE(VideoPlacesTest, BothKinds, KindNames);

TYPED_TEST(VideoPlacesTest, ThoseOfTheContainerAreStored) {
  for (const char* name : {"a.mov", "b.mp4", "c.3gp", "d.mkv"}) this->Make(name, kIso);
  ASSERT_TRUE(MakeTaggedVideo(this->File("e.mov"),
                              {{"com.apple.quicktime.location.ISO6709", kIso}, {"location", kOtherIso}}));
  this->Index();
  for (const char* name : {"a.mov", "b.mp4", "c.3gp", "d.mkv", "e.mov"}) {
    EXPECT_EQ(this->Gps(name), kPlace) << name;
    EXPECT_EQ(this->Column(name, "lat"), "NULL") << name;
  }
}

TYPED_TEST(VideoPlacesTest, NothingIsWrittenIntoTheFolder) {
  this->Make("a.mov", kIso);
  this->Index();
  EXPECT_EQ(this->Gps("a.mov"), kPlace);
  EXPECT_FALSE(fs::exists(this->File("@eaDir")));
}

TYPED_TEST(VideoPlacesTest, AVideoWithoutOneHasNoneAfterOneThatHas) {
  this->Make("a.mov", kIso);
  ASSERT_TRUE(MakeTaggedVideo(this->File("b.mov"), {}));
  this->Make("c.mov", "+00.0000+000.0000/");
  this->Index({"-j", "1"});
  EXPECT_EQ(this->Gps("a.mov"), kPlace);
  EXPECT_EQ(this->Gps("b.mov"), "");
  EXPECT_EQ(this->Gps("c.mov"), "");
}

TYPED_TEST(VideoPlacesTest, ASideFileOnTheDiskComesFirst) {
  this->Make("a.mov", kIso);
  this->Make("b.mov", kIso);
  WriteFile(this->File("@eaDir/a.mov/KAVOPHOTO_GPS"), "underscore");
  WriteFile(this->File("@eaDir/b.mov/KAVOPHOTO:GPS"), "colon");
  this->Index();
  EXPECT_EQ(this->Gps("a.mov"), "underscore");
  EXPECT_EQ(this->Gps("b.mov"), "colon");
  EXPECT_FALSE(fs::exists(this->File("@eaDir/a.mov/KAVOPHOTO_GPS")));
  EXPECT_FALSE(fs::exists(this->File("@eaDir/b.mov/KAVOPHOTO:GPS")));
  this->Reindex();
  EXPECT_EQ(this->Gps("a.mov"), "underscore");
  EXPECT_EQ(this->Gps("b.mov"), "colon");
}

TYPED_TEST(VideoPlacesTest, OneThatSomebodyEditedStays) {
  this->Make("a.mov", kIso);
  this->Index();
  this->Edit("a.mov", "edited");
  this->Change("a.mov", kOtherIso);
  EXPECT_EQ(this->Index()["unchanged"].asInt(), 0);
  EXPECT_EQ(this->Gps("a.mov"), "edited");
  this->Reindex();
  EXPECT_EQ(this->Gps("a.mov"), "edited");
}

TYPED_TEST(VideoPlacesTest, ReadAgainItIsTheSame) {
  this->Make("a.mov", kIso);
  this->Index();
  for (int round = 0; round < 2; ++round) {
    this->Reindex();
    EXPECT_EQ(this->Gps("a.mov"), kPlace);
  }
}

TYPED_TEST(VideoPlacesTest, ARowOfAnEarlierVersionGetsOne) {
  this->Make("a.mov", kIso);
  this->Index();
  this->Query("UPDATE video SET gps = NULL");
  this->Reindex();
  EXPECT_EQ(this->Gps("a.mov"), kPlace);
}

TYPED_TEST(VideoPlacesTest, AMovedVideoKeepsTheOneOfItsRow) {
  this->Make("a.mov", kIso);
  this->Make("b.avi", kIso);
  this->Make("c.mkv", kIso);
  this->Make("d.mkv", kIso);
  this->Index();
  EXPECT_EQ(this->Gps("b.avi"), "") << "this container has no place for it";
  this->Edit("a.mov", "edited");
  this->Edit("b.avi", "given");
  this->Edit("c.mkv", "edited too");
  for (const auto& [from, to] : std::map<std::string, std::string>{
           {"a.mov", "a2.mov"}, {"b.avi", "trip/b.avi"}, {"c.mkv", "c2.mkv"}, {"d.mkv", "d2.mkv"}}) {
    fs::create_directories(this->File(to).parent_path());
    fs::rename(this->File(from), this->File(to));
  }
  EXPECT_EQ(this->Index()["moved"].asInt(), 4);
  EXPECT_EQ(this->Gps("a2.mov"), "edited");
  EXPECT_EQ(this->Gps("trip/b.avi"), "given");
  EXPECT_EQ(this->Gps("c2.mkv"), "edited too");
  EXPECT_EQ(this->Gps("d2.mkv"), kPlace);
}

TYPED_TEST(VideoPlacesTest, ASideFileThatWaitsForAMovedVideoComesFirst) {
  this->Make("a.mov", kIso);
  this->Index();
  fs::rename(this->File("a.mov"), this->File("b.mov"));
  WriteFile(this->File("@eaDir/b.mov/KAVOPHOTO:GPS"), "from the side file");
  this->Index();
  EXPECT_EQ(this->Gps("b.mov"), "from the side file");
}

TYPED_TEST(VideoPlacesTest, AnotherVideoUnderItsNameKeepsWhatIsStored) {
  this->Make("a.mov", kIso);
  this->Index();
  this->Change("a.mov", kOtherIso);
  this->Index();
  EXPECT_EQ(this->Gps("a.mov"), kPlace);
  fs::remove(this->File("a.mov"));
  this->Make("keep.mov", kIso);
  this->Index();
  this->Make("a.mov", kOtherIso);
  this->Index();
  EXPECT_EQ(this->Gps("a.mov"), kOtherPlace);
}

}  // namespace
