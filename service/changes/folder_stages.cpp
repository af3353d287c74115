#include "changes/folder_stages.h"

#include <algorithm>
#include <tuple>

#include "common/path_parts.h"

FolderStages::FolderStages(std::vector<WorkItem>& items) : items_(items) {
  for (const WorkItem& item : items) {
    paths_.insert(item.path);
    if (!item.from.empty()) moves_.emplace(item.from, item.path);
  }
}

void FolderStages::BreakRings() {
  for (WorkItem& item : items_) {
    if (item.from.empty() || !paths_.contains(item.from) || !WaitsFor(item.path, item.from)) continue;
    moves_.erase(item.from);
    item.action = ItemAction::kAdd;
    item.from.clear();
  }
}

bool FolderStages::WaitsFor(const std::string& path, const std::string& goal) const {
  std::set<std::string> seen;
  std::vector<std::string> waiting{path};
  while (!waiting.empty()) {
    const std::string at = waiting.back();
    waiting.pop_back();
    if (at == goal) return true;
    if (!paths_.contains(at) || !seen.insert(at).second) continue;
    waiting.push_back(FolderOf(at));
    if (const auto moved_on = moves_.find(at); moved_on != moves_.end()) waiting.push_back(moved_on->second);
  }
  return false;
}

std::uint32_t FolderStages::Assign() {
  BreakRings();
  std::uint32_t next = 0;
  for (WorkItem& item : items_) {
    item.stage = StageOf(item.path);
    next = std::max(next, item.stage + 1);
  }
  std::sort(items_.begin(), items_.end(), [](const WorkItem& a, const WorkItem& b) {
    return std::tie(a.stage, a.path) < std::tie(b.stage, b.path);
  });
  return next;
}

std::uint32_t FolderStages::StageOf(const std::string& path) {
  if (const auto known = stages_.find(path); known != stages_.end()) return known->second;
  std::uint32_t stage = 0;
  const std::string parent = FolderOf(path);
  if (paths_.contains(parent)) stage = StageOf(parent);
  if (const auto moved_on = moves_.find(path); moved_on != moves_.end()) {
    stage = std::max(stage, StageOf(moved_on->second) + 1);
  }
  stages_[path] = stage;
  return stage;
}
