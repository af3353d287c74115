// The people of a photo: those of its metadata, those of the database, and what becomes of both.
#include "photo_database/people_database.h"
#include "photo_database/people_merge.h"
#include "photo_database/people_regions.h"
#include "support/fake_library.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kMicrosoft = "Xmp.MP.RegionInfo/MPRI:Regions";
constexpr const char* kGroup = "Xmp.mwg-rs.Regions/mwg-rs:RegionList";

using Entries = std::vector<std::pair<std::string, std::string>>;

Entries EntriesOf(const RLIBCSZHASH* hash) {
  Entries entries;
  const char* key = nullptr;
  const char* value = nullptr;
  for (int i = 0; RLIBCSzHashAt(hash, i, &key, &value) == 0; ++i) entries.emplace_back(key, value);
  return entries;
}

std::string Line(const std::string& region, int number, const std::string& property,
                 const std::string& value) {
  return region + "[" + std::to_string(number) + "]/" + property + "  " + value + "\n";
}
std::string Microsoft(int number, const std::string& name, const std::string& rectangle) {
  return Line(kMicrosoft, number, "MPReg:PersonDisplayName", name) +
         Line(kMicrosoft, number, "MPReg:Rectangle", rectangle);
}
std::string Group(int number, const std::string& name, const std::string& type = "Face") {
  return Line(kGroup, number, "mwg-rs:Area/stArea:h", "0.2") +
         Line(kGroup, number, "mwg-rs:Area/stArea:w", "0.1") +
         Line(kGroup, number, "mwg-rs:Area/stArea:x", "0.5") +
         Line(kGroup, number, "mwg-rs:Area/stArea:y", "0.5") + Line(kGroup, number, "mwg-rs:Name", name) +
         Line(kGroup, number, "mwg-rs:Type", type);
}

class PeopleTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    WriteFile(path(), "");
  }
  std::string path() const { return shared() + "/b.jpg"; }
  void SetListing(const std::string& lines) { fake().programs = {{"exiv2 -Pkt ", {0, lines}}}; }
  void SetOrientation(const std::string& orientation) {
    Answer({.match = "SELECT rotation", .rows = {{{"rotation", orientation}}}});
  }
};

// --- Metadata.

class RegionsTest : public PeopleTest {
 protected:
  void SetUp() override {
    PeopleTest::SetUp();
    SetOrientation("6");
  }
  Entries Read(const std::string& lines, People people = People::kNamed) {
    SetListing(lines);
    const auto read = GetPhotoPeopleTaggingFromMetadata(path().c_str(), people);
    return read ? EntriesOf(read->regions.get()) : Entries{{"failed", ""}};
  }
};

TEST_F(RegionsTest, MicrosoftRegionsByName) {
  EXPECT_THAT(
      Read(Microsoft(1, "Marie Curie", "0.1, 0.2, 0.3, 0.4") + Microsoft(2, "Pierre", "0.5, 0.6, 0.1, 0.1")),
      ElementsAre(Pair("Marie Curie", "0.1, 0.2, 0.3, 0.4"), Pair("Pierre", "0.5, 0.6, 0.1, 0.1")));
}

TEST_F(RegionsTest, GroupRegionsFromTheirCentre) {
  EXPECT_THAT(Read(Group(1, "Marie")), ElementsAre(Pair("Marie", "0.450000, 0.400000, 0.100000, 0.200000")));
}

TEST_F(RegionsTest, LastOfOneNameCounts) {
  EXPECT_THAT(Read(Group(1, "Marie") + Microsoft(1, "Marie", "0.1, 0.1, 0.1, 0.1")),
              ElementsAre(Pair("Marie", "0.450000, 0.400000, 0.100000, 0.200000")));
}

