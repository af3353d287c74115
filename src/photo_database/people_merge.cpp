#include "photo_database/people_merge.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/log.h"
#include "base/owned_hash.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_util.h"
#include "photo_database/label.h"
#include "photo_database/people_database.h"
#include "photo_database/people_rectangle.h"
#include "photo_database/people_regions.h"
#include "photo_database/region_listing.h"
#include "photo_database/saved_photo.h"

namespace {

constexpr int kPeopleCategory = 0;
constexpr const char* kUnnamedLabel = "";
constexpr const char* const kTaggedFormats[] = {"jpg", "jpeg", "jpe", "tif", "tiff", "png", "bmp", nullptr};

struct Photo {
  const char* path;
  int id;
};

// Both sides, as they were read.
struct PeopleTags {
  MetadataPeople named_regions;
  MetadataPeople unnamed_regions;
  OwnedHash named_faces;
  OwnedHash unnamed_faces;
};

// What the two sides do not agree on.
struct Differences {
  std::vector<std::string> faces;  // names, "" once for all unnamed faces
  std::vector<Region> regions;
};

bool HasTaggedFormat(const char* path) {
  const auto extension = ExtensionOf(path);
  return extension && IsFormat(std::string(*extension).c_str(), kTaggedFormats) != 0;
}

const char* BlankWord(People people) {
  return people == People::kUnnamed ? "TRUE" : "FALSE";
}

std::optional<MetadataPeople> ReadRegions(const Photo& photo, People people) {
  auto regions = GetPhotoPeopleTaggingFromMetadata(photo.path, people);
  if (!regions) {
    LOG_COLON(kPhotoDatabaseSource, "GetPhotoPeopleTaggingFromMetadata failed, blank: %s", BlankWord(people));
  }
  return regions;
}

OwnedHash ReadFaces(const Photo& photo, People people) {
  auto faces = GetPhotoPeopleTaggingFromDB(photo.id, people, nullptr);
  if (faces == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "GetPhotoPeopleTaggingFromDB failed, blank: %s", BlankWord(people));
  }
  return faces;
}

std::optional<PeopleTags> ReadTags(const Photo& photo) {
  auto named_regions = ReadRegions(photo, People::kNamed);
  if (!named_regions) return std::nullopt;
  auto unnamed_regions = ReadRegions(photo, People::kUnnamed);
  if (!unnamed_regions) return std::nullopt;
  auto named_faces = ReadFaces(photo, People::kNamed);
  if (named_faces == nullptr) return std::nullopt;
  auto unnamed_faces = ReadFaces(photo, People::kUnnamed);
  if (unnamed_faces == nullptr) return std::nullopt;
  return PeopleTags{std::move(*named_regions), std::move(*unnamed_regions), std::move(named_faces),
                    std::move(unnamed_faces)};
}

std::vector<std::pair<std::string, std::string>> Entries(const OwnedHash& hash) {
  std::vector<std::pair<std::string, std::string>> entries;
  const char* key = nullptr;
  const char* value = nullptr;
  for (int i = 0; RLIBCSzHashAt(hash.get(), i, &key, &value) == 0; ++i) entries.emplace_back(key, value);
  return entries;
}

bool SamePlace(const std::string& rectangle, const std::string& face_info, int orientation) {
  const auto region = ParseMetadataRectangle(rectangle);
  const auto face = ParseFaceInfo(face_info);
  return region && face && RectanglesAgree(*region, *face, orientation);
}

void CompareNamed(const PeopleTags& tags, Differences* differences) {
  for (auto& [name, rectangle] : Entries(tags.named_regions.regions)) {
    const char* face = RLIBCSzHashGetValue(tags.named_faces.get(), name.c_str());
    if (face != nullptr && SamePlace(rectangle, face, tags.named_regions.orientation)) {
      RLIBCSzHashRemoveKey(tags.named_faces.get(), name.c_str());
    } else {
      differences->regions.push_back({name, rectangle});
    }
  }
  for (auto& [name, info] : Entries(tags.named_faces)) differences->faces.push_back(name);
}

// The place of each unnamed face; nothing for one that tells none.
std::vector<std::optional<Rectangle>> UnnamedPlaces(const PeopleTags& tags) {
  std::vector<std::optional<Rectangle>> places;
  for (const auto& [info, unused] : Entries(tags.unnamed_faces)) places.push_back(ParseFaceInfo(info));
  return places;
}

// Takes the first of PLACES that agrees with REGION out of them; false when none does.
bool TakeAgreeingPlace(const std::string& region, int orientation,
                       std::vector<std::optional<Rectangle>>* places) {
  const auto rectangle = ParseMetadataRectangle(region);
  if (!rectangle) return false;
  const auto found = std::find_if(places->begin(), places->end(), [&](const auto& place) {
    return place && RectanglesAgree(*rectangle, *place, orientation);
  });
  if (found == places->end()) return false;
  places->erase(found);
  return true;
}

// The unnamed faces of a photo share one label, so one of them that has to go takes all of them along. Of
// the regions that had agreed with one the first is then linked again.
void CompareUnnamed(const PeopleTags& tags, Differences* differences) {
  auto places = UnnamedPlaces(tags);
  std::vector<Region> agreed;
  std::vector<Region> left;
  for (auto& [rectangle, unused] : Entries(tags.unnamed_regions.regions)) {
    const bool agrees =
        !places.empty() && TakeAgreeingPlace(rectangle, tags.unnamed_regions.orientation, &places);
    (agrees ? agreed : left).push_back({kUnnamedLabel, rectangle});
  }
  if (!places.empty()) {
    differences->faces.emplace_back(kUnnamedLabel);
    left.insert(left.begin(), agreed.begin(), agreed.end());
  }
  differences->regions.insert(differences->regions.end(), left.begin(), left.end());
}

// The label of a person; -1, and a line in the log, on failure.
int LabelOf(const Photo& photo, const std::string& name) {
  const int label_id = PhotoInfoDBLabelCheck(photo.path, name.c_str(), kPeopleCategory);
  if (label_id == -1) LOG_COLON(kPhotoDatabaseSource, "PhotoInfoDBLabelCheck failed for [%s].", name.c_str());
  return label_id;
}

void Unlink(const Photo& photo, const std::string& name) {
  const int label_id = LabelOf(photo, name);
  if (label_id == -1) return;
  if (PhotoInfoDBImageLabelDataDelete(photo.id, label_id) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "PhotoInfoDBLabelDelete failed for %d.", label_id);
  }
}

void Link(const Photo& photo, const Region& region) {
  std::string info;
  if (getPeopleTaggingRectangleToJson(region.rectangle.c_str(), &info) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "getPeopleTaggingRectangleToJson failed for [%s].",
              region.rectangle.c_str());
    return;
  }
  const int label_id = LabelOf(photo, region.name);
  if (label_id == -1) return;
  LinkSavedPhoto(photo.id, label_id, region.name, info);
}

}  // namespace

void MergePeopleTags(const char* path) {
  if (!HasTaggedFormat(path) || !CheckPath(path)) return;
  const auto id = SavedPhotoId(path);
  if (!id) return;
  const Photo photo = {path, *id};
  const auto tags = ReadTags(photo);
  if (!tags) return;
  Differences differences;
  CompareNamed(*tags, &differences);
  CompareUnnamed(*tags, &differences);
  for (const std::string& name : differences.faces) Unlink(photo, name);
  for (const Region& region : differences.regions) Link(photo, region);
}
