// The sizes of pictures in formats of which the metadata library tells none, or another one.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <string>
#include <utility>
#include <vector>

#include "probe/probe.h"
#include "support/heif_maker.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string LittleEndian(std::uint64_t number, int bytes) {
  const std::string text = BigEndian(number, bytes);
  return {text.rbegin(), text.rend()};
}

std::string SizeIn(const ProbeResult& result) {
  return result.media["resolutionX"].asString() + "x" + result.media["resolutionY"].asString();
}

class PictureSizeTest : public testing::Test {
 protected:
  ProbeResult Probed(const std::string& content) const {
    WriteFile(dir_ / "a.jpg", content);
    return ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto);
  }
  // "40x30" of a picture in which nothing is wrong.
  std::string SizeOf(const std::string& content) const {
    const ProbeResult result = Probed(content);
    EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
    EXPECT_EQ(result.reason, "");
    return SizeIn(result);
  }
  // As the program that makes test images writes it into a file of this name.
  std::string Made(const std::string& name) const {
    MakeImage(dir_ / name, 40, 30);
    return ReadFile(dir_ / name);
  }
  void NeverWhole(const std::string& whole) const {
    for (std::size_t length = 0; length < whole.size(); ++length) {
      const ProbeResult result = Probed(whole.substr(0, length));
      EXPECT_NE(result.outcome, ProbeOutcome::kOk) << length;
      EXPECT_NE(result.reason, "") << length;
    }
  }
  void SurvivesAnyByte(std::string content) const {
    for (char& byte : content) {
      const char before = std::exchange(byte, static_cast<char>(~byte));
      const ProbeResult result = Probed(content);
      EXPECT_EQ(result.outcome == ProbeOutcome::kOk, result.reason.empty()) << &byte - content.data();
      byte = before;
    }
  }

  TempDir dir_;
};

HeifItem Item(int id, int width, int height, std::vector<std::string> properties = {}) {
  HeifItem item;
  item.id = id;
  item.width = width;
  item.height = height;
  item.properties = std::move(properties);
  return item;
}

// Two pictures of 100 x 80 side by side, the grid last.
std::vector<HeifItem> TwoTiles() {
  HeifItem grid = Item(3, 200, 80);
  grid.type = "grid";
  grid.parts = {1, 2};
  grid.data = "\0\0\0\1"s + BigEndian(200, 2) + BigEndian(80, 2);
  return {Item(1, 100, 80), Item(2, 100, 80), grid};
}

TEST_F(PictureSizeTest, OfSeveralPicturesThePrimaryOneCounts) {
  const std::vector<HeifItem> items = {Item(1, 400, 300), Item(2, 40, 30), Item(3, 64, 48)};
  EXPECT_EQ(SizeOf(MakeHeif(items, 1)), "400x300");
  EXPECT_EQ(SizeOf(MakeHeif(items, 2)), "40x30");
  EXPECT_EQ(SizeOf(MakeHeif(items, 3)), "64x48");
}

TEST_F(PictureSizeTest, AGridIsOnePicture) {
  EXPECT_EQ(SizeOf(MakeHeif(TwoTiles(), 3)), "200x80");
  EXPECT_EQ(SizeOf(MakeHeif(TwoTiles(), 1)), "100x80");
}

TEST_F(PictureSizeTest, ACroppedPictureHasTheSizeOfWhatIsLeft) {
  EXPECT_EQ(SizeOf(MakeHeif({Item(1, 64, 64, {CropBox(40, 30)})}, 1)), "40x30");
}

TEST_F(PictureSizeTest, ATurnedPictureHasTheSizeThatItIsShownIn) {
  EXPECT_EQ(SizeOf(MakeHeif({Item(1, 400, 300, {TurnBox(1)})}, 1)), "300x400");
  EXPECT_EQ(SizeOf(MakeHeif({Item(1, 400, 300, {TurnBox(2)})}, 1)), "400x300");
  EXPECT_EQ(SizeOf(MakeHeif({Item(1, 400, 300, {TurnBox(3), MirrorBox()})}, 1)), "300x400");
  EXPECT_EQ(SizeOf(MakeHeif({Item(1, 400, 300, {CropBox(380, 290), TurnBox(1)})}, 1)), "290x380");
}

