// What the metadata tool and the position script print.
#include "photo_database/tool_values.h"

#include "support/fake_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kPath = "/photos/a b.jpg";
constexpr std::size_t kSize = 4096;

class ToolValuesTest : public FakeLibraryTest {
 protected:
  // The value of a key for which the tool prints OUTPUT.
  std::optional<std::string> Value(const std::string& output, std::size_t size = kSize) {
    fake().programs = {{"/usr/kavo/bin/exiv2", {0, output}}};
    return PhotoExifTagValueGet(kPath, "Xmp.dc.subject", size);
  }
  std::optional<std::string> Script(int status, const std::string& output) {
    fake().programs = {{"/usr/bin/php", {status, output}}};
    return PhotoGPSScriptValueGet(kPath, "GPSLatitude");
  }
};

using TagValueTest = ToolValuesTest;

TEST_F(TagValueTest, AsksForTheBareValueOfTheKey) {
  EXPECT_EQ(Value("sea, sun\n"), "sea, sun");
  EXPECT_THAT(fake().calls,
              testing::Contains("ProcessRunner(/usr/kavo/bin/exiv2 -K Xmp.dc.subject -Pt /photos/a b.jpg)"));
}

TEST_F(TagValueTest, NothingIsNoValue) {
  EXPECT_EQ(Value(""), std::nullopt);
  EXPECT_EQ(Value("\n\n"), std::nullopt);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TagValueTest, LinesAreJoinedWithoutASeparator) {
  EXPECT_EQ(Value("one\ntwo\n\nthree"), "onetwothree");
}

TEST_F(TagValueTest, ExitStatusOfTheToolDoesNotCount) {
  fake().programs = {{"exiv2", {1, "value\n"}}};
  EXPECT_EQ(PhotoExifTagValueGet(kPath, "k", kSize), "value");
}

TEST_F(TagValueTest, LinesAreFormats) {
  EXPECT_EQ(Value("100%% %d%s%n\n50%\n"), "100% 050%");
}

TEST_F(TagValueTest, LinesOfACodePageAreConverted) {
  EXPECT_EQ(Value("caf\xE9\nna\xC3\xAFve\n"), "caf\xC3\xA9na\xC3\xAFve");
}

TEST_F(TagValueTest, ValueIsCutToTheCallersBuffer) {
  EXPECT_EQ(Value("48deg 4' 52\"\n", 6), "48deg");
}

TEST_F(TagValueTest, LongestValueFits) {
  EXPECT_EQ(Value(std::string(4000, 'x') + "\n" + std::string(95, 'y') + "\n").value_or("").size(), 4095U);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TagValueTest, LongerValueFails) {
  EXPECT_EQ(Value(std::string(4000, 'x') + "\n" + std::string(96, 'y') + "\n"), std::nullopt);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to strcat"));
}

TEST_F(TagValueTest, LongLineIsCut) {
  EXPECT_EQ(Value(std::string(5000, 'x') + "\n").value_or("").size(), 4095U);
}

TEST_F(TagValueTest, LongLineOfSpecialLettersIsCutAtOne) {
  std::string letters;
  while (letters.size() < 5000) letters += "\xC3\xA9";
  EXPECT_EQ(Value(letters + "\n"), letters.substr(0, 4094));
}

TEST_F(TagValueTest, MissingArgumentsFail) {
  EXPECT_EQ(PhotoExifTagValueGet(nullptr, "k", kSize), std::nullopt);
  EXPECT_EQ(PhotoExifTagValueGet(kPath, nullptr, kSize), std::nullopt);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Bad parameter.", "photo_database.cpp:# Bad parameter."));
}

TEST_F(TagValueTest, ToolThatCannotBeRunFails) {
  EXPECT_EQ(PhotoExifTagValueGet(kPath, "Xmp.dc.subject", kSize), std::nullopt);
  EXPECT_THAT(
      Messages(),
      ElementsAre(
          "photo_database.cpp:# Failed to pipe /usr/kavo/bin/exiv2 -K Xmp.dc.subject -Pt /photos/a b.jpg"));
}

using StoredValueTest = ToolValuesTest;

TEST_F(StoredValueTest, IsTheFirstLineOfTheUninterpretedValue) {
  fake().programs = {{"exiv2 -K Exif.GPSInfo.GPSLatitude -Pv /photos", {0, "46/1 54/1 0/1\n1/1\n"}}};
  EXPECT_EQ(StoredTagValue(kPath, "Exif.GPSInfo.GPSLatitude"), "46/1 54/1 0/1");
}

