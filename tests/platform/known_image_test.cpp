#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "platform/find_datum.h"
#include "platform/heif_reading.h"
#include "platform/image.h"
#include "platform/image_cache.h"
#include "platform/safe_image.h"
#include "support/media_maker.h"
#include "support/open_watch.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

const Tags kTags = {{"Exif.Image.Make", "Maker"},
                    {"Exif.Photo.FNumber", "28/10"},
                    {"Iptc.Application2.Keywords", "two words"},
                    {"Xmp.dc.title", "lang=\"x-default\" Title"}};

// Everything that the image tells, or the error instead.
std::string Told(Exiv2::Image::AutoPtr (*open)(const std::string&), const std::string& path) {
  std::ostringstream told;
  try {
    const Exiv2::Image::AutoPtr image = open(path);
    image->readMetadata();
    told << image->mimeType() << ' ' << image->imageType() << ' ' << image->comment() << ' '
         << image->checkMode(Exiv2::mdExif) << image->checkMode(Exiv2::mdIptc)
         << image->checkMode(Exiv2::mdXmp) << '\n';
    for (const auto& datum : image->exifData()) told << datum.key() << ' ' << datum.toString() << '\n';
    for (const auto& datum : image->iptcData()) told << datum.key() << ' ' << datum.toString() << '\n';
    for (const auto& datum : image->xmpData()) told << datum.key() << ' ' << datum.toString() << '\n';
  } catch (const Exiv2::AnyError& error) {
    told << error.code() << ' ' << error.what();
  }
  return told.str();
}

// As a fresh parse tells it, whether the file is known already or not.
void ExpectTheSame(const std::string& path) {
  const HeifReading heif;
  const std::string expected = Told(OpenImageSafely, path);
  SetImageCacheCount(0);
  SetImageCacheCount(1);
  EXPECT_EQ(Told(KAVOImageOpen, path), expected) << path;
  EXPECT_EQ(Told(KAVOImageOpen, path), expected) << path;
}

class ForeignNamespace {
 public:
  ForeignNamespace() { Exiv2::XmpProperties::registerNs("http://lumivault.example/test/", "lvtest"); }
  ~ForeignNamespace() { Exiv2::XmpProperties::unregisterNs("http://lumivault.example/test/"); }
  ForeignNamespace(const ForeignNamespace&) = delete;
  ForeignNamespace& operator=(const ForeignNamespace&) = delete;
};

std::string Colour(const std::string& path) {
  const Exiv2::Image::AutoPtr image = KAVOImageOpen(path);
  image->readMetadata();
  for (const auto& datum : image->xmpData()) {
    if (datum.key() == "Xmp.lvtest.Colour") return datum.toString();
  }
  return "(none)";
}

class KnownImage : public testing::Test {
 protected:
  // Whatever the tests before have left.
  void SetUp() override {
    constexpr std::size_t kRoom = 8;
    SetImageCacheCount(0);
    SetImageCacheCount(kRoom);
  }

  TempDir dir_;
};

template <typename Data, typename Key>
void ExpectFoundAsByTheLibrary(const Data& data, const std::string& key) {
  const auto found = data.findKey(Key(key));
  EXPECT_EQ(DatumOf(data, Key(key).key()), found != data.end() ? &*found : nullptr) << key;
}

TEST_F(KnownImage, ADatumIsFoundAsTheLibraryFindsIt) {
  Tags tags = kTags;
  tags.push_back({"Exif.Image.Artist", "once"});
  tags.push_back({"Xmp.dc.subject", "one"});
  MakeJpeg(dir_ / "a.jpg", 8, 8, tags);
  std::vector<std::string> paths{dir_ / "a.jpg"};
  if (!SharedPhotos().empty()) {
    for (const auto& entry : fs::recursive_directory_iterator(SharedPhotos() / "media"))
      if (entry.is_regular_file()) paths.push_back(entry.path());
  }
  for (const std::string& path : paths) {
    const auto image = GetParsedImage(path);
    for (const auto& datum : image->exif)
      ExpectFoundAsByTheLibrary<Exiv2::ExifData, Exiv2::ExifKey>(image->exif, datum.key());
    for (const auto& datum : image->xmp)
      EXPECT_EQ(DatumOf(image->xmp, datum.key())->key(), datum.key()) << path;
    for (const char* key : {"Exif.Image.Make", "Exif.Photo.Flash", "Exif.Photo.0x9003"})
      ExpectFoundAsByTheLibrary<Exiv2::ExifData, Exiv2::ExifKey>(image->exif, key);
    for (const char* key : {"Xmp.dc.subject", "Xmp.dc.title", "Xmp.tiff.Orientation", "Xmp.exif.Flash"})
      ExpectFoundAsByTheLibrary<Exiv2::XmpData, Exiv2::XmpKey>(image->xmp, key);
  }
}

