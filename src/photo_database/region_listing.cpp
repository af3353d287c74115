#include "photo_database/region_listing.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>
#include <utility>

#include "base/ascii.h"
#include "base/c_locale.h"
#include "base/limits.h"
#include "base/text.h"
#include "photo_database/people_rectangle.h"
#include "photo_database/storable_text.h"
#include "photo_database/tool_values.h"

namespace {

constexpr const char* kMicrosoftName = "/MPReg:PersonDisplayName";
constexpr const char* kMicrosoftRectangle = "/MPReg:Rectangle";
constexpr const char* kGroupName = "/mwg-rs:Name";
constexpr const char* kGroupType = "/mwg-rs:Type";
constexpr const char* kGroupX = "/mwg-rs:Area/stArea:x";
constexpr const char* kGroupY = "/mwg-rs:Area/stArea:y";
constexpr const char* kGroupWidth = "/mwg-rs:Area/stArea:w";
constexpr const char* kGroupHeight = "/mwg-rs:Area/stArea:h";

// What stands below one region: the rest of its key to its value.
using Properties = std::map<std::string, std::string, std::less<>>;
// By the number of the region.
using Regions = std::map<int, Properties>;

// Puts LINE ("key   value") among REGIONS when its key is PREFIX, a number, ']' and more.
void Collect(std::string_view line, std::string_view prefix, Regions* regions) {
  if (!line.starts_with(prefix)) return;
  line.remove_prefix(prefix.size());
  int number = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc{} || number < 1 || number > kListSize) return;
  line.remove_prefix(static_cast<std::size_t>(end - line.data()));
  if (!line.starts_with(']')) return;
  line.remove_prefix(1);
  const auto key_end = std::min(line.find(' '), line.size());
  const auto value = std::min(line.find_first_not_of(' ', key_end), line.size());
  (*regions)[number][std::string(line.substr(0, key_end))] = line.substr(value);
}

std::string Property(const Properties& properties, const char* key) {
  const auto found = properties.find(key);
  return found == properties.end() ? std::string() : found->second;
}

Region MicrosoftRegion(const Properties& properties) {
  return {StorableText(Property(properties, kMicrosoftName)), Property(properties, kMicrosoftRectangle)};
}

// The group's areas are given by their centre.
std::string AreaText(const Properties& properties) {
  const std::string x = Property(properties, kGroupX);
  const std::string y = Property(properties, kGroupY);
  if (x.empty() || y.empty()) return {};
  const CLocale locale;
  const double width = std::strtod(Property(properties, kGroupWidth).c_str(), nullptr);
  const double height = std::strtod(Property(properties, kGroupHeight).c_str(), nullptr);
  constexpr double kHalf = 0.5;
  return RectangleText({std::strtod(x.c_str(), nullptr) - width * kHalf,
                        std::strtod(y.c_str(), nullptr) - height * kHalf, width, height});
}

Region GroupRegion(const Properties& properties) {
  std::string name = StorableText(Property(properties, kGroupName));
  const std::string type = Property(properties, kGroupType);
  if (name.empty() && !type.empty() && !EqualsIgnoreAsciiCase(type, "Face")) return {};
  return {std::move(name), AreaText(properties)};
}

}  // namespace

std::vector<Region> ParseRegions(std::string_view listing) {
  Regions microsoft;
  Regions group;
  for (const std::string& line : SplitLines(listing)) {
    Collect(line, kMicrosoftRegion, &microsoft);
    Collect(line, kGroupRegion, &group);
  }
  std::vector<Region> regions;
  for (const auto& [number, properties] : microsoft) regions.push_back(MicrosoftRegion(properties));
  for (const auto& [number, properties] : group) regions.push_back(GroupRegion(properties));
  return regions;
}
