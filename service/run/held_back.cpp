#include "run/held_back.h"

#include <utility>

#include "common/path_parts.h"

void HeldBack::Add(const WorkItem& item) {
  paths_.insert(item.path);
  if (IsMove(item)) paths_.insert(item.from);
  if (item.kind == ItemKind::kFolder) without_album_.insert(item.path);
  has_move_ = has_move_ || IsMove(item);
}

bool HeldBack::Holds(const WorkItem& item) const {
  if (item.action == ItemAction::kDelete || item.action == ItemAction::kRename) return false;
  return paths_.contains(item.path) || without_album_.contains(FolderOf(item.path));
}

void HeldBack::LeaveOut(std::vector<WorkItem>& deletes) const {
  std::unordered_set<std::string> kept;
  for (const std::string& path : paths_) {
    for (std::string at = path; at.size() > library_.folder.size(); at = FolderOf(at)) kept.insert(at);
  }
  std::erase_if(deletes, [&](const WorkItem& item) { return kept.contains(item.path); });
}

void HeldBack::Rescue(const WorkItem& move, const std::string& why) {
  WorkItem rescue = move;
  rescue.action = ItemAction::kRename;
  rescue.stage = 0;
  crashes_[move.path] = why;
  rescues_.push_back(std::move(rescue));
}

std::vector<WorkItem> HeldBack::TakeRescues() {
  return std::exchange(rescues_, {});
}

std::string HeldBack::CrashReason(const std::string& path) const {
  const auto found = crashes_.find(path);
  return found == crashes_.end() ? "" : found->second;
}
