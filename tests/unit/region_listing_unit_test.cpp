#include "photo_database/region_listing.h"

#include <algorithm>

#include "platform/text.h"
#include "support/fake_library.h"

namespace {

constexpr std::string_view kListing =
    "Exif.Image.Orientation                        top, left\n"
    "Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:PersonDisplayName  Marie Curie\n"
    "Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:Rectangle  0.1, 0.2, 0.3, 0.4\n"
    "Xmp.MP.RegionInfo/MPRI:Regions[2]/MPReg:Rectangle  0.5, 0.5, 0.1, 0.1\n"
    "Xmp.mwg-rs.Regions/mwg-rs:RegionList[1]/mwg-rs:Area/stArea:h  0.2\n"
    "Xmp.mwg-rs.Regions/mwg-rs:RegionList[1]/mwg-rs:Area/stArea:w  0.1\n"
    "Xmp.mwg-rs.Regions/mwg-rs:RegionList[1]/mwg-rs:Area/stArea:x  0.5\n"
    "Xmp.mwg-rs.Regions/mwg-rs:RegionList[1]/mwg-rs:Area/stArea:y  0.5\n"
    "Xmp.mwg-rs.Regions/mwg-rs:RegionList[1]/mwg-rs:Name  Ren\xC3\xA9\n"
    "Xmp.mwg-rs.Regions/mwg-rs:RegionList[1]/mwg-rs:Type  Face\n";

// The substitutes read bytes of a code page as Latin-1.
class RegionListingTest : public FakeLibraryTest {
 protected:
  static std::string Text(const Region& region) { return region.name + "|" + region.rectangle; }
  static std::vector<std::string> Texts(std::string_view listing) {
    std::vector<std::string> texts;
    for (const Region& region : ParseRegions(listing)) texts.push_back(Text(region));
    return texts;
  }
};

TEST_F(RegionListingTest, BothSchemasInTheirOrder) {
  EXPECT_THAT(Texts(kListing), testing::ElementsAre("Marie Curie|0.1, 0.2, 0.3, 0.4", "|0.5, 0.5, 0.1, 0.1",
                                                    "Ren\xC3\xA9|0.450000, 0.400000, 0.100000, 0.200000"));
}

TEST_F(RegionListingTest, PrefixesGiveTheRegionsThatTheyHold) {
  const std::vector<std::string> whole = Texts(kListing);
  for (std::size_t length = 0; length <= kListing.size(); ++length) {
    const std::string_view prefix = kListing.substr(0, length);
    const std::vector<std::string> texts = Texts(prefix);
    ASSERT_LE(texts.size(), whole.size());
    const auto lines = static_cast<std::size_t>(std::count(prefix.begin(), prefix.end(), '\n'));
    const std::size_t complete = lines >= 4 ? 2 : lines >= 3 ? 1 : 0;
    ASSERT_GE(texts.size(), complete) << length;
    for (std::size_t i = 0; i < complete; ++i) EXPECT_EQ(texts[i], whole[i]) << length;
    // What is cut is a part of the region or without a place.
    for (const Region& region : ParseRegions(prefix)) {
      EXPECT_TRUE(region.name.empty() || kListing.find(region.name) != std::string_view::npos ||
                  region.name == "Ren\xC3\x83")
          << length << " " << region.name;
    }
  }
}

TEST_F(RegionListingTest, EveryByteIsAccepted) {
  for (std::size_t i = 0; i < kListing.size(); ++i) {
    for (const char byte : {'\0', '\n', ' ', '[', ']', '-', '9', '\x80', '\xFF'}) {
      std::string changed(kListing);
      changed[i] = byte;
      for (const Region& region : ParseRegions(changed)) {
        EXPECT_EQ(RLIBCUnicodeIsUTF8(region.name.c_str()), 1) << i;
        EXPECT_EQ(region.name.find('\n'), std::string::npos) << i;
      }
      EXPECT_LE(ParseRegions(changed).size(), 6U) << i;
    }
  }
}

TEST_F(RegionListingTest, LastOfEqualKeysCounts) {
  EXPECT_THAT(Texts("Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:Rectangle  1\n"
                    "Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:Rectangle  2\n"),
              testing::ElementsAre("|2"));
}

}  // namespace