TEST_F(PictureSizeTest, AHeifOfTheRealEncoderHasItsSize) {
  EXPECT_EQ(SizeOf(Made("a.heic")), "40x30");
  EXPECT_EQ(SizeOf(Made("a.avif")), "40x30");
}

// Such as every picture of some phones has; the metadata library gives the whole file up for it.
TEST_F(PictureSizeTest, AProfileThatIsNoneCostsThePictureNothing) {
  HeifItem exif = Item(2, 0, 0);
  exif.type = "Exif";
  exif.describes = 1;
  MakeJpeg(dir_ / "exif.jpg", 8, 8,
           {{"Exif.Image.Make", "Maker"}, {"Exif.Photo.DateTimeOriginal", "2019:03:04 10:11:12"}});
  const std::string jpeg = ReadFile(dir_ / "exif.jpg");
  exif.data = "\0\0\0\0"s + jpeg.substr(jpeg.find("Exif\0\0"s) + 6);
  const HeifItem picture = Item(1, 400, 300, {ProfileBox(std::string(40, 'p'))});
  const ProbeResult result = Probed(MakeHeif({picture, exif}, 1));
  EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
  EXPECT_EQ(result.reason, "");
  EXPECT_EQ(SizeIn(result), "400x300");
  EXPECT_EQ(result.media["szMake"].asString(), "Maker");
  EXPECT_EQ(result.media["szTakenTime"].asString(), "2019-03-04 10:11:12");
}

// Each asks for megabytes that the file only says it had.
std::string HeifThatClaims(std::uint64_t each) {
  std::vector<HeifItem> items = {Item(1, 40, 30)};
  for (int id = 2; id < 62; ++id) {
    HeifItem exif = Item(id, 0, 0);
    exif.type = "Exif";
    exif.describes = 1;
    items.push_back(exif);
  }
  std::string content = MakeHeif(items, 1);
  const std::string small = BigEndian(items.back().data.size(), 4);
  std::size_t at = content.find("iloc");
  for (std::size_t item = 0; item < items.size(); ++item) {
    at = content.find(small, at);
    content.replace(at, 4, BigEndian(each, 4));
    at += 4;
  }
  const std::size_t data = content.rfind("mdat");
  return content.replace(data - 4, 8, BigEndian(1, 4) + "mdat" + BigEndian(std::uint64_t{1} << 40U, 8));
}