TEST_F(RegionsTest, UnnamedRegionsByPlace) {
  const std::string lines = Microsoft(1, "", "0.1, 0.2, 0.3, 0.4") +
                            Line(kMicrosoft, 3, "MPReg:Rectangle", "1, 1, 1, 1") +
                            Microsoft(2, "Marie", "0, 0, 1, 1");
  EXPECT_THAT(Read(lines, People::kUnnamed),
              ElementsAre(Pair("0.1, 0.2, 0.3, 0.4", ""), Pair("1, 1, 1, 1", "")));
  EXPECT_THAT(Read(lines), ElementsAre(Pair("Marie", "0, 0, 1, 1")));
}

TEST_F(RegionsTest, PersonWithoutAPlaceStandsAtTheOrigin) {
  const std::string somewhere = "0.000000, 0.000000, 0.000000, 0.000000";
  EXPECT_THAT(Read(Line(kMicrosoft, 1, "MPReg:PersonDisplayName", "Marie")),
              ElementsAre(Pair("Marie", somewhere)));
  EXPECT_THAT(Read(Microsoft(1, "Marie", "0, 0, 1, 1") + Line(kGroup, 1, "mwg-rs:Name", "Marie")),
              ElementsAre(Pair("Marie", "0, 0, 1, 1")));
}

TEST_F(RegionsTest, NamedRegionsOfEveryTypeArePeople) {
  EXPECT_THAT(
      Read(Group(1, "Marie") + Group(2, "code", "BarCode") + Group(3, "Rex", "Pet") + Group(4, "X", "")),
      ElementsAre(Pair("Marie", testing::_), Pair("code", testing::_), Pair("Rex", testing::_),
                  Pair("X", testing::_)));
}

TEST_F(RegionsTest, UnnamedRegionsArePeopleWhenTheyAreFaces) {
  for (const char* type : {"Focus", "BarCode", "Pet", "Faces"}) {
    EXPECT_THAT(Read(Group(1, "", type), People::kUnnamed), IsEmpty()) << type;
  }
  for (const char* type : {"Face", "FACE", ""}) {
    EXPECT_EQ(Read(Group(1, "", type), People::kUnnamed).size(), 1U) << type;
  }
}

TEST_F(RegionsTest, RegionsThatCannotBeKeptFail) {
  fake().failing = {"RLIBCSzHashSetValue"};
  const Entries failed = {{"failed", ""}};
  EXPECT_EQ(Read(Group(1, "Marie")), failed);
  EXPECT_EQ(Read(Line(kMicrosoft, 1, "MPReg:PersonDisplayName", "Marie")), failed);
  EXPECT_EQ(Read(Group(1, ""), People::kUnnamed), failed);
}

TEST_F(RegionsTest, GapsAndOrderOfTheNumbersDoNotMatter) {
  EXPECT_THAT(Read(Microsoft(10, "J", "0, 0, 1, 1") + Microsoft(2, "B", "0, 0, 1, 1")),
              ElementsAre(Pair("B", testing::_), Pair("J", testing::_)));
}

TEST_F(RegionsTest, OddNumbersAreNoRegions) {
  EXPECT_THAT(Read(Microsoft(0, "A", "0, 0, 1, 1") + Microsoft(-1, "B", "0, 0, 1, 1") +
                   Microsoft(1025, "C", "0, 0, 1, 1") + std::string(kMicrosoft) +
                   "[x]/MPReg:PersonDisplayName  D\n" + std::string(kMicrosoft) + "[1\n" +
                   std::string(kMicrosoft) + "[99999999999999]/MPReg:Rectangle  1\n"),
              IsEmpty());
  EXPECT_EQ(Read(Microsoft(1024, "A", "0, 0, 1, 1")).size(), 1U);
}

TEST_F(RegionsTest, NamesAreStorableText) {
  EXPECT_THAT(Read(Microsoft(1, "Ren\xE9", "0, 0, 1, 1")), ElementsAre(Pair("Ren\xC3\xA9", testing::_)));
}

TEST_F(RegionsTest, OrientationComesFromThePhotosRow) {
  SetListing("");
  EXPECT_EQ(GetPhotoPeopleTaggingFromMetadata(path().c_str(), People::kNamed)->orientation, 6);
  EXPECT_THAT(Sent("rotation"),
              ElementsAre("SELECT rotation FROM photo_image WHERE path = '" + path() + "'"));
}

