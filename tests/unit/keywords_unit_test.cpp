#include "photo_database/keywords.h"

#include "support/fake_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kDeleteLinks =
    "DELETE FROM photo_image_label WHERE image_id = 7 AND label_id IN (SELECT id FROM photo_label WHERE "
    "category = 2)";

class KeywordsTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    Answer({.match = "SELECT id FROM photo_image WHERE path", .rows = {{{"id", "7"}}}});
    Answer({.match = "select * from photo_label where", .rows = {{{"id", "9"}}}});
    Answer({.match = "select * from photo_image_label", .rows = {{{"id", "11"}}}});
  }

  std::string path() const { return shared() + "/b.jpg"; }
  void SetXmp(const std::string& value) {
    fake().programs.push_back({"-K Xmp.dc.subject -Pt", {0, value + "\n"}});
  }
  void SetListing(const std::string& lines) {
    SetXmp("");
    fake().programs.push_back({"exiv2 -pa ", {0, lines}});
  }
  // The keywords that were linked, in order.
  std::vector<std::string> Update() {
    EXPECT_TRUE(UpdateKeywords(path().c_str()));
    std::vector<std::string> names;
    for (const auto& sql : Sent("select * from photo_label where category = 2 and name = '")) {
      const auto start = sql.find("name = '") + 8;
      names.push_back(sql.substr(start, sql.rfind('\'') - start));
    }
    return names;
  }
};

