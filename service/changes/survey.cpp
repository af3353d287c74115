#include "changes/survey.h"

#include <utility>

#include "base/path_below.h"
#include "changes/catalogue_sql.h"
#include "common/path_parts.h"
#include "files/file_system_id.h"
#include "files/media_files.h"
#include "library/album_name.h"

namespace {

bool FailedBefore(const CatalogueEntry& recorded, const FileStamp& stamp) {
  const bool failed = recorded.outcome == ItemOutcome::kUnusable || recorded.outcome == ItemOutcome::kDamaged;
  return failed && recorded.stamp.changed == stamp.changed;
}

bool WasElsewhere(const CatalogueEntry& recorded, const FileStamp& now) {
  return recorded.stamp.device != kUnknownDevice && recorded.stamp.device != now.device;
}

CatalogueEntry AsReplaced(CatalogueEntry recorded, const FileStamp& now) {
  recorded.elsewhere = WasElsewhere(recorded, now);
  return recorded;
}

// As far as it is known: the database tells seconds.
bool HasContentOf(const CatalogueEntry& recorded, FileStamp now) {
  if (recorded.stamp.inode == 0) now.modified -= now.modified % kNanosecondsOfSecond;
  return recorded.stamp.SameContent(now);
}

bool IsUnchanged(const CatalogueEntry& recorded, const FileStamp& stamp) {
  if (!recorded.stamp.SameObject(stamp) || !recorded.stamp.SameContent(stamp)) return false;
  return recorded.outcome == ItemOutcome::kStored || FailedBefore(recorded, stamp);
}

}  // namespace

bool LiesInOne(const std::set<std::string>& folders, const std::string& path) {
  if (folders.empty()) return false;
  if (folders.contains("") || folders.contains(path)) return true;
  for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (folders.contains(path.substr(0, slash))) return true;
  }
  return false;
}

bool CountEntry(const WalkEntry& entry, const Library& library, SurveyCounts& counts) {
  switch (entry.kind) {
    case EntryKind::kFolder:
      if (const char* reason = NoAlbumReason(library.Below(entry.path))) ++counts.skipped[reason];
      return true;
    case EntryKind::kFile:
      if (MediaKindOf(entry.path)) {
        ++counts.found;
        return true;
      }
      ++counts.skipped["not a photo or video"];
      return false;
    case EntryKind::kSkipped:
    case EntryKind::kUnknown:
      ++counts.skipped[entry.reason];
      return false;
    case EntryKind::kFailed:
      counts.failed.push_back({entry.path, entry.reason, false, ItemOutcome::kUnopened});
      return false;
  }
  return false;
}

bool HoldsNothing(const Library& library) {
  WalkScope names;
  names.Add("", Reach::kFolder);
  auto walk = Walk::Start(library.folder, names);
  if (!walk) return true;
  SurveyCounts counts;
  while (const auto entry = walk->Next()) {
    if (entry->path != library.folder && CountEntry(*entry, library, counts)) return false;
  }
  return true;
}

Outcome<Differences> Survey::Run(const StopQuestion& stopped) {
  auto walk = Walk::Start(library_.folder, scope_);
  if (!walk) return walk.failure();
  differences_.recorded_files = catalogue_.FileCount();
  differences_.root_empty = scope_.Top().has_all_names();
  for (CatalogueEntry& entry : catalogue_.Folders()) {
    std::string path = entry.path;
    unmet_folders_.emplace(std::move(path), std::move(entry));
  }
  has_device_numbers_ = !catalogue_.facts().Find(kFileSystemsFact);
  while (const auto entry = walk->Next()) {
    HandleEntry(*entry, library_.Below(entry->path));
    if (catalogue_.failure()) return *catalogue_.failure();
    if (stopped && stopped()) return Differences{};
  }
  AdvanceTo(nullptr);
  GatherLostFolders();
  if (has_device_numbers_ && scope_.Top().is_tree()) catalogue_.facts().Put(kFileSystemsFact, "");
  if (catalogue_.failure()) return *catalogue_.failure();
  return std::move(differences_);
}

void Survey::HandleEntry(const WalkEntry& entry, const std::string& path) {
  if (!entry.meant) return PassOnTheWay(entry, path);
  const bool is_item = CountEntry(entry, library_, differences_.counts);
  if (entry.kind == EntryKind::kFolder) return EnterFolder(entry, path);
  if (is_item) return TakeFile(entry, path);
  if (entry.kind != EntryKind::kFailed && entry.kind != EntryKind::kUnknown) return;
  // A folder that cannot be listed further, one that cannot be entered, or a file.
  differences_.unknown.insert(path);
}

void Survey::PassOnTheWay(const WalkEntry& entry, const std::string& path) {
  if (entry.kind == EntryKind::kFolder) return EnterFolder(entry, path);
  if (entry.kind != EntryKind::kFailed && entry.kind != EntryKind::kUnknown) return;
  if (entry.kind == EntryKind::kFailed) CountEntry(entry, library_, differences_.counts);
  for (std::string& top : scope_.At(path).Tops(path)) differences_.unknown.insert(std::move(top));
}

void Survey::EnterFolder(const WalkEntry& entry, const std::string& path) {
  AdvanceTo(nullptr);
  if (path.empty()) root_device_number_ = entry.mounted_device;
  if (!path.empty() && entry.mounted_device != 0) {
    differences_.mounts[path] = entry.stamp.device;
    if (has_device_numbers_) ReplaceDeviceNumbers(entry, path);
  }
  TurnTo(path, scope_.At(path));
  if (path.empty()) return;
  differences_.root_empty = false;
  const auto found = unmet_folders_.find(path);
  const bool known = found != unmet_folders_.end();
  if (entry.meant) CompareFolder(entry, path, known ? &found->second : nullptr);
  if (known) unmet_folders_.erase(found);
}

