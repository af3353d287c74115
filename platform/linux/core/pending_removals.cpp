#include "core/pending_removals.h"

#include <algorithm>
#include <utility>

void PendingRemovals::Add(PendingRemoval removal) {
  if (!Has(removal.path, removal.state)) removals_.push_back(std::move(removal));
}

bool PendingRemovals::Has(const std::string& path, const FileState& state) const {
  return std::any_of(removals_.begin(), removals_.end(), [&](const PendingRemoval& removal) {
    return removal.path == path && removal.state == state;
  });
}

void PendingRemovals::KeepFirst(std::size_t count) {
  while (removals_.size() > count) removals_.pop_back();
}

std::vector<PendingRemoval> PendingRemovals::Take() {
  return std::exchange(removals_, {});
}
