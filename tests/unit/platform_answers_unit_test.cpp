// Answers of the platform beyond -1, 0 and 1: each contract says "negative", "positive", "non-zero" or one
// number, and nothing else counts.
#include "platform/string_list.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PlatformAnswers : public IndexLibraryTest {
 protected:
  // FUNCTION answers OTHER where it would answer USUAL.
  void Instead(const std::string& function, int usual, int other) {
    fake().instead[{function, usual}] = other;
  }
  // Fails check NUMBER (from 1) of a personal request from here on. UsePersonal has made one.
  void FailCheck(int number) { fake().failing_at["KAVOIndexPersonalPhotoPathGet"] = number + 1; }
};

// --- The path gate.

TEST_F(PlatformAnswers, AMountInAPersonalFolderIsPassedOverToo) {
  UsePersonal();
  fake().remote_paths.insert(personal() + "/disc/a.jpg");
  EXPECT_EQ(IndexIsIndexPath((personal() + "/disc/a.jpg").c_str(), kIndexed), 0);
  EXPECT_EQ(IndexIsIndexPath((personal() + "/a.jpg").c_str(), kIndexed), 1);
}

TEST_F(PlatformAnswers, TheGateIsClosedAndNotBrokenWhenItsSecondCheckFails) {
  UsePersonal();
  FailCheck(2);
  EXPECT_EQ(IndexIsIndexPath((personal() + "/a.jpg").c_str(), kIndexed), 0);
  EXPECT_EQ(fake().Count("KAVOIndexPersonalPhotoPathGet"), 2);
}

TEST_F(PlatformAnswers, AShareIsFoundByZeroAlone) {
  fake().shares["homes"] = "/volume/homes";
  Instead("KAVOShareGet", -1, 1);
  EXPECT_EQ(IndexIsShareIndexed("/volume/homes"), 1);
  fake().shares.erase("homes");
  EXPECT_EQ(IndexIsShareIndexed("/volume/homes"), 0);
}

// --- The request context.

TEST_F(PlatformAnswers, APersonalPathIsToldByAnythingButZero) {
  UsePersonal();
  for (const int answer : {2, -1}) {
    Instead("KAVOIndexIsPersonalPackagePath", 1, answer);
    EXPECT_EQ(HGAStatusCheck((personal() + "/a.jpg").c_str()), 0);
    EXPECT_EQ(HGAStatusIsHGARequest(), 1) << answer;
  }
}

TEST_F(PlatformAnswers, APreferenceFolderIsFoundByZeroAlone) {
  UsePersonal();
  Instead("KAVOUserPreferenceDirGet", 0, 1);
  EXPECT_EQ(HGAStatusCheck(personal().c_str()), -1);
}

TEST_F(PlatformAnswers, APhotoFolderIsFoundByAnythingButANegativeNumber) {
  UsePersonal();
  Instead("KAVOIndexPersonalPhotoPathGet", 0, 7);
  EXPECT_EQ(HGAStatusCheck(personal().c_str()), 0);
  Instead("KAVOIndexPersonalPhotoPathGet", 0, -2);
  EXPECT_EQ(HGAStatusCheck(personal().c_str()), -1);
}

TEST_F(PlatformAnswers, APhotoFolderIsAFolderByOneAlone) {
  UsePersonal();
  for (const int answer : {-1, 2}) {
    Instead("RLIBCFileCheckDir", 1, answer);
    EXPECT_EQ(HGAStatusCheck(personal().c_str()), -1) << answer;
  }
}

TEST_F(PlatformAnswers, ASwitchIsOnByAnythingButZero) {
  UsePersonal();
  for (const int answer : {2, -1}) {
    Instead("RLIBCFileCheckKeyValue", 1, answer);
    Instead("RLIBCFileExist", 1, answer);
    EXPECT_EQ(HGAStatusCheck(personal().c_str()), 0) << answer;
  }
}

