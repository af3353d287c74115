#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/index.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class ResolutionTest : public testing::Test {
 protected:
  TempDir dir_;
};

// "40x30", or "(none)".
std::string ResolutionOf(const std::string& path) {
  int width = -7;
  int height = -7;
  if (KAVOIndexImgResGet(path.c_str(), &width, &height) != 0)
    return width == -7 && height == -7 ? "(none)" : "(set)";
  return std::to_string(width) + "x" + std::to_string(height);
}

TEST_F(ResolutionTest, EveryFormatTellsItsSize) {
  for (const char* extension : {"jpg", "png", "tif", "webp", "gif", "bmp"}) {
    const std::string path = dir_ / (std::string("a.") + extension);
    MakeImage(path, 40, 30);
    EXPECT_EQ(ResolutionOf(path), "40x30") << extension;
  }
}

// The first bytes of a bitmap whose second header has LENGTH bytes and begins with SIZE.
std::string Bitmap(char length, const std::string& size) {
  using namespace std::string_literals;
  return "BM"s + std::string(8, '\0') + "\x1A\0\0\0"s + length + "\0\0\0"s + size + "\1\0\x18\0"s +
         std::string(200, '\0');
}

TEST_F(ResolutionTest, ABitmapOfOs2HasNumbersOfHalfTheWidth) {
  using namespace std::string_literals;
  WriteFile(dir_ / "a.bmp", Bitmap(12, "\x7F\0\x40\0"s));
  EXPECT_EQ(ResolutionOf(dir_ / "a.bmp"), "127x64");
}

TEST_F(ResolutionTest, ABitmapFromTheTopToTheBottomHasAHeight) {
  using namespace std::string_literals;
  WriteFile(dir_ / "a.bmp", Bitmap(40, "\x7F\0\0\0"s + "\xC0\xFF\xFF\xFF"s));
  EXPECT_EQ(ResolutionOf(dir_ / "a.bmp"), "127x64");
  WriteFile(dir_ / "b.bmp", Bitmap(40, "\x7F\0\0\0"s + "\0\0\0\x80"s));
  EXPECT_EQ(ResolutionOf(dir_ / "b.bmp"), "(none)");
}

TEST_F(ResolutionTest, ThePixelsCountNotTheTags) {
  MakeJpeg(dir_ / "a.jpg", 40, 30,
           {{"Exif.Photo.PixelXDimension", "4000"},
            {"Exif.Photo.PixelYDimension", "3000"},
            {"Exif.Image.Orientation", "6"}});
  EXPECT_EQ(ResolutionOf(dir_ / "a.jpg"), "40x30");
}

TEST_F(ResolutionTest, TheContentCountsNotTheName) {
  MakeImage(dir_ / "a.png", 40, 30);
  fs::rename(dir_ / "a.png", dir_ / "a.jpg");
  EXPECT_EQ(ResolutionOf(dir_ / "a.jpg"), "40x30");
}

TEST_F(ResolutionTest, WhatIsNoImageHasNone) {
  WriteFile(dir_ / "empty.jpg", "");
  WriteFile(dir_ / "text.jpg", "no image at all");
  EXPECT_EQ(ResolutionOf(dir_ / "missing.jpg"), "(none)");
  EXPECT_EQ(ResolutionOf(dir_ / "empty.jpg"), "(none)");
  EXPECT_EQ(ResolutionOf(dir_ / "text.jpg"), "(none)");
  EXPECT_EQ(ResolutionOf(dir_.path()), "(none)");
  int number = 0;
  EXPECT_EQ(KAVOIndexImgResGet(nullptr, &number, &number), -1);
  EXPECT_EQ(KAVOIndexImgResGet("/a", nullptr, &number), -1);
}

TEST_F(ResolutionTest, AFifoDoesNotBlock) {
  ASSERT_EQ(mkfifo((dir_ / "a.jpg").c_str(), 0600), 0);
  alarm(60);
  EXPECT_EQ(ResolutionOf(dir_ / "a.jpg"), "(none)");
  alarm(0);
}

TEST_F(ResolutionTest, AVideoNamedAsAnImageIsRefused) {
  if (!MakeVideo(dir_ / "a.mp4", 64, 48, 0.2)) GTEST_SKIP() << "no ffmpeg";
  fs::rename(dir_ / "a.mp4", dir_ / "a.jpg");
  EXPECT_EQ(ResolutionOf(dir_ / "a.jpg"), "(none)");
}

TEST_F(ResolutionTest, AnImageCutAtAnyLengthIsSurvived) {
  MakeJpeg(dir_ / "a.jpg", 40, 30, {{"Exif.Image.Make", "Maker"}});
  const std::string whole = ReadFile(dir_ / "a.jpg");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    WriteFile(dir_ / "cut.jpg", std::string_view(whole).substr(0, length));
    const std::string found = ResolutionOf(dir_ / "cut.jpg");
    EXPECT_TRUE(found == "(none)" || found == "40x30") << length << " " << found;
  }
}

}  // namespace
