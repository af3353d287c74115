#include <gmock/gmock.h>

#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "platform/string_list.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"

namespace fs = std::filesystem;

namespace {

constexpr int kThumbSizes = 18;

class QueriesTest : public LibraryTest {
 protected:
  void AddPhoto(const std::string& relative) {
    MakeJpeg(photos() / relative, 8, 6);
    KAVO_MEDIA_INFO record = RecordOf(Path(relative));
    ASSERT_EQ(IndexAdd(&record, kIndexed), 0);
  }
  void DisableConversion(const std::string& album) {
    Run("INSERT INTO photo_share (shareid, sharename, conversion) VALUES (2, '" + album + "', 'f')");
  }
  void Exclude(const std::string& formats) {
    Run("INSERT INTO photo_config (config_key, config_value) VALUES ('excluding_index_format', '" + formats +
        "')");
  }
  KAVO_MEDIA_INFO Sized(const std::string& relative, int width, int height) const {
    KAVO_MEDIA_INFO record = RecordOf(Path(relative));
    record.resolutionX = width;
    record.resolutionY = height;
    return record;
  }
};

TEST_P(QueriesTest, GetOneReadsAPhotoBack) {
  AddPhoto("2024/a.jpg");
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(IndexDBGetOne(2, Path("2024/a.jpg").c_str(), &record), 0);
  EXPECT_EQ(record.szPath, Path("2024/a.jpg"));
  EXPECT_EQ(IndexDBGetOne(1, Path("2024/a.jpg").c_str(), &record), -1);
  EXPECT_EQ(IndexDBGetOne(3, Path("2024/a.jpg").c_str(), &record), 0);
}

TEST_P(QueriesTest, VersionIsKept) {
  AddPhoto("2024/a.jpg");
  unsigned version = 0;
  EXPECT_EQ(IndexVersionUpdate(Path("2024/a.jpg").c_str(), 3), 0);
  EXPECT_EQ(IndexVersionGet(Path("2024/a.jpg").c_str(), &version), 3);
  EXPECT_EQ(version, 3U);
  EXPECT_EQ(IndexVersionGet(Path("2024/none.jpg").c_str(), &version), 0);
}

TEST_P(QueriesTest, ThumbnailsAreNeededInsideTheLibraryAlone) {
  fs::create_directories(photos() / "2024");
  EXPECT_EQ(IndexGetThumbSizeMap(Path("2024/a.jpg").c_str()), kThumbSizes);
  EXPECT_EQ(IndexGetDirThumbSizeMap(Path("2024").c_str()), kThumbSizes);
  EXPECT_EQ(IndexGetThumbSizeMap((tree().root() / "a.jpg").c_str()), 0);
  EXPECT_EQ(IndexGetDirThumbSizeMap(tree().root().c_str()), 0);
}

TEST_P(QueriesTest, VideoConvertTellsThreeAnswersApart) {
  fs::create_directories(photos() / "off");
  DisableConversion("off");
  Exclude("MKV");
  EXPECT_EQ(IndexIsVideoConvert(Path("on/a.mp4").c_str()), 1);
  EXPECT_EQ(IndexIsVideoConvert(Path("off/a.mp4").c_str()), 2);
  EXPECT_EQ(IndexIsVideoConvert(Path("on/a.mkv").c_str()), 0);
  EXPECT_EQ(IndexIsVideoConvert((tree().root() / "a.mp4").c_str()), 0);
  EXPECT_EQ(IndexIsPathNeedConversion(Path("off/a.mp4").c_str()), 0);
  EXPECT_EQ(IndexGetThumbSizeMap(Path("off/a.jpg").c_str()), 0);
}

TEST_P(QueriesTest, OwnerIsRootOrTheUser) {
  char owner[64] = "";
  EXPECT_EQ(IndexPhotoUserNameGet(Path("a.jpg").c_str(), owner, sizeof owner), 0);
  EXPECT_STREQ(owner, personal() ? "alice" : "root");
}

TEST_P(QueriesTest, GateKnowsTheLibrary) {
  EXPECT_EQ(IndexIsIndexPath(Path("2024/a.jpg").c_str(), kIndexed), 1);
  EXPECT_EQ(IndexIsIndexPath((photos().string() + "2/a.jpg").c_str(), kIndexed), 0);
  EXPECT_EQ(IndexIsShareIndexed(photos().c_str()), 1);
  EXPECT_EQ(IndexIsShareIndexed(tree().root().c_str()), 0);
}

TEST_P(QueriesTest, FacesAreFoundConfirmedAndRenamed) {
  AddPhoto("2024/a.jpg");
  const std::string path = Path("2024/a.jpg");
  const int ann = IndexFaceRecognitionLableCheck(path.c_str(), "Ann");
  ASSERT_GT(ann, 0);
  EXPECT_EQ(IndexFaceRecognitionLableCheck(path.c_str(), "Ann"), ann);
  const int bea = IndexFaceRecognitionLableCheck(path.c_str(), "Bea");
  const int link = IndexFaceRecognitionAddDetectionResult("face 1", path.c_str(), ann);
  ASSERT_GT(link, 0);
  EXPECT_EQ(IndexFaceRecognitionUpdateImageLabel(link, bea), 0);
  EXPECT_EQ(IndexFaceRecognitionUpdateDetectionResult("face 2", link), 0);
  const auto rows = Query("SELECT label_id, info_new, status FROM photo_image_label");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0], (Row{{"label_id", std::to_string(bea)}, {"info_new", "face 2"}, {"status", "f"}}));
}