TEST_F(PictureSizeTest, WhatAHeifOnlyClaimsToHoldTakesNoMemory) {
  constexpr std::int64_t kMost = 110 * 1024;  // KiB
  for (const std::uint64_t megabytes : {std::uint64_t{12}, std::uint64_t{200}}) {
    WriteFile(dir_ / "a.heic", HeifThatClaims(megabytes << 20U));
    const pid_t child = fork();
    if (child == 0) _exit(static_cast<int>(ProbeFile(dir_ / "a.heic", MediaKind::kPhoto).outcome));
    int status = 0;
    rusage usage{};
    ASSERT_EQ(wait4(child, &status, 0, &usage), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_LT(usage.ru_maxrss, kMost) << megabytes;
  }
}

// Where the metadata library gives the file up.
std::string HeifWithXmp() {
  HeifItem xmp = Item(2, 0, 0);
  xmp.type = "mime";
  xmp.describes = 1;
  xmp.data =
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
      "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
      "xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" xmlns:own=\"http://lumivault.example/own/\" "
      "tiff:Make=\"Maker\" own:Word=\"sea\"/></rdf:RDF></x:xmpmeta>";
  return MakeHeif({Item(1, 400, 300, {ProfileBox(std::string(40, 'p'))}), xmp}, 1);
}

TEST_F(PictureSizeTest, TheXmpOfAHeifIsRead) {
  const ProbeResult result = Probed(HeifWithXmp());
  EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
  EXPECT_EQ(result.media["szMake"].asString(), "Maker");
}

TEST_F(PictureSizeTest, TheXmpOfAHeifLeavesNoNamespace) {
  EXPECT_EQ(Probed(HeifWithXmp()).media["szMake"].asString(), "Maker");
  EXPECT_EQ(Exiv2::XmpProperties::nsRegistry_.count("http://lumivault.example/own/"), 0U);
}

TEST_F(PictureSizeTest, AHeifCutAnywhereIsNeverOk) {
  NeverWhole(MakeHeif(TwoTiles(), 3));
}

TEST_F(PictureSizeTest, AHeifThatBreaksOffStillTellsItsSize) {
  const std::string whole = MakeHeif(TwoTiles(), 3);
  const ProbeResult result = Probed(whole.substr(0, whole.size() - 1));
  EXPECT_EQ(result.outcome, ProbeOutcome::kDamaged);
  EXPECT_EQ(result.reason, "the picture is cut short");
  EXPECT_EQ(SizeIn(result), "200x80");
}

TEST_F(PictureSizeTest, WhatFollowsAHeifDoesNotMakeItDamaged) {
  const std::string whole = MakeHeif({Item(1, 400, 300)}, 1);
  for (const char* more : {"x", "twelve bytes", "a trailer of more bytes than a box has"})
    EXPECT_EQ(SizeOf(whole + more), "400x300") << more;
}

TEST_F(PictureSizeTest, AHeifWithAnyWrongByteDoesNoHarm) {
  SurvivesAnyByte(MakeHeif(TwoTiles(), 3));
}

TEST_F(PictureSizeTest, JpegXlHasItsSize) {
  EXPECT_EQ(SizeOf(Made("a.jxl")), "40x30");
}

std::string BoxedJxl(const std::string& bare) {
  return Box("JXL ", "\x0D\x0A\x87\x0A") + Box("ftyp", "jxl \0\0\0\0jxl "s) + Box("jxlc", bare);
}

TEST_F(PictureSizeTest, JpegXlInBoxesHasItsSize) {
  const std::string whole = BoxedJxl(Made("a.jxl"));
  EXPECT_EQ(SizeOf(whole), "40x30");
  const ProbeResult result = Probed(whole.substr(0, whole.size() - 1));
  EXPECT_EQ(result.outcome, ProbeOutcome::kDamaged);
  EXPECT_EQ(result.reason, "the picture is cut short");
}

std::string Part(int number, const std::string& content, bool last) {
  return Box("jxlp", BigEndian(static_cast<std::uint64_t>(number) | (last ? 0x80000000U : 0U), 4) + content);
}

TEST_F(PictureSizeTest, JpegXlInPartsHasItsSize) {
  const std::string bare = Made("a.jxl");
  const std::string start = Box("JXL ", "\x0D\x0A\x87\x0A") + Box("ftyp", "jxl \0\0\0\0jxl "s);
  for (const std::size_t first : std::vector<std::size_t>{0, 1, 4, 15, 16, 20})
    EXPECT_EQ(SizeOf(start + Part(0, bare.substr(0, first), false) + Part(1, bare.substr(first), true)),
              "40x30")
        << first;
  EXPECT_EQ(SizeOf(start + Part(0, "", false) + Part(1, "", false) + Part(2, bare, true)), "40x30");
}

// A decoder that is shown such a start does not come back.
TEST_F(PictureSizeTest, AJpegXlOfSomeBytesIsReadInNoTime) {
  alarm(60);
  const std::string boxed = "\0\0\0\x0CJXL \x0D\x0A\x87\x0A"s;
  for (std::size_t length = 0; length <= 32; ++length) {
    for (const std::string& rest :
         {std::string("\0\x11\0", 3) + std::string(32, '\0'), std::string(32, '\xFF'),
          Box("ftyp", "jxl \0\0\0\0jxl "s) + "\0\0\0\0"s}) {
      EXPECT_NE(Probed((boxed + rest).substr(0, length)).outcome, ProbeOutcome::kOk) << length;
    }
    const std::string bare = "\xFF\x0A" + std::string(30, '\x11');
    EXPECT_EQ(Probed(bare.substr(0, length)).reason.find("took too long"), std::string::npos) << length;
  }
  alarm(0);
}

// The bits of a header: whether the sides are multiples of 8 up to 256, the height, the ratio, the width, and
// how the picture is turned.
class JxlHeader {
 public:
  void Add(std::uint64_t number, int bits) {
    for (int bit = 0; bit < bits; ++bit, ++count_) {
      if (count_ % 8 == 0) bytes_ += '\0';
      bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) |
                                        ((number >> bit & 1U) << (count_ % 8)));
    }
  }
  // LENGTH less one in so many bits, which the choice of the field before tells.
  void AddLength(std::uint64_t length) {
    const std::vector<int> widths = {9, 13, 18, 30};
    std::size_t choice = 0;
    while (length - 1 >= std::uint64_t{1} << widths.at(choice)) ++choice;
    Add(choice, 2);
    Add(length - 1, widths.at(choice));
  }
  std::string Picture() const {
    std::string whole = "\xFF\x0A" + bytes_;
    whole.resize(64);
    return whole;
  }

 private:
  std::string bytes_;
  int count_ = 0;
};

