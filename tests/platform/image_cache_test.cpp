#include "platform/image_cache.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/image.h"
#include "platform/safe_image.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace {

constexpr int kMostKept = 32;

std::string Make(const ParsedImage& image) {
  const auto found = image.exif.findKey(Exiv2::ExifKey("Exif.Image.Make"));
  return found == image.exif.end() ? "" : found->toString();
}

class ImageCache : public testing::Test {
 protected:
  void SetUp() override {
    SetImageCacheCount(0);
    SetImageCacheCount(kMostKept);
  }
  std::string MakePhoto(const std::string& name, const std::string& make = "Maker") {
    MakeJpeg(dir_ / name, 40, 30, {{"Exif.Image.Make", make}});
    return dir_ / name;
  }

  TempDir dir_;
};

TEST_F(ImageCache, TellsWhatTheFileHolds) {
  const auto image = GetParsedImage(MakePhoto("a.jpg"));
  EXPECT_EQ(image->outcome, ParsedImage::Outcome::kParsed);
  EXPECT_EQ(image->mime, "image/jpeg");
  EXPECT_EQ(image->width, 40);
  EXPECT_EQ(image->height, 30);
  EXPECT_EQ(Make(*image), "Maker");
}

TEST_F(ImageCache, ATiffTellsItsSize) {
  MakeImage(dir_ / "a.tif", 40, 30);
  const auto image = GetParsedImage(dir_ / "a.tif");
  EXPECT_EQ(image->mime, "image/tiff");
  EXPECT_EQ(image->width, 40);
  EXPECT_EQ(image->height, 30);
}

TEST(SafeImage, TheFileThatWasOpenedIsRead) {
  const TempDir dir;
  const std::string path = dir / "a.jpg";
  MakeJpeg(path, 40, 30, {{"Exif.Image.Make", "Maker"}});
  const Exiv2::Image::AutoPtr image = OpenImageSafely(path);
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  image->readMetadata();
  EXPECT_EQ(image->exifData()["Exif.Image.Make"].toString(), "Maker");
}

TEST(SafeImage, ErrorsNameThePath) {
  const TempDir dir;
  const std::string path = dir / "a.jpg";
  try {
    OpenImageSafely(path);
    ADD_FAILURE();
  } catch (const Exiv2::Error& error) {
    EXPECT_EQ(error.what(), path + ": Failed to open the data source: No such file or directory (errno = 2)");
  }
  MakeJpeg(path, 40, 30, {});
  EXPECT_EQ(OpenImageSafely(path)->io().path(), path);
}

TEST(SafeImage, NoDescriptorStaysOpen) {
  const TempDir dir;
  MakeJpeg(dir / "a.jpg", 40, 30, {});
  WriteFile(dir / "text.jpg", "no image at all");
  const int free_before = dup(STDIN_FILENO);
  close(free_before);
  OpenImageSafely(dir / "a.jpg")->readMetadata();
  EXPECT_THROW(OpenImageSafely(dir / "text.jpg"), Exiv2::Error);
  EXPECT_THROW(OpenImageSafely(dir.path()), Exiv2::Error);
  const int free_after = dup(STDIN_FILENO);
  close(free_after);
  EXPECT_EQ(free_after, free_before);
}

// A JPEG for which the library gives up behind its Exif.
std::string GivenUp(const TempDir& dir) {
  const std::string path = dir / "profile.jpg";
  MakeJpeg(path, 40, 30, {{"Exif.Image.Make", "Maker"}});
  std::string jpeg = ReadFile(path);
  const std::size_t length = static_cast<unsigned char>(jpeg[4]) * 256U + static_cast<unsigned char>(jpeg[5]);
  const std::string profile = std::string("ICC_PROFILE\0\1\1", 14) + std::string(40, 'p');
  jpeg.insert(4 + length, std::string("\xFF\xE2\0", 3) + static_cast<char>(profile.size() + 2) + profile);
  WriteFile(path, jpeg);
  return path;
}

TEST_F(ImageCache, WhatTheLibraryGivesUpIsItsErrorUnlessTheProcessWantsWhatWasRead) {
  const std::string path = GivenUp(dir_);
  const auto given_up = GetParsedImage(path);
  EXPECT_EQ(given_up->outcome, ParsedImage::Outcome::kFailed);
  EXPECT_EQ(given_up->error, "Not a valid ICC Profile");
  EXPECT_EQ(Make(*given_up), "");
  EXPECT_THROW(KAVOImageOpen(path), Exiv2::Error);
  SetHeifMetadataReader([](int, std::string&, std::string&) { return false; });
  SetImageCacheCount(0);
  const auto begin = GetParsedImage(path);
  const std::string make = Make(*begin);
  const Exiv2::Image::AutoPtr image = KAVOImageOpen(path);
  SetHeifMetadataReader(nullptr);
  image->readMetadata();
  EXPECT_EQ(begin->outcome, ParsedImage::Outcome::kParsed);
  EXPECT_EQ(begin->error, "Not a valid ICC Profile");
  EXPECT_EQ(make, "Maker");
  EXPECT_EQ(image->exifData()["Exif.Image.Make"].toString(), "Maker");
}

