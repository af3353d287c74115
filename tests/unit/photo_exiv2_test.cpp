#include "lumivault/photo_exiv2.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/stat.h>

#include "photo_exiv2/description_text.h"
#include "support/comma_locale.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace {

class PhotoExiv2Test : public testing::Test {
 protected:
  // An image with exactly these tags, of the format that the extension of NAME tells.
  PhotoExiv2 Image(const std::string& name, const Tags& tags = {}) {
    const std::string path = dir_ / name;
    MakeImage(path, 16, 12);
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    // The writer of the files adds an orientation of its own; a format without metadata cannot be written.
    if (image->exifData().empty() && tags.empty()) return PhotoExiv2(path.c_str());
    image->clearMetadata();
    for (const auto& [key, text] : tags) AddTag(*image, key, text);
    image->writeMetadata();
    return PhotoExiv2(path.c_str());
  }
  PhotoExiv2 Jpeg(const Tags& tags = {}) { return Image("a.jpg", tags); }

  TempDir dir_;

 private:
  static void AddTag(Exiv2::Image& image, const std::string& key, const std::string& text) {
    if (key.starts_with("Exif.")) image.exifData()[key].setValue(text);
    if (key.starts_with("Iptc.")) image.iptcData()[key].setValue(text);
    if (key.starts_with("Xmp.")) image.xmpData()[key].setValue(text);
  }
};

std::string Description(PhotoExiv2&& image) {
  std::string text = "untouched";
  EXPECT_EQ(image.GetDescription(text), 0);
  return text;
}
std::string FocalLength(PhotoExiv2&& image) {
  std::string text = "untouched";
  EXPECT_EQ(image.GetFocalLength(text), 0);
  return text;
}
std::string Lens(PhotoExiv2&& image) {
  std::string text = "untouched";
  EXPECT_EQ(image.GetLens(text), 0);
  return text;
}
std::string Flash(PhotoExiv2&& image) {
  std::string text = "untouched";
  EXPECT_EQ(image.GetFlash(text), 0);
  return text;
}

// --- Opening.

TEST_F(PhotoExiv2Test, MissingFileThrows) {
  EXPECT_THROW(PhotoExiv2((dir_ / "none.jpg").c_str()), Exiv2::BasicError<char>);
}

TEST_F(PhotoExiv2Test, NullPathThrows) {
  EXPECT_THROW(PhotoExiv2(nullptr), Exiv2::BasicError<char>);
}

TEST_F(PhotoExiv2Test, FileThatIsNoImageThrows) {
  WriteFile(dir_ / "a.jpg", "this is no image");
  EXPECT_THROW(PhotoExiv2((dir_ / "a.jpg").c_str()), Exiv2::BasicError<char>);
}

TEST_F(PhotoExiv2Test, CutJpegThrowsOrIsReadButNeverCrashes) {
  Jpeg({{"Exif.Image.ImageDescription", "Harbour"}, {"Xmp.photoshop.headline", "Harbour"}});
  const std::string whole = ReadFile(dir_ / "a.jpg");
  for (std::size_t length = 0; length < whole.size(); length += 7) {
    WriteFile(dir_ / "cut.jpg", whole.substr(0, length));
    try {
      PhotoExiv2((dir_ / "cut.jpg").c_str()).GetMetadata();
    } catch (const Exiv2::BasicError<char>&) {
      continue;
    }
  }
}

TEST_F(PhotoExiv2Test, VideoContainerIsRefusedWhateverItsName) {
  WriteFile(dir_ / "holiday.jpg", std::string("RIFF\x10\0\0\0AVI LIST", 16) + std::string(64, '\0'));
  EXPECT_THROW(PhotoExiv2((dir_ / "holiday.jpg").c_str()), Exiv2::BasicError<char>);
}

TEST_F(PhotoExiv2Test, PipeIsRefusedWithoutWaitingForAWriter) {
  ASSERT_EQ(mkfifo((dir_ / "a.jpg").c_str(), 0600), 0);
  EXPECT_THROW(PhotoExiv2((dir_ / "a.jpg").c_str()), Exiv2::BasicError<char>);
}

// --- Single tags.

