#include "support/media_maker.h"
#include "support/service_test.h"

namespace {

constexpr int kMany = 1000;

class CutMetadataTest : public ServiceTest {
 protected:
  static std::string Word(int number) { return "keyword number " + std::to_string(10000 + number); }
  static Tags Keywords(const std::string& key, int count) {
    Tags tags;
    for (int i = 0; i < count; ++i) tags.emplace_back(key, Word(i));
    return tags;
  }
  std::string Keywords() const {
    return Value(
        "SELECT count(*) FROM photo_image_label WHERE label_id IN (SELECT id FROM photo_label WHERE "
        "category = 2 AND name LIKE 'keyword number _____')");
  }
};

// 4,095 bytes are kept, and each of these takes 22 with what stands between them.
TEST_F(CutMetadataTest, KeywordsBeyondTheBufferAreNoted) {
  MakeJpeg(File("a.jpg"), 8, 8, Keywords("Xmp.dc.subject", kMany));
  const Json::Value report = Index();
  EXPECT_EQ(NoteOf(report, "a.jpg"), "186 of 1,000 keywords kept");
  EXPECT_EQ(Keywords(), "186");
  EXPECT_EQ(report["failed"].size(), 0U);
  EXPECT_EQ(report["added"].asInt(), 1);
}

TEST_F(CutMetadataTest, KeywordsThatFillTheBufferAreNot) {
  MakeJpeg(File("a.jpg"), 8, 8, Keywords("Xmp.dc.subject", 186));
  EXPECT_EQ(Index()["notes"].size(), 0U);
  EXPECT_EQ(Keywords(), "186");
}

TEST_F(CutMetadataTest, AKeywordTwiceIsOne) {
  Tags tags = Keywords("Xmp.dc.subject", 100);
  for (int i = 0; i < 3; ++i)
    for (const auto& tag : Keywords("Xmp.dc.subject", 100)) tags.push_back(tag);
  MakeJpeg(File("a.jpg"), 8, 8, tags);
  EXPECT_EQ(Index()["notes"].size(), 0U);
  EXPECT_EQ(Keywords(), "100");
}

TEST_F(CutMetadataTest, ListedKeywordsBeyondTheListAreNoted) {
  MakeJpeg(File("a.jpg"), 8, 8, Keywords("Iptc.Application2.Keywords", 1026));
  EXPECT_EQ(NoteOf(Index(), "a.jpg"), "1,024 of 1,026 keywords kept");
}

TEST_F(CutMetadataTest, AKeywordThatIsTooLongForItsLineIsNoted) {
  MakeJpeg(File("a.jpg"), 8, 8,
           {{"Iptc.Application2.Keywords", "sea"}, {"Iptc.Application2.Keywords", std::string(220, 'x')}});
  EXPECT_EQ(NoteOf(Index(), "a.jpg"), "1 of 2 keywords kept");
}

TEST_F(CutMetadataTest, ALongKeywordThatFitsIsNot) {
  MakeJpeg(
      File("a.jpg"), 8, 8,
      {{"Iptc.Application2.Keywords", "the  sea"}, {"Iptc.Application2.Keywords", std::string(185, 'x')}});
  EXPECT_EQ(Index()["notes"].size(), 0U);
}

TEST_F(CutMetadataTest, PeopleBeyondTheListAreNoted) {
  const std::string list = "Xmp.mwg-rs.Regions/mwg-rs:RegionList";
  Tags tags = FaceTags("Person 1");
  for (int i = 2; i <= 1030; ++i) {
    const std::string region = list + "[" + std::to_string(i) + "]";
    tags.emplace_back(region + "/mwg-rs:Name", "Person " + std::to_string(i));
    tags.emplace_back(region + "/mwg-rs:Area/stArea:x", "0.5");
    tags.emplace_back(region + "/mwg-rs:Area/stArea:y", "0.5");
    tags.emplace_back(region + "/mwg-rs:Area/stArea:w", "0.2");
    tags.emplace_back(region + "/mwg-rs:Area/stArea:h", "0.4");
  }
  MakeImage(File("a.png"), 8, 8, tags);  // more than a JPEG holds
  EXPECT_EQ(NoteOf(Index(), "a.png"), "1,024 of 1,030 people kept");
}

TEST_F(CutMetadataTest, TwoNotesStandInOneLine) {
  MakeJpeg(File("a.jpg"), 64, 32, Keywords("Xmp.dc.subject", kMany));
  std::filesystem::resize_file(File("a.jpg"), std::filesystem::file_size(File("a.jpg")) - 20);
  EXPECT_EQ(NoteOf(Index(), "a.jpg"), "the picture is cut short; 186 of 1,000 keywords kept");
}

}  // namespace