TEST_F(ImageCache, AFileIsParsedOnce) {
  const std::string path = MakePhoto("a.jpg");
  LetTheClockMoveOn();
  const auto first = GetParsedImage(path);
  EXPECT_EQ(GetParsedImage(path), first);
}

TEST_F(ImageCache, AnotherNameOfTheSameFileIsNotParsedAgain) {
  const std::string path = MakePhoto("a.jpg");
  ASSERT_EQ(link(path.c_str(), (dir_ / "b.jpg").c_str()), 0);
  LetTheClockMoveOn();
  EXPECT_EQ(GetParsedImage(dir_ / "b.jpg"), GetParsedImage(path));
}

TEST_F(ImageCache, AChangedFileIsParsedAgain) {
  const std::string path = MakePhoto("a.jpg", "Maker A");
  LetTheClockMoveOn();
  EXPECT_EQ(Make(*GetParsedImage(path)), "Maker A");
  MakePhoto("a.jpg", "Maker B");
  EXPECT_EQ(Make(*GetParsedImage(path)), "Maker B");
}

// As a tool does that restores the times of the files it writes.
TEST_F(ImageCache, AChangeThatHidesItsTimeIsSeen) {
  const std::string path = MakePhoto("a.jpg", "Maker A");
  const std::string other = ReadFile(MakePhoto("b.jpg", "Maker B"));
  LetTheClockMoveOn();
  EXPECT_EQ(Make(*GetParsedImage(path)), "Maker A");
  struct stat before {};
  stat(path.c_str(), &before);
  ASSERT_EQ(static_cast<std::size_t>(before.st_size), other.size());
  const int file = open(path.c_str(), O_WRONLY);
  ASSERT_EQ(write(file, other.data(), other.size()), static_cast<ssize_t>(other.size()));
  const timespec times[2] = {before.st_atim, before.st_mtim};
  futimens(file, times);
  close(file);
  EXPECT_EQ(Make(*GetParsedImage(path)), "Maker B");
}

TEST_F(ImageCache, AFileIsNotTrustedWithinTheTickItWasWrittenIn) {
  const std::string a = ReadFile(MakePhoto("a.jpg", "Maker A"));
  const std::string b = ReadFile(MakePhoto("b.jpg", "Maker B"));
  const std::string path = MakePhoto("c.jpg");
  ASSERT_EQ(a.size(), b.size());
  const int file = open(path.c_str(), O_WRONLY | O_TRUNC);
  for (int round = 0; round < 300; ++round) {
    const std::string& content = round % 2 == 0 ? a : b;
    ASSERT_EQ(pwrite(file, content.data(), content.size(), 0), static_cast<ssize_t>(content.size()));
    ASSERT_EQ(Make(*GetParsedImage(path)), round % 2 == 0 ? "Maker A" : "Maker B") << round;
  }
  close(file);
}

// Kernels with fine time stamps would pass the test above without this.
TEST_F(ImageCache, AFileWrittenAMomentAgoIsNotKept) {
  using std::chrono::steady_clock;
  const std::string content = ReadFile(MakePhoto("a.jpg"));
  for (int tries = 0; tries < 50; ++tries) {
    const auto start = steady_clock::now();
    WriteFile(dir_ / "b.jpg", content);
    const std::weak_ptr<const ParsedImage> image = GetParsedImage(dir_ / "b.jpg");
    if (steady_clock::now() - start > std::chrono::milliseconds(10)) continue;  // the machine is busy
    EXPECT_TRUE(image.expired());
    return;
  }
  GTEST_SKIP() << "this machine is too slow";
}

TEST_F(ImageCache, ACorruptFileIsParsedOnce) {
  WriteFile(dir_ / "a.jpg", "\xFF\xD8\xFF\xE1 and no more");
  LetTheClockMoveOn();
  const auto first = GetParsedImage(dir_ / "a.jpg");
  EXPECT_EQ(first->outcome, ParsedImage::Outcome::kFailed);
  EXPECT_NE(first->error, "");
  EXPECT_FALSE(first->unknown_type);
  EXPECT_EQ(GetParsedImage(dir_ / "a.jpg"), first);
}

TEST_F(ImageCache, WhatIsNoImageIsOfUnknownType) {
  WriteFile(dir_ / "a.jpg", "just a text that is longer than what the library looks at");
  const auto image = GetParsedImage(dir_ / "a.jpg");
  EXPECT_EQ(image->outcome, ParsedImage::Outcome::kFailed);
  EXPECT_TRUE(image->unknown_type);
}

TEST_F(ImageCache, WhatIsMissingIsLookedForAgain) {
  EXPECT_EQ(GetParsedImage(dir_ / "a.jpg")->outcome, ParsedImage::Outcome::kMissing);
  EXPECT_EQ(GetParsedImage(MakePhoto("a.jpg"))->outcome, ParsedImage::Outcome::kParsed);
}