TEST_F(PictureSizeTest, JpegXlSizesOfEveryLengthAreRead) {
  for (const int height : {1, 511, 512, 513, 8192, 8193, 262144, 262145}) {
    JxlHeader header;
    header.Add(0, 1);
    header.AddLength(static_cast<std::uint64_t>(height));
    header.Add(0, 3);
    header.AddLength(700);
    EXPECT_EQ(SizeOf(header.Picture()), "700x" + std::to_string(height));
  }
}

TEST_F(PictureSizeTest, JpegXlSizesInMultiplesOfEightAreRead) {
  JxlHeader header;
  header.Add(1, 1);
  header.Add(256 / 8 - 1, 5);
  header.Add(0, 3);
  header.Add(8 / 8 - 1, 5);
  EXPECT_EQ(SizeOf(header.Picture()), "8x256");
}

TEST_F(PictureSizeTest, EveryRatioOfAJpegXlIsRead) {
  const std::vector<std::string> sizes = {"600x600",  "720x600", "800x600", "900x600",
                                          "1066x600", "750x600", "1200x600"};
  for (std::size_t ratio = 1; ratio <= sizes.size(); ++ratio) {
    JxlHeader header;
    header.Add(0, 1);
    header.AddLength(600);
    header.Add(ratio, 3);
    EXPECT_EQ(SizeOf(header.Picture()), sizes[ratio - 1]) << ratio;
  }
}

TEST_F(PictureSizeTest, EveryOrientationOfAJpegXlIsFollowed) {
  for (std::uint64_t orientation = 0; orientation < 8; ++orientation) {
    JxlHeader header;
    header.Add(0, 1);
    header.AddLength(600);
    header.Add(7, 3);
    header.Add(0, 1);  // not as most pictures are
    header.Add(1, 1);  // more follows
    header.Add(orientation, 3);
    EXPECT_EQ(SizeOf(header.Picture()), orientation < 4 ? "1200x600" : "600x1200") << orientation;
  }
}

TEST_F(PictureSizeTest, AJpegXlWithAnyWrongByteDoesNoHarm) {
  SurvivesAnyByte(BoxedJxl(Made("a.jxl")));
}

TEST_F(PictureSizeTest, ATiffWithLongOffsetsHasItsSize) {
  Made("a.tif");
  const std::string command =
      "vips copy '" + dir_ / "a.tif" + "' '" + dir_ / "b.tif" + "[bigtiff]' 2>/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);  // NOLINT(cert-env33-c): a text of the test
  const std::string content = ReadFile(dir_ / "b.tif");
  ASSERT_EQ(content[2], '\x2B');
  EXPECT_EQ(SizeOf(content), "40x30");
  SurvivesAnyByte(content.substr(0, 16) + content.substr(content.size() - 400));
}

using Order = std::string (*)(std::uint64_t, int);

// One picture of a TIFF with 64-bit offsets, which stands at OFFSET: a reduced one has the KIND 1.
std::string BigPicture(Order order, std::uint64_t offset, int kind, int width, int height,
                       std::uint64_t below) {
  constexpr int kShort = 3;
  constexpr int kLong8 = 16;
  std::string entries;
  std::uint64_t count = 0;
  const auto add = [&](int tag, int type, std::uint64_t value) {
    std::string stored = order(value, type == kShort ? 2 : 8);
    stored.resize(8);
    entries += order(static_cast<std::uint64_t>(tag), 2) + order(static_cast<std::uint64_t>(type), 2) +
               order(1, 8) + stored;
    ++count;
  };
  add(254, kShort, static_cast<std::uint64_t>(kind));
  add(256, kShort, static_cast<std::uint64_t>(width));
  add(257, kShort, static_cast<std::uint64_t>(height));
  add(273, kLong8, offset);
  add(279, kLong8, 1);
  if (below != 0) add(330, kLong8, below);
  return order(count, 8) + entries + order(0, 8);
}