TEST_F(RegionsTest, MissingPathOrFileFails) {
  EXPECT_FALSE(GetPhotoPeopleTaggingFromMetadata(nullptr, People::kNamed));
  EXPECT_FALSE(GetPhotoPeopleTaggingFromMetadata("/absent.jpg", People::kNamed));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Bad parameter.",
                                      "photo_database.cpp:# File not exists: /absent.jpg"));
}

TEST_F(RegionsTest, FailingCallsFail) {
  const std::vector<std::pair<std::string, std::string>> failures = {
      {"RLIBCSzHashAlloc", "RLIBCSzHashAlloc failed"},
      {"ProcessRunner", "Failed to pipe /usr/kavo/bin/exiv2 -Pkt " + path()},
      {"KAVODBConnect", "Failed to connect to photo database"},
      {"KAVODBEscapeStringEX3", "KAVODBEscapeStringEX3 failed"},
      {"KAVODBExecute",
       "KAVODBExecute failed [SELECT rotation FROM photo_image WHERE path = '" + path() + "'] (the error)"},
      {"KAVODBFetchRow", "KAVODBFetchRow failed"}};
  for (const auto& [function, message] : failures) {
    PhotoDBConnClose();
    SyslogCapture::Clear();
    fake().failing = {function};
    EXPECT_THAT(Read(Group(1, "Marie")), ElementsAre(Pair("failed", ""))) << function;
    EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# " + message));
  }
}

// --- Database.

class FacesTest : public PeopleTest {
 protected:
  void SetFaces(const std::vector<std::map<std::string, std::string>>& rows) {
    Answer({.match = "SELECT photo_label.name AS name", .rows = rows});
  }
  static Entries Read(People people, RLIBCSZHASH* columns = nullptr) {
    return EntriesOf(GetPhotoPeopleTaggingFromDB(7, people, columns).get());
  }
};

TEST_F(FacesTest, NamedFacesByName) {
  SetFaces({{{"name", "A"}, {"info", "old"}, {"info_new", "new"}},
            {{"name", "B"}, {"info", "old"}, {"info_new", ""}}});
  const OwnedHash columns(RLIBCSzHashAlloc(4));
  EXPECT_THAT(Read(People::kNamed, columns.get()), ElementsAre(Pair("A", "new"), Pair("B", "old")));
  EXPECT_THAT(EntriesOf(columns.get()), ElementsAre(Pair("A", "info_new"), Pair("B", "info")));
  EXPECT_THAT(
      fake().statements,
      ElementsAre(
          "SELECT photo_label.name AS name, photo_image_label.info AS info, photo_image_label.info_new "
          "AS info_new FROM photo_image INNER JOIN photo_image_label ON photo_image.id = "
          "photo_image_label.image_id INNER JOIN photo_label ON photo_image_label.label_id = "
          "photo_label.id WHERE photo_label.category = 0 AND photo_image_label.status = 't' AND "
          "photo_image.id = 7 AND photo_label.name != '' "));
}

TEST_F(FacesTest, UnnamedFacesByTheirInformation) {
  SetFaces({{{"name", ""}, {"info", "old"}}, {{"name", ""}, {"info_new", "new"}}});
  const OwnedHash columns(RLIBCSzHashAlloc(4));
  EXPECT_THAT(Read(People::kUnnamed, columns.get()), ElementsAre(Pair("old", ""), Pair("new", "")));
  EXPECT_THAT(EntriesOf(columns.get()), ElementsAre(Pair("old", "info"), Pair("new", "info_new")));
  EXPECT_THAT(fake().statements, ElementsAre(HasSubstr(" AND photo_label.name = '' ")));
}

TEST_F(FacesTest, BadIdFails) {
  EXPECT_EQ(GetPhotoPeopleTaggingFromDB(0, People::kNamed, nullptr), nullptr);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Bad parameter."));
}