TEST_F(PhotoExiv2Test, TagIsGivenAsStoredOrInterpreted) {
  PhotoExiv2 image = Jpeg({{"Exif.Image.Orientation", "6"},
                           {"Iptc.Application2.Caption", "Harbour"},
                           {"Xmp.tiff.Orientation", "8"}});
  EXPECT_EQ(image.GetExifTagValue("Exif.Image.Orientation", false), "6");
  EXPECT_EQ(image.GetExifTagValue("Exif.Image.Orientation", true), "right, top");
  EXPECT_EQ(image.GetIptcTagValue("Iptc.Application2.Caption", false), "Harbour");
  EXPECT_EQ(image.GetXmpTagValue("Xmp.tiff.Orientation", false), "8");
  EXPECT_EQ(image.GetXmpTagValue("Xmp.tiff.Orientation", true), "left, bottom");
}

TEST_F(PhotoExiv2Test, AbsentTagIsEmpty) {
  PhotoExiv2 image = Jpeg();
  EXPECT_EQ(image.GetExifTagValue("Exif.Image.Orientation", true), "");
  EXPECT_EQ(image.GetIptcTagValue("Iptc.Application2.Caption", false), "");
  EXPECT_EQ(image.GetXmpTagValue("Xmp.tiff.Orientation", false), "");
}

TEST_F(PhotoExiv2Test, KeyThatIsNoneThrows) {
  PhotoExiv2 image = Jpeg();
  EXPECT_THROW(image.GetExifTagValue("Exif.Nothing", false), Exiv2::BasicError<char>);
  EXPECT_THROW(image.GetIptcTagValue("nonsense", false), Exiv2::BasicError<char>);
  EXPECT_THROW(image.GetXmpTagValue("Xmp.no-such-prefix.Tag", false), Exiv2::BasicError<char>);
}

// --- Orientation.

TEST_F(PhotoExiv2Test, ExifOrientationWinsOverXmp) {
  EXPECT_EQ(Jpeg({{"Exif.Image.Orientation", "6"}, {"Xmp.tiff.Orientation", "8"}}).GetOrientation(), 6);
}

TEST_F(PhotoExiv2Test, XmpOrientationStandsInForExif) {
  EXPECT_EQ(Jpeg({{"Xmp.tiff.Orientation", "8"}}).GetOrientation(), 8);
}

TEST_F(PhotoExiv2Test, OrientationIsNormalWithoutATag) {
  EXPECT_EQ(Jpeg().GetOrientation(), 1);
}

TEST_F(PhotoExiv2Test, OrientationIsZeroWhereTheFormatHasNone) {
  EXPECT_EQ(Image("a.bmp").GetOrientation(), 0);
}

TEST_F(PhotoExiv2Test, OrientationIsItsLeadingDigits) {
  EXPECT_EQ(Jpeg({{"Xmp.tiff.Orientation", " 3 turned"}}).GetOrientation(), 3);
  EXPECT_EQ(Jpeg({{"Xmp.tiff.Orientation", "turned"}}).GetOrientation(), 0);
  EXPECT_EQ(Jpeg({{"Xmp.tiff.Orientation", "99999999999999999999"}}).GetOrientation(), INT32_MAX);
}

// --- Description.

TEST(DescriptionText, IsWhatFollowsTheFirstBlank) {
  EXPECT_EQ(DescriptionText("lang=\"x-default\" Sunset"), "Sunset");
  EXPECT_EQ(DescriptionText("Sunset at sea"), "at sea");
  EXPECT_EQ(DescriptionText("Sunset"), "Sunset");
  EXPECT_EQ(DescriptionText("Sunset "), "");
}

TEST_F(PhotoExiv2Test, XmpDescriptionLosesItsLanguageQualifier) {
  EXPECT_EQ(Description(Jpeg({{"Xmp.dc.description", "lang=\"x-default\" Sunset at sea"}})), "Sunset at sea");
}

TEST_F(PhotoExiv2Test, XmpDescriptionWinsOverHeadlineCaptionAndExif) {
  EXPECT_EQ(Description(Jpeg({{"Xmp.dc.description", "Sunset"},
                              {"Xmp.photoshop.headline", "Harbour"},
                              {"Iptc.Application2.Caption", "Caption"},
                              {"Exif.Image.ImageDescription", "Exif"}})),
            "Sunset");
}

TEST_F(PhotoExiv2Test, HeadlineIsTakenWholeAndWinsOverTheCaption) {
  EXPECT_EQ(Description(Jpeg({{"Xmp.photoshop.headline", "Harbour at night"},
                              {"Iptc.Application2.Caption", "Caption"},
                              {"Exif.Image.ImageDescription", "Exif"}})),
            "Harbour at night");
}

