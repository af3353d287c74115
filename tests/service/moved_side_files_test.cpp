// Side files that wait where a file has moved to: what they say is in its row when they are used up.
#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

template <typename Base>
class MovedSideFilesTest : public Base {
 protected:
  static constexpr const char* kPlace = R"({"lat":12.5,"lng":-3.25})";

  // A side file of what is in trip/NAME.
  fs::path SideFile(const std::string& name, const std::string& kind) const {
    return this->File("trip/@eaDir/" + name + "/" + kind);
  }
  void PutSideFile(const std::string& name, const std::string& kind, const std::string& text) const {
    WriteFile(SideFile(name, kind), text);
  }
  // The value of the row that the file trip/NAME has in TABLE.
  std::string ValueOf(const std::string& table, const std::string& column, const std::string& name) const {
    return this->Value("SELECT " + column + " FROM " + table +
                       " WHERE path = " + this->KeyLiteral("trip/" + name));
  }
  void Move(const std::string& from, const std::string& to) const {
    fs::rename(this->File("trip/" + from), this->File("trip/" + to));
  }
  [[nodiscard]] bool IndexedVideo() {
    if (!MakeVideo(this->File("trip/a.mp4"), 64, 48, 0.2)) return false;
    this->Index();
    return true;
  }
};

TYPED_TEST_SUITE(MovedSideFilesTest, BothKinds);

TYPED_TEST(MovedSideFilesTest, APhotosTitleIsInItsRow) {
  MakeJpeg(this->File("trip/a.jpg"), 8, 8);
  this->Index();
  const std::string id = this->IdOf("trip/a.jpg");
  this->Move("a.jpg", "b.jpg");
  this->PutSideFile("b.jpg", "KAVOPHOTO_TITLE", "Given");
  EXPECT_EQ(this->Index()["moved"].asInt(), 1);
  EXPECT_EQ(this->IdOf("trip/b.jpg"), id);
  EXPECT_EQ(this->ValueOf("photo_image", "title", "b.jpg"), "Given");
  EXPECT_FALSE(fs::exists(this->SideFile("b.jpg", "KAVOPHOTO_TITLE")));
}

TYPED_TEST(MovedSideFilesTest, APhotosDescriptionAndPositionAreInItsRow) {
  MakeJpeg(this->File("trip/a.jpg"), 8, 8);
  this->Index();
  this->Move("a.jpg", "b.jpg");
  this->PutSideFile("b.jpg", "KAVOPHOTO_TITLE", "Given");
  this->PutSideFile("b.jpg", "KAVOPHOTO_DESC", "Told");
  this->PutSideFile("b.jpg", "KAVOPHOTO_GPS", this->kPlace);
  EXPECT_EQ(this->Index()["moved"].asInt(), 1);
  EXPECT_EQ(this->ValueOf("photo_image", "title", "b.jpg"), "Told");
  EXPECT_EQ(this->ValueOf("photo_image", "gps", "b.jpg"), this->kPlace);
  for (const char* kind : {"KAVOPHOTO_TITLE", "KAVOPHOTO_DESC", "KAVOPHOTO_GPS"}) {
    EXPECT_FALSE(fs::exists(this->SideFile("b.jpg", kind))) << kind;
  }
}

TYPED_TEST(MovedSideFilesTest, AVideosTitleAndPositionAreInItsRows) {
  if (!this->IndexedVideo()) GTEST_SKIP() << "no ffmpeg";
  this->Move("a.mp4", "b.mp4");
  this->PutSideFile("b.mp4", "KAVOPHOTO_TITLE", "Given");
  this->PutSideFile("b.mp4", "KAVOPHOTO_GPS", this->kPlace);
  EXPECT_EQ(this->Index()["moved"].asInt(), 1);
  EXPECT_EQ(this->ValueOf("video", "title", "b.mp4"), "Given");
  EXPECT_EQ(this->ValueOf("video", "gps", "b.mp4"), this->kPlace);
  EXPECT_FALSE(fs::exists(this->SideFile("b.mp4", "KAVOPHOTO_TITLE")));
  EXPECT_FALSE(fs::exists(this->SideFile("b.mp4", "KAVOPHOTO_GPS")));
}

TYPED_TEST(MovedSideFilesTest, AVideosDescriptionIsInItsRows) {
  if (!this->IndexedVideo()) GTEST_SKIP() << "no ffmpeg";
  this->Move("a.mp4", "b.mp4");
  this->PutSideFile("b.mp4", "KAVOPHOTO_DESC", "Told");
  EXPECT_EQ(this->Index()["moved"].asInt(), 1);
  EXPECT_EQ(this->ValueOf("video", "title", "b.mp4"), "Told");
  EXPECT_FALSE(fs::exists(this->SideFile("b.mp4", "KAVOPHOTO_DESC")));
}

// Its row moves unread, so nothing of the side file would be in it.
TYPED_TEST(MovedSideFilesTest, ThoseOfAMovedPhotoThatIsBrokenNowStay) {
  MakeJpeg(this->File("trip/a.jpg"), 8, 8);
  this->Index();
  this->Move("a.jpg", "b.jpg");
  WriteFile(this->File("trip/b.jpg"), "no picture");
  this->PutSideFile("b.jpg", "KAVOPHOTO_TITLE", "Given");
  EXPECT_EQ(this->Index()["moved"].asInt(), 1);
  EXPECT_TRUE(fs::exists(this->SideFile("b.jpg", "KAVOPHOTO_TITLE")));
}

}  // namespace
