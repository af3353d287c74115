#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/owned_list.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "support/child_processes.h"
#include "support/databases.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

enum Category { kPeople = 0, kKeywords = 2 };

// A library with one photo.
class LabelsTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    photo_ = Path("2024/it's.jpg");
    ASSERT_EQ(HGAStatusCheck(photo_.c_str()), 0);
    AddPhoto("2024/it's.jpg");
    photo_id_ = PhotoInfoDBPhotoIdGet(photo_.c_str());
    ASSERT_GT(photo_id_, 0);
  }

  void AddPhoto(const std::string& relative) {
    Run("insert into photo_image (path) values ('" + Quoted(Key(relative)) + "')");
  }
  static std::string Quoted(std::string text) {
    for (auto at = text.find('\''); at != std::string::npos; at = text.find('\'', at + 2))
      text.insert(at, "'");
    return text;
  }
  int Label(const std::string& name, int category) {
    return PhotoInfoDBLabelCheck(photo_.c_str(), name.c_str(), category);
  }
  int Link(int label, const char* info = "", const char* status = "t") {
    return PhotoInfoDBImageLabelDataAdd(photo_id_, label, info, status);
  }
  std::vector<std::string> Faces(int selector) {
    const OwnedList list(PhotoInfoDBFaceRecognitionDataGet(photo_.c_str(), selector, 0));
    std::vector<std::string> lines;
    for (int i = 0; i < RLIBCSzListCount(list.get()); ++i) lines.emplace_back(RLIBCSzListGet(list.get(), i));
    return lines;
  }
  std::string Names() { return Value("select count(*) from photo_label"); }

  std::string photo_;
  int photo_id_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Engines, LabelsTest, BothEngines(), EngineName);

TEST_P(LabelsTest, LabelIsMadeOnceForItsCategoryAndName) {
  const int sea = Label("sea", kKeywords);
  EXPECT_GT(sea, 0);
  EXPECT_EQ(Label("sea", kKeywords), sea);
  EXPECT_NE(Label("sea", kPeople), sea);
  EXPECT_NE(Label("Sea", kKeywords), sea);
  EXPECT_EQ(Names(), "3");
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
}

// A personal library numbers behind its highest label; the shared database goes on counting.
TEST_P(LabelsTest, LabelsAreNumberedUpwards) {
  constexpr int kFarAway = 40;
  const int first = Label("first", kKeywords);
  if (personal()) {
    EXPECT_EQ(first, 1);
  }
  EXPECT_EQ(Label("second", kPeople), first + 1);
  const int far = first + kFarAway;
  Run("insert into photo_label (id, category, name) values (" + std::to_string(far) + ", 2, 'far')");
  EXPECT_EQ(Label("third", kKeywords), personal() ? far + 1 : first + 2);
}

TEST_P(LabelsTest, ProcessesThatMakeLabelsAtTheSameMomentLoseNone) {
  constexpr int kProcesses = 4;
  constexpr int kLabels = 25;
  PhotoDBConnClose();
  EXPECT_TRUE(RunChildren(kProcesses, [&](int process) {
    int missing = 0;
    for (int i = 0; i < kLabels; ++i) {
      const std::string name = std::to_string(process) + "-" + std::to_string(i);
      if (Label(name, kKeywords) < 1) ++missing;
    }
    return missing;
  }));
  EXPECT_EQ(Names(), std::to_string(kProcesses * kLabels));
}

TEST_P(LabelsTest, AwkwardNamesAreStoredAsTheyStand) {
  for (const char* name :
       {"it's", "100%", "50%d", "a\\b", "x' OR 'a'='a", "\"quoted\"", "@KAVO:VAR", "Größe", ""}) {
    const int id = Label(name, kPeople);
    EXPECT_GT(id, 0) << name;
    EXPECT_EQ(Value("select name from photo_label where id = " + std::to_string(id)), name);
    EXPECT_EQ(Label(name, kPeople), id) << name;
  }
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
}