TEST_F(PhotoExiv2Test, CaptionStandsInForAnXmpDescriptionWithoutAText) {
  Jpeg({{"Iptc.Application2.Caption", "The caption"}});
  // An empty text is not written from its value, so the packet is given as a whole.
  const auto image = Exiv2::ImageFactory::open(dir_ / "a.jpg");
  image->readMetadata();
  image->setXmpPacket(R"(<x:xmpmeta xmlns:x="adobe:ns:meta/">
    <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
      <rdf:Description rdf:about="" xmlns:dc="http://purl.org/dc/elements/1.1/"
          xmlns:photoshop="http://ns.adobe.com/photoshop/1.0/" photoshop:headline="Harbour">
        <dc:description><rdf:Alt><rdf:li xml:lang="x-default"/></rdf:Alt></dc:description>
      </rdf:Description>
    </rdf:RDF>
  </x:xmpmeta>)");
  image->writeXmpFromPacket(true);
  image->writeMetadata();
  PhotoExiv2 photo((dir_ / "a.jpg").c_str());
  ASSERT_EQ(photo.GetXmpTagValue("Xmp.dc.description", false), "lang=\"x-default\" ");
  ASSERT_EQ(photo.GetXmpTagValue("Xmp.photoshop.headline", false), "Harbour");
  EXPECT_EQ(Description(std::move(photo)), "The caption");
}

TEST_F(PhotoExiv2Test, CaptionStandsInForXmp) {
  EXPECT_EQ(Description(Jpeg(
                {{"Iptc.Application2.Caption", "The caption"}, {"Exif.Image.ImageDescription", "Exif"}})),
            "The caption");
}

TEST_F(PhotoExiv2Test, ExifDescriptionComesLast) {
  EXPECT_EQ(
      Description(Jpeg({{"Iptc.Application2.Caption", ""}, {"Exif.Image.ImageDescription", "The text"}})),
      "The text");
}

TEST_F(PhotoExiv2Test, FormatWithoutIptcGoesOnToExif) {
  EXPECT_EQ(Description(Image("a.webp", {{"Exif.Image.ImageDescription", "The text"}})), "The text");
}

TEST_F(PhotoExiv2Test, DescriptionIsEmptyWithoutAnyTag) {
  EXPECT_EQ(Description(Jpeg()), "");
}

// --- Focal length, lens, flash.

TEST_F(PhotoExiv2Test, FocalLengthIsInterpretedAndExifWins) {
  EXPECT_EQ(FocalLength(Jpeg({{"Exif.Photo.FocalLength", "50/1"}, {"Xmp.exif.FocalLength", "35/1"}})),
            "50.0 mm");
}

TEST_F(PhotoExiv2Test, CanonFocalLengthWinsOverXmp) {
  PhotoExiv2 image = Jpeg({{"Exif.Image.Make", "Canon"},
                           {"Exif.Canon.FocalLength", "2 55 907 605"},
                           {"Xmp.exif.FocalLength", "35/1"}});
  const std::string expected = image.GetExifTagValue("Exif.Canon.FocalLength", true);
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(FocalLength(std::move(image)), expected);
}

TEST_F(PhotoExiv2Test, StandardFocalLengthWinsOverCanon) {
  EXPECT_EQ(FocalLength(Jpeg({{"Exif.Image.Make", "Canon"},
                              {"Exif.Photo.FocalLength", "50/1"},
                              {"Exif.Canon.FocalLength", "2 55 907 605"}})),
            "50.0 mm");
}

TEST_F(PhotoExiv2Test, NikonFocalLengthIsInterpreted) {
  EXPECT_EQ(FocalLength(Jpeg({{"Exif.Image.Make", "NIKON CORPORATION"},
                              {"Exif.Image.Model", "NIKON D70"},
                              {"Exif.Nikon3.Version", "48 50 49 48"},
                              {"Exif.Nikon3.SerialNumber", "1234567"},
                              {"Exif.Nikon3.ShutterCount", "100"},
                              {"Exif.NikonLd3.Version", "48 50 48 52"},
                              {"Exif.NikonLd3.FocalLength", "84"}})),
            "56.6 mm");
}

TEST_F(PhotoExiv2Test, XmpFocalLengthComesLast) {
  EXPECT_EQ(FocalLength(Jpeg({{"Xmp.exif.FocalLength", "35/1"}})), "35.0 mm");
}

