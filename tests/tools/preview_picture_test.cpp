// What the pictures show: the right way up, in the right colours, in the right sizes.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>
#include <vips/vips8>

#include "preview/picture.h"
#include "preview/preview_set.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Colour = std::array<int, 3>;
constexpr Colour kRed{254, 0, 0};
constexpr Colour kGreen{0, 254, 0};
constexpr Colour kBlue{0, 0, 254};
constexpr Colour kWhite{254, 254, 254};
constexpr int kTolerance = 14;  // of a JPEG

class Vips : public testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(VIPS_INIT("preview_picture_test"), 0); }
};
const testing::Environment* const vips = testing::AddGlobalTestEnvironment(new Vips);

vips::VImage Plain(int width, int height, const std::vector<double>& colour) {
  vips::VImage image = vips::VImage::black(width, height).new_from_image(colour);
  return image.copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB))
      .cast(VIPS_FORMAT_UCHAR);
}

// Red, green; blue, white.
vips::VImage Quarters(int width, int height) {
  const auto quarter = [&](const Colour& colour) {
    return Plain(width / 2, height / 2, {double(colour[0]), double(colour[1]), double(colour[2])});
  };
  const vips::VImage above = quarter(kRed).join(quarter(kGreen), VIPS_DIRECTION_HORIZONTAL);
  return above.join(quarter(kBlue).join(quarter(kWhite), VIPS_DIRECTION_HORIZONTAL), VIPS_DIRECTION_VERTICAL);
}

// At a part of the width and of the height.
Colour At(const vips::VImage& image, double x, double y) {
  const std::vector<double> values =
      image.getpoint(static_cast<int>(x * image.width()), static_cast<int>(y * image.height()));
  EXPECT_EQ(values.size(), 3U);
  return {static_cast<int>(values[0]), static_cast<int>(values[1]), static_cast<int>(values[2])};
}

testing::AssertionResult Is(const Colour& seen, const Colour& expected, int tolerance = kTolerance) {
  for (std::size_t band = 0; band < seen.size(); ++band) {
    if (std::abs(seen[band] - expected[band]) > tolerance)
      return testing::AssertionFailure() << seen[0] << ' ' << seen[1] << ' ' << seen[2];
  }
  return testing::AssertionSuccess();
}

class PreviewPictureTest : public testing::Test {
 protected:
  vips::VImage Read(const std::string& name, int side = 1280) const {
    return ReadPicture(OpenMedia(dir_ / name), side);
  }
  std::string Refusal(const std::string& name) const {
    try {
      Read(name);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "";
  }

  TempDir dir_;
};

// How a stored picture is shown: the corners that stand at the left and right of its top then.
struct Orientation {
  int number;
  Colour left;
  Colour right;
  bool lies;  // width and height change places
};

class OrientationTest : public PreviewPictureTest, public testing::WithParamInterface<Orientation> {};

TEST_P(OrientationTest, IsApplied) {
  const Orientation& shown = GetParam();
  vips::VImage image = Quarters(160, 80).copy();
  image.set(VIPS_META_ORIENTATION, shown.number);
  image.jpegsave((dir_ / "a.jpg").c_str(), vips::VImage::option()->set("Q", 95));
  const vips::VImage read = Read("a.jpg");
  EXPECT_EQ(std::tuple(read.width(), read.height()), shown.lies ? std::tuple(80, 160) : std::tuple(160, 80));
  EXPECT_TRUE(Is(At(read, 0.2, 0.2), shown.left));
  EXPECT_TRUE(Is(At(read, 0.8, 0.2), shown.right));
  EXPECT_EQ(read.get_typeof(VIPS_META_ORIENTATION) == 0 ? 1 : read.get_int(VIPS_META_ORIENTATION), 1);
}

INSTANTIATE_TEST_SUITE_P(
    All, OrientationTest,
    testing::Values(Orientation{1, kRed, kGreen, false}, Orientation{2, kGreen, kRed, false},
                    Orientation{3, kWhite, kBlue, false}, Orientation{4, kBlue, kWhite, false},
                    Orientation{5, kRed, kBlue, true}, Orientation{6, kBlue, kRed, true},
                    Orientation{7, kWhite, kGreen, true}, Orientation{8, kGreen, kWhite, true}),
    [](const auto& tried) { return std::to_string(tried.param.number); });

TEST_F(PreviewPictureTest, FitsAndIsNeverEnlarged) {
  const std::vector<std::tuple<int, int, int, int>> cases = {
      {2000, 1000, 1280, 640},  {1000, 2000, 640, 1280}, {1281, 10, 1280, 10},
      {1280, 1280, 1280, 1280}, {50, 20, 50, 20},        {1, 1, 1, 1}};
  for (const auto& [width, height, expected_width, expected_height] : cases) {
    Plain(width, height, {10, 20, 30}).pngsave((dir_ / "a.png").c_str());
    const vips::VImage read = Read("a.png");
    EXPECT_EQ(std::tuple(read.width(), read.height()), std::tuple(expected_width, expected_height)) << width;
  }
}

TEST_F(PreviewPictureTest, WhatIsTransparentIsWhite) {
  Plain(40, 40, {200, 10, 10}).bandjoin(0).pngsave((dir_ / "clear.png").c_str());
  EXPECT_TRUE(Is(At(Read("clear.png"), 0.5, 0.5), {255, 255, 255}, 1));
  Plain(40, 40, {200, 10, 10}).bandjoin(255).pngsave((dir_ / "solid.png").c_str());
  EXPECT_TRUE(Is(At(Read("solid.png"), 0.5, 0.5), {200, 10, 10}, 2));
}

TEST_F(PreviewPictureTest, SixteenBitsBecomeEight) {
  const vips::VImage grey =
      vips::VImage::black(40, 40).cast(VIPS_FORMAT_USHORT).new_from_image({32896.0, 32896.0, 32896.0});
  grey.copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16))
      .pngsave((dir_ / "a.png").c_str());
  EXPECT_TRUE(Is(At(Read("a.png"), 0.5, 0.5), {128, 128, 128}, 2));
}