// As a DNG: a preview first, the picture below it.
std::string BigDng(Order order, const std::string& mark) {
  constexpr std::uint64_t kFirst = 16;
  const std::uint64_t second = kFirst + BigPicture(order, kFirst, 1, 16, 12, 1).size();
  return mark + order(0x2B, 2) + order(8, 2) + order(0, 2) + order(kFirst, 8) +
         BigPicture(order, kFirst, 1, 16, 12, second) + BigPicture(order, second, 0, 400, 300, 0);
}

TEST_F(PictureSizeTest, TheSizeIsThatOfThePictureNotOfItsPreview) {
  const std::string content = BigDng(LittleEndian, "II");
  EXPECT_EQ(SizeOf(content), "400x300");
  SurvivesAnyByte(content);
}

TEST_F(PictureSizeTest, ATiffWithLongOffsetsMayHaveItsHighestBytesFirst) {
  EXPECT_EQ(SizeOf(BigDng(BigEndian, "MM")), "400x300");
}

std::string X3f(std::uint32_t version) {
  const std::string head = "FOVb" + LittleEndian(version, 4) + std::string(20, '\0');
  const std::string size = LittleEndian(2640, 4) + LittleEndian(1760, 4);
  return head + (version < 0x40000 ? "" : std::string(12, '\1')) + size + std::string(200, '\0');
}

TEST_F(PictureSizeTest, SigmasFormatHasItsSizeInItsHeader) {
  EXPECT_EQ(SizeOf(X3f(0x20003)), "2640x1760");
  EXPECT_EQ(SizeOf(X3f(0x40000)), "2640x1760");
}

TEST_F(PictureSizeTest, AHeaderWithoutASizeIsNoPicture) {
  std::string content = X3f(0x20003);
  content.replace(28, 8, 8, '\0');
  EXPECT_EQ(Probed(content).outcome, ProbeOutcome::kUnsupported);
  EXPECT_EQ(Probed(X3f(0x20003).substr(0, 30)).outcome, ProbeOutcome::kUnsupported);
}

std::string RafTag(int tag, int height, int width) {
  return BigEndian(static_cast<std::uint64_t>(tag), 2) + BigEndian(4, 2) +
         BigEndian(static_cast<std::uint64_t>(height), 2) + BigEndian(static_cast<std::uint64_t>(width), 2);
}

// With PREVIEW, a JPEG, and these TAGS.
std::string Raf(const std::string& preview, const std::vector<std::string>& tags) {
  constexpr std::size_t kHead = 148;
  std::string records = BigEndian(tags.size(), 4);
  for (const std::string& tag : tags) records += tag;
  std::string head = "FUJIFILMCCD-RAW 0201FF389501FinePix";
  head.resize(84);
  head += BigEndian(kHead, 4) + BigEndian(preview.size(), 4) + BigEndian(kHead + preview.size(), 4) +
          BigEndian(records.size(), 4) + BigEndian(kHead + preview.size() + records.size(), 4) +
          BigEndian(0, 4);
  head.resize(kHead);
  return head + preview + records + std::string(100, '\0');
}

TEST_F(PictureSizeTest, FujifilmsFormatHasTheSizeOfThePictureNotOfItsPreview) {
  MakeJpeg(dir_ / "preview.jpg", 160, 120,
           {{"Exif.Image.Make", "FUJIFILM"},
            {"Exif.Photo.PixelXDimension", "160"},
            {"Exif.Photo.PixelYDimension", "120"}});
  const std::string preview = ReadFile(dir_ / "preview.jpg");
  const std::string other = RafTag(0x110, 16, 16);
  EXPECT_EQ(SizeOf(Raf(preview, {RafTag(0x100, 4032, 6032), other, RafTag(0x111, 4000, 6000)})), "6000x4000");
  EXPECT_EQ(SizeOf(Raf(preview, {RafTag(0x111, 4000, 6000), RafTag(0x121, 4032, 6032)})), "6000x4000");
  EXPECT_EQ(SizeOf(Raf(preview, {other, RafTag(0x100, 4032, 6032)})), "6032x4032");
  EXPECT_EQ(SizeOf(Raf(preview, {RafTag(0x100, 4032, 6032), RafTag(0x121, 4024, 6024)})), "6024x4024");
  EXPECT_EQ(SizeOf(Raf(preview, {RafTag(0x121, 4024, 6024), RafTag(0x100, 4032, 6032)})), "6024x4024");
  EXPECT_EQ(SizeOf(Raf(preview, {other})), "160x120") << "what is known";
}

}  // namespace
