// What the entry points answer when memory is out: the failure that their headers tell, and one line in the
// log.
#include <ostream>

#include "lumivault/photo_index.h"
#include "lumivault/photo_util.h"
#include "platform/database.h"
#include "support/failing_memory.h"
#include "support/fake_library.h"
#include "support/media_record.h"

namespace {

using testing::ElementsAre;

// How many more allocations succeed before one fails; negative: all do.
int g_left = -1;

bool FailsOnce(std::size_t /*size*/) {
  return g_left >= 0 && g_left-- == 0;
}

// What is handed to the entry points. It is made while there is memory.
struct Input {
  std::string file;    // is there
  std::string gone;    // is not
  std::string folder;  // is there
  Json::Value info;
  KAVO_MEDIA_INFO record = {};
  KAVO_MEDIA_INFO copy = {};
  KAVO_PHOTO_SHARE_INFO album = {};
  char text[64] = {};

  const char* path() const { return file.c_str(); }
};

struct EntryPoint {
  const char* name;
  const char* source;  // in whose name it writes into the log
  long answer;
  long (*call)(Input& in);
};

void PrintTo(const EntryPoint& entry, std::ostream* out) {
  *out << entry.name;
}
std::string EntryName(const testing::TestParamInfo<EntryPoint>& info) {
  return info.param.name;
}

class OutOfMemoryTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    in_.folder = shared() + "/trip";
    in_.file = in_.folder + "/a.jpg";
    in_.gone = in_.folder + "/gone.jpg";
    WriteFile(in_.file, "");
    in_.info = InfoOf(in_.file);
    in_.record = in_.copy = RecordOf(in_.file);
    std::snprintf(in_.album.szAlbumPath, sizeof in_.album.szAlbumPath, "%s", in_.folder.c_str());
    std::snprintf(in_.album.szShareName, sizeof in_.album.szShareName, "trip");
    std::snprintf(in_.album.szRightsShareName, sizeof in_.album.szRightsShareName, "trip");
    ASSERT_EQ(HGAStatusCheck(in_.path()), 0);
    ASSERT_NE(PhotoUtilPhotoDirGet(), nullptr);
    ASSERT_NE(PhotoDBConnect(), nullptr);
    memory_is_short = FailsOnce;
  }
  void TearDown() override {
    memory_is_short = nullptr;
    FakeLibraryTest::TearDown();
  }

  // The answers of the first COUNT calls that lacked memory at one place and told no more than MESSAGE.
  std::vector<long> Answers(const std::string& message, std::size_t count, long (*call)(Input& in)) {
    constexpr int kMost = 200;
    std::vector<long> answers;
    for (int allocation = 0; allocation < kMost && answers.size() < count; ++allocation) {
      SyslogCapture::Clear();
      g_left = allocation;
      const long answer = call(in_);
      g_left = -1;
      if (Messages() == std::vector<std::string>{message}) answers.push_back(answer);
    }
    return answers;
  }

 private:
  Input in_;
};

TEST_F(OutOfMemoryTest, PathsThatCannotBeCopiedAreAFailure) {
  const std::string told = "photo_index.cpp:# strdup failed.";
  const auto rename_folder = [](Input& in) -> long {
    return IndexDirRename(in.folder.c_str(), in.gone.c_str());
  };
  const auto rename_file = [](Input& in) -> long {
    return IndexRename_Json(&in.info, kIndexed, in.gone.c_str());
  };
  const auto check = [](Input& in) -> long { return HGAStatusCheck(in.path()); };
  EXPECT_THAT(Answers(told, 2, rename_folder), ElementsAre(-1, -1));
  EXPECT_THAT(Answers(told, 1, rename_file), ElementsAre(-1));
  EXPECT_THAT(Answers("personalphoto.cpp:# strdup failed.", 1, check), ElementsAre(-1));
}

class OutOfMemory : public OutOfMemoryTest, public testing::WithParamInterface<EntryPoint> {};

TEST_P(OutOfMemory, IsAFailureThatTheLogTells) {
  const std::string told = std::string(GetParam().source) + ":# Unexpected error: std::bad_alloc";
  EXPECT_THAT(Answers(told, 1, GetParam().call), ElementsAre(GetParam().answer));
}

constexpr const char* kIndex = "photo_index.cpp";
constexpr const char* kDatabase = "photo_database.cpp";
constexpr const char* kUtil = "photo_util.cpp";

