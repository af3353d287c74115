// Listings of any bytes: their regions are finite in number, have storable names, and those whose rectangle
// reads become face information that reads back as the same place.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "photo_database/people_rectangle.h"
#include "photo_database/region_listing.h"
#include "platform/text.h"
#include "support/fake_platform.h"

namespace {

constexpr std::size_t kMostRegions = 2 * 1'024;

// Longer texts are cut on their way into the face information, and there only blanks separate numbers.
bool ArrivesWhole(const std::string& text) {
  constexpr std::size_t kLongest = 4'095;
  return text.size() <= kLongest && text.find_first_of("\t\v\f\r") == std::string::npos;
}

void CheckRectangle(const std::string& text) {
  const auto region = ParseMetadataRectangle(text);
  std::string json;
  getPeopleTaggingRectangleToJson(text.c_str(), &json);
  const auto face = ParseFaceInfo(json);
  if (!face) std::abort();
  if (region && ArrivesWhole(text) && !RectanglesAgree(*region, *face, 1)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FakePlatform::Reset();
  std::string listing(reinterpret_cast<const char*>(data), size);
  std::replace(listing.begin(), listing.end(), '\0', ' ');  // as the runner of the tool does
  const std::vector<Region> regions = ParseRegions(listing);
  if (regions.size() > kMostRegions) std::abort();
  for (const Region& region : regions) {
    if (RLIBCUnicodeIsUTF8(region.name.c_str()) == 0) std::abort();
    if (!region.rectangle.empty()) CheckRectangle(region.rectangle);
  }
  static_cast<void>(ParseFaceInfo(listing));
  static_cast<void>(ParseMetadataRectangle(listing));
  return 0;
}
