#include "photo_database/thumbnail_version.h"

#include "support/fake_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ThumbnailTest : public FakeLibraryTest {
 protected:
  std::string photo() const { return shared() + "/trip/b.jpg"; }
  std::string Thumbnail(const std::string& separator) const {
    return shared() + "/trip/@eaDir/b.jpg/KAVOPHOTO" + separator + "THUMB_XL.jpg";
  }
  void AddThumbnail(const std::string& separator, int width, int height) {
    WriteFile(Thumbnail(separator), "");
    fake().resolutions[Thumbnail(separator)] = {width, height};
  }
  int Version(int width, int height) const { return ThumbnailVersion(photo().c_str(), width, height); }
};

TEST_F(ThumbnailTest, MissingThumbnailGivesZero) {
  EXPECT_EQ(Version(400, 300), 0);
  EXPECT_EQ(fake().Count("KAVOIndexImgResGet"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(ThumbnailTest, ContradictionGivesOne) {
  AddThumbnail("_", 3, 4);
  EXPECT_EQ(Version(400, 300), 1);
  AddThumbnail("_", 4, 3);
  EXPECT_EQ(Version(300, 400), 1);
}

TEST_F(ThumbnailTest, AgreementAndSquaresGiveZero) {
  AddThumbnail("_", 4, 3);
  EXPECT_EQ(Version(400, 300), 0);
  EXPECT_EQ(Version(400, 400), 0);
  AddThumbnail("_", 4, 4);
  EXPECT_EQ(Version(400, 300), 0);
  EXPECT_EQ(Version(300, 400), 0);
}

TEST_F(ThumbnailTest, SizesAreComparedWithoutSign) {
  AddThumbnail("_", 3, 4);
  EXPECT_EQ(Version(-1, 300), 1);
  EXPECT_EQ(Version(300, -1), 0);
}

TEST_F(ThumbnailTest, UnderscoreFormComesFirst) {
  AddThumbnail(":", 3, 4);
  EXPECT_EQ(Version(400, 300), 1);
  AddThumbnail("_", 4, 3);
  EXPECT_EQ(Version(400, 300), 0);
}

TEST_F(ThumbnailTest, UnreadableThumbnailGivesZero) {
  AddThumbnail("_", 3, 4);
  fake().failing = {"KAVOIndexImgResGet"};
  EXPECT_EQ(Version(400, 300), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) KAVOIndexImgResGet failed."));
}

TEST_F(ThumbnailTest, IsMeasuredThroughItsDescriptor) {
  AddThumbnail("_", 3, 4);
  EXPECT_EQ(Version(400, 300), 1);
  EXPECT_EQ(fake().Count("KAVOBeneathOpen(" + shared() + ", " + Thumbnail("_") + ")"), 1);
  EXPECT_EQ(fake().Count("KAVOIndexImgResGet(/proc/self/fd/"), 1);
}

TEST_F(ThumbnailTest, ThumbnailThatCannotBeOpenedGivesZero) {
  AddThumbnail("_", 3, 4);
  fake().failing = {"KAVOBeneathOpen"};
  EXPECT_EQ(Version(400, 300), 0);
  EXPECT_EQ(fake().Count("KAVOIndexImgResGet"), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) KAVOIndexImgResGet failed."));
}

TEST_F(ThumbnailTest, BadPathsGiveZero) {
  EXPECT_EQ(ThumbnailVersion(nullptr, 4, 3), 0);
  EXPECT_EQ(ThumbnailVersion(("/" + std::string(4094, 'x') + "/b.jpg").c_str(), 4, 3), 0);
  ASSERT_EQ(Messages().size(), 2U);
  EXPECT_EQ(Messages()[0], "photo_database.cpp (#) Bad parameters.");
  EXPECT_THAT(Messages()[1], testing::MatchesRegex(
                                 "photo_database.cpp:# photo_database.cpp \\([0-9]+\\) szPath is too long"));
}

TEST_F(ThumbnailTest, LongestFolderIsAccepted) {
  EXPECT_EQ(ThumbnailVersion(("/" + std::string(4093, 'x') + "/b.jpg").c_str(), 4, 3), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(ThumbnailTest, NameIsCut) {
  const std::string path = shared() + "/" + std::string(4000, 'x') + "/" + std::string(80, 'y') + ".jpg";
  EXPECT_EQ(ThumbnailVersion(path.c_str(), 4, 3), 0);
  const std::string asked = "KAVOBeneathExist(" + shared() + ", ";
  for (const auto& call : fake().calls) {
    if (!call.starts_with(asked)) continue;
    EXPECT_EQ(call.size(), asked.size() + 4095 + 1);
  }
  EXPECT_EQ(fake().Count(asked), 2);
}

}  // namespace