INSTANTIATE_TEST_SUITE_P(
    Events, OutOfMemory,
    testing::Values(
        EntryPoint{"IndexAdd_Json", kIndex, -1,
                   [](Input& in) -> long { return IndexAdd_Json(&in.info, kIndexed); }},
        EntryPoint{"IndexAdd", kIndex, -1, [](Input& in) -> long { return IndexAdd(&in.record, kIndexed); }},
        EntryPoint{"IndexRename_Json", kIndex, -1,
                   [](Input& in) -> long { return IndexRename_Json(&in.info, kIndexed, in.gone.c_str()); }},
        EntryPoint{"IndexRename", kIndex, -1,
                   [](Input& in) -> long { return IndexRename(&in.record, kIndexed, in.gone.c_str()); }},
        EntryPoint{"IndexDelete", kIndex, -1, [](Input& in) -> long { return IndexDelete(in.gone.c_str()); }},
        EntryPoint{"IndexIsIndexPath", kIndex, -1,
                   [](Input& in) -> long { return IndexIsIndexPath(in.path(), kIndexed); }},
        EntryPoint{"IndexIsShareIndexed", kIndex, -1,
                   [](Input& in) -> long { return IndexIsShareIndexed(in.path()); }},
        EntryPoint{"IndexReindexUpdate_Json", kIndex, -1,
                   [](Input& in) -> long { return IndexReindexUpdate_Json(&in.info, kIndexed); }},
        EntryPoint{"IndexReindexUpdate", kIndex, -1,
                   [](Input& in) -> long { return IndexReindexUpdate(&in.record, kIndexed); }},
        EntryPoint{"IndexReindexDirUpdate", kIndex, -1,
                   [](Input& in) -> long { return IndexReindexDirUpdate(in.folder.c_str()); }}),
    EntryName);

INSTANTIATE_TEST_SUITE_P(Queries, OutOfMemory,
                         testing::Values(EntryPoint{
                             "IndexConvertAdd", kIndex, -1,
                             [](Input& in) -> long { return IndexConvertAdd(&in.record, &in.copy); }}),
                         EntryName);

