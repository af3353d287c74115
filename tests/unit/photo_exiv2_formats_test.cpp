// The metadata reader over images that no writer would make: formats with one kind of metadata alone, and the
// notes of two makers in one image.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include "lumivault/photo_exiv2.h"
#include "support/fake_image.h"
#include "support/media_maker.h"

namespace {

// An image of a format, with what the test puts into it, whether the format could hold it or not.
class PreparedImage : public Exiv2::Image {
 public:
  PreparedImage(int format, const Tags& tags)
      : Image(format, Exiv2::mdNone, Exiv2::BasicIo::AutoPtr(new Exiv2::MemIo)) {
    for (const auto& [key, text] : tags) {
      if (key.starts_with("Exif.")) exifData()[key].setValue(text);
      if (key.starts_with("Iptc.")) iptcData()[key].setValue(text);
      if (key.starts_with("Xmp.")) xmpData()[key].setValue(text);
    }
  }
  void readMetadata() override {}
  void writeMetadata() override {}
  std::string mimeType() const override { return "image/prepared"; }
};

class PhotoExiv2Formats : public testing::Test {
 protected:
  static constexpr int kExifAlone = Exiv2::ImageType::crw;
  static constexpr int kXmpAlone = Exiv2::ImageType::eps;
  static constexpr int kEverything = Exiv2::ImageType::jpeg;

  void TearDown() override { OpenedImage() = nullptr; }
  static PhotoExiv2 Image(int format, const Tags& tags) {
    OpenedImage() = [=](const std::string&) {
      return Exiv2::Image::AutoPtr(new PreparedImage(format, tags));
    };
    return PhotoExiv2("prepared");
  }
  // The texts of focal length, lens, flash and description; "-1" for each that the format has no kind for.
  static std::vector<std::string> Texts(PhotoExiv2&& image) {
    std::vector<std::string> texts(4);
    if (image.GetFocalLength(texts[0]) != 0) texts[0] = "-1";
    if (image.GetLens(texts[1]) != 0) texts[1] = "-1";
    if (image.GetFlash(texts[2]) != 0) texts[2] = "-1";
    if (image.GetDescription(texts[3]) != 0) texts[3] = "-1";
    return texts;
  }
  static Tags InExif() {
    return {{"Exif.Photo.FocalLength", "50/1"},
            {"Exif.CanonCs.Lens", "55 18 1"},
            {"Exif.Photo.Flash", "1"},
            {"Exif.Image.ImageDescription", "by Exif"}};
  }
  static Tags InXmp() {
    return {{"Xmp.exif.FocalLength", "35/1"},
            {"Xmp.aux.Lens", "Nikkor"},
            {"Xmp.exif.Flash", "0"},
            {"Xmp.photoshop.headline", "by Xmp"}};
  }
  static Tags Both(Tags tags, const Tags& more) {
    tags.insert(tags.end(), more.begin(), more.end());
    return tags;
  }
};

TEST_F(PhotoExiv2Formats, ExifAloneIsReadWhereTheFormatHasNothingElse) {
  const auto expected = testing::ElementsAre("50.0 mm", "18.0 - 55.0 mm", "Fired", "by Exif");
  EXPECT_THAT(Texts(Image(kExifAlone, InExif())), expected);
  EXPECT_THAT(Texts(Image(kExifAlone, Both(InExif(), InXmp()))), expected);
}

TEST_F(PhotoExiv2Formats, XmpAloneIsReadWhereTheFormatHasNothingElse) {
  const auto expected = testing::ElementsAre("35.0 mm", "Nikkor", "0", "by Xmp");
  EXPECT_THAT(Texts(Image(kXmpAlone, InXmp())), expected);
  EXPECT_THAT(Texts(Image(kXmpAlone, Both(InExif(), InXmp()))), expected);
}

TEST_F(PhotoExiv2Formats, AKindThatTheFormatLacksIsPassedOver) {
  EXPECT_THAT(Texts(Image(kExifAlone, InXmp())), testing::ElementsAre("", "", "", ""));
  EXPECT_THAT(Texts(Image(kXmpAlone, InExif())), testing::ElementsAre("", "", "", ""));
  EXPECT_THAT(Texts(Image(kXmpAlone, {{"Iptc.Application2.Caption", "by Iptc"}})).back(), "");
  EXPECT_THAT(Texts(Image(kExifAlone, {{"Iptc.Application2.Caption", "by Iptc"}})).back(), "");
}

TEST_F(PhotoExiv2Formats, OrientationIsNormalWhereEitherKindIsPossible) {
  EXPECT_EQ(Image(kExifAlone, {}).GetOrientation(), 1);
  EXPECT_EQ(Image(kXmpAlone, {}).GetOrientation(), 1);
  EXPECT_EQ(Image(kXmpAlone, {{"Xmp.tiff.Orientation", "8"}}).GetOrientation(), 8);
  EXPECT_EQ(Image(kExifAlone, {{"Exif.Image.Orientation", "6"}}).GetOrientation(), 6);
}

TEST_F(PhotoExiv2Formats, CanonsNotesComeBeforeNikons) {
  const auto texts = Texts(Image(kEverything, {{"Exif.Nikon3.Lens", "18/1 70/1 35/10 45/10"},
                                               {"Exif.CanonCs.Lens", "55 18 1"},
                                               {"Exif.NikonLd3.FocalLength", "84"},
                                               {"Exif.Canon.FocalLength", "2 24 907 605"}}));
  EXPECT_EQ(texts[0], "24.0 mm");
  EXPECT_EQ(texts[1], "18.0 - 55.0 mm");
}

TEST_F(PhotoExiv2Formats, TextsArePrintedInTheContextOfTheOtherTags) {
  // The unit of Canon's focal length is told by its lens.
  EXPECT_EQ(Texts(Image(kEverything,
                        {{"Exif.CanonCs.Lens", "550 180 10"}, {"Exif.Canon.FocalLength", "2 240 0 0"}}))
                .front(),
            "24.0 mm");
  EXPECT_EQ(Image(kEverything, {{"Exif.CanonCs.Lens", "550 180 10"}, {"Exif.Canon.FocalLength", "2 240 0 0"}})
                .GetExifTagValue("Exif.Canon.FocalLength", true),
            "24.0 mm");
}

TEST_F(PhotoExiv2Formats, AbsentFieldsAreEmptyTextsAndNeverNull) {
  const Json::Value metadata = Image(kEverything, {}).GetMetadata();
  EXPECT_THAT(metadata.getMemberNames(),
              testing::UnorderedElementsAre("description", "orientation", "focalLength", "lens", "flash"));
  for (const char* key : {"description", "focalLength", "lens", "flash"}) {
    EXPECT_TRUE(metadata[key].isString()) << key;
    EXPECT_EQ(metadata[key].asString(), "") << key;
  }
  EXPECT_TRUE(metadata["orientation"].isInt());
}

}  // namespace
