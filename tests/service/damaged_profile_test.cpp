// Pictures with a colour profile for which the metadata library gives the whole file up, in the real program.
#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/heif_maker.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace {

using namespace std::string_literals;

constexpr const char* kNote = "its colour profile is damaged [Not a valid ICC Profile]";

const std::string kExifMark = "Exif\0\0"s;
const std::string kXmpMark = "http://ns.adobe.com/xap/1.0/\0"s;

Tags AllKinds() {
  Tags tags = {{"Exif.Image.Make", "Maker"},
               {"Exif.Image.Orientation", "6"},
               {"Exif.Photo.DateTimeOriginal", "2019:03:04 10:11:12"},
               {"Exif.Photo.FocalLength", "50/1"},
               {"Exif.Photo.Flash", "1"},
               {"Exif.Photo.ISOSpeedRatings", "200"},
               {"Exif.Photo.PixelXDimension", "40"},
               {"Exif.Photo.PixelYDimension", "30"},
               {"Exif.GPSInfo.GPSLatitudeRef", "S"},
               {"Exif.GPSInfo.GPSLatitude", "41/1 13/1 3/1"},
               {"Exif.GPSInfo.GPSLongitudeRef", "E"},
               {"Exif.GPSInfo.GPSLongitude", "2/1 10/1 30/1"},
               {"Xmp.dc.subject", "sea"},
               {"Xmp.dc.title", "Evening"},
               {"Xmp.dc.description", "At the sea"}};
  const Tags face = FaceTags("Ann");
  tags.insert(tags.end(), face.begin(), face.end());
  return tags;
}

// The segments that a JPEG begins with, and where they end.
struct Segments {
  std::vector<std::string> contents;
  std::size_t end = 2;
};

Segments ApplicationSegments(const std::string& jpeg) {
  Segments found;
  while ((static_cast<unsigned char>(jpeg[found.end + 1]) & 0xF0U) == 0xE0U) {
    const auto high = static_cast<unsigned char>(jpeg[found.end + 2]);
    const auto low = static_cast<unsigned char>(jpeg[found.end + 3]);
    const std::size_t length = high * 256U + low;
    found.contents.push_back(jpeg.substr(found.end + 4, length - 2));
    found.end += 2 + length;
  }
  return found;
}

std::string After(const std::string& mark, const Segments& segments) {
  const auto found = std::find_if(segments.contents.begin(), segments.contents.end(),
                                  [&](const std::string& content) { return content.starts_with(mark); });
  return found == segments.contents.end() ? "" : found->substr(mark.size());
}

// Its first bytes do not tell its length.
const std::string kNoProfile = std::string(40, 'p');

std::string WithDamagedProfileAt(std::size_t place, std::string jpeg) {
  const std::string content = "ICC_PROFILE\0\1\1"s + kNoProfile;
  return jpeg.insert(place, "\xFF\xE2" + BigEndian(content.size() + 2, 2) + content);
}

std::string WithDamagedProfile(const std::string& jpeg) {
  return WithDamagedProfileAt(ApplicationSegments(jpeg).end, jpeg);
}

// A HEIC picture with the metadata of JPEG.
std::string HeicWith(const std::string& jpeg, const std::vector<std::string>& properties) {
  const Segments segments = ApplicationSegments(jpeg);
  HeifItem picture;
  picture.id = 1;
  picture.width = 40;
  picture.height = 30;
  picture.properties = properties;
  HeifItem exif;
  exif.id = 2;
  exif.type = "Exif";
  exif.describes = 1;
  exif.data = "\0\0\0\0"s + After(kExifMark, segments);
  HeifItem xmp;
  xmp.id = 3;
  xmp.type = "mime";
  xmp.describes = 1;
  xmp.data = After(kXmpMark, segments);
  return MakeHeif({picture, exif, xmp}, 1);
}

class DamagedProfileTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(scratch() / "whole.jpg", 40, 30, AllKinds());
    jpeg_ = ReadFile(scratch() / "whole.jpg");
  }
  // What the library knows of the file NAME, its name and its size in bytes apart.
  std::vector<Row> Known(const std::string& name) const {
    const std::string where = " WHERE photo_image.path = '" + name + "'";
    return QueryAll(
        {"SELECT title, description, camera_make, exposure, iso, timetaken, resolutionx, resolutiony, "
         "gps, lat, lng, rotation, focal_length_v2, lens_v2, flash_v2 FROM photo_image" +
             where,
         "SELECT category, photo_label.name, info_new FROM photo_image JOIN photo_image_label ON image_id = "
         "photo_image.id JOIN photo_label ON label_id = photo_label.id" +
             where + " ORDER BY 1, 2"});
  }

  std::string jpeg_;
};

TEST_F(DamagedProfileTest, CostsAHeicPictureNothing) {
  WriteFile(File("whole.heic"), HeicWith(jpeg_, {}));
  WriteFile(File("damaged.heic"), HeicWith(jpeg_, {ProfileBox(kNoProfile)}));
  const Json::Value report = Index();
  EXPECT_EQ(report["notes"].size(), 0U);
  const std::vector<Row> known = Known("whole.heic");
  ASSERT_EQ(known.size(), 2U);  // and the keyword
  EXPECT_EQ(known[0].at("rotation"), "6");
  EXPECT_EQ(known[0].at("lat"), "-41.217499");
  EXPECT_EQ(known[0].at("title"), "Evening");
  EXPECT_EQ(Known("damaged.heic"), known);
}

TEST_F(DamagedProfileTest, CostsAJpegANote) {
  WriteFile(File("whole.jpg"), jpeg_);
  WriteFile(File("damaged.jpg"), WithDamagedProfile(jpeg_));
  const Json::Value report = Index();
  EXPECT_EQ(report["notes"].size(), 1U);
  EXPECT_EQ(NoteOf(report, "damaged.jpg"), kNote);
  const std::vector<Row> known = Known("whole.jpg");
  ASSERT_EQ(known.size(), 3U);  // and the person and the keyword
  EXPECT_EQ(known[0].at("rotation"), "6");
  EXPECT_EQ(known[0].at("description"), "At the sea");
  EXPECT_EQ(Known("damaged.jpg"), known);
}

TEST_F(DamagedProfileTest, MayStandInFrontOfAllElse) {
  WriteFile(File("whole.jpg"), jpeg_);
  WriteFile(File("damaged.jpg"), WithDamagedProfileAt(2, jpeg_));
  EXPECT_EQ(NoteOf(Index(), "damaged.jpg"), kNote);
  EXPECT_EQ(Known("damaged.jpg"), Known("whole.jpg"));
}

TEST_F(DamagedProfileTest, TheSizeOfAJpegMayStandInItsMetadataAlone) {
  const std::string damaged = WithDamagedProfile(jpeg_);
  WriteFile(File("damaged.jpg"), damaged.substr(0, ApplicationSegments(damaged).end) + "\xFF\xD9");
  EXPECT_EQ(NoteOf(Index(), "damaged.jpg"), kNote);
  ASSERT_FALSE(Known("damaged.jpg").empty());
  EXPECT_EQ(Known("damaged.jpg")[0].at("resolutionx"), "40");
  EXPECT_EQ(Known("damaged.jpg")[0].at("resolutiony"), "30");
}

TEST_F(DamagedProfileTest, MetadataThatNobodyReadsCostsANote) {
  std::string heic = HeicWith(jpeg_, {ProfileBox(kNoProfile)});
  const std::size_t exif = heic.find("\0\0\0\0II*\0"s);
  ASSERT_NE(exif, std::string::npos);
  heic.replace(exif, 8, "\0\0\0\0????"s);
  WriteFile(File("damaged.heic"), heic);
  EXPECT_EQ(NoteOf(Index(), "damaged.heic"), kNote);
  EXPECT_EQ(Known("damaged.heic")[0].at("title"), "Evening");
  EXPECT_EQ(Known("damaged.heic")[0].at("rotation"), "1");
}

}  // namespace