TEST_P(LabelsTest, PhotoIsFoundByItsWholePathOnly) {
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(Path("2024/it's").c_str()), -1);
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(Path("it's.jpg").c_str()), -1);
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(Path("2024/IT'S.jpg").c_str()), -1);
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(photo_.c_str()), photo_id_);
}

TEST_P(LabelsTest, PhotoPathIsNoPattern) {
  AddPhoto("2024/a_b.jpg");
  AddPhoto("2024/axb.jpg");
  EXPECT_EQ(PhotoInfoDBPhotoIdGet(Path("2024/%").c_str()), -1);
  EXPECT_EQ(std::to_string(PhotoInfoDBPhotoIdGet(Path("2024/a_b.jpg").c_str())),
            Value("select id from photo_image where path = '" + Key("2024/a_b.jpg") + "'"));
}

TEST_P(LabelsTest, LinkIsMadeOnceAndKeepsItsInfo) {
  const int label = Label("Ann", kPeople);
  const int link = Link(label, "{\"face\":\"it's\"}", "f");
  EXPECT_GT(link, 0);
  EXPECT_EQ(Link(label, "other", "t"), link);
  const auto rows = Query("select image_id, label_id, info_new, status from photo_image_label");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0], (Row{{"image_id", std::to_string(photo_id_)},
                          {"label_id", std::to_string(label)},
                          {"info_new", "{\"face\":\"it's\"}"},
                          {"status", "f"}}));
}

TEST_P(LabelsTest, ProcessesThatMakeALinkAtTheSameMomentMakeOne) {
  constexpr int kProcesses = 3;
  constexpr int kLinks = 60;
  std::vector<int> labels;
  for (int i = 0; i < kLinks; ++i) labels.push_back(Label(std::to_string(i), kKeywords));
  PhotoDBConnClose();
  const MeetingPoint meeting(kProcesses);
  EXPECT_TRUE(RunChildren(kProcesses, [&](int) {
    int failures = 0;
    for (const int label : labels) {
      meeting.Wait();
      failures += Link(label) > 0 ? 0 : 1;
    }
    return failures;
  }));
  EXPECT_EQ(Value("select count(*) from photo_image_label"), std::to_string(kLinks));
}

TEST_P(LabelsTest, EveryNewLinkGivesItsOwnId) {
  const int first = Link(Label("a", kKeywords));
  const int second = Link(Label("b", kKeywords));
  EXPECT_GT(first, 0);
  EXPECT_GT(second, first);
  EXPECT_EQ(Value("select id from photo_image_label order by id desc"), std::to_string(second));
}

TEST_P(LabelsTest, LinkToAPhotoThatIsNotThereFailsAndIsLogged) {
  const int label = Label("sea", kKeywords);
  SyslogCapture::Clear();
  EXPECT_EQ(PhotoInfoDBImageLabelDataAdd(photo_id_ + 1000, label, "", "t"), -1);
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(testing::StartsWith(
                  "photo_database.cpp:# Failed to exec [INSERT INTO photo_image_label ")));
  EXPECT_EQ(Value("select count(*) from photo_image_label"), "0");
}

TEST_P(LabelsTest, OnlyAConfirmedLinkIsDeleted) {
  const int confirmed = Label("Ann", kPeople);
  const int proposed = Label("Bob", kPeople);
  Link(confirmed, "", "t");
  Link(proposed, "", "f");
  EXPECT_EQ(PhotoInfoDBImageLabelDataDelete(photo_id_, confirmed), 0);
  EXPECT_EQ(PhotoInfoDBImageLabelDataDelete(photo_id_, proposed), 0);
  EXPECT_EQ(Value("select label_id from photo_image_label"), std::to_string(proposed));
}

TEST_P(LabelsTest, DeletingByImageKeepsPeopleAndOtherPhotos) {
  AddPhoto("2024/b.jpg");
  const int other = PhotoInfoDBPhotoIdGet(Path("2024/b.jpg").c_str());
  const int ann = Label("Ann", kPeople);
  const int sea = Label("sea", kKeywords);
  Link(ann);
  Link(sea);
  PhotoInfoDBImageLabelDataAdd(other, sea, "", "t");
  EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(photo_id_), 0);
  EXPECT_EQ(Value("select label_id from photo_image_label where image_id = " + std::to_string(photo_id_)),
            std::to_string(ann));
  EXPECT_EQ(Value("select count(*) from photo_image_label where image_id = " + std::to_string(other)), "1");
  EXPECT_EQ(Names(), "2");
}