TEST_F(PlatformAnswers, TheSchemaToolRanUnlessItsAnswerIsNegative) {
  UsePersonal();
  std::filesystem::remove(personal() + "/.KAVOHGADB");
  for (const auto& [answer, result] :
       {std::pair{0, 0}, std::pair{1, 0}, std::pair{-1, -1}, std::pair{-2, -1}}) {
    fake().programs = {{"/bin/sh -c", {answer, ""}}};
    EXPECT_EQ(HGAStatusCheck(personal().c_str()), result) << answer;
  }
}

TEST_F(PlatformAnswers, TheUserFormIsInSmallLetters) {
  UsePersonal();
  for (const char* path : {"USER:alice", "User:alice", "user", "use:alice", " user:alice"}) {
    EXPECT_EQ(HGAStatusCheck(path), 0) << path;
    EXPECT_EQ(HGAStatusIsHGARequest(), 0) << path;
  }
}

// --- The album record.

TEST_F(PlatformAnswers, AFailedDefaultIsAnyNegativeNumber) {
  Set("albumdefpublic", "yes");
  Instead("RLIBCFileGetKeyValue", 3, -2);
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024").c_str()), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_index.cpp:# Can't get key valude. key=albumdefpublic"));
  EXPECT_THAT(Sent("INSERT INTO photo_share"), ElementsAre(HasSubstr("'2024', '', '', 'f'")));
}

TEST_F(PlatformAnswers, AnEmptyDefaultIsNoFailure) {
  Set("albumdefpublic", "");
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024").c_str()), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(PlatformAnswers, AUsersDefaultIsAnyFlagAndItsFailureAnyNegativeNumber) {
  UsePersonal();
  fake().album_default_right["alice"] = 2;
  Instead("KAVOIndexPersonalAlbumDefRightGet", 0, 5);
  ASSERT_EQ(IndexDirAdd(Folder(personal() + "/2024").c_str()), 0);
  EXPECT_THAT(Sent("INSERT INTO photo_share"), ElementsAre(HasSubstr("'2024', '', '', 't'")));
  fake().statements.clear();
  Instead("KAVOIndexPersonalAlbumDefRightGet", 0, -2);
  ASSERT_EQ(IndexDirAdd(Folder(personal() + "/2025").c_str()), 0);
  EXPECT_THAT(Sent("INSERT INTO photo_share"), ElementsAre(HasSubstr("'2025', '', '', 'f'")));
}

// --- Queries.

TEST_F(PlatformAnswers, NeedOfConversionIsToldOutsideTheSharedTreeToo) {
  EXPECT_EQ(IndexIsPathNeedConversion((shared() + "/../photoz/2024/a.mp4").c_str()), 1);
  const std::string sibling = shared().substr(0, shared().size() - 1) + "z";
  EXPECT_EQ(IndexIsPathNeedConversion((sibling + "/2024/a.mp4").c_str()), 1);
  EXPECT_EQ(IndexIsVideoConvert((sibling + "/2024/a.mp4").c_str()), 0);
}

TEST_F(PlatformAnswers, VersionsAreOf32BitsAndWrap) {
  const std::string path = shared() + "/a.jpg";
  EXPECT_EQ(IndexVersionUpdate(path.c_str(), 2147483647U), 0);
  EXPECT_EQ(IndexVersionUpdate(path.c_str(), 2147483648U), 0);
  EXPECT_EQ(IndexVersionUpdate(path.c_str(), 4294967295U), 0);
  EXPECT_THAT(Sent("set version = "),
              ElementsAre(HasSubstr("version = 2147483647 "), HasSubstr("version = -2147483648 "),
                          HasSubstr("version = -1 ")));
}

TEST_F(PlatformAnswers, VersionsBeyond32BitsAreCutAndNotClamped) {
  Answer({.match = "select version", .rows = {{{"version", "8589934599"}}}});
  unsigned version = 0;
  EXPECT_EQ(IndexVersionGet((shared() + "/a.jpg").c_str(), &version), 7);
  EXPECT_EQ(version, 7U);
}

