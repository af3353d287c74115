#include "changes/mount_notes.h"

#include <algorithm>
#include <utility>

#include "base/path_below.h"
#include "changes/survey.h"

namespace {

// Something at, above or below PATH could not be looked at.
bool IsUnknown(const std::set<std::string>& unknown, const std::string& path) {
  if (LiesInOne(unknown, path)) return true;
  const auto below = unknown.lower_bound(path + "/");
  return below != unknown.end() && LiesBelow(*below, path);
}

}  // namespace

std::optional<WorkItem> MountNotes::BeforeAdding(const Plan& plan, const WalkScope& scope) {
  // Rows may lie on what is away, and nobody has noted where that was.
  if (!known_ && plan.mounts.empty() && !plan.withheld_reason.empty()) return std::nullopt;
  MountRecord mounts = known_.value_or(MountRecord());
  for (auto& [path, devices] : mounts) {
    // Rows of another disk, or of the folder below, may be there too.
    const bool away = scope.Contains(path) && !plan.mounts.contains(path);
    if (!plan.withheld_reason.empty() && away) devices.insert(kDeviceOfLibrary);
  }
  for (const auto& [path, device] : plan.mounts) mounts[path].insert(device);
  return NoteIfNew(std::move(mounts));
}

std::optional<WorkItem> MountNotes::AfterDeletes(const Plan& plan) {
  MountRecord mounts = MountRecordOf(plan.mounts);
  for (const auto& [path, devices] : known_.value_or(MountRecord())) {
    if (IsUnknown(plan.unknown, path)) mounts[path].insert(devices.begin(), devices.end());
  }
  return NoteIfNew(std::move(mounts));
}

std::optional<WorkItem> MountNotes::BeforeRowsOn(const std::string& path, std::uint64_t device) {
  MountRecord mounts = known_.value_or(MountRecord());
  mounts[path].insert(device);
  return NoteIfNew(std::move(mounts));
}

std::optional<WorkItem> MountNotes::NoteIfNew(MountRecord mounts) {
  if (mounts == known_) return std::nullopt;
  known_ = std::move(mounts);
  WorkItem note = WholeLibrary(library_.folder, ItemAction::kNoteMounts);
  note.from = MountText(*known_);
  return note;
}
