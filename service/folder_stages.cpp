#include "folder_stages.h"

#include <algorithm>
#include <tuple>

FolderStages::FolderStages(std::vector<WorkItem>& items) : items_(items) {
  for (const WorkItem& item : items) {
    paths_.insert(item.path);
    if (!item.from.empty()) moves_.emplace(item.from, item.path);
  }
}

std::uint32_t FolderStages::Assign() {
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
  if (!under_way_.insert(path).second) return 0;
  std::uint32_t stage = 0;
  const std::string parent = path.substr(0, path.rfind('/'));
  if (paths_.contains(parent)) stage = StageOf(parent);
  if (const auto moved_on = moves_.find(path); moved_on != moves_.end()) {
    stage = std::max(stage, StageOf(moved_on->second) + 1);
  }
  under_way_.erase(path);
  stages_[path] = stage;
  return stage;
}
