#ifndef SERVICE_RUN_HANDED_BATCH_H_
#define SERVICE_RUN_HANDED_BATCH_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "run/started_worker.h"
#include "run/work_queue.h"
#include "work/wire.h"

// What a worker has in hand, and how far it has told of it. To be used in the loop's thread.
class HandedBatch {
 public:
  void Begin(std::vector<WorkQueue::Entry> entries);
  Batch AsMessage(const RunName& name) const;

  std::size_t size() const { return entries_.size(); }
  bool told_of_all() const { return reported_ == entries_.size(); }
  // It is at one of the items, not at what belongs to none.
  bool at_item() const { return current_ != kNoItem; }

  // The worker says where it is; false where it cannot be.
  bool TurnTo(std::string_view content);
  // RESULTS can be those of the next items.
  bool Fits(const Results& results) const;
  // The next item, which is told of now.
  const WorkItem& TakeNext() { return entries_[reported_++].item; }
  void NoteAtNone() { current_ = kNoItem; }

  // What it has not told of, and at which of that it was.
  struct UnfinishedItems {
    std::vector<WorkQueue::Entry> entries;
    std::optional<std::size_t> current;
  };
  UnfinishedItems TakeUnfinishedItems();
  void Forget() { *this = HandedBatch(); }

 private:
  std::vector<WorkQueue::Entry> entries_;
  std::size_t reported_ = 0;         // results that have come
  std::uint32_t current_ = kNoItem;  // the item it is at
};

// What becomes of the unfinished items of a worker that is gone.
struct LostBatch {
  std::vector<std::pair<WorkItem, ItemResult>> failed;
  std::vector<WorkQueue::Entry> innocent;  // to be given out again
};
// END is how it went. SUSPECTING: where nobody knows at what it was, any of the items may be to blame.
LostBatch JudgeUnfinishedItems(HandedBatch::UnfinishedItems items, const WorkerEnd& end, bool suspecting);

#endif  // SERVICE_RUN_HANDED_BATCH_H_
