// Numbers of a record that do not fit a signed 32-bit number, through the database and back.
#include "lumivault/media_info.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"

namespace {

constexpr uint64_t kFiveBillion = 5'000'000'000;
constexpr uint32_t kFourBillion = 4'000'000'000;
constexpr int kVideoKind = 1;

class WideRecordTest : public LibraryTest {
 protected:
  KAVO_MEDIA_INFO StoredVideo(const std::string& name) {
    KAVO_MEDIA_INFO row = {};
    EXPECT_EQ(IndexDBGetOne(kVideoKind, Path(name).c_str(), &row), 0);
    return row;
  }
};

TEST_P(WideRecordTest, SizeOfAPhoto) {
  MakeJpeg(photos() / "a.jpg", 8, 6);
  KAVO_MEDIA_INFO record = RecordOf(Path("a.jpg"));
  record.fileSize = kFiveBillion;
  ASSERT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_EQ(Value("SELECT size FROM photo_image"), "5000000000");
}

TEST_P(WideRecordTest, SizeOfAVideo) {
  WriteFile(photos() / "a.mp4", "video");
  KAVO_MEDIA_INFO record = RecordOf(Path("a.mp4"));
  record.fileSize = kFiveBillion;
  ASSERT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_EQ(Value("SELECT filesize FROM video"), "5000000000");
  EXPECT_EQ(StoredVideo("a.mp4").fileSize, kFiveBillion);
}

// The columns of bit rates hold the record's 32 bits as a signed number.
TEST_P(WideRecordTest, BitRateOfAVideo) {
  WriteFile(photos() / "a.mp4", "video");
  KAVO_MEDIA_INFO record = RecordOf(Path("a.mp4"));
  record.video_bitrate = kFourBillion;
  ASSERT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_EQ(StoredVideo("a.mp4").video_bitrate, kFourBillion);
}

INSTANTIATE_TEST_SUITE_P(Engines, WideRecordTest, BothEngines(), EngineName);

}  // namespace