TEST_F(PlatformAnswers, FacesAreOnByTheWholeWordInSmallLetters) {
  for (const char* value : {"ON", "On", "o", "on ", "one", "yes", "1"}) {
    fake().answers = {{.match = "enable_face_recognition", .rows = {{{"config_value", value}}}}};
    EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet()) << value;
  }
}

// --- Jobs.

TEST_F(PlatformAnswers, ASideFolderIsMadeByZeroAlone) {
  for (const int answer : {1, -2}) {
    Instead("KAVOEAMKDir", 0, answer);
    std::filesystem::remove_all(fake().root + "/var/services/photo/@eaDir");
    EXPECT_EQ(IndexWatermarkQueueAdd(InfoOf("/photo/a.jpg")), -1) << answer;
  }
  EXPECT_EQ(fake().Count("RLIBCFileLockByFile"), 0);
}

TEST_F(PlatformAnswers, ALockIsHadByAnythingButZero) {
  Instead("RLIBCFileLockByFile", 1, -1);
  EXPECT_EQ(IndexWatermarkQueueAdd(InfoOf("/photo/a.jpg")), 0);
  EXPECT_EQ(fake().Count("RLIBCFileUnlockByFile"), 1);
}

TEST_F(PlatformAnswers, TheQueueFolderIsMadeBeforeAWatermarkIsLookedAt) {
  const std::string folder = fake().root + "/var/services/photo/@eaDir";
  EXPECT_EQ(IndexWatermarkQueueAdd(Json::Value("no record")), -1);
  EXPECT_TRUE(std::filesystem::exists(folder));
  std::filesystem::remove_all(folder);
  EXPECT_EQ(IndexWatermarkQueueAdd(InfoOf("user:")), -1);
  EXPECT_TRUE(std::filesystem::exists(folder));
}

TEST_F(PlatformAnswers, AnEmptyWatermarkKeyStaysEmpty) {
  UsePersonal();
  EXPECT_EQ(IndexWatermarkQueueAdd(InfoOf("/volume1/photo/")), 0);
  EXPECT_EQ(IndexWatermarkQueueAdd(InfoOf("user:alice:/photo/")), 0);
  EXPECT_EQ(ReadFile(fake().root + "/var/services/photo/@eaDir/kavophoto_face.queue"), "w:\nu:alice/\n");
}

// --- Conversions.

class ConvertAnswers : public PlatformAnswers {
 protected:
  void SetUp() override {
    PlatformAnswers::SetUp();
    AnswerRows("FROM video WHERE path = ", 1);
  }
  static KAVO_MEDIA_INFO Sized(const std::string& path, int width = 40, int height = 30) {
    KAVO_MEDIA_INFO record = RecordOf(path);
    record.resolutionX = width;
    record.resolutionY = height;
    return record;
  }
  // What is converted from the source film to FILE in its side folder.
  int Add(const std::string& source_name, const std::string& file) {
    source_ = Sized(shared() + "/" + source_name);
    converted_ = Sized(SharedFile("@eaDir/film/" + file));
    return IndexConvertAdd(&source_, &converted_);
  }
  KAVO_MEDIA_INFO source_ = {};
  KAVO_MEDIA_INFO converted_ = {};
};

