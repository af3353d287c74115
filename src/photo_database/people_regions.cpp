#include "photo_database/people_regions.h"

#include <vector>

#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/label.h"
#include "photo_database/people_rectangle.h"
#include "photo_database/photo_sql.h"
#include "photo_database/region_listing.h"
#include "photo_database/stored_path.h"
#include "photo_database/tool_values.h"

namespace {

constexpr const char* kListKeysAndValues = "-Pkt";

// Both are false on failure.
[[nodiscard]] bool AddNamed(RLIBCSZHASH* hash, const Region& region) {
  if (region.name.empty()) return true;
  if (!region.rectangle.empty()) {
    return RLIBCSzHashSetValue(hash, region.name.c_str(), region.rectangle.c_str()) >= 0;
  }
  if (RLIBCSzHashGetValue(hash, region.name.c_str()) != nullptr) return true;
  return RLIBCSzHashSetValue(hash, region.name.c_str(), RectangleText({}).c_str()) >= 0;
}

[[nodiscard]] bool AddUnnamed(RLIBCSZHASH* hash, const Region& region) {
  if (!region.name.empty() || region.rectangle.empty()) return true;
  return RLIBCSzHashSetValue(hash, region.rectangle.c_str(), "") >= 0;
}

// Empty on failure: with a region missing, its person would pass for one that the file does not name.
OwnedHash HashOf(const std::vector<Region>& regions, People people) {
  OwnedHash hash(RLIBCSzHashAlloc(kListSize));
  if (hash == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "RLIBCSzHashAlloc failed");
    return nullptr;
  }
  for (const Region& region : regions) {
    const bool added =
        people == People::kNamed ? AddNamed(hash.get(), region) : AddUnnamed(hash.get(), region);
    if (!added) return nullptr;
  }
  return hash;
}

// The column "rotation" of the photo's row.
std::optional<int> OrientationOf(const char* path) {
  const RequestConnection connection;
  if (!IsConnected(connection)) return std::nullopt;
  const auto statement = Statement::Build(connection.type(), kPhotoRotation, StoredPath(path));
  if (!statement) {
    LOG_COLON(kPhotoDatabaseSource, "KAVODBEscapeStringEX3 failed");
    return std::nullopt;
  }
  Result result;
  if (!Execute(connection, statement.get(), &result)) {
    LOG_COLON(kPhotoDatabaseSource, "KAVODBExecute failed [%s] (%s)", statement.get(), connection.error());
    return std::nullopt;
  }
  if (!result.Next()) {
    LOG_COLON(kPhotoDatabaseSource, "KAVODBFetchRow failed");
    return std::nullopt;
  }
  return DecimalInt(result.Field("rotation"));
}

}  // namespace

std::optional<MetadataPeople> GetPhotoPeopleTaggingFromMetadata(const char* path, People people) {
  if (!IsThereToRead(path)) return std::nullopt;
  const auto listing = MetadataListing(kListKeysAndValues, path, {kMicrosoftRegion, kGroupRegion});
  if (!listing) return std::nullopt;
  OwnedHash regions = HashOf(ParseRegions(*listing), people);
  if (regions == nullptr) return std::nullopt;
  const auto orientation = OrientationOf(path);
  if (!orientation) return std::nullopt;
  return MetadataPeople{std::move(regions), *orientation};
}
