// When a photo was taken and what it is called, by the sources that docs/metadata.md tells in their order.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "probe/probe.h"
#include "support/heif_maker.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace {

using namespace std::string_literals;

constexpr std::time_t kSomeTime = 1'600'000'000;  // 2020-09-13 12:26:40 UTC
constexpr const char* kItsFileTime = "2020-09-13 12:26:40";

// The keys that begin the rows of the table under HEADING of the document.
std::vector<std::string> DocumentedKeys(const std::string& heading) {
  std::ifstream document(LUMIVAULT_DOCS "/metadata.md");
  std::vector<std::string> keys;
  std::string section;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("## ")) section = line.substr(3);
    if (section == heading && line.starts_with("| `")) keys.push_back(line.substr(3, line.find('`', 3) - 3));
  }
  return keys;
}

class PhotoTimesTest : public testing::Test {
 protected:
  void SetUp() override { Zone("UTC"); }
  void TearDown() override { unsetenv("TZ"); }

  static void Zone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
  ProbeResult Probed(const std::string& name) const {
    const timespec times[2] = {{kSomeTime, 0}, {kSomeTime, 0}};
    utimensat(AT_FDCWD, (dir_ / name).c_str(), times, 0);
    return ProbeFile(dir_ / name, MediaKind::kPhoto);
  }
  std::string Taken(const std::string& name) const { return Probed(name).media["szTakenTime"].asString(); }
  std::string TakenWith(const Tags& tags, const std::string& name = "a.jpg") const {
    MakeImage(dir_ / name, 40, 30, tags);
    return Taken(name);
  }
  std::string TitleWith(const Tags& tags) const {
    MakeJpeg(dir_ / "a.jpg", 40, 30, tags);
    return Probed("a.jpg").title;
  }

  TempDir dir_;
};

// "2001-01-01" for the first source, "2002-01-01" for the second ..., as KEY writes it.
std::string Stored(const std::string& key, std::size_t source) {
  const std::string year = std::to_string(2001 + source);
  return key.starts_with("Exif.") ? year + ":01:01 00:00:00" : year + "-01-01";
}

TEST_F(PhotoTimesTest, TheFirstOfTheDocumentedSourcesCounts) {
  const std::vector<std::string> keys = DocumentedKeys("Time taken");
  ASSERT_EQ(keys.size(), 10U);
  Tags tags;
  for (std::size_t i = 0; i < keys.size(); ++i) tags.emplace_back(keys[i], Stored(keys[i], i));
  for (std::size_t i = 0; i < keys.size(); ++i, tags.erase(tags.begin()))
    EXPECT_EQ(TakenWith(tags, "IMG_19990909_090909.jpg"), std::to_string(2001 + i) + "-01-01 00:00:00")
        << keys[i];
  EXPECT_EQ(TakenWith({}, "IMG_19990909_090909.jpg"), "1999-09-09 09:09:09") << "the name is left";
}

TEST_F(PhotoTimesTest, IptcHasTheClockUnderAKeyOfItsOwn) {
  EXPECT_EQ(TakenWith({{"Iptc.Application2.DateCreated", "2004-05-06"},
                       {"Iptc.Application2.TimeCreated", "07:08:09+02:00"},
                       {"Iptc.Application2.DigitizationTime", "01:01:01+00:00"}}),
            "2004-05-06 07:08:09");
  EXPECT_EQ(TakenWith({{"Iptc.Application2.DigitizationDate", "2005-05-06"},
                       {"Iptc.Application2.DigitizationTime", "07:08:10+02:00"}}),
            "2005-05-06 07:08:10");
  EXPECT_EQ(TakenWith({{"Iptc.Application2.TimeCreated", "07:08:09+02:00"}}), kItsFileTime);
}

// A PNG with CHUNK, of this KIND, in front of its pixels.
std::string PngWith(const std::string& png, const std::string& kind, const std::string& chunk) {
  constexpr std::size_t kBehindHeader = 33;
  const std::string checksum = "\0\0\0\0"s;
  return png.substr(0, kBehindHeader) + BigEndian(chunk.size(), 4) + kind + chunk + checksum +
         png.substr(kBehindHeader);
}

TEST_F(PhotoTimesTest, APngTellsItsCreationInAText) {
  MakeImage(dir_ / "plain.png", 40, 30);
  const std::string png = ReadFile(dir_ / "plain.png");
  for (const std::string& text :
       {"2019-03-04 10:11:12"s, "2019:03:04 10:11:12"s, "2019-03-04T10:11:12+01:00"s,
        "Mon, 04 Mar 2019 10:11:12 GMT"s, "4 Mar 2019 10:11:12 +0100"s}) {
    WriteFile(dir_ / "a.png", PngWith(png, "tEXt", "Creation Time\0"s + text));
    EXPECT_EQ(Taken("a.png"), "2019-03-04 10:11:12") << text;
    WriteFile(dir_ / "a.png", PngWith(png, "iTXt", "Creation Time\0\0\0en\0Zeit\0"s + text));
    EXPECT_EQ(Taken("a.png"), "2019-03-04 10:11:12") << text;
  }
}

