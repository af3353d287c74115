#include "work_queue.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::size_t kLookAhead = 1024;
// What is known of the rest is cut into at least so many batches for each worker.
constexpr std::size_t kBatchesEach = 2;

}  // namespace

void WorkQueue::LookAhead() {
  while (!exhausted_ && waiting_.size() < kLookAhead) {
    auto item = source_();
    if (!item) {
      exhausted_ = true;
      return;
    }
    if (item->kind == ItemKind::kFolder) open_folders_.insert(item->path);
    waiting_.push_back({std::move(*item)});
  }
}

bool WorkQueue::Ready(const WorkItem& item, const std::vector<Entry>& batch) const {
  if (open_folders_.empty()) return true;
  const std::string folder = item.path.substr(0, item.path.rfind('/'));
  if (!open_folders_.contains(folder)) return true;
  return std::any_of(batch.begin(), batch.end(), [&](const Entry& entry) {
    return entry.item.kind == ItemKind::kFolder && entry.item.path == folder;
  });
}

std::vector<WorkQueue::Entry> WorkQueue::Take(std::size_t workers) {
  LookAhead();
  // Towards the end the rest is shared, so that all workers finish together.
  const std::size_t share =
      std::clamp<std::size_t>(waiting_.size() / (kBatchesEach * workers), 1, kBatchSize);
  std::vector<Entry> batch;
  std::vector<Entry> left;
  auto next = waiting_.begin();
  while (next != waiting_.end() && batch.size() < share && (batch.empty() || !batch.front().alone)) {
    const bool fits = Ready(next->item, batch) && (batch.empty() || !next->alone);
    (fits ? batch : left).push_back(std::move(*next++));
  }
  waiting_.erase(waiting_.begin(), next);
  waiting_.insert(waiting_.begin(), std::make_move_iterator(left.begin()),
                  std::make_move_iterator(left.end()));
  given_out_ += batch.size();
  return batch;
}

void WorkQueue::Done(const WorkItem& item) {
  if (item.kind == ItemKind::kFolder) open_folders_.erase(item.path);
  --given_out_;
}

void WorkQueue::Return(std::vector<Entry> entries) {
  given_out_ -= entries.size();
  waiting_.insert(waiting_.begin(), std::make_move_iterator(entries.begin()),
                  std::make_move_iterator(entries.end()));
}

bool WorkQueue::HasWaiting() {
  LookAhead();
  return !waiting_.empty();
}
