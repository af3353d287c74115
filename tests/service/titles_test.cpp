// Titles that photos carry, in the real program: which of them come into the row, and which stay.
#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

class TitlesTest : public ServiceTest {
 protected:
  void MakeTitled(const std::string& path, const std::string& title) const {
    MakeJpeg(File(path), 40, 30, {{"Xmp.dc.title", title}});
  }
  std::string Title(const std::string& path) const {
    return Value("SELECT title FROM photo_image WHERE path = '" + path + "'");
  }
  void SetTitle(const std::string& title) const { Query("UPDATE photo_image SET title = '" + title + "'"); }
  void Reread() { EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0); }
};

TEST_F(TitlesTest, ANewPhotoHasTheTitleThatItCarries) {
  MakeTitled("trip/a.jpg", "Evening at sea");
  Index();
  EXPECT_EQ(Title("trip/a.jpg"), "Evening at sea");
  Reread();
  EXPECT_EQ(Title("trip/a.jpg"), "Evening at sea");
}

TEST_F(TitlesTest, ARowFromBeforeGetsTheTitleInThePlaceOfTheName) {
  MakeTitled("my.photo.jpg", "Evening");
  Index();
  for (const char* made : {"my.photo", ""}) {
    SetTitle(made);
    Reread();
    EXPECT_EQ(Title("my.photo.jpg"), "Evening") << made;
  }
}

TEST_F(TitlesTest, ATitleThatSomebodyGaveStays) {
  MakeTitled("a.jpg", "Evening");
  Index();
  SetTitle("Mine");
  Reread();
  EXPECT_EQ(Title("a.jpg"), "Mine");
  MakeTitled("a.jpg", "Another one");
  Index();
  EXPECT_EQ(Title("a.jpg"), "Mine");
}

TEST_F(TitlesTest, ATitleThatSomebodyGaveStaysBesideOneThatBeginsAsItsFile) {
  MakeJpeg(File("Paris.jpg"), 40, 30);
  Index();
  SetTitle("Mine");
  MakeTitled("Paris.jpg", "Paris by night");
  Index();
  EXPECT_EQ(Title("Paris.jpg"), "Mine");
}

TEST_F(TitlesTest, ATitleThatSomebodyGaveStaysWhateverTheNameIs) {
  const std::vector<std::string> names = {" lead.jpg", "trail .jpg", "tab\t.jpg", "my.photo.jpg",
                                          "plain.jpg"};
  for (const std::string& name : names) MakeJpeg(File(name), 40, 30);
  Index();
  SetTitle("Mine");
  Reread();
  for (const std::string& name : names) EXPECT_EQ(Title(name), "Mine") << name;
}

TEST_F(TitlesTest, AFailedCallLeavesTheTitle) {
  MakeJpeg(File("Paris.jpg"), 40, 30);
  Index();
  MakeTitled("Paris.jpg", "Paris by night");
  Environment("LD_PRELOAD", REFUSING_TRIGGERS);
  Environment("TRIGGER_AT_OPEN",
              "CREATE TEMP TRIGGER refusal BEFORE UPDATE ON photo_image WHEN NEW.title <> '' BEGIN SELECT "
              "RAISE(ABORT, 'refused'); END");
  Index({}, 3);
  EXPECT_EQ(Title("Paris.jpg"), "Paris");
}

TEST_F(TitlesTest, ASideFileWins) {
  MakeTitled("a.jpg", "Evening");
  fs::create_directories(File("@eaDir/a.jpg"));
  WriteFile(File("@eaDir/a.jpg/KAVOPHOTO_TITLE"), "Beside");
  Index();
  EXPECT_EQ(Title("a.jpg"), "Beside");
  Reread();
  EXPECT_EQ(Title("a.jpg"), "Beside") << "it was taken once";
}

TEST_F(TitlesTest, ATitleMovesWithItsPhoto) {
  MakeTitled("trip/a.jpg", "Evening");
  MakeJpeg(File("trip/b.jpg"), 16, 8);
  Index();
  SetTitle("Mine");
  fs::rename(File("trip/a.jpg"), File("trip/c.jpg"));
  Index();
  EXPECT_EQ(Title("trip/c.jpg"), "Mine");
}

template <typename Base>
class TitlesOnBothTest : public Base {};

TYPED_TEST_SUITE(TitlesOnBothTest, BothKinds, KindNames);

// The plug-in takes a title that begins as the name does for one that is made from it.
TYPED_TEST(TitlesOnBothTest, ATitleThatBeginsAsItsFileComesIntoARowToo) {
  MakeJpeg(this->File("Paris.jpg"), 40, 30);
  this->Index();
  EXPECT_EQ(this->Value("SELECT title FROM photo_image"), "Paris");
  for (int run = 0; run < 2; ++run) {
    MakeJpeg(this->File("Paris.jpg"), 40 + run, 30, {{"Xmp.dc.title", "Paris by night"}});
    this->Index();
    EXPECT_EQ(this->Value("SELECT title FROM photo_image"), "Paris by night") << run;
  }
}

// The savepoint of the clearing lies inside that of the move.
TYPED_TEST(TitlesOnBothTest, ATitleThatBeginsAsItsFileComesIntoARowThatMovesToo) {
  MakeJpeg(this->File("Paris.jpg"), 40, 30);
  this->Index();
  fs::create_directories(this->File("trip"));
  fs::rename(this->File("Paris.jpg"), this->File("trip/Paris.jpg"));
  MakeJpeg(this->scratch() / "titled.jpg", 40, 30, {{"Xmp.dc.title", "Paris by night"}});
  WriteFile(this->File("trip/Paris.jpg"), ReadFile(this->scratch() / "titled.jpg"));
  this->Index();
  EXPECT_EQ(this->Value("SELECT title FROM photo_image"), "Paris by night");
  EXPECT_EQ(this->Value("SELECT count(*) FROM photo_image"), "1");
}

}  // namespace