TEST_F(StoredValueTest, NothingIsNoValue) {
  fake().programs = {{"exiv2", {1, ""}}};
  EXPECT_EQ(StoredTagValue(kPath, "k"), std::nullopt);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(StoredValueTest, ToolThatCannotBeRunFails) {
  EXPECT_EQ(StoredTagValue(kPath, "k"), std::nullopt);
  EXPECT_THAT(
      Messages(),
      ElementsAre("photo_database.cpp:# Failed to pipe /usr/kavo/bin/exiv2 -K k -Pv /photos/a b.jpg"));
}

using ScriptValueTest = ToolValuesTest;

TEST_F(ScriptValueTest, RunsTheScriptWithItsExtension) {
  EXPECT_EQ(Script(0, "-35deg 30' 0\"\nmore\n"), "-35deg 30' 0\"");
  EXPECT_THAT(
      fake().calls,
      testing::Contains("ProcessRunner(/usr/bin/php -n -d extension_dir=/lib/php/modules -d "
                        "extension=exif.so " +
                        fake().root +
                        "/var/packages/Lumivault/target/photo_scripts/gps.php -t GPSLatitude -f /photos/a "
                        "b.jpg)"));
}

TEST_F(ScriptValueTest, EndsAtTheFirstNewlineUnlessThatComesFirst) {
  EXPECT_EQ(Script(0, "value"), "value");
  EXPECT_EQ(Script(0, "\nvalue\n"), "\nvalue\n");
  EXPECT_EQ(Script(0, ""), std::nullopt);
}

TEST_F(ScriptValueTest, IsCut) {
  EXPECT_EQ(Script(0, std::string(40, 'x')), std::string(31, 'x'));
}

TEST_F(ScriptValueTest, MissingArgumentsFail) {
  EXPECT_EQ(PhotoGPSScriptValueGet(nullptr, "t"), std::nullopt);
  EXPECT_EQ(PhotoGPSScriptValueGet(kPath, nullptr), std::nullopt);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Bad parameter.", "photo_database.cpp:# Bad parameter."));
}

TEST_F(ScriptValueTest, ScriptThatCannotBeRunFails) {
  EXPECT_EQ(Script(-1, "x"), std::nullopt);
  ASSERT_EQ(Messages().size(), 1U);
  EXPECT_THAT(Messages()[0], testing::StartsWith("photo_database.cpp:# Failed to pipe /usr/bin/php -n -d"));
}

using ListingTest = ToolValuesTest;

TEST_F(ListingTest, IsWhatTheToolPrints) {
  fake().programs = {{"exiv2 -pa /photos", {0, "lines\n"}}};
  EXPECT_EQ(MetadataListing("-pa", kPath), "lines\n");
  fake().programs = {{"exiv2 -pa /photos", {0, ""}}};
  EXPECT_EQ(MetadataListing("-pa", kPath), "");
}

TEST_F(ListingTest, UnreadableFileIsNotAnEmptyOne) {
  for (const int status : {1, 255}) {
    fake().programs = {{"exiv2", {status, ""}}};
    EXPECT_EQ(MetadataListing("-pa", kPath), std::nullopt);
  }
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(ListingTest, PartOfAListingIsNone) {
  fake().programs = {{"exiv2", {1, "part\n"}}};
  EXPECT_EQ(MetadataListing("-pa", kPath), std::nullopt);
}

TEST_F(ListingTest, ToolThatCannotBeRunFails) {
  EXPECT_EQ(MetadataListing("-Pkt", kPath), std::nullopt);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Failed to pipe /usr/kavo/bin/exiv2 -Pkt /photos/a b.jpg"));
}

TEST(SplitTest, LinesEndWithANewline) {
  EXPECT_THAT(SplitLines("a\n\nb\n"), ElementsAre("a", "", "b"));
  EXPECT_THAT(SplitLines("a"), ElementsAre("a"));
  EXPECT_THAT(SplitLines(""), IsEmpty());
}

TEST(SplitTest, WordsAreBetweenBlanks) {
  EXPECT_THAT(SplitWords("  key   type 1  two words "), ElementsAre("key", "type", "1", "two", "words"));
  EXPECT_THAT(SplitWords("   "), IsEmpty());
}

}  // namespace