TEST_F(FacesTest, FailingCallsFail) {
  for (const auto& [function, message] :
       std::map<std::string, std::string>{{"RLIBCSzHashAlloc", "RLIBCSzHashAlloc failed"},
                                          {"KAVODBConnect", "Failed to connect to photo database"}}) {
    SyslogCapture::Clear();
    fake().failing = {function};
    EXPECT_EQ(GetPhotoPeopleTaggingFromDB(7, People::kNamed, nullptr), nullptr);
    EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# " + message));
  }
  fake().failing = {"KAVODBExecute"};
  SyslogCapture::Clear();
  EXPECT_EQ(GetPhotoPeopleTaggingFromDB(7, People::kUnnamed, nullptr), nullptr);
  EXPECT_THAT(Messages(),
              ElementsAre(testing::MatchesRegex("photo_database.cpp:# Failed to exec \\[SELECT .* AND "
                                                "photo_label.name = '' \\] \\(the error\\)")));
}

TEST_F(FacesTest, FacesThatCannotBeKeptFail) {
  SetFaces({{{"name", "A"}, {"info_new", "new"}}, {{"name", "B"}, {"info_new", "new"}}});
  const OwnedHash columns(RLIBCSzHashAlloc(4));
  for (int call = 1; call <= 4; ++call) {
    const int done = fake().Count("RLIBCSzHashSetValue");
    fake().failing_at = {{"RLIBCSzHashSetValue", done + call}};
    EXPECT_EQ(GetPhotoPeopleTaggingFromDB(7, People::kNamed, columns.get()), nullptr) << call;
  }
}

// --- The merge.

constexpr const char* kPlaceJson = R"({"x":0.450000,"y":0.400000,"width":0.100000,"height":0.200000})";
constexpr const char* kElsewhereJson = R"({"x":0.8,"y":0.1,"width":0.1,"height":0.2,"face":1})";

class MergeTest : public PeopleTest {
 protected:
  void SetUp() override {
    PeopleTest::SetUp();
    Answer({.match = "SELECT id FROM photo_image WHERE path", .rows = {{{"id", "7"}}}});
    SetOrientation("1");
    // Labels by name; every other has id 9.
    Answer({.match = "category = 0 and name = ''", .rows = {{{"id", "8"}}}});
    Answer({.match = "select * from photo_label where", .rows = {{{"id", "9"}}}});
    Answer({.match = "select * from photo_image_label", .rows = {{{"id", "11"}}}});
    SetListing("");
  }
  void SetFaces(const Entries& named, const std::vector<std::string>& unnamed) {
    std::vector<std::map<std::string, std::string>> rows;
    for (const auto& [name, info] : named) rows.push_back({{"name", name}, {"info_new", info}});
    Answer({.match = "photo_label.name != ''", .rows = rows});
    rows.clear();
    for (const auto& info : unnamed) rows.push_back({{"name", ""}, {"info_new", info}});
    Answer({.match = "photo_label.name = '' ", .rows = rows});
  }
  void Merge() { MergePeopleTags(path().c_str()); }
  static std::string Insert(int label, const std::string& json) {
    return "INSERT INTO photo_image_label (image_id, label_id, info_new, status) VALUES(7, " +
           std::to_string(label) + ", '" + json + "', 't')";
  }
  static std::string Delete(int label) {
    return "DELETE FROM photo_image_label WHERE image_id = 7 AND label_id = " + std::to_string(label) +
           " AND status = 't'";
  }
  // The statements that change links, in order.
  static std::vector<std::string> Writes() {
    std::vector<std::string> writes;
    for (const auto& sql : FakePlatform::Get().statements) {
      if (sql.starts_with("INSERT") || sql.starts_with("DELETE")) writes.push_back(sql);
    }
    return writes;
  }
};

