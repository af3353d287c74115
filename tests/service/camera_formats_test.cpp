// The extensions that cameras and phones give to formats that bear other names elsewhere, in the real
// program.
#include <algorithm>
#include <cstdint>
#include <utility>

#include "support/heif_maker.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

std::string LittleEndian(std::uint64_t number, int bytes) {
  const std::string text = BigEndian(number, bytes);
  return {text.rbegin(), text.rend()};
}

// A directory of numbers: tag and value, in the order of tags.
std::string Directory(const std::vector<std::pair<int, std::size_t>>& entries) {
  constexpr int kLong = 4;  // the type, and its bytes
  std::string text = LittleEndian(entries.size(), 2);
  for (const auto& [tag, value] : entries) {
    text += LittleEndian(static_cast<std::uint64_t>(tag), 2) + LittleEndian(kLong, 2) +
            LittleEndian(1, kLong) + LittleEndian(value, kLong);
  }
  return text + LittleEndian(0, kLong);
}

// As makers lay out their TIFF: a preview of 16 x 12, and below it the picture of 40 x 30.
std::string RawBehindPreview() {
  constexpr std::size_t kFirst = 8;
  const auto preview = [](std::size_t below) {
    return Directory({{0xFE, 1}, {0x100, 16}, {0x101, 12}, {0x14A, below}});
  };
  const std::string start = std::string("II*\0", 4) + LittleEndian(kFirst, 4);
  return start + preview(kFirst + preview(0).size()) + Directory({{0xFE, 0}, {0x100, 40}, {0x101, 30}});
}

// As Panasonic and Leica do, with tags of their own in the place of TIFF's.
std::string RawOfItsOwn() {
  return std::string("IIU\0", 4) + LittleEndian(8, 4) + Directory({{0x2, 40}, {0x3, 30}});
}

// A maker's name and nothing of a size.
std::string RawWithoutSize() {
  constexpr int kMake = 0x10F;
  constexpr int kText = 2;
  return std::string("II*\0", 4) + LittleEndian(8, 4) + LittleEndian(1, 2) + LittleEndian(kMake, 2) +
         LittleEndian(kText, 2) + LittleEndian(4, 4) + std::string("Ann\0", 4) + LittleEndian(0, 4);
}

class CameraFormatsTest : public ServiceTest {
 protected:
  void SetUp() override { fs::create_directories(folder()); }
  // A picture in the format that FORMAT's extension names, under NAME.
  void MakeAs(const std::string& name, const std::string& format) const {
    MakeImage(scratch() / ("made." + format), 40, 30);
    fs::rename(scratch() / ("made." + format), File(name));
  }
};

// Plain TIFF and JPEG files stand for the raw files of cameras here. That the extension is one of the index's
// is all that they show; the tests below have the layouts.
TEST_F(CameraFormatsTest, EveryPictureGetsItsRow) {
  const std::map<std::string, std::string> formats = {
      {"a.hif", "heic"}, {"b.jxl", "jxl"},  {"c.jp2", "jp2"}, {"d.mpo", "jpg"}, {"e.jfif", "jpg"},
      {"f.srw", "tif"},  {"g.rwl", "tif"},  {"h.iiq", "tif"}, {"i.cap", "tif"}, {"j.gpr", "tif"},
      {"k.insp", "jpg"}, {"l.HIF", "heic"}, {"m.SRW", "tif"}};
  for (const auto& [name, format] : formats) MakeAs(name, format);
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asUInt(), formats.size());
  for (const auto& [name, format] : formats) {
    EXPECT_EQ(Value("SELECT resolutionx || 'x' || resolutiony FROM photo_image WHERE path = '" + name + "'"),
              "40x30")
        << name;
  }
}

TEST_F(CameraFormatsTest, ARawFileHasTheSizeOfItsPictureNotOfItsPreview) {
  const std::vector<std::string> names = {"a.srw", "b.gpr", "c.cap", "d.iiq", "e.nef", "f.dng"};
  for (const std::string& name : names) WriteFile(File(name), RawBehindPreview());
  WriteFile(File("g.rwl"), RawOfItsOwn());
  WriteFile(File("h.rw2"), RawOfItsOwn());
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asUInt(), names.size() + 2);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image WHERE resolutionx = 40 AND resolutiony = 30"),
            std::to_string(names.size() + 2));
}

// A second picture, for the other eye, stands behind the first.
TEST_F(CameraFormatsTest, APictureForTwoEyesHasTheSizeOfOne) {
  MakeJpeg(File("a.mpo"), 40, 30);
  WriteFile(File("a.mpo"), ReadFile(File("a.mpo")) + ReadFile(File("a.mpo")));
  Index();
  EXPECT_EQ(Value("SELECT resolutionx || 'x' || resolutiony FROM photo_image"), "40x30");
}

TEST_F(CameraFormatsTest, EveryVideoGetsItsRow) {
  for (const char* name : {"a.insv", "b.lrv"}) {
    if (!MakeVideo(scratch() / "made.mp4", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
    fs::rename(scratch() / "made.mp4", File(name));
  }
  Index();
  EXPECT_EQ(Value("SELECT count(*) FROM video WHERE resolutionX = 64 AND container_type = 'mp4'"), "2");
}

// What its metadata tells is more than nothing.
TEST_F(CameraFormatsTest, APictureOfACamerasWhoseSizeNobodyTellsHasItsRow) {
  WriteFile(File("a.dng"), RawWithoutSize());
  WriteFile(File("b.dng"), std::string("II*\0", 4) + LittleEndian(8, 4) + Directory({{0xFE, 1}}));
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(FailureOf(report, "b.dng"), "the size of the picture cannot be found");
  EXPECT_EQ(report["notes"][0]["reason"].asString(), "the size of the picture cannot be found");
  EXPECT_EQ(Value("SELECT camera_make || '|' || resolutionx || '|' || resolutiony FROM photo_image"),
            "Ann|0|0");
  EXPECT_EQ(Index()["added"].asInt(), 0) << "known";
}

}  // namespace
