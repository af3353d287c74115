#include "platform/string_list.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kThumbSizes = 18;

class Queries : public IndexLibraryTest {
 protected:
  void ExcludeFormats(const std::string& formats) {
    Answer({.match = "config_key = 'excluding_index_format'", .rows = {{{"config_value", formats}}}});
  }
  void DisableConversion(const std::string& album) {
    Answer({.match = "sharename = '" + album + "'", .rows = {{{"conversion", "f"}}}});
  }
};

// --- Rows and versions.

TEST_F(Queries, GetOneRefusesNoPath) {
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(IndexDBGetOne(2, nullptr, &record), -1);
  EXPECT_EQ(IndexDBGetOne(2, "", &record), -1);
  const std::string message = "photo_index.cpp:# Bad parameter: szPath";
  EXPECT_THAT(Messages(), ElementsAre(message, message));
}

TEST_F(Queries, GetOneReadsThePhotoOrTheVideo) {
  Answer({.match = "FROM photo_image", .rows = {{{"title", "a photo"}}}});
  Answer({.match = "FROM video", .rows = {{{"title", "a video"}}}});
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(IndexDBGetOne(2, (shared() + "/a").c_str(), &record), 0);
  EXPECT_STREQ(record.szTitle, "a photo");
  EXPECT_EQ(IndexDBGetOne(1, (shared() + "/a").c_str(), &record), 0);
  EXPECT_STREQ(record.szTitle, "a video");
}

TEST_F(Queries, GetOneReportsAMissingRow) {
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(IndexDBGetOne(2, (shared() + "/a").c_str(), &record), -1);
}

TEST_F(Queries, GetOneLooksNothingUpForOtherKinds) {
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(IndexDBGetOne(3, (shared() + "/a").c_str(), &record), 0);
  EXPECT_EQ(IndexDBGetOne(0, (shared() + "/a").c_str(), &record), 0);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(Queries, VersionRefusesNoPath) {
  unsigned version = 5;
  EXPECT_EQ(IndexVersionGet(nullptr, &version), -1);
  EXPECT_EQ(IndexVersionUpdate(nullptr, 1), -1);
  EXPECT_EQ(version, 5U);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter));
}

TEST_F(Queries, VersionIsReturnedAndWritten) {
  Answer({.match = "select version", .rows = {{{"version", "3"}}}});
  unsigned version = 0;
  EXPECT_EQ(IndexVersionGet((shared() + "/a.jpg").c_str(), &version), 3);
  EXPECT_EQ(version, 3U);
  EXPECT_EQ(IndexVersionGet((shared() + "/a.jpg").c_str(), nullptr), 3);
}

TEST_F(Queries, VersionIsUpdated) {
  EXPECT_EQ(IndexVersionUpdate((shared() + "/a.jpg").c_str(), 7), 0);
  EXPECT_THAT(Sent("Update photo_image"), ElementsAre(HasSubstr("set version = 7 where path = ")));
}

TEST_F(Queries, CloseEndsTheSharedConnection) {
  EXPECT_EQ(IndexVersionUpdate((shared() + "/a.jpg").c_str(), 7), 0);
  EXPECT_EQ(fake().open_connections, 1);
  EXPECT_EQ(IndexDBClose(), 0);
  EXPECT_EQ(fake().open_connections, 0);
  EXPECT_EQ(IndexDBClose(), 0);
}

TEST_F(Queries, VacuumTellsItsResult) {
  EXPECT_EQ(IndexDBVacuum(), 0);
  FailStatement("VACUUM ANALYZE");
  EXPECT_EQ(IndexDBVacuum(), -1);
}

// --- Thumbnails and conversion.

TEST_F(Queries, ThumbnailsAndConversionRefuseNoPathWithoutAPrefix) {
  EXPECT_EQ(IndexGetThumbSizeMap(nullptr), 0);
  EXPECT_EQ(IndexGetDirThumbSizeMap(nullptr), 0);
  EXPECT_EQ(IndexIsVideoConvert(nullptr), 0);
  EXPECT_THAT(Messages(), ElementsAre("Bad parameter.", "Bad parameter.", "Bad parameter."));
}