TEST_F(MergeTest, NewRegionsAreLinkedNamedOnesFirst) {
  SetListing(Microsoft(1, "", "0.1, 0.2, 0.3, 0.4") + Group(1, "Marie"));
  Merge();
  EXPECT_THAT(Writes(),
              ElementsAre(Insert(9, kPlaceJson),
                          Insert(8, R"({"x":0.100000,"y":0.200000,"width":0.300000,"height":0.400000})")));
  EXPECT_THAT(Sent("name = 'Marie'"),
              ElementsAre("select * from photo_label where category = 0 and name = 'Marie'"));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(MergeTest, AgreementChangesNothing) {
  SetListing(Group(1, "Marie") + Group(2, ""));
  SetFaces({{"Marie", kPlaceJson}}, {kPlaceJson});
  Merge();
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(MergeTest, EmptyExtentAgreesWithWhatWasStoredForIt) {
  SetListing(Microsoft(1, "Marie", "0.1, 0.2, -1, 0.3") + Microsoft(2, "", "0.1, 0.2, 0.3, -0.5"));
  SetFaces({{"Marie", R"({"x":0.100000,"y":0.200000,"width":0.001000,"height":0.300000})"}},
           {R"({"x":0.100000,"y":0.200000,"width":0.300000,"height":0.001000})"});
  Merge();
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(MergeTest, PersonWhoIsNotInTheMetadataGoes) {
  SetFaces({{"Marie", kPlaceJson}}, {});
  Merge();
  EXPECT_THAT(Writes(), ElementsAre(Delete(9)));
}

TEST_F(MergeTest, PersonElsewhereMoves) {
  SetListing(Group(1, "Marie"));
  SetFaces({{"Marie", kElsewhereJson}}, {});
  Merge();
  EXPECT_THAT(Writes(), ElementsAre(Delete(9), Insert(9, kPlaceJson)));
}

TEST_F(MergeTest, FaceOnTheShownImageAgreesWithTheStoredRegion) {
  fake().answers.insert(fake().answers.begin(), {.match = "SELECT rotation", .rows = {{{"rotation", "6"}}}});
  SetListing(Group(1, "Marie"));
  SetFaces({{"Marie", R"({"x":0.4,"y":0.45,"width":0.2,"height":0.1,"face":1})"}}, {});
  Merge();
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(MergeTest, UnnamedFaceTakesTheOthersAlong) {
  SetListing(Group(1, ""));
  SetFaces({}, {kPlaceJson, kElsewhereJson});
  Merge();
  EXPECT_THAT(Writes(), ElementsAre(Delete(8), Insert(8, kPlaceJson)));
}

TEST_F(MergeTest, EachUnnamedFaceAgreesWithOneRegion) {
  SetListing(Microsoft(1, "", "0.45, 0.4, 0.1, 0.2") + Group(1, ""));
  SetFaces({}, {kPlaceJson});
  Merge();
  EXPECT_THAT(Writes(), ElementsAre(Insert(8, kPlaceJson)));
}

TEST_F(MergeTest, BrokenPlacesNeverAgree) {
  SetListing(Microsoft(1, "Marie", "0.45,0.4") + Group(1, ""));
  SetFaces({{"Marie", kPlaceJson}}, {"{}"});
  Merge();
  EXPECT_THAT(Writes(),
              ElementsAre(Delete(9), Delete(8),
                          Insert(9, R"({"x":0.450000,"y":0.000000,"width":0.001000,"height":0.001000})"),
                          Insert(8, kPlaceJson)));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# metadata rectangle wrong. [0.45,0.4]",
                                      "photo_database.cpp:# face recognition parsing failed. [{}]"));
}

TEST_F(MergeTest, OnlySomeFormatsTakePart) {
  for (const char* name :
       {"/b.gif", "/b.nef", "/b.mp4", "/b.webp", "/b.heic", "/b.jpgx", "/b.jp", "/b.", "/b", "/b.jpg/c"}) {
    MergePeopleTags((shared() + name).c_str());
  }
  EXPECT_THAT(fake().calls, IsEmpty());
  for (const char* name :
       {"/b.jpg", "/b.jpeg", "/b.jpe", "/b.tif", "/b.tiff", "/b.png", "/b.bmp", "/b.TIFF"}) {
    fake().calls.clear();
    WriteFile(shared() + name, "");
    MergePeopleTags((shared() + name).c_str());
    EXPECT_EQ(fake().Count("ProcessRunner"), 2) << name;
  }
}

TEST_F(MergeTest, PhotoWithoutARowIsLeftAlone) {
  fake().answers.clear();
  Merge();
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# PhotoInfoDBPhotoIdGet failed for " + path() + "."));
  EXPECT_EQ(fake().Count("ProcessRunner"), 0);
}

TEST_F(MergeTest, WhatCannotBeReadEndsIt) {
  const std::vector<std::pair<int, std::string>> failures = {
      {1, "GetPhotoPeopleTaggingFromMetadata failed, blank: FALSE"},
      {2, "GetPhotoPeopleTaggingFromMetadata failed, blank: TRUE"},
      {3, "GetPhotoPeopleTaggingFromDB failed, blank: FALSE"},
      {4, "GetPhotoPeopleTaggingFromDB failed, blank: TRUE"}};
  SetFaces({{"Marie", kPlaceJson}}, {});
  int done = 0;
  for (const auto& [number, message] : failures) {
    fake().failing_at = {{"RLIBCSzHashAlloc", done + number}};
    SyslogCapture::Clear();
    Merge();
    done = fake().Count("RLIBCSzHashAlloc");
    EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# RLIBCSzHashAlloc failed",
                                        "photo_database.cpp:# " + message));
  }
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(MergeTest, UnreadableFileKeepsItsPeople) {
  SetFaces({{"Marie", kPlaceJson}}, {kPlaceJson});
  for (const std::string& part : {std::string(), Group(1, "Pierre")}) {
    SyslogCapture::Clear();
    fake().programs = {{"exiv2 -Pkt ", {1, part}}};
    Merge();
    EXPECT_THAT(Writes(), IsEmpty());
    EXPECT_THAT(Messages(),
                ElementsAre("photo_database.cpp:# GetPhotoPeopleTaggingFromMetadata failed, blank: FALSE"));
  }
}

TEST_F(MergeTest, HashThatCannotGrowChangesNothing) {
  SetListing(Group(1, "Marie") + Group(2, ""));
  SetFaces({{"Marie", kPlaceJson}}, {kPlaceJson});
  for (int call = 1; call <= 4; ++call) {
    const int done = fake().Count("RLIBCSzHashSetValue");
    fake().failing_at = {{"RLIBCSzHashSetValue", done + call}};
    Merge();
    EXPECT_THAT(Writes(), IsEmpty()) << call;
    EXPECT_EQ(fake().Count("RLIBCSzHashSetValue"), done + call);
  }
  EXPECT_EQ(Messages().size(), 4U);
}

TEST_F(MergeTest, FailedStepsAreLoggedAndTheOthersGoOn) {
  fake().answers.insert(fake().answers.begin(),
                        {{.match = "name = 'Ann'", .result = -1}, {.match = "DELETE", .result = -1}});
  SetListing(Microsoft(1, "Ann", "0, 0, 1, 1") + Group(1, "Marie"));
  SetFaces({{"Bob", kPlaceJson}, {"Ann", kPlaceJson}}, {});
  Answer({.match = "INSERT INTO photo_image_label", .result = -1});
  Merge();
  EXPECT_THAT(Messages(), Contains("photo_database.cpp:# PhotoInfoDBLabelCheck failed for [Ann].").Times(2));
  EXPECT_THAT(Messages(), Contains("photo_database.cpp:# PhotoInfoDBLabelDelete failed for 9."));
  EXPECT_THAT(Messages().back(),
              "photo_database.cpp:# PhotoInfoDBImageLabelDataAdd failed for Marie, iPhotoId: 7, iLabelId: 9");
}

}  // namespace