TEST_F(PhotoTimesTest, OtherTextsOfAPngAreNoTime) {
  MakeImage(dir_ / "plain.png", 40, 30);
  const std::string png = ReadFile(dir_ / "plain.png");
  for (const std::string& chunk :
       {"Creation Time"s, "Creation Time\0"s, "Creation Time\0soon"s, "Creation Time\0 04 Foo 2019 10:11:12"s,
        "Creation Time\0"s + "03/04/09", "Creation Time\0"s + "04.03.2019 10:11:12",
        "Creation Time\0\1\0\0\0"s + "2019-03-04 10:11:12",  // compressed, were it an iTXt
        "Creation Times\0"s + "2019-03-04 10:11:12", "Comment\0"s + "2019-03-04 10:11:12"}) {
    WriteFile(dir_ / "a.png", PngWith(png, "tEXt", chunk));
    EXPECT_EQ(Taken("a.png"), kItsFileTime) << chunk;
    WriteFile(dir_ / "a.png", PngWith(png, "iTXt", chunk));
    EXPECT_EQ(Taken("a.png"), kItsFileTime) << chunk;
  }
}

constexpr std::uint64_t kSince1904 = 2'082'844'800;

std::string HeifWith(std::vector<std::string> properties, const std::string& behind) {
  HeifItem item;
  item.id = 1;
  item.width = 40;
  item.height = 30;
  item.properties = std::move(properties);
  return MakeHeif({item}, 1) + behind;
}

TEST_F(PhotoTimesTest, AHeifTellsItsCreationInUniversalTime) {
  Zone("CET-1CEST,M3.5.0,M10.5.0/3");
  const std::uint64_t time = kSince1904 + 1'551'690'672;  // 2019-03-04 09:11:12 UTC
  const std::string property = Box("crtt", "\0\0\0\0"s + BigEndian(time * 1'000'000, 8));
  WriteFile(dir_ / "a.heic", HeifWith({property}, ""));
  EXPECT_EQ(Taken("a.heic"), "2019-03-04 10:11:12");
  WriteFile(dir_ / "a.heic", HeifWith({}, Box("moov", Box("mvhd", "\0\0\0\0"s + BigEndian(time, 4)))));
  EXPECT_EQ(Taken("a.heic"), "2019-03-04 10:11:12");
  WriteFile(dir_ / "a.heic", HeifWith({}, Box("moov", Box("mvhd", "\1\0\0\0"s + BigEndian(time, 8)))));
  EXPECT_EQ(Taken("a.heic"), "2019-03-04 10:11:12");
}

TEST_F(PhotoTimesTest, AHeifWithoutAClockHasNoTime) {
  for (const std::uint64_t time : {std::uint64_t{0}, kSince1904}) {
    WriteFile(dir_ / "a.heic", HeifWith({}, Box("moov", Box("mvhd", "\0\0\0\0"s + BigEndian(time, 4)))));
    EXPECT_EQ(Taken("a.heic"), kItsFileTime);
  }
}

// Recorders whose clock was never set count from the year 1904, 1970 or 1980.
TEST_F(PhotoTimesTest, AHeifOfBefore1990HasNoTime) {
  const std::uint64_t last = kSince1904 + 631'151'999;
  WriteFile(dir_ / "a.heic", HeifWith({}, Box("moov", Box("mvhd", "\0\0\0\0"s + BigEndian(last, 4)))));
  EXPECT_EQ(Taken("a.heic"), kItsFileTime);
  WriteFile(dir_ / "a.heic", HeifWith({}, Box("moov", Box("mvhd", "\0\0\0\0"s + BigEndian(last + 1, 4)))));
  EXPECT_EQ(Taken("a.heic"), "1990-01-01 00:00:00");
}

TEST_F(PhotoTimesTest, AHeifWithANumberBeyondAllYearsHasNoTime) {
  for (const std::uint64_t time : {std::uint64_t{0x7FFFFFFFFFFFFFFF}, std::uint64_t{1} << 62U,
                                   ~std::uint64_t{0}, kSince1904 + 99'999'999'999'999}) {
    WriteFile(dir_ / "a.heic", HeifWith({}, Box("moov", Box("mvhd", "\1\0\0\0"s + BigEndian(time, 8)))));
    EXPECT_EQ(Taken("a.heic"), kItsFileTime) << time;
    const std::string property = Box("crtt", "\0\0\0\0"s + BigEndian(time, 8));
    WriteFile(dir_ / "a.heic", HeifWith({property}, ""));
    const std::string taken = Taken("a.heic");
    EXPECT_EQ(taken.size(), std::string_view(kItsFileTime).size()) << taken;
  }
}

