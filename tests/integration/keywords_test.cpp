#include <exiv2/exiv2.hpp>

#include "support/saved_media.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kPeople = 0;
constexpr int kKeywords = 2;

class KeywordsTest : public SavedMediaTest {};

TEST_P(KeywordsTest, OfXmp) {
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Xmp.dc.subject", "sea"}, {"Xmp.dc.subject", "sun, "}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kKeywords), ElementsAre("sea", "sun"));
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(KeywordsTest, OfIptc) {
  MakeJpeg(Path("b.jpg"), 8, 6,
           {{"Iptc.Application2.Keywords", "Marie Curie"},
            {"Iptc.Application2.Keywords", "S\xC3\xA9vres"},
            {"Iptc.Application2.Keywords", "100%"},
            {"Iptc.Application2.Keywords", "it's, one"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kKeywords),
              testing::UnorderedElementsAre("100%", "Marie Curie", "S\xC3\xA9vres", "it's", "one"));
}

TEST_P(KeywordsTest, OfIptcInACodePage) {
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Iptc.Application2.Keywords", "S\xE9vres"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  // What the byte means is for the code page of the system, which is a Western one unless somebody set
  // another.
  EXPECT_THAT(Labels("b.jpg", kKeywords), ElementsAre("S\xC3\xA9vres"));
}

TEST_P(KeywordsTest, OfIptcPaddedWithNuls) {
  using namespace std::string_literals;
  MakeJpeg(Path("b.jpg"), 8, 6,
           {{"Iptc.Application2.Keywords", "sea\0\0\0"s},
            {"Iptc.Application2.Keywords", "sun"},
            {"Iptc.Application2.Caption", "\0"s}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kKeywords), ElementsAre("sea", "sun"));
}

TEST_P(KeywordsTest, FileWithoutMetadataLosesThem) {
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Xmp.dc.subject", "sea"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  MakeJpeg(Path("b.jpg"), 8, 6);
  const auto image = Exiv2::ImageFactory::open(Path("b.jpg"), true);
  image->readMetadata();
  image->clearMetadata();
  image->writeMetadata();
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kKeywords), IsEmpty());
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(KeywordsTest, ChangedOnesReplaceTheOldOnesAndKeepPeople) {
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Xmp.dc.subject", "sea, sun"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  const int marie = PhotoInfoDBLabelCheck(Path("b.jpg").c_str(), "Marie", kPeople);
  PhotoInfoDBImageLabelDataAdd(std::stoi(Photo("b.jpg", "id")), marie, "{}", "t");
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Xmp.dc.subject", "sun, sand"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kKeywords), ElementsAre("sand", "sun"));
  EXPECT_THAT(Labels("b.jpg", kPeople), ElementsAre("Marie"));
}

TEST_P(KeywordsTest, OtherFormatsAreReadOnlyOnce) {
  MakeImage(Path("b.webp"), 8, 6, {{"Xmp.dc.subject", "sea"}});
  EXPECT_EQ(SavePhoto("b.webp"), 0);
  EXPECT_THAT(Labels("b.webp", kKeywords), ElementsAre("sea"));
  MakeImage(Path("b.webp"), 8, 6, {{"Xmp.dc.subject", "sun"}});
  EXPECT_EQ(SavePhoto("b.webp"), 0);
  EXPECT_THAT(Labels("b.webp", kKeywords), ElementsAre("sea"));
}

TEST_P(KeywordsTest, PhotosShareTheirLabels) {
  MakeJpeg(Path("a.jpg"), 8, 6, {{"Xmp.dc.subject", "sea"}});
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Xmp.dc.subject", "sea"}});
  EXPECT_EQ(SavePhoto("a.jpg"), 0);
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_EQ(Value("select count(*) from photo_label"), "1");
  EXPECT_EQ(Value("select count(*) from photo_image_label"), "2");
}

TEST_P(KeywordsTest, FileThatIsBeingCopiedKeepsItsLabels) {
  MakeJpeg(Path("b.jpg"), 8, 6, {{"Xmp.dc.subject", "sea"}});
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  WriteFile(Path("b.jpg"), "\xFF\xD8\xFF");
  EXPECT_EQ(SavePhoto("b.jpg"), 0);
  EXPECT_THAT(Labels("b.jpg", kKeywords), ElementsAre("sea"));
}

TEST_P(KeywordsTest, RealPhotos) {
  const auto folder = SharedPhotos();
  const auto real = folder / "media/immich-test-assets/faces/portrait.jpg";
  if (!std::filesystem::exists(real)) GTEST_SKIP() << "no shared photos";
  std::filesystem::copy_file(real, Path("xmp.jpg"));
  std::filesystem::copy_file(folder / "media/pillow/iptc.jpg", Path("iptc.jpg"));
  EXPECT_EQ(SavePhoto("xmp.jpg"), 0);
  EXPECT_THAT(Labels("xmp.jpg", kKeywords), ElementsAre("Marie Curie", "Pierre Curie"));
  EXPECT_EQ(SavePhoto("iptc.jpg"), 0);
  EXPECT_FALSE(Labels("iptc.jpg", kKeywords).empty());
}

INSTANTIATE_TEST_SUITE_P(Engines, KeywordsTest, BothEngines(), EngineName);

}  // namespace