TEST_F(PhotoExiv2Test, CanonLensWinsOverXmp) {
  EXPECT_EQ(
      Lens(Jpeg({{"Exif.Image.Make", "Canon"}, {"Exif.CanonCs.Lens", "55 18 1"}, {"Xmp.aux.Lens", "EF-S"}})),
      "18.0 - 55.0 mm");
}

TEST_F(PhotoExiv2Test, NikonLensWinsOverXmp) {
  EXPECT_EQ(Lens(Jpeg({{"Exif.Image.Make", "NIKON CORPORATION"},
                       {"Exif.Nikon3.Version", "48 50 49 48"},
                       {"Exif.Nikon3.Lens", "18/1 70/1 35/10 45/10"},
                       {"Xmp.aux.Lens", "Nikkor"}})),
            "18-70mm F3.5-4.5");
}

TEST_F(PhotoExiv2Test, XmpLensComesLast) {
  EXPECT_EQ(Lens(Jpeg({{"Xmp.aux.Lens", "Nikkor"}})), "Nikkor");
}

TEST_F(PhotoExiv2Test, FlashIsInterpretedAndExifWins) {
  EXPECT_EQ(Flash(Jpeg({{"Exif.Photo.Flash", "1"}, {"Xmp.exif.Flash", "0"}})), "Fired");
}

TEST_F(PhotoExiv2Test, XmpFlashComesLast) {
  EXPECT_EQ(Flash(Jpeg({{"Xmp.exif.Flash", "1"}})), "1");
}

TEST_F(PhotoExiv2Test, NumbersHaveADecimalPointUnderStreamsWithAComma) {
  PhotoExiv2 image = Jpeg({{"Exif.Photo.FocalLength", "12345/10"},
                           {"Exif.Photo.PixelXDimension", "6000"},
                           {"Xmp.exif.FocalLength", "35/1"}});
  const CommaStreams comma;
  EXPECT_EQ(image.GetExifTagValue("Exif.Photo.FocalLength", false), "12345/10");
  EXPECT_EQ(image.GetExifTagValue("Exif.Photo.PixelXDimension", false), "6000");
  EXPECT_EQ(image.GetExifTagValue("Exif.Photo.PixelXDimension", true), "6000");
  EXPECT_EQ(FocalLength(std::move(image)), "1234.5 mm");
}

TEST_F(PhotoExiv2Test, TextsAreOverwrittenWhereTheFormatHasNone) {
  PhotoExiv2 image = Image("a.bmp");
  std::string text = "untouched";
  EXPECT_EQ(image.GetDescription(text), -1);
  EXPECT_EQ(text, "");
  text = "untouched";
  EXPECT_EQ(image.GetFocalLength(text), -1);
  EXPECT_EQ(text, "");
  text = "untouched";
  EXPECT_EQ(image.GetLens(text), -1);
  EXPECT_EQ(text, "");
  text = "untouched";
  EXPECT_EQ(image.GetFlash(text), -1);
  EXPECT_EQ(text, "");
}

// --- All of it.

TEST_F(PhotoExiv2Test, MetadataOfAFormatWithoutAnyHasNoDescription) {
  Json::Value expected(Json::objectValue);
  expected["orientation"] = 0;
  expected["focalLength"] = "";
  expected["lens"] = "";
  expected["flash"] = "";
  EXPECT_EQ(Image("a.bmp").GetMetadata(), expected);
}

TEST_F(PhotoExiv2Test, MetadataOfABareJpegIsEmptyButNormal) {
  Json::Value expected(Json::objectValue);
  expected["description"] = "";
  expected["orientation"] = 1;
  expected["focalLength"] = "";
  expected["lens"] = "";
  expected["flash"] = "";
  EXPECT_EQ(Jpeg().GetMetadata(), expected);
}

TEST_F(PhotoExiv2Test, MetadataHoldsEveryAnswer) {
  Json::Value expected(Json::objectValue);
  expected["description"] = "Sunset";
  expected["orientation"] = 3;
  expected["focalLength"] = "50.0 mm";
  expected["lens"] = "Nikkor";
  expected["flash"] = "Fired";
  PhotoExiv2 image = Jpeg({{"Xmp.dc.description", "Sunset"},
                           {"Exif.Image.Orientation", "3"},
                           {"Exif.Photo.FocalLength", "50/1"},
                           {"Xmp.aux.Lens", "Nikkor"},
                           {"Exif.Photo.Flash", "1"}});
  EXPECT_EQ(image.GetMetadata(), expected);
  EXPECT_EQ(image.GetMetadata(), expected);
}

}  // namespace