INSTANTIATE_TEST_SUITE_P(
    Database, OutOfMemory,
    testing::Values(
        EntryPoint{"PhotoInfoDBSave", kDatabase, -1,
                   [](Input& in) -> long { return PhotoInfoDBSave(PHOTO_TABLE_IMAGE, &in.info); }},
        EntryPoint{"PhotoInfoDBIsDefaultTitle", kDatabase, 0,
                   [](Input& in) -> long {
                     return PhotoInfoDBIsDefaultTitle(KAVODB_TYPE_POSTGRES, PHOTO_TABLE_IMAGE, in.path());
                   }},
        EntryPoint{"PhotoInfoDBDelete", kDatabase, -1,
                   [](Input& in) -> long { return PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, in.path()); }},
        EntryPoint{"PhotoInfoDBLabelCheck", kDatabase, -1,
                   [](Input& in) -> long { return PhotoInfoDBLabelCheck(in.path(), "Marie", 0); }},
        EntryPoint{"PhotoInfoDBPhotoIdGet", kDatabase, -1,
                   [](Input& in) -> long { return PhotoInfoDBPhotoIdGet(in.path()); }},
        EntryPoint{"KAVOPhotoInfoVideoRename", kDatabase, -1,
                   [](Input& in) -> long {
                     return KAVOPhotoInfoVideoRename(PHOTO_TABLE_VIDEO_DESC, in.path(), in.gone.c_str());
                   }},
        EntryPoint{
            "PhotoInfoDBFaceRecognitionEnableGet", kDatabase, 0,
            [](Input& /*in*/) -> long { return static_cast<long>(PhotoInfoDBFaceRecognitionEnableGet()); }},
        EntryPoint{"PhotoInfoDBFaceRecognitionDataGet", kDatabase, 1,
                   [](Input& in) -> long {
                     return PhotoInfoDBFaceRecognitionDataGet(in.path(), 0, 0) == nullptr ? 1 : 0;
                   }},
        EntryPoint{"PhotoInfoDBFaceRecognitionUpdateImageLabel", kDatabase, -1,
                   [](Input& /*in*/) -> long { return PhotoInfoDBFaceRecognitionUpdateImageLabel(1, 1); }},
        EntryPoint{"PhotoInfoDBFaceRecognitionImageLabelDataGet", kDatabase, -1,
                   [](Input& in) -> long {
                     return PhotoInfoDBFaceRecognitionImageLabelDataGet(1, in.path(), in.text,
                                                                        sizeof in.text);
                   }},
        EntryPoint{
            "PhotoInfoDBFaceRecognitionUpdateDetectionResult", kDatabase, -1,
            [](Input& /*in*/) -> long { return PhotoInfoDBFaceRecognitionUpdateDetectionResult("{}", 1); }},
        EntryPoint{"PhotoShareInfoDBSave", kDatabase, -1,
                   [](Input& in) -> long { return PhotoShareInfoDBSave(&in.album); }},
        EntryPoint{"PhotoSharePriviledgeDBSave", kDatabase, -1,
                   [](Input& in) -> long { return PhotoSharePriviledgeDBSave(&in.album); }},
        EntryPoint{"PhotoInfoDBImageLabelDataAdd", kDatabase, -1,
                   [](Input& /*in*/) -> long { return PhotoInfoDBImageLabelDataAdd(1, 1, "{}", "t"); }},
        EntryPoint{"PhotoInfoDBImageLabelDataDelete", kDatabase, -1,
                   [](Input& /*in*/) -> long { return PhotoInfoDBImageLabelDataDelete(1, 1); }},
        EntryPoint{"PhotoInfoDBImageLabelDeleteByImage", kDatabase, -1,
                   [](Input& /*in*/) -> long { return PhotoInfoDBImageLabelDeleteByImage(1); }},
        EntryPoint{"KAVOPhotoInitAllRows", kDatabase, -1,
                   [](Input& in) -> long { return KAVOPhotoInitAllRows(in.folder.c_str()); }},
        EntryPoint{"KAVOPhotoShareInitAllRows", kDatabase, -1,
                   [](Input& in) -> long { return KAVOPhotoShareInitAllRows(in.folder.c_str()); }},
        EntryPoint{"KAVOPhotoDeleteNoUpdateRows", kDatabase, -1,
                   [](Input& in) -> long { return KAVOPhotoDeleteNoUpdateRows(in.folder.c_str()); }},
        EntryPoint{"KAVOPhotoShareDeleteNoUpdateRows", kDatabase, -1,
                   [](Input& in) -> long { return KAVOPhotoShareDeleteNoUpdateRows(in.folder.c_str()); }},
        EntryPoint{"IsPathNeedConversion", kDatabase, 0,
                   [](Input& in) -> long { return IsPathNeedConversion(in.path()); }},
        EntryPoint{"PhotoInfoDBOpen", kDatabase, 1,
                   [](Input& /*in*/) -> long {
                     return PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, "a", "b", 0, 0) == nullptr
                                ? 1
                                : 0;
                   }},
        EntryPoint{
            "PhotoInfoVideoConvertDBSave", kDatabase, -1,
            [](Input& in) -> long { return PhotoInfoVideoConvertDBSave(&in.copy, in.path(), "mp4"); }}),
    EntryName);

INSTANTIATE_TEST_SUITE_P(
    Util, OutOfMemory,
    testing::Values(EntryPoint{"PhotoUtilShareNameGet", kUtil, -1,
                               [](Input& in) -> long {
                                 return PhotoUtilShareNameGet(in.path(), in.text, sizeof in.text);
                               }},
                    EntryPoint{"GetSharenameByFilePath", kUtil, -1,
                               [](Input& in) -> long {
                                 return GetSharenameByFilePath(in.path(), in.text, sizeof in.text);
                               }},
                    EntryPoint{"GetReferenceSharenameBySharename", kUtil, -1,
                               [](Input& in) -> long {
                                 return GetReferenceSharenameBySharename("a/long name of an album/c", in.text,
                                                                         sizeof in.text);
                               }},
                    EntryPoint{"GetPrivilegeSharenameByFilePath", kUtil, -1,
                               [](Input& in) -> long {
                                 return GetPrivilegeSharenameByFilePath(in.path(), in.text, sizeof in.text);
                               }},
                    EntryPoint{"GetFileContentInEA", kDatabase, -1,
                               [](Input& in) -> long {
                                 return GetFileContentInEA(in.path(), "KAVOPHOTO_TITLE", in.text,
                                                           sizeof in.text);
                               }},
                    EntryPoint{"PhotoUtilPhotoDirGet", kUtil, 1,
                               [](Input& /*in*/) -> long {
                                 return (ResetPhotoDirForTest(), PhotoUtilPhotoDirGet()) == nullptr ? 1 : 0;
                               }}),
    EntryName);

}  // namespace