void Survey::CompareFolder(const WalkEntry& entry, const std::string& path, const CatalogueEntry* recorded) {
  const bool known = recorded != nullptr;
  const bool unread = known && recorded->outcome == ItemOutcome::kPartial;
  if (known && !unread && recorded->stamp.SameObject(entry.stamp)) return;
  const bool replaces = known && !unread;
  if (replaces) differences_.replaced_folders.push_back(AsReplaced(*recorded, entry.stamp));
  const bool hides = replaces && WasElsewhere(*recorded, entry.stamp);
  differences_.folders.push_back({path, ItemKind::kFolder, entry.stamp, known, replaces, hides});
}

void Survey::TakeFile(const WalkEntry& entry, const std::string& path) {
  differences_.root_empty = false;
  if (const CatalogueEntry* recorded = AdvanceTo(&path)) return CompareFile(entry, path, *recorded);
  differences_.files.push_back({path, *MediaKindOf(entry.path), entry.stamp});
}

void Survey::CompareFile(const WalkEntry& entry, const std::string& path, const CatalogueEntry& recorded) {
  if (IsUnchanged(recorded, entry.stamp)) {
    ++differences_.counts.unchanged;
    if (recorded.outcome == ItemOutcome::kStored) return;
    auto& problems =
        recorded.outcome == ItemOutcome::kDamaged ? differences_.counts.notes : differences_.counts.failed;
    problems.push_back({entry.path, recorded.reason, true, recorded.outcome});
    return;
  }
  const bool unread = recorded.outcome == ItemOutcome::kPartial;
  const bool replaces = !unread && !recorded.stamp.SameObject(entry.stamp);
  if (replaces) differences_.replaced_files.push_back(AsReplaced(recorded, entry.stamp));
  const bool hides = WasElsewhere(recorded, entry.stamp) && !HasContentOf(recorded, entry.stamp);
  differences_.files.push_back({path, *MediaKindOf(entry.path), entry.stamp, true, replaces, hides});
}

const CatalogueEntry* Survey::AdvanceTo(const std::string* path) {
  while (more_recorded_) {
    for (; next_recorded_ < recorded_.size(); ++next_recorded_) {
      const CatalogueEntry& candidate = recorded_[next_recorded_];
      if (path != nullptr && candidate.path > *path) return nullptr;
      if (path != nullptr && candidate.path == *path) return &recorded_[next_recorded_++];
      NoteGone(candidate);
    }
    if (all_fetched_) {
      more_recorded_ = false;
      break;
    }
    FetchRecorded(NameOf(recorded_.back().path));
  }
  return nullptr;
}

void Survey::TurnTo(const std::string& path, const WalkScope::Part& part) {
  folder_ = path;
  part_ = part;
  FetchRecorded("");
}

void Survey::FetchRecorded(const std::string& after) {
  if (part_.has_all_names()) {
    recorded_ = catalogue_.Files(folder_, after);
  } else {
    recorded_.clear();
    for (const std::string& name : part_.Names()) {
      // Photos and videos stand under the same names.
      auto file = catalogue_.Find(folder_.empty() ? name : folder_ + "/" + name, ItemKind::kPhoto);
      if (file) recorded_.push_back(*std::move(file));
    }
  }
  // Fewer than are given at once: there are no more.
  all_fetched_ = !part_.has_all_names() || recorded_.size() < kEntriesAtOnce;
  next_recorded_ = 0;
  more_recorded_ = !recorded_.empty();
}

void Survey::NoteGone(const CatalogueEntry& file) {
  if (differences_.unknown.contains(folder_) || differences_.unknown.contains(file.path)) return;
  differences_.gone_files.push_back(WithElsewhere(file));
}

bool Survey::IsElsewhere(const CatalogueEntry& entry) const {
  return entry.stamp.device != kUnknownDevice && entry.stamp.device != DeviceAt(entry.path);
}

CatalogueEntry Survey::WithElsewhere(CatalogueEntry entry) const {
  entry.elsewhere = IsElsewhere(entry);
  return entry;
}

void Survey::ReplaceDeviceNumbers(const WalkEntry& mounted, const std::string& path) {
  const std::uint64_t recorded =
      mounted.mounted_device == root_device_number_ ? kDeviceOfLibrary : mounted.mounted_device;
  catalogue_.MoveToDevice(path, recorded, mounted.stamp.device);
  for (auto& [below, entry] : unmet_folders_) {
    if (IsOrLiesBelow(below, path) && entry.stamp.device == recorded)
      entry.stamp.device = mounted.stamp.device;
  }
}

std::uint64_t Survey::DeviceAt(const std::string& path) const {
  const auto& mounts = differences_.mounts;
  if (mounts.empty()) return kDeviceOfLibrary;
  for (std::string above = path; !above.empty();) {
    const std::size_t slash = above.rfind('/');
    above.resize(slash == std::string::npos ? 0 : slash);
    if (const auto mount = mounts.find(above); mount != mounts.end()) return mount->second;
  }
  return kDeviceOfLibrary;
}

void Survey::GatherLostFolders() {
  std::set<std::string> lost;
  for (const auto& [path, entry] : unmet_folders_) {
    if (LiesInOne(differences_.unknown, path)) continue;
    const WalkScope::Part part = scope_.At(path);
    const bool gone = part.is_meant() || LiesInOne(lost, path);
    if (gone) differences_.gone_folders.push_back(WithElsewhere(entry));
    if (gone && !part.is_tree()) lost.insert(path);
    TurnTo(path, gone ? WalkScope::Part(Reach::kTree) : part);
    AdvanceTo(nullptr);
  }
}