TEST_F(PhotoTimesTest, ADayWithSomethingUnreadComesBehindAllOthers) {
  const Tags tags = {{"Exif.Photo.DateTimeOriginal", "2001:02:03 soon"}};
  EXPECT_EQ(TakenWith({tags[0], {"Exif.Image.DateTime", "2003:03:03 03:03:03"}}), "2003-03-03 03:03:03");
  EXPECT_EQ(TakenWith(tags, "IMG_20190304_101112.jpg"), "2019-03-04 10:11:12");
  EXPECT_EQ(TakenWith(tags), "2001-02-03 00:00:00");
}

TEST_F(PhotoTimesTest, AYearAloneComesBehindAllOthers) {
  EXPECT_EQ(TakenWith({{"Xmp.photoshop.DateCreated", "1985"}}), "1985-01-01 00:00:00");
  EXPECT_EQ(TakenWith({{"Xmp.photoshop.DateCreated", "1985-06"}}), "1985-06-01 00:00:00");
  EXPECT_EQ(TakenWith({{"Xmp.photoshop.DateCreated", "1985"}, {"Xmp.xmp.CreateDate", "2005-05-05"}}),
            "2005-05-05 00:00:00");
}

TEST_F(PhotoTimesTest, AYearOutOfBoundsGivesWayToTheNextSource) {
  for (const char* text : {"0001:01:01 00:00:00", "1895:05:01 12:00:00"}) {
    EXPECT_EQ(
        TakenWith({{"Exif.Photo.DateTimeOriginal", text}, {"Exif.Image.DateTime", "2003:03:03 03:03:03"}}),
        "2003-03-03 03:03:03")
        << text;
    EXPECT_EQ(TakenWith({{"Exif.Photo.DateTimeOriginal", text}}), kItsFileTime) << text;
  }
}

// Programs put the mark on the clock of the camera when they make XMP of its Exif, which has no zone.
TEST_F(PhotoTimesTest, AMarkOfUniversalTimeInATextOfAPhotoChangesNothing) {
  Zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(TakenWith({{"Xmp.exif.DateTimeOriginal", "2019-03-04T09:11:12Z"}}), "2019-03-04 09:11:12");
  MakeImage(dir_ / "plain.png", 40, 30);
  WriteFile(dir_ / "a.png", PngWith(ReadFile(dir_ / "plain.png"), "tEXt",
                                    "Creation Time\0"s + "Mon, 04 Mar 2019 10:11:12 GMT"));
  EXPECT_EQ(Taken("a.png"), "2019-03-04 10:11:12");
}

TEST_F(PhotoTimesTest, ANameCountsForPicturesThatTellNothing) {
  EXPECT_EQ(TakenWith({}, "IMG-20190304-WA0001.jpg"), "2019-03-04 00:00:00");
  EXPECT_EQ(TakenWith({{"Exif.Image.DateTime", "2003:03:03 03:03:03"}}, "IMG_20190304_101112.jpg"),
            "2003-03-03 03:03:03");
}

TEST_F(PhotoTimesTest, TheFirstOfTheDocumentedTitlesCounts) {
  const std::vector<std::string> keys = DocumentedKeys("Title");
  ASSERT_EQ(keys.size(), 2U);
  Tags tags = {{keys[0], "first"}, {keys[1], "second"}};
  EXPECT_EQ(TitleWith(tags), "first");
  tags.erase(tags.begin());
  EXPECT_EQ(TitleWith(tags), "second");
  EXPECT_EQ(TitleWith({}), "");
}

TEST_F(PhotoTimesTest, TheTitleInTheDefaultLanguageCounts) {
  EXPECT_EQ(TitleWith({{"Xmp.dc.title", "lang=de-DE Abend"}, {"Xmp.dc.title", "lang=x-default Evening"}}),
            "Evening");
  EXPECT_EQ(TitleWith({{"Xmp.dc.title", "lang=de-DE Abend"}}), "Abend");
}

TEST_F(PhotoTimesTest, ABlankTitleGivesWayToOneInAnotherLanguage) {
  EXPECT_EQ(TitleWith({{"Xmp.dc.title", "lang=x-default  "}, {"Xmp.dc.title", "lang=de-DE Abend"}}), "Abend");
  EXPECT_EQ(TitleWith({{"Xmp.dc.title", "lang=de-DE  "}, {"Xmp.dc.title", "lang=fr-FR Soir"}}), "Soir");
}

TEST_F(PhotoTimesTest, ATitleIsUtf8AndFitsItsField) {
  EXPECT_EQ(TitleWith({{"Iptc.Application2.ObjectName", "Caf\xE9"}}), "Caf\xC3\xA9");
  EXPECT_EQ(TitleWith({{"Xmp.dc.title", std::string(253, 'a') + "\xC3\xA9"}}), std::string(253, 'a'));
  EXPECT_EQ(TitleWith({{"Xmp.dc.title", "  "}, {"Iptc.Application2.ObjectName", "second"}}), "second");
}

}  // namespace