TEST_P(LabelsTest, AllNamedConfirmedFacesAreListed) {
  AddPhoto("2024/b.jpg");
  const int other = PhotoInfoDBPhotoIdGet(Path("2024/b.jpg").c_str());
  const int ann = Label("Ann", kPeople);
  Link(ann, "{\"face\":\"1\"}");
  PhotoInfoDBImageLabelDataAdd(other, ann, "{\"face\":\"2\"}", "t");
  Link(Label("Bob", kPeople), "{\"face\":\"proposed\"}", "f");
  Link(Label("Cid", kPeople), "{\"x\":0}");
  Link(Label("", kPeople), "{\"face\":\"unnamed\"}");
  Link(Label("face", kKeywords), "{\"face\":\"keyword\"}");
  const std::string id = std::to_string(ann);
  EXPECT_THAT(Faces(1),
              UnorderedElementsAre(id + "\t{\"face\":\"1\"}\t" + photo_ + "\tinfo_new",
                                   id + "\t{\"face\":\"2\"}\t" + Path("2024/b.jpg") + "\tinfo_new"));
}

TEST_P(LabelsTest, PeopleLinksOfAPhotoAreListedWhateverTheirState) {
  AddPhoto("2024/b.jpg");
  PhotoInfoDBImageLabelDataAdd(PhotoInfoDBPhotoIdGet(Path("2024/b.jpg").c_str()), Label("Dan", kPeople), "",
                               "t");
  const int ann = Label("Ann", kPeople);
  const int bob = Label("Bob", kPeople);
  Link(ann, "new", "t");
  Link(bob, "", "f");
  Run("update photo_image_label set info = 'old'");
  Link(Label("sea", kKeywords));
  EXPECT_THAT(Faces(0), UnorderedElementsAre(std::to_string(ann) + "\tnew\t" + photo_ + "\tinfo_new",
                                             std::to_string(bob) + "\told\t" + photo_ + "\tinfo"));
}

TEST_P(LabelsTest, LinkTakesAnotherLabelAndAnotherInfo) {
  const int link = Link(Label("Ann", kPeople), "old");
  const int bob = Label("Bob", kPeople);
  char out[64];
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(link, bob), 0);
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult("it's 100% new", link), 0);
  EXPECT_EQ(Value("select label_id from photo_image_label"), std::to_string(bob));
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(link, photo_.c_str(), out, sizeof out), 0);
  EXPECT_STREQ(out, "it's 100% new\tinfo_new");
}

TEST_P(LabelsTest, LinkIsNotGivenALabelThatIsNotThere) {
  const int ann = Label("Ann", kPeople);
  const int link = Link(ann, "old");
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(link, ann + 1000), -1);
  EXPECT_EQ(Value("select label_id from photo_image_label"), std::to_string(ann));
}

TEST_P(LabelsTest, UpdateOfALinkThatIsNotThereSucceeds) {
  EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateDetectionResult("x", 12345), 0);
}

TEST_P(LabelsTest, FaceOfALinkThatIsNotThereFails) {
  char out[64];
  EXPECT_EQ(PhotoInfoDBFaceRecognitionImageLabelDataGet(12345, photo_.c_str(), out, sizeof out), -1);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp:# KAVODBFetchRow failed."));
}

TEST_P(LabelsTest, FaceSwitchIsReadFromTheConfiguration) {
  Run("delete from photo_config where config_key = 'enable_face_recognition'");
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  Run("insert into photo_config (config_key, config_value) values ('enable_face_recognition', 'on')");
  EXPECT_TRUE(PhotoInfoDBFaceRecognitionEnableGet());
  Run("update photo_config set config_value = 'off' where config_key = 'enable_face_recognition'");
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  EXPECT_THAT(SyslogCapture::Lines(), IsEmpty());
}

}  // namespace