TEST_P(QueriesTest, DetectionResultNeedsItsPhoto) {
  EXPECT_EQ(IndexFaceRecognitionAddDetectionResult("face", Path("none.jpg").c_str(), 1), -1);
  EXPECT_EQ(SyslogCapture::Messages().back(),
            "photo_index.cpp:# Cant find this photo in db: " + Path("none.jpg") + ".");
}

TEST_P(QueriesTest, ConvertedVideoIsRecordedUnderItsSource) {
  const std::string name = "2024/@eaDir/film.mp4/KAVOPHOTO:FILM_H264.mp4";
  WriteFile(photos() / name, "converted");
  Run("INSERT INTO video (path) VALUES ('" + Key("2024/film.mp4") + "')");
  KAVO_MEDIA_INFO source = RecordOf(Path("2024/film.mp4"));
  KAVO_MEDIA_INFO converted = Sized(name, 320, 240);
  ASSERT_EQ(IndexConvertAdd(&source, &converted), 0);
  const auto rows = Query("SELECT video_path, convert_file_path, filesize FROM video_convert");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0],
            (Row{{"video_path", Key("2024/film.mp4")}, {"convert_file_path", Key(name)}, {"filesize", "9"}}));
}

TEST_P(QueriesTest, ThumbnailTellsWhetherTheSourceIsTurned) {
  AddPhoto("2024/a.jpg");
  KAVO_MEDIA_INFO source = Sized("2024/a.jpg", 400, 300);
  KAVO_MEDIA_INFO turned = Sized("2024/@eaDir/a.jpg/thumb.jpg", 30, 40);
  KAVO_MEDIA_INFO upright = Sized("2024/@eaDir/a.jpg/thumb.jpg", 40, 30);
  EXPECT_EQ(IndexConvertAdd(&source, &turned), 0);
  EXPECT_EQ(Value("SELECT version FROM photo_image"), "1");
  EXPECT_EQ(IndexConvertAdd(&source, &upright), 0);
  EXPECT_EQ(Value("SELECT version FROM photo_image"), "0");
}

TEST_P(QueriesTest, CloseAndVacuumSucceed) {
  EXPECT_EQ(IndexDBVacuum(), 0);
  EXPECT_EQ(IndexDBClose(), 0);
  EXPECT_EQ(IndexDBVacuum(), 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, QueriesTest, BothEngines(), EngineName);

}  // namespace
