#include "photo_database/people_regions.h"

#include <charconv>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/c_locale.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/label.h"
#include "photo_database/people_rectangle.h"
#include "photo_database/photo_sql.h"
#include "photo_database/storable_text.h"
#include "photo_database/stored_path.h"
#include "photo_database/tool_values.h"
#include "platform/files.h"

namespace {

constexpr const char* kListKeysAndValues = "-Pkt";
constexpr std::string_view kMicrosoftRegion = "Xmp.MP.RegionInfo/MPRI:Regions[";
constexpr std::string_view kGroupRegion = "Xmp.mwg-rs.Regions/mwg-rs:RegionList[";
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

struct Region {
  std::string name;       // "" for nobody known
  std::string rectangle;  // "" for nowhere
};

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
  return {Property(properties, kMicrosoftName), Property(properties, kMicrosoftRectangle)};
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
  // The group also marks where the camera focused and where a bar code is.
  const std::string type = Property(properties, kGroupType);
  if (EqualsIgnoreCase(type, "Focus") || EqualsIgnoreCase(type, "BarCode")) return {};
  return {Property(properties, kGroupName), AreaText(properties)};
}

std::vector<Region> ParseRegions(const std::string& listing) {
  Regions microsoft;
  Regions group;
  for (const std::string& line : SplitLines(listing)) {
    Collect(line, kMicrosoftRegion, &microsoft);
    Collect(line, kGroupRegion, &group);
  }
  std::vector<Region> regions;
  for (const auto& [number, properties] : microsoft) regions.push_back(MicrosoftRegion(properties));
  for (const auto& [number, properties] : group) regions.push_back(GroupRegion(properties));
  for (Region& region : regions) region.name = StorableText(region.name);
  return regions;
}

void AddNamed(RLIBCSZHASH* hash, const Region& region) {
  if (region.name.empty()) return;
  if (!region.rectangle.empty()) {
    RLIBCSzHashSetValue(hash, region.name.c_str(), region.rectangle.c_str());
  } else if (RLIBCSzHashGetValue(hash, region.name.c_str()) == nullptr) {
    RLIBCSzHashSetValue(hash, region.name.c_str(), RectangleText({}).c_str());
  }
}

void AddUnnamed(RLIBCSZHASH* hash, const Region& region) {
  if (!region.name.empty() || region.rectangle.empty()) return;
  RLIBCSzHashSetValue(hash, region.rectangle.c_str(), "");
}

OwnedHash HashOf(const std::vector<Region>& regions, People people) {
  OwnedHash hash(RLIBCSzHashAlloc(kListSize));
  if (hash == nullptr) {
    LOG_AT(kPhotoDatabaseSource, "RLIBCSzHashAlloc failed");
    return nullptr;
  }
  for (const Region& region : regions) {
    if (people == People::kNamed) {
      AddNamed(hash.get(), region);
    } else {
      AddUnnamed(hash.get(), region);
    }
  }
  return hash;
}

// The column "rotation" of the photo's row.
std::optional<int> OrientationOf(const char* path) {
  const RequestConnection connection;
  if (!IsConnected(connection)) return std::nullopt;
  const auto statement = Statement::Build(connection.type(), kPhotoRotation, StoredPath(path));
  if (!statement) {
    LOG_AT(kPhotoDatabaseSource, "KAVODBEscapeStringEX3 failed");
    return std::nullopt;
  }
  Result result;
  if (!Execute(connection, statement.get(), &result)) {
    LOG_AT(kPhotoDatabaseSource, "KAVODBExecute failed [%s] (%s)", statement.get(), connection.error());
    return std::nullopt;
  }
  if (!result.Next()) {
    LOG_AT(kPhotoDatabaseSource, "KAVODBFetchRow failed");
    return std::nullopt;
  }
  constexpr int kBase = 10;
  return static_cast<int>(std::strtol(OrEmpty(result.Field("rotation")), nullptr, kBase));
}

}  // namespace

std::optional<MetadataPeople> GetPhotoPeopleTaggingFromMetadata(const char* path, People people) {
  if (path == nullptr) {
    LOG_AT(kPhotoDatabaseSource, "Bad parameter.");
    return std::nullopt;
  }
  if (!RLIBCFileExist(path)) {
    LOG_AT(kPhotoDatabaseSource, "File not exists: %s", path);
    return std::nullopt;
  }
  const auto listing = MetadataListing(kListKeysAndValues, path);
  if (!listing) return std::nullopt;
  OwnedHash regions = HashOf(ParseRegions(*listing), people);
  if (regions == nullptr) return std::nullopt;
  const auto orientation = OrientationOf(path);
  if (!orientation) return std::nullopt;
  return MetadataPeople{std::move(regions), *orientation};
}
