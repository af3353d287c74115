#include "run/work_queue.h"

#include <algorithm>
#include <iterator>

#include "common/path_parts.h"

namespace {

constexpr std::size_t kLookAhead = 1024;
// What is known of the rest is cut into at least so many batches for each worker.
constexpr std::size_t kBatchesEach = 2;

// What lies in that folder waits for it. What is done for a whole library bears the name of its folder, too,
// and makes no album of it.
bool MakesFolder(const WorkItem& item) {
  const bool makes = item.action == ItemAction::kAdd || item.action == ItemAction::kReindex || IsMove(item);
  return makes && item.kind == ItemKind::kFolder;
}

}  // namespace

void WorkQueue::LookAhead() {
  while (!exhausted_ && waiting_.size() < kLookAhead) {
    auto item = source_();
    if (!item) {
      exhausted_ = true;
      return;
    }
    if (MakesFolder(*item)) open_folders_[item->path] = item->stage;
    waiting_.push_back({std::move(*item)});
  }
}

bool WorkQueue::IsRefused(const WorkItem& item) {
  if (!gate_ || gate_(item)) return false;
  if (MakesFolder(item)) open_folders_.erase(item.path);
  return true;
}

std::uint32_t WorkQueue::CurrentStage() const {
  // The source gives the stages in order, and what comes back is put in front: the first has the earliest.
  const std::uint32_t waiting = waiting_.empty() ? 0 : waiting_.front().item.stage;
  return given_out_.empty() ? waiting : std::min(waiting, given_out_.begin()->first);
}

bool WorkQueue::MayBeginWith(const WorkItem& item, const std::vector<Entry>& batch) const {
  if (open_folders_.empty()) return true;
  const std::string folder = FolderOf(item.path);
  const auto open = open_folders_.find(folder);
  // One of a later stage waits for this one.
  if (open == open_folders_.end() || open->second > item.stage) return true;
  return std::any_of(batch.begin(), batch.end(), [&](const Entry& entry) {
    return MakesFolder(entry.item) && entry.item.path == folder;
  });
}

std::vector<WorkQueue::Entry> WorkQueue::Take(std::size_t workers) {
  LookAhead();
  const std::uint32_t stage = CurrentStage();
  // Towards the end the rest is shared, so that all workers finish together.
  const std::size_t share =
      std::clamp<std::size_t>(waiting_.size() / (kBatchesEach * workers), 1, kBatchSize);
  std::vector<Entry> batch;
  std::vector<Entry> left;
  auto next = waiting_.begin();
  while (next != waiting_.end() && next->item.stage == stage && batch.size() < share &&
         (batch.empty() || !batch.front().is_suspect)) {
    const bool fits = MayBeginWith(next->item, batch) && (batch.empty() || !next->is_suspect);
    if (fits && IsRefused(next->item)) {
      ++next;
      continue;
    }
    (fits ? batch : left).push_back(std::move(*next++));
  }
  waiting_.erase(waiting_.begin(), next);
  waiting_.insert(waiting_.begin(), std::make_move_iterator(left.begin()),
                  std::make_move_iterator(left.end()));
  if (!batch.empty()) given_out_[stage] += batch.size();
  return batch;
}

void WorkQueue::Done(const WorkItem& item) {
  if (MakesFolder(item)) open_folders_.erase(item.path);
  NoteReturned(item.stage);
}

void WorkQueue::NoteReturned(std::uint32_t stage) {
  const auto given = given_out_.find(stage);  // there: it was given out
  if (--given->second == 0) given_out_.erase(given);
}

void WorkQueue::Return(std::vector<Entry> entries) {
  for (const Entry& entry : entries) NoteReturned(entry.item.stage);
  waiting_.insert(waiting_.begin(), std::make_move_iterator(entries.begin()),
                  std::make_move_iterator(entries.end()));
}

bool WorkQueue::HasWaiting() {
  LookAhead();
  return !waiting_.empty();
}
