#include "core/pending_removals.h"

#include <algorithm>
#include <utility>

namespace {

struct Batch {
  bool open = false;
  // A batch holds few files, so a search through the list is faster than a set would be.
  std::vector<PendingRemoval> removals;
};

Batch& TheBatch() {
  static thread_local Batch batch;
  return batch;
}

}  // namespace

bool BatchOpen() {
  return TheBatch().open;
}
void SetBatchOpen(bool open) {
  TheBatch().open = open;
}

void AddPendingRemoval(PendingRemoval removal) {
  if (IsRemovalPending(removal.path, removal.state)) return;
  TheBatch().removals.push_back(std::move(removal));
}

bool IsRemovalPending(const std::string& path, const FileState& state) {
  const std::vector<PendingRemoval>& removals = TheBatch().removals;
  return std::any_of(removals.begin(), removals.end(), [&](const PendingRemoval& removal) {
    return removal.path == path && removal.state == state;
  });
}

std::size_t PendingRemovalCount() {
  return TheBatch().removals.size();
}

void ForgetPendingRemovals(std::size_t count) {
  std::vector<PendingRemoval>& removals = TheBatch().removals;
  while (removals.size() > count) removals.pop_back();
}

std::vector<PendingRemoval> TakePendingRemovals() {
  return std::exchange(TheBatch().removals, {});
}
