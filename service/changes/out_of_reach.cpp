#include "changes/out_of_reach.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <unordered_set>
#include <utility>

#include "common/display.h"
#include "common/path_parts.h"

namespace {

using Objects = std::unordered_set<FileStamp, ObjectHash, ObjectEqual>;

// What was replaced and bears another name now.
std::unordered_set<std::string> SeenElsewhere(const Differences& differences) {
  Objects arrived;
  for (const Arrival& arrival : differences.files) {
    if (arrival.stamp.birth != 0) arrived.insert(arrival.stamp);
  }
  std::unordered_set<std::string> seen;
  for (const CatalogueEntry& entry : differences.replaced_files) {
    if (arrived.contains(entry.stamp)) seen.insert(entry.path);
  }
  return seen;
}

template <typename From, typename To, typename Condition>
void MoveMatching(From& from, To& to, const Condition& condition) {
  const auto taken = std::stable_partition(from.begin(), from.end(),
                                           [&](const auto& element) { return !condition(element); });
  to.insert(to.end(), std::make_move_iterator(taken), std::make_move_iterator(from.end()));
  from.erase(taken, from.end());
}

// The folder at or above PATH on which a file system begins that FITS; "" where none is recorded.
template <typename Fits>
std::string FittingMount(const MountRecord& recorded, const std::string& path, const Fits& fits) {
  const auto mount = NearestMount(recorded, path);
  return mount != recorded.end() && fits(mount->second) ? mount->first : "";
}

using Devices = MountRecord::mapped_type;

}  // namespace

OutOfReach TakeHiding(Differences& differences) {
  OutOfReach out_of_reach;
  const auto hides = [](const Arrival& arrival) { return arrival.hides; };
  if (std::none_of(differences.files.begin(), differences.files.end(), hides)) return out_of_reach;
  const auto seen = SeenElsewhere(differences);
  MoveMatching(differences.files, out_of_reach.files,
               [&](const Arrival& arrival) { return arrival.hides && !seen.contains(arrival.path); });
  return out_of_reach;
}

void TakeElsewhere(Differences& differences, OutOfReach& out_of_reach) {
  const auto is_elsewhere = [](const CatalogueEntry& entry) { return entry.elsewhere; };
  MoveMatching(differences.gone_files, out_of_reach.gone_files, is_elsewhere);
  MoveMatching(differences.gone_folders, out_of_reach.gone_folders, is_elsewhere);
  if (out_of_reach.empty()) return;
  // An album goes with everything below it, so those above rows that stay have to stay.
  std::unordered_set<std::string> above;
  const auto note = [&](const std::string& path) {
    for (std::string at = FolderOf(path); !at.empty() && above.insert(at).second;) at = FolderOf(at);
  };
  for (const auto* entries : {&out_of_reach.gone_files, &out_of_reach.gone_folders}) {
    for (const CatalogueEntry& entry : *entries) note(entry.path);
  }
  for (const Arrival& file : out_of_reach.files) note(file.path);
  MoveMatching(differences.gone_folders, out_of_reach.gone_folders,
               [&](const CatalogueEntry& folder) { return above.contains(folder.path); });
  MoveMatching(differences.folders, out_of_reach.folders, [](const Arrival& folder) { return folder.hides; });
}

std::string ReasonOf(const OutOfReach& out_of_reach, const MountRecord& recorded) {
  std::set<std::string> mounts;
  for (const auto* entries : {&out_of_reach.gone_files, &out_of_reach.gone_folders}) {
    for (const CatalogueEntry& entry : *entries) {
      mounts.insert(FittingMount(recorded, entry.path, [&](const Devices& devices) {
        return entry.stamp.device == kSomeOtherDevice || devices.contains(entry.stamp.device);
      }));
    }
  }
  for (const Arrival& file : out_of_reach.files) {
    mounts.insert(FittingMount(recorded, file.path, [&](const Devices& devices) {
      return devices.size() > 1 || !devices.contains(file.stamp.device);
    }));
  }
  mounts.erase("");
  if (mounts.empty()) return "a folder is on another device than before";
  std::string names;
  for (const std::string& mount : mounts) names += (names.empty() ? "" : ", ") + Visible(mount);
  return "what was mounted at " + names + " is not there";
}
