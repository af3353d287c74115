// The people regions in what the metadata tool lists.
#ifndef PHOTO_DATABASE_REGION_LISTING_H_
#define PHOTO_DATABASE_REGION_LISTING_H_

#include <string>
#include <string_view>
#include <vector>

// What the lines begin with that tell of one.
inline constexpr const char* kMicrosoftRegion = "Xmp.MP.RegionInfo/MPRI:Regions[";
inline constexpr const char* kGroupRegion = "Xmp.mwg-rs.Regions/mwg-rs:RegionList[";

// A person in a photo's metadata.
struct Region {
  std::string name;       // "" for nobody known
  std::string rectangle;  // "x, y, width, height" from the top left corner, "" for nowhere
};

// The regions in LISTING (lines of a key, blanks and a value), Microsoft's by their numbers before those of
// the Metadata Working Group by theirs. Names are storable text. A region of the group that is marked as
// something else than a face (a pet, a bar code, where the camera focused) counts only when it has a name. At
// most 1024 regions of a schema are read.
std::vector<Region> ParseRegions(std::string_view listing);

#endif  // PHOTO_DATABASE_REGION_LISTING_H_
