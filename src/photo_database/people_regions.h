// The people regions in a photo's own metadata.
#ifndef PHOTO_DATABASE_PEOPLE_REGIONS_H_
#define PHOTO_DATABASE_PEOPLE_REGIONS_H_

#include <optional>

#include "base/owned_hash.h"

enum class People { kNamed, kUnnamed };

struct MetadataPeople {
  // Named: name to rectangle text ("x, y, width, height" from the top left corner). Unnamed: rectangle text
  // to "".
  OwnedHash regions;
  // The orientation code in the photo's row.
  int orientation = 0;
};

// Reads the regions of both schemas (region_listing.h); of two with one name the last counts. A person
// without a place on the photo stands at the origin, unless the same name has a place. Nothing on failure,
// which is logged, a hash that cannot grow by the caller. HGAStatusCheck has seen PATH.
std::optional<MetadataPeople> GetPhotoPeopleTaggingFromMetadata(const char* path, People people);

#endif  // PHOTO_DATABASE_PEOPLE_REGIONS_H_
