// The extensions that cameras and phones give to formats that bear other names elsewhere, in the real
// program.
#include <algorithm>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

class CameraFormatsTest : public ServiceTest {
 protected:
  void SetUp() override { fs::create_directories(folder()); }
  // A picture in the format that FORMAT's extension names, under NAME.
  void MakeAs(const std::string& name, const std::string& format) const {
    MakeImage(scratch() / ("made." + format), 40, 30);
    fs::rename(scratch() / ("made." + format), File(name));
  }
};

// Nothing here makes the raw files of cameras: plain TIFF and JPEG files stand for those that are laid out as
// such. That the extension is one of the index's is all that they show.
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

}  // namespace