TEST_F(ConvertAnswers, AThumbnailHasThreeLettersAfterItsDot) {
  EXPECT_EQ(Add("film.mp4", "thumb.jpeg"), -1);
  EXPECT_EQ(Add("film.mp4", "thumb.jpe"), -1);
  EXPECT_EQ(Add("film.mp4", "thumb.jp"), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_EQ(Add("film.mp4", "thumb.JPG"), 0);
}

TEST_F(ConvertAnswers, ANegativeTypeIsNone) {
  fake().convert_types["thumb.jpg"] = "high";
  Instead("ConvertVideoTypeGet", 1, -1);
  EXPECT_EQ(Add("film.mp4", "thumb.jpg"), 0);
  EXPECT_EQ(Sent("set version = ").size(), 1U);
  EXPECT_THAT(Sent("video_convert"), IsEmpty());
}

TEST_F(ConvertAnswers, ATypeIsAnyPositiveNumber) {
  fake().convert_types["thumb.jpg"] = "high";
  Instead("ConvertVideoTypeGet", 1, 2);
  EXPECT_EQ(Add("film.mp4", "thumb.jpg"), 0);
  EXPECT_EQ(Sent("INSERT INTO video_convert").size(), 1U);
}

TEST_F(ConvertAnswers, AnExtensionIsHadUnlessItsAnswerIsNegative) {
  Instead("KAVOIndexExtGet", 0, 3);
  EXPECT_EQ(Add("film.mp4", "thumb.jpg"), 0);
  Instead("KAVOIndexExtGet", 0, -2);
  EXPECT_EQ(Add("film.mp4", "thumb.jpg"), -1);
}

TEST_F(ConvertAnswers, ANegativeMeasureIsNone) {
  for (const auto& [width, height] : {std::pair{-40, 30}, std::pair{40, -30}, std::pair{0, 30}}) {
    KAVO_MEDIA_INFO source = Sized(shared() + "/film.mp4", width, height);
    KAVO_MEDIA_INFO converted = Sized(SharedFile("@eaDir/film/thumb.jpg"));
    EXPECT_EQ(IndexConvertAdd(&source, &converted), -1) << width << ' ' << height;
    EXPECT_EQ(IndexConvertAdd(&converted, &source), -1) << width << ' ' << height;
  }
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(ConvertAnswers, AMeasureOfOnePixelCounts) {
  KAVO_MEDIA_INFO source = Sized(shared() + "/film.mp4", 1, 1);
  KAVO_MEDIA_INFO converted = Sized(SharedFile("@eaDir/film/thumb.jpg"), 1, 1);
  EXPECT_EQ(IndexConvertAdd(&source, &converted), 0);
}

TEST_F(ConvertAnswers, TheRecordHasTheSourcesPathBeforeThatIsChecked) {
  fake().convert_types["film.flv"] = "flash";
  KAVO_MEDIA_INFO source = RecordOf("user:");
  KAVO_MEDIA_INFO converted = Sized(SharedFile("@eaDir/film/film.flv"));
  EXPECT_EQ(IndexConvertAdd(&source, &converted), -1);
  EXPECT_STREQ(converted.szPath, "user:");
}

TEST_F(ConvertAnswers, FilmNamesAreComparedWholeAndToTheLetter) {
  for (const char* name : {"kavophoto:film_h264.mp4", "KAVOPHOTO:FILM_H264.MP4", "KAVOPHOTO:FILM_H264.mp4x",
                           "KAVOPHOTO:FILM_H264", "XKAVOPHOTO:FILM_H264.mp4", "KAVOPHOTO:FILM_MPEG4.MP4"}) {
    fake().convert_types[name] = "high";
    ASSERT_EQ(Add("film.3gp", name), 0) << name;
    EXPECT_STREQ(converted_.szContainerType, "") << name;
  }
}

TEST_F(ConvertAnswers, TypesAndExtensionsHaveRoomFor254Bytes) {
  const std::string type(254, 't');
  fake().convert_types["KAVOPHOTO:FILM_H264.mp4"] = type;
  ASSERT_EQ(Add("film.3gp", "KAVOPHOTO:FILM_H264.mp4"), 0);
  EXPECT_THAT(Sent("INSERT INTO video_convert"), ElementsAre(HasSubstr("'" + type + "'")));
  EXPECT_EQ(fake().Count("ConvertVideoTypeGet(KAVOPHOTO:FILM_H264.mp4, 255)"), 1);
  EXPECT_EQ(fake().Count("KAVOIndexExtGet(" + shared() + "/film.3gp, 255)"), 1);
}

}  // namespace