TEST_F(PreviewPictureTest, AGreyPictureHasThreeColours) {
  Plain(40, 40, {90})
      .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W))
      .jpegsave((dir_ / "a.jpg").c_str());
  EXPECT_TRUE(Is(At(Read("a.jpg"), 0.5, 0.5), {90, 90, 90}, 3));
}

// Its numbers are others for the same colour.
TEST_F(PreviewPictureTest, AProfileOfItsOwnIsHeeded) {
  const vips::VImage wide =
      Plain(40, 40, {200, 60, 40}).icc_transform("p3", vips::VImage::option()->set("input_profile", "srgb"));
  ASSERT_FALSE(Is(At(wide, 0.5, 0.5), {200, 60, 40}, 6));
  wide.pngsave((dir_ / "a.png").c_str());
  EXPECT_TRUE(Is(At(Read("a.png"), 0.5, 0.5), {200, 60, 40}, 3));
}

TEST_F(PreviewPictureTest, InkBecomesLight) {
  Plain(40, 40, {230, 30, 40})
      .colourspace(VIPS_INTERPRETATION_CMYK)
      .jpegsave((dir_ / "a.jpg").c_str(), vips::VImage::option()->set("Q", 95));
  const Colour seen = At(Read("a.jpg"), 0.5, 0.5);
  EXPECT_GT(seen[0], 180);
  EXPECT_LT(seen[1], 90);
  EXPECT_LT(seen[2], 90);
}

// libvips has no reader for it that is trusted.
TEST_F(PreviewPictureTest, OtherFormatsAreReadToo) {
  for (const char* name : {"a.bmp", "a.gif", "a.webp", "a.tif"}) {
    MakeImage(dir_ / name, 60, 30);
    const vips::VImage read = Read(name);
    EXPECT_EQ(std::tuple(read.width(), read.height()), std::tuple(60, 30)) << name;
  }
}

TEST_F(PreviewPictureTest, OfAVideoItIsAFrame) {
  if (!MakeVideo(dir_ / "a.mp4", 96, 64, 2)) GTEST_SKIP() << "no ffmpeg";
  const vips::VImage read = Read("a.mp4", 48);
  EXPECT_EQ(std::tuple(read.width(), read.height()), std::tuple(48, 32));
}

// As a film that fades in.
TEST_F(PreviewPictureTest, OfAVideoItIsAFrameThatIsNotBlack) {
  if (!MakeCodedVideo(dir_ / "a.mp4", "-t 1 -vf fade=in:0:10:color=black -c:v mpeg4"))
    GTEST_SKIP() << "no ffmpeg";
  const vips::VImage read = Read("a.mp4");
  EXPECT_GT(read.avg(), 12);
}

TEST_F(PreviewPictureTest, EachFormIsNoLargerThanItsSide) {
  Quarters(2600, 1300).jpegsave((dir_ / "a.jpg").c_str());
  const Previews previews = MakePreviews(Read("a.jpg"));
  const std::array<std::tuple<int, int>, 4> expected{std::tuple(1280, 640), std::tuple(640, 320),
                                                     std::tuple(320, 160), std::tuple(120, 60)};
  for (std::size_t form = 0; form < previews.size(); ++form) {
    auto* blob = vips_blob_new(nullptr, previews[form].data(), previews[form].size());
    const vips::VImage image = vips::VImage::jpegload_buffer(blob);
    vips_area_unref(VIPS_AREA(blob));
    EXPECT_EQ(std::tuple(image.width(), image.height()), expected[form]);
    EXPECT_TRUE(Is(At(image, 0.2, 0.2), kRed));
    EXPECT_TRUE(Is(At(image, 0.8, 0.8), kWhite));
  }
}

TEST_F(PreviewPictureTest, WhatHasNoPictureIsRefusedWithTheReason) {
  WriteFile(dir_ / "empty.jpg", "");
  WriteFile(dir_ / "text.jpg", "no picture at all");
  fs::create_directory(dir_ / "folder.jpg");
  EXPECT_EQ(Refusal("empty.jpg"), "the file is empty");
  EXPECT_EQ(Refusal("text.jpg"), "it is of no known format");
  EXPECT_EQ(Refusal("folder.jpg"), "not a regular file");
  EXPECT_EQ(Refusal("missing.jpg"), "No such file or directory");
}

// What a reader of TIFF would show of it are a sensor's values, or a small picture of the camera's.
TEST_F(PreviewPictureTest, ARawPhotoWithoutAPictureIsRefused) {
  MakeImage(dir_ / "a.tif", 60, 30);
  fs::rename(dir_ / "a.tif", dir_ / "a.nef");
  EXPECT_EQ(Refusal("a.nef"), "the camera has put no picture into it");
}

}  // namespace