TEST_F(ImageCache, AFailureToOpenIsNotKept) {
#ifdef LUMIVAULT_SANITIZED_WORKER
  GTEST_SKIP() << "a sanitizer needs descriptors to look at an object";
#endif
  const std::string path = MakePhoto("a.jpg");
  LetTheClockMoveOn();
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = before;
  none.rlim_cur = 0;
  setrlimit(RLIMIT_NOFILE, &none);
  const auto image = GetParsedImage(path);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(image->outcome, ParsedImage::Outcome::kFailed);
  EXPECT_EQ(GetParsedImage(path)->outcome, ParsedImage::Outcome::kParsed);
}

TEST_F(ImageCache, AFifoIsNotWaitedFor) {
  mkfifo((dir_ / "a.jpg").c_str(), 0644);
  EXPECT_EQ(GetParsedImage(dir_ / "a.jpg")->outcome, ParsedImage::Outcome::kMissing);
}

TEST_F(ImageCache, KeepsTheLastOnes) {
  std::vector<std::string> paths;
  for (int number = 0; number <= kMostKept; ++number)
    paths.push_back(MakePhoto(std::to_string(number) + ".jpg"));
  LetTheClockMoveOn();
  std::vector<std::weak_ptr<const ParsedImage>> kept;
  for (const std::string& path : paths) kept.push_back(GetParsedImage(path));
  EXPECT_TRUE(kept[0].expired());
  for (int number = 1; number <= kMostKept; ++number)
    EXPECT_FALSE(kept[static_cast<std::size_t>(number)].expired());
}

TEST_F(ImageCache, TheOneUsedLongestAgoGoes) {
  SetImageCacheCount(2);
  const std::vector<std::string> paths = {MakePhoto("a.jpg"), MakePhoto("b.jpg"), MakePhoto("c.jpg")};
  LetTheClockMoveOn();
  const std::weak_ptr<const ParsedImage> a = GetParsedImage(paths[0]);
  const std::weak_ptr<const ParsedImage> b = GetParsedImage(paths[1]);
  (void)GetParsedImage(paths[0]);
  (void)GetParsedImage(paths[2]);
  EXPECT_FALSE(a.expired());
  EXPECT_TRUE(b.expired());
}

TEST_F(ImageCache, ALowerCountLetsGoAtOnce) {
  const std::string path = MakePhoto("a.jpg");
  LetTheClockMoveOn();
  const std::weak_ptr<const ParsedImage> image = GetParsedImage(path);
  EXPECT_FALSE(image.expired());
  SetImageCacheCount(0);
  EXPECT_TRUE(image.expired());
  const std::weak_ptr<const ParsedImage> again = GetParsedImage(path);
  EXPECT_TRUE(again.expired());
}

TEST_F(ImageCache, MuchMetadataIsKeptUntilTheNextFile) {
  constexpr std::size_t kMuch = std::size_t{5} << 20;
  MakeImage(dir_ / "a.tif", 8, 8, {{"Exif.Image.ImageDescription", std::string(kMuch, 'x')}});
  const std::string other = MakePhoto("b.jpg");
  LetTheClockMoveOn();
  const std::weak_ptr<const ParsedImage> image = GetParsedImage(dir_ / "a.tif");
  EXPECT_FALSE(image.expired());
  (void)GetParsedImage(other);
  EXPECT_TRUE(image.expired());
}

// Each little enough to be kept, together too much.
TEST_F(ImageCache, FewerAreKeptWhereTheyHoldMuch) {
  constexpr std::size_t kMuch = std::size_t{3} << 20;
  constexpr std::size_t kFit = 7;
  std::vector<std::string> paths;
  for (std::size_t number = 0; number <= kFit; ++number) {
    paths.push_back(dir_ / (std::to_string(number) + ".tif"));
    MakeImage(paths.back(), 8, 8, {{"Exif.Image.ImageDescription", std::string(kMuch, 'x')}});
  }
  LetTheClockMoveOn();
  std::vector<std::weak_ptr<const ParsedImage>> kept;
  for (const std::string& path : paths) kept.push_back(GetParsedImage(path));
  EXPECT_TRUE(kept[0].expired());
  for (std::size_t number = 1; number <= kFit; ++number) EXPECT_FALSE(kept[number].expired()) << number;
}

TEST_F(ImageCache, EnormousMetadataIsNotKept) {
  constexpr std::size_t kEnormous = std::size_t{65} << 20;
  MakeImage(dir_ / "a.tif", 8, 8, {{"Exif.Image.Artist", std::string(kEnormous, 'x')}});
  LetTheClockMoveOn();
  const std::weak_ptr<const ParsedImage> image = GetParsedImage(dir_ / "a.tif");
  EXPECT_TRUE(image.expired());
}

}  // namespace