TEST_F(Queries, NothingIsNeededOutsideThePhotoTree) {
  EXPECT_EQ(IndexGetThumbSizeMap("/elsewhere/a.jpg"), 0);
  EXPECT_EQ(IndexGetDirThumbSizeMap("/elsewhere"), 0);
  EXPECT_EQ(IndexIsVideoConvert("/elsewhere/a.mp4"), 0);
  EXPECT_EQ(IndexGetThumbSizeMap("user:"), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(Queries, EverythingIsNeededInsideIt) {
  EXPECT_EQ(IndexGetThumbSizeMap((shared() + "/2024/a.jpg").c_str()), kThumbSizes);
  EXPECT_EQ(IndexGetDirThumbSizeMap(Folder(shared() + "/2024").c_str()), kThumbSizes);
  EXPECT_EQ(IndexIsVideoConvert((shared() + "/2024/a.mp4").c_str()), 1);
}

TEST_F(Queries, NothingIsNeededWhereTheAlbumDoesNotConvert) {
  DisableConversion("2024");
  EXPECT_EQ(IndexGetThumbSizeMap((shared() + "/2024/a.jpg").c_str()), 0);
  EXPECT_EQ(IndexGetDirThumbSizeMap(Folder(shared() + "/2024").c_str()), 0);
  EXPECT_EQ(IndexIsVideoConvert((shared() + "/2024/a.mp4").c_str()), 2);
}

TEST_F(Queries, ExcludedFormatsNeedNothingButFoldersDo) {
  ExcludeFormats("jpg,mp4");
  EXPECT_EQ(IndexGetThumbSizeMap((shared() + "/2024/a.jpg").c_str()), 0);
  EXPECT_EQ(IndexIsVideoConvert((shared() + "/2024/a.mp4").c_str()), 0);
  EXPECT_EQ(IndexGetDirThumbSizeMap(Folder(shared() + "/folder.jpg").c_str()), kThumbSizes);
}

TEST_F(Queries, NeedConversionAsksTheContextAlone) {
  EXPECT_EQ(IndexIsPathNeedConversion((shared() + "/2024/a.mp4").c_str()), 1);
  EXPECT_EQ(IndexIsPathNeedConversion(nullptr), 0);
  EXPECT_EQ(IndexIsPathNeedConversion("user:"), 0);
}

// --- Owners.

TEST_F(Queries, OwnerIsRootOrTheUser) {
  UsePersonal();
  char owner[8] = "";
  EXPECT_EQ(IndexPhotoUserNameGet((shared() + "/a.jpg").c_str(), owner, sizeof owner), 0);
  EXPECT_STREQ(owner, "root");
  EXPECT_EQ(IndexPhotoUserNameGet((personal() + "/a.jpg").c_str(), owner, sizeof owner), 0);
  EXPECT_STREQ(owner, "alice");
}

TEST_F(Queries, OwnerIsCutToTheBuffer) {
  char owner[] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(IndexPhotoUserNameGet((shared() + "/a.jpg").c_str(), owner, 3), 0);
  EXPECT_STREQ(owner, "ro");
  EXPECT_EQ(owner[3], 'x');
}

TEST_F(Queries, OwnerReportsBadPaths) {
  char owner[8] = "";
  EXPECT_EQ(IndexPhotoUserNameGet(nullptr, owner, sizeof owner), -1);
  EXPECT_EQ(IndexPhotoUserNameGet("user:", owner, sizeof owner), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, "photo_index.cpp:# HGAStatusCheck failed"));
}

// --- Faces.

TEST_F(Queries, LabelCheckAsksForPeople) {
  Answer({.match = "photo_label where category = 0", .rows = {{{"id", "12"}}}});
  EXPECT_EQ(IndexFaceRecognitionLableCheck((shared() + "/a.jpg").c_str(), "Ann"), 12);
}

TEST_F(Queries, DetectionResultIsAnUnconfirmedLink) {
  Answer({.match = "FROM photo_image ", .rows = {{{"id", "5"}}}});
  IndexFaceRecognitionAddDetectionResult("{face}", (shared() + "/a.jpg").c_str(), 9);
  EXPECT_THAT(Sent("INSERT INTO photo_image_label"), ElementsAre(HasSubstr("VALUES(5, 9, '{face}', 'f')")));
}

TEST_F(Queries, DetectionResultNeedsItsPhoto) {
  const std::string path = shared() + "/a.jpg";
  EXPECT_EQ(IndexFaceRecognitionAddDetectionResult("{face}", path.c_str(), 9), -1);
  EXPECT_EQ(LastMessage(), "photo_index.cpp:# Cant find this photo in db: " + path + ".");
  EXPECT_THAT(Sent("photo_image_label"), IsEmpty());
}

TEST_F(Queries, FaceCallsAreForwarded) {
  EXPECT_EQ(IndexFaceRecognitionUpdateImageLabel(3, 4), 0);
  EXPECT_EQ(IndexFaceRecognitionUpdateDetectionResult("{new}", 3), 0);
  EXPECT_THAT(Sent("update photo_image_label"),
              ElementsAre("update photo_image_label set label_id = 4 where id = 3",
                          "update photo_image_label set info_new = '{new}' where id = 3"));
}

TEST_F(Queries, FaceDataIsForwarded) {
  Answer({.match = "select info, info_new", .rows = {{{"info", "old"}, {"info_new", "new"}}}});
  char line[64] = "";
  EXPECT_EQ(IndexFaceRecognitionImageLabelDataGet(3, (shared() + "/a.jpg").c_str(), line, sizeof line), 0);
  EXPECT_STREQ(line, "new\tinfo_new");
}

TEST_F(Queries, FaceListFollowsItsSelectorAndNotItsCondition) {
  const std::string path = shared() + "/a.jpg";
  const auto statement = [&](int selector, int condition) {
    fake().statements.clear();
    RLIBCSZLIST* faces = IndexFaceRecognitionDataGet(path.c_str(), selector, condition);
    EXPECT_NE(faces, nullptr);
    RLIBCSzListFree(faces);
    return fake().statements.size() == 1 ? fake().statements[0] : "";
  };
  EXPECT_THAT(statement(0, 1), HasSubstr("'" + path + "'"));
  EXPECT_THAT(statement(1, 0), testing::AllOf(HasSubstr("'t'"), testing::Not(HasSubstr(path))));
}

// --- Results of a conversion.

class ConvertAdd : public Queries {
 protected:
  void SetUp() override {
    Queries::SetUp();
    fake().convert_types["KAVOPHOTO:FILM_H264.mp4"] = "high";
    fake().convert_types["KAVOPHOTO:FILM_MPEG4.mp4"] = "medium";
    fake().convert_types["KAVOPHOTO:FILM.flv"] = "flash";
    AnswerRows("FROM video WHERE path = ", 1);
  }
  KAVO_MEDIA_INFO Source(const std::string& name, int width = 0, int height = 0) const {
    return Sized(shared() + "/" + name, width, height);
  }
  // A converted file of "film", which exists.
  KAVO_MEDIA_INFO Converted(const std::string& name, int width = 0, int height = 0) const {
    return Sized(SharedFile("@eaDir/film/" + name), width, height);
  }
  static KAVO_MEDIA_INFO Sized(const std::string& path, int width, int height) {
    KAVO_MEDIA_INFO record = RecordOf(path);
    record.resolutionX = width;
    record.resolutionY = height;
    return record;
  }
  // The version that a thumbnail of WIDTH x HEIGHT gives a landscape source.
  std::string VersionBy(int width, int height) {
    return VersionBy(Source("film.mp4", 400, 300), width, height);
  }
  std::string VersionBy(KAVO_MEDIA_INFO source, int width, int height) {
    fake().statements.clear();
    KAVO_MEDIA_INFO converted = Converted("thumb.JPG", width, height);
    EXPECT_EQ(IndexConvertAdd(&source, &converted), 0);
    const auto sent = Sent("Update photo_image set version = ");
    return sent.size() == 1 ? sent[0].substr(33, 1) : "";
  }
};

TEST_F(ConvertAdd, RefusesMissingRecords) {
  KAVO_MEDIA_INFO empty = {};
  KAVO_MEDIA_INFO source = Source("film.mp4");
  EXPECT_EQ(IndexConvertAdd(nullptr, &source), -1);
  EXPECT_EQ(IndexConvertAdd(&empty, &source), -1);
  EXPECT_EQ(IndexConvertAdd(&source, nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre(kBadParameter, kBadParameter, kBadParameter));
}

TEST_F(ConvertAdd, ThumbnailTellsWhetherTheSourceIsTurned) {
  EXPECT_EQ(VersionBy(40, 30), "0");
  EXPECT_EQ(VersionBy(30, 40), "1");
  EXPECT_EQ(VersionBy(40, 40), "1");
}

TEST_F(ConvertAdd, ThumbnailTellsWhetherAPortraitSourceIsTurned) {
  EXPECT_EQ(VersionBy(Source("film.mp4", 300, 400), 40, 30), "1");
  EXPECT_EQ(VersionBy(Source("film.mp4", 300, 400), 30, 40), "0");
}

TEST_F(ConvertAdd, ThumbnailMustBeAJpegWithAResolution) {
  KAVO_MEDIA_INFO source = Source("film.mp4", 400, 300);
  KAVO_MEDIA_INFO png = Converted("thumb.png", 40, 30);
  KAVO_MEDIA_INFO unsized = Converted("thumb.jpg", 40, 0);
  KAVO_MEDIA_INFO jpeg = Converted("thumb.jpg", 40, 30);
  KAVO_MEDIA_INFO unsized_source = Source("film.mp4", 0, 300);
  EXPECT_EQ(IndexConvertAdd(&source, &png), -1);
  EXPECT_EQ(IndexConvertAdd(&source, &unsized), -1);
  EXPECT_EQ(IndexConvertAdd(&unsized_source, &jpeg), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(ConvertAdd, VideoIsRecordedUnderItsSource) {
  KAVO_MEDIA_INFO source = Source("film.mov");
  KAVO_MEDIA_INFO converted = Converted("KAVOPHOTO:FILM.flv", 320, 240);
  const std::string file = converted.szPath;
  ASSERT_EQ(IndexConvertAdd(&source, &converted), 0);
  EXPECT_STREQ(converted.szPath, source.szPath);
  const auto sent = Sent("INSERT INTO video_convert");
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_THAT(sent[0], HasSubstr("'" + std::string(source.szPath) + "', '" + file + "'"));
  EXPECT_THAT(sent[0], HasSubstr("'flash'"));
}

TEST_F(ConvertAdd, FilmOfAPhoneKeepsItsContainer) {
  for (const char* name : {"KAVOPHOTO:FILM_H264.mp4", "KAVOPHOTO:FILM_MPEG4.mp4"}) {
    KAVO_MEDIA_INFO source = Source("film.3GP");
    KAVO_MEDIA_INFO converted = Converted(name);
    std::snprintf(converted.szContainerType, sizeof converted.szContainerType, "mp4");
    ASSERT_EQ(IndexConvertAdd(&source, &converted), 0);
    EXPECT_STREQ(converted.szContainerType, "3gp") << name;
  }
}

TEST_F(ConvertAdd, OtherFilmsKeepTheContainerGiven) {
  KAVO_MEDIA_INFO phone = Source("film.3gp");
  KAVO_MEDIA_INFO other = Source("film.mov");
  KAVO_MEDIA_INFO flash = Converted("KAVOPHOTO:FILM.flv");
  KAVO_MEDIA_INFO h264 = Converted("KAVOPHOTO:FILM_H264.mp4");
  ASSERT_EQ(IndexConvertAdd(&phone, &flash), 0);
  ASSERT_EQ(IndexConvertAdd(&other, &h264), 0);
  EXPECT_STREQ(flash.szContainerType, "");
  EXPECT_STREQ(h264.szContainerType, "");
}

TEST_F(ConvertAdd, VideoReportsARefusedSource) {
  KAVO_MEDIA_INFO source = RecordOf("user:");
  KAVO_MEDIA_INFO converted = Converted("KAVOPHOTO:FILM.flv");
  EXPECT_EQ(IndexConvertAdd(&source, &converted), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_index.cpp:# Failed to HGAStatusCheck path: user:"));
}

TEST_F(ConvertAdd, VideoReportsARowThatCannotBeSaved) {
  FailStatement("INSERT INTO video_convert");
  KAVO_MEDIA_INFO source = Source("film.mov");
  KAVO_MEDIA_INFO converted = Converted("KAVOPHOTO:FILM.flv");
  const std::string file = converted.szPath;
  EXPECT_EQ(IndexConvertAdd(&source, &converted), -1);
  EXPECT_EQ(LastMessage(),
            "photo_index.cpp (#) Failed to save ea converted video media metadata from file [" + file + "].");
}

}  // namespace
