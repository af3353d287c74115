#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "platform/index.h"

namespace {

constexpr const char* kPhotos[] = {"jpg",  "jpeg", "jpe", "bmp", "png", "gif", "tif", "tiff", "webp", "heic",
                                   "heif", "avif", "arw", "srf", "sr2", "dcr", "k25", "kdc",  "cr2",  "cr3",
                                   "crw",  "nef",  "mrw", "ptx", "pef", "raf", "3fr", "erf",  "mef",  "mos",
                                   "orf",  "rw2",  "dng", "x3f", "raw", "hif", "jxl", "jp2",  "mpo",  "jfif",
                                   "srw",  "rwl",  "iiq", "cap", "gpr", "insp"};
constexpr const char* kWebVideos[] = {"mp4", "m4v", "webm", "mov"};
constexpr const char* kOtherVideos[] = {
    "avi", "mkv", "mts", "m2ts", "m2t",  "ts",   "mpg", "mpeg", "mpe", "vob", "wmv", "asf", "3gp",  "3g2",
    "flv", "f4v", "ogv", "dv",   "divx", "xvid", "rm",  "rmvb", "qt",  "dat", "tp",  "trp", "insv", "lrv"};

// 'p' photo, 'w' web video, 'o' other video, '-' nothing; '?' when the three answers do not go together.
char KindOf(const std::string& extension) {
  const bool photo = BlKAVOIndexIsPhotoOnWeb(extension.c_str());
  const bool web = BlKAVOIndexIsVideoOnWeb(extension.c_str());
  const bool video = BlKAVOIndexIsVideo(extension.c_str());
  if (photo) return web || video ? '?' : 'p';
  if (web) return video ? 'w' : '?';
  return video ? 'o' : '-';
}

std::string Upper(std::string text) {
  for (char& letter : text) letter = static_cast<char>(toupper(letter));
  return text;
}

TEST(ExtensionsTest, EachKindHasItsExtensionsInAnyLetterCase) {
  for (const char* extension : kPhotos) EXPECT_EQ(KindOf(extension), 'p') << extension;
  for (const char* extension : kWebVideos) EXPECT_EQ(KindOf(extension), 'w') << extension;
  for (const char* extension : kOtherVideos) EXPECT_EQ(KindOf(extension), 'o') << extension;
  for (const char* extension : kPhotos) EXPECT_EQ(KindOf(Upper(extension)), 'p') << extension;
  for (const char* extension : kWebVideos) EXPECT_EQ(KindOf(Upper(extension)), 'w') << extension;
  for (const char* extension : kOtherVideos) EXPECT_EQ(KindOf(Upper(extension)), 'o') << extension;
}

TEST(ExtensionsTest, EverythingElseIsNothing) {
  for (const char* extension : {"", ".", ".jpg", "jp", "jpgx", "jpg ", "jpeg2", "mp", "mp3", "txt", "srt",
                                "iso", "psb", "xmp", "\xFFjp", "zzzz", "000"}) {
    EXPECT_EQ(KindOf(extension), '-') << extension;
  }
  EXPECT_FALSE(BlKAVOIndexIsPhotoOnWeb(nullptr));
  EXPECT_FALSE(BlKAVOIndexIsVideoOnWeb(nullptr));
  EXPECT_FALSE(BlKAVOIndexIsVideo(nullptr));
}

std::string ExtensionOf(const char* path, int size = 16) {
  char out[16] = "untouched";
  return KAVOIndexExtGet(path, out, size) == 0 ? out : "(none)";
}

TEST(ExtensionsTest, TheExtensionIsThatOfTheBaseName) {
  EXPECT_EQ(ExtensionOf("/photos/a.b.JPG"), "JPG");
  EXPECT_EQ(ExtensionOf("a.jpg"), "jpg");
  EXPECT_EQ(ExtensionOf("/photos/.jpg"), "jpg");
  EXPECT_EQ(ExtensionOf("/photos.2024/a"), "(none)");
  EXPECT_EQ(ExtensionOf("/photos/a."), "(none)");
  EXPECT_EQ(ExtensionOf("/photos/"), "(none)");
  EXPECT_EQ(ExtensionOf(""), "(none)");
  EXPECT_EQ(ExtensionOf(nullptr), "(none)");
}

TEST(ExtensionsTest, AnExtensionThatDoesNotFitIsNoOther) {
  EXPECT_EQ(ExtensionOf("a.jpgx", 5), "jpgx");
  EXPECT_EQ(ExtensionOf("a.jpgx", 4), "(none)");
  EXPECT_EQ(ExtensionOf("a.jpgx", 0), "(none)");
}

std::string ConvertType(const char* name, int size = 255) {
  char out[255] = "";
  return ConvertVideoTypeGet(name, out, size) > 0 ? out : "(none)";
}

TEST(ConvertedVideoTest, TheTypeStandsInTheName) {
  for (const std::string prefix : {"KAVOPHOTO:", "KAVOPHOTO_"}) {
    EXPECT_EQ(ConvertType((prefix + "FILM_MPEG4.mp4").c_str()), "mpeg4");
    EXPECT_EQ(ConvertType((prefix + "FILM_H264.mp4").c_str()), "h264");
    EXPECT_EQ(ConvertType((prefix + "FILM_MOBILE.mp4").c_str()), "mobile");
    EXPECT_EQ(ConvertType((prefix + "FILM.flv").c_str()), "flv");
  }
}

TEST(ConvertedVideoTest, OtherNamesAreNoConvertedVideos) {
  for (const char* name :
       {"", "FILM.flv", "KAVOPHOTO:FILM", "KAVOPHOTO:FILM_H264.mp4.part", "KAVOPHOTO:film.flv",
        "KAVOPHOTO-FILM.flv", "KAVOPHOTO:KAVOPHOTO_FILM.flv", "KAVOPHOTO:THUMB_XL.jpg"}) {
    EXPECT_EQ(ConvertType(name), "(none)") << name;
  }
  EXPECT_EQ(ConvertType(nullptr), "(none)");
  EXPECT_EQ(ConvertType("KAVOPHOTO:FILM.flv", 3), "(none)");
}

}  // namespace