TEST_F(KeywordsTest, AreThePiecesBetweenCommas) {
  SetXmp("sea, sun, ");
  EXPECT_THAT(Update(), ElementsAre("sea", "sun"));
  EXPECT_THAT(
      Sent("INSERT INTO photo_image_label"),
      ElementsAre(
          "INSERT INTO photo_image_label (image_id, label_id, info_new, status) VALUES(7, 9, '', 't')",
          "INSERT INTO photo_image_label (image_id, label_id, info_new, status) VALUES(7, 9, '', 't')"));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(KeywordsTest, OldLinksGoBeforeNewOnesCome) {
  SetXmp("sea");
  Update();
  std::vector<std::string> writes = Sent(" photo_image_label WHERE image_id = 7 AND label_id IN");
  EXPECT_THAT(writes, ElementsAre(kDeleteLinks));
  const auto& all = fake().statements;
  const auto removed = std::find(all.begin(), all.end(), kDeleteLinks);
  const auto added =
      std::find_if(all.begin(), all.end(), [](const auto& sql) { return sql.starts_with("INSERT"); });
  EXPECT_LT(removed, added);
}

TEST_F(KeywordsTest, ListingIsNotReadWhenXmpHasSome) {
  SetXmp("sea");
  Update();
  EXPECT_EQ(fake().Count("ProcessRunner(/usr/kavo/bin/exiv2 -pa"), 0);
}

TEST_F(KeywordsTest, ListedLinesGiveOneEntryEach) {
  SetListing(
      "Exif.Image.Make                              Ascii       5  Iptc\n"
      "Iptc.Application2.Keywords                   String     11  Marie  Curie\n"
      "Iptc.Application2.Keywords                   String      9  one, two\n"
      "Iptc.Application2.Keywords                   String      0  \n"
      "Iptc.Application2.Caption                    String      5  text\n");
  EXPECT_THAT(Update(), ElementsAre("Marie Curie", "one", "two"));
}

TEST_F(KeywordsTest, ListedLinesAreNoFormats) {
  SetListing("Iptc.Application2.Keywords  String  9  100%d\n");
  EXPECT_THAT(Update(), ElementsAre("100%d"));
}

TEST_F(KeywordsTest, ListedLinesOfACodePageAreConverted) {
  SetListing("Iptc.Application2.Keywords  String  4  caf\xE9\n");
  EXPECT_THAT(Update(), ElementsAre("caf\xC3\xA9"));
}

TEST_F(KeywordsTest, ListedLinesAreCut) {
  const std::string start = "Iptc.Application2.Keywords String 9 ";
  SetListing(start + std::string(300, 'x') + "\n");
  EXPECT_THAT(Update(), ElementsAre(std::string(254 - start.size(), 'x')));
}

TEST_F(KeywordsTest, ListedLineCutInACharacterLosesThat) {
  const std::string start = "Iptc.Application2.Keywords String 9 \xC3\xA9";
  const std::string fill(253 - start.size(), 'x');
  SetListing(start + fill + "\xC3\xA9\n");
  EXPECT_THAT(Update(), ElementsAre("\xC3\xA9" + fill));
}

TEST_F(KeywordsTest, ListedLinesMayBePadded) {
  using namespace std::string_literals;
  SetListing(
      "Iptc.Application2.Keywords  String  5  sea\0\0\n"
      "Iptc.Application2.Keywords  String  3  sun\n"s);
  EXPECT_THAT(Update(), ElementsAre("sea", "sun"));
}

TEST_F(KeywordsTest, OneEntryGivesAtMost1024) {
  std::string value = "first";
  for (int i = 1; i < 1024; ++i) value += ",x";
  SetXmp(value);
  EXPECT_EQ(Update().size(), 1024U);
  fake().statements.clear();
  fake().programs.clear();
  SetXmp(value + ",last");
  EXPECT_THAT(Update(), testing::AllOf(testing::SizeIs(1024), Not(testing::Contains("last"))));
}

TEST_F(KeywordsTest, AtMost1024EntriesAreListed) {
  std::string lines;
  for (int i = 0; i < 1024; ++i) lines += "Iptc.Application2.Keywords String 1 x\n";
  SetListing(lines + "Iptc.Application2.Keywords String 4 last\n");
  EXPECT_THAT(Update(), testing::AllOf(testing::SizeIs(1024), Not(testing::Contains("last"))));
}

TEST_F(KeywordsTest, FileWithoutMetadataLosesItsLabels) {
  SetListing("");
  EXPECT_THAT(Update(), IsEmpty());
  EXPECT_THAT(Sent("DELETE"), ElementsAre(kDeleteLinks));
}

TEST_F(KeywordsTest, UnreadableFileKeepsItsLabels) {
  SetXmp("");
  for (const char* part : {"", "Iptc.Application2.Keywords  String  3  sea\n"}) {
    fake().programs.push_back({"exiv2 -pa ", {1, part}});
    EXPECT_THAT(Update(), IsEmpty());
    EXPECT_THAT(Sent("DELETE"), IsEmpty());
    fake().programs.pop_back();
  }
}

TEST_F(KeywordsTest, LabelsStayWithoutTheTool) {
  EXPECT_THAT(Update(), IsEmpty());
  EXPECT_THAT(Sent("DELETE"), IsEmpty());
  EXPECT_THAT(
      Messages(),
      ElementsAre("photo_database.cpp:# Failed to pipe /usr/kavo/bin/exiv2 -K Xmp.dc.subject -Pt " + path(),
                  "photo_database.cpp:# Failed to pipe /usr/kavo/bin/exiv2 -pa " + path()));
}

TEST_F(KeywordsTest, PathThatCannotBeCheckedEndsTheStep) {
  UsePersonal();
  fake().key_values.clear();
  EXPECT_FALSE(UpdateKeywords((personal() + "/b.jpg").c_str()));
  EXPECT_THAT(Messages().back(), "photo_database.cpp:# HGAStatusCheck failed for " + personal() + "/b.jpg.");
  EXPECT_THAT(fake().statements, IsEmpty());
  fake().personal_folders.clear();
}

TEST_F(KeywordsTest, PhotoWithoutARowEndsTheStep) {
  fake().answers.clear();
  SetXmp("sea");
  Update();
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# PhotoInfoDBPhotoIdGet failed for " + path() + "."));
  EXPECT_EQ(fake().Count("ProcessRunner"), 0);
}

TEST_F(KeywordsTest, LinksThatCannotBeRemovedEndTheStep) {
  Answer({.match = kDeleteLinks, .result = -1});
  SetXmp("sea");
  EXPECT_THAT(Update(), IsEmpty());
  EXPECT_THAT(Messages().back(), "photo_database.cpp:# Failed to delete photo_image_label by photo_id(7)");
}

TEST_F(KeywordsTest, PiecesThatFailAreSkipped) {
  SetXmp("sea,sun,sand");
  fake().failing_at = {{"RLIBCStrTrimSpace", 2}};
  EXPECT_THAT(Update(), ElementsAre("sea", "sand"));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# RLIBCStrTrimSpace failed for sun."));
}

TEST_F(KeywordsTest, EntryThatCannotBeSplitIsLogged) {
  for (const char* failing : {"RLIBCStrSepToList", "RLIBCSzListAlloc"}) {
    SyslogCapture::Clear();
    SetXmp("sea");
    fake().failing = {failing};
    EXPECT_THAT(Update(), IsEmpty());
    EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Separate value to list failed."));
  }
}

TEST_F(KeywordsTest, LabelThatCannotBeHadIsSkipped) {
  SetXmp("sea,sun");
  fake().answers.insert(fake().answers.begin(), {.match = "name = 'sea'", .result = -1});
  EXPECT_THAT(Update(), ElementsAre("sea", "sun"));
  EXPECT_THAT(Messages().back(), "photo_database.cpp:# PhotoInfoDBLabelCheck failed for sea.");
  EXPECT_EQ(Sent("INSERT INTO photo_image_label").size(), 1U);
}

TEST_F(KeywordsTest, LinkThatCannotBeAddedIsLogged) {
  SetXmp("sea");
  Answer({.match = "INSERT INTO photo_image_label", .result = -1});
  Update();
  EXPECT_THAT(Messages().back(),
              "photo_database.cpp:# PhotoInfoDBImageLabelDataAdd failed for sea, iPhotoId: 7, iLabelId: 9");
}

}  // namespace
