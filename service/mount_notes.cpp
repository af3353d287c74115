#include "mount_notes.h"

#include <utility>

std::optional<WorkItem> MountNotes::Before(const Plan& plan) {
  MountRecord mounts = known_;
  for (auto& [path, devices] : mounts) {
    // Rows of another disk, or of the folder below, may be there too.
    if (!plan.withheld_reason.empty() && !plan.mounts.contains(path)) devices.insert(0);
  }
  for (const auto& [path, device] : plan.mounts) mounts[path].insert(device);
  return Tell(std::move(mounts));
}

std::optional<WorkItem> MountNotes::After(const Plan& plan) {
  return Tell(RecordOf(plan.mounts));
}

std::optional<WorkItem> MountNotes::Met(const std::string& path, std::uint64_t device) {
  MountRecord mounts = known_;
  mounts[path].insert(device);
  return Tell(std::move(mounts));
}

std::optional<WorkItem> MountNotes::Tell(MountRecord mounts) {
  if (mounts == known_) return std::nullopt;
  known_ = std::move(mounts);
  WorkItem note = WholeLibrary(library_.folder, ItemAction::kNoteMounts);
  note.from = MountText(known_);
  return note;
}