TEST_F(KnownImage, TellsWhatAFreshParseTells) {
  for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) MakeImage(dir_ / name, 40, 30, kTags);
  for (const char* name : {"a.gif", "a.bmp"}) MakeImage(dir_ / name, 40, 30);
  LetTheClockMoveOn();
  for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp", "a.gif", "a.bmp"}) ExpectTheSame(dir_ / name);
}

TEST_F(KnownImage, RefusesWithTheErrorOfAFreshParse) {
  WriteFile(dir_ / "text.jpg", "just a text that is longer than what the library looks at");
  WriteFile(dir_ / "cut.jpg", "\xFF\xD8\xFF\xE1 and no more");
  WriteFile(dir_ / "film.jpg", std::string("RIFF\xC8\0\0\0AVI LIST", 16) + std::string(200, '\0'));
  mkfifo((dir_ / "fifo.jpg").c_str(), 0644);
  LetTheClockMoveOn();
  for (const char* name : {"text.jpg", "cut.jpg", "film.jpg", "fifo.jpg", "missing.jpg"})
    ExpectTheSame(dir_ / name);
}

// A picture that names a namespace of its own.
TEST_F(KnownImage, KeepsKeysOfItsOwnNamespacesAndTeachesThemToNobody) {
  const std::string path = dir_ / "a.jpg";
  {
    const ForeignNamespace space;
    MakeJpeg(path, 40, 30, {{"Xmp.lvtest.Colour", "green"}});
  }
  for (const char* name : {"b.jpg", "c.jpg"}) MakeJpeg(dir_ / name, 40, 30, kTags);
  LetTheClockMoveOn();
  (void)GetParsedImage(path);
  (void)GetParsedImage(dir_ / "b.jpg");
  EXPECT_EQ(Colour(path), "green");
  (void)GetParsedImage(dir_ / "c.jpg");
  EXPECT_EQ(Colour(path), "green");
  EXPECT_THROW(Exiv2::XmpKey("Xmp.lvtest.Colour"), Exiv2::Error);
}

TEST_F(KnownImage, ACorruptImageIsParsedOnce) {
  WriteFile(dir_ / "cut.jpg", "\xFF\xD8\xFF\xE1 and no more");
  WriteFile(dir_ / "text.jpg", "just a text that is longer than what the library looks at");
  LetTheClockMoveOn();
  for (const char* name : {"cut.jpg", "text.jpg"}) {
    const std::string path = dir_ / name;
    const std::string error = GetParsedImage(path)->error;
    const OpenWatch watch(path);
    for (int i = 0; i < 2; ++i) {
      try {
        (void)KAVOImageOpen(path);
        ADD_FAILURE() << "no error";
      } catch (const Exiv2::BasicError<char>& thrown) {
        EXPECT_EQ(thrown.what(), error);
      }
    }
    EXPECT_FALSE(watch.WasOpened()) << name;
  }
}

TEST_F(KnownImage, HoldsNoFileOpen) {
  const std::string path = dir_ / "a.jpg";
  MakeJpeg(path, 40, 30, kTags);
  const auto open_files = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open_files();
  const Exiv2::Image::AutoPtr image = KAVOImageOpen(path);
  image->readMetadata();
  EXPECT_EQ(open_files(), before);
}

TEST_F(KnownImage, IsNotParsedAgain) {
  const std::string path = dir_ / "a.jpg";
  MakeJpeg(path, 40, 30, kTags);
  LetTheClockMoveOn();
  const auto parsed = GetParsedImage(path);
  const long users = parsed.use_count();
  const Exiv2::Image::AutoPtr image = KAVOImageOpen(path);
  EXPECT_EQ(parsed.use_count(), users + 1);
}

TEST_F(KnownImage, AChangedFileTellsItsNewMetadata) {
  const std::string path = dir_ / "a.jpg";
  MakeJpeg(path, 40, 30, {{"Exif.Image.Make", "Maker A"}});
  LetTheClockMoveOn();
  (void)GetParsedImage(path);
  MakeJpeg(path, 40, 30, {{"Exif.Image.Make", "Maker B"}});
  ExpectTheSame(path);
}

TEST_F(KnownImage, CannotBeWritten) {
  MakeJpeg(dir_ / "a.jpg", 40, 30, kTags);
  const std::string before = ReadFile(dir_ / "a.jpg");
  EXPECT_THROW(KAVOImageOpen(dir_ / "a.jpg")->writeMetadata(), Exiv2::Error);
  EXPECT_EQ(ReadFile(dir_ / "a.jpg"), before);
}

TEST_F(KnownImage, SharedPhotosTellWhatAFreshParseTells) {
  if (SharedPhotos().empty()) GTEST_SKIP() << "no shared photos";
  for (const auto& entry : fs::recursive_directory_iterator(SharedPhotos() / "media")) {
    if (entry.is_regular_file()) ExpectTheSame(entry.path());
  }
}

}  // namespace
