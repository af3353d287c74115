#ifndef SERVICE_RUN_WORK_QUEUE_H_
#define SERVICE_RUN_WORK_QUEUE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "work/work_item.h"

// The items still to be done, in the order of the walk, but for one rule: a folder is done before anything
// inside it is given out, unless both go to the same worker in one batch. What is below other folders
// overtakes what must wait. And nothing of a later stage is given out before all of the earlier ones is done.
//
// Looks ahead a bounded number of items, so a million files are never held at once.
class WorkQueue {
 public:
  // An item with its history.
  struct Entry {
    WorkItem item;
    bool is_suspect = false;  // a worker died with it, perhaps because of it: it must not take others with it
  };
  using Source = std::function<std::optional<WorkItem>()>;

  using Gate = std::function<bool(const WorkItem&)>;

  // SOURCE is asked for the next item of the walk until it gives nothing. GATE is asked when an item could be
  // given out, when the earlier stages are done; what it refuses is dropped.
  explicit WorkQueue(Source source, Gate gate = nullptr)
      : source_(std::move(source)), gate_(std::move(gate)) {}

  // The next batch, to be shared among WORKERS; empty when nothing can be given out at the moment.
  std::vector<Entry> Take(std::size_t workers);
  // An item that was given out is done, well or not.
  void Done(const WorkItem& item);
  // Items that were given out and not done; they come first again, in their order.
  void Return(std::vector<Entry> entries);

  // True when there is something to give out, now or later.
  bool HasWaiting();
  // How many items wait, as far as the queue has looked ahead.
  std::size_t KnownWaiting() const { return waiting_.size(); }
  // True when everything is done.
  bool Finished() { return !HasWaiting() && given_out_.empty(); }

 private:
  void LookAhead();
  bool IsRefused(const WorkItem& item);
  bool MayBeginWith(const WorkItem& item, const std::vector<Entry>& batch) const;
  // The earliest stage of which something is not done.
  std::uint32_t CurrentStage() const;
  // One that was given out is no longer.
  void NoteReturned(std::uint32_t stage);

  Source source_;
  Gate gate_;
  bool exhausted_ = false;
  std::deque<Entry> waiting_;
  std::unordered_map<std::string, std::uint32_t> open_folders_;  // seen and not done -> stage
  std::map<std::uint32_t, std::size_t> given_out_;               // stage -> items
};

#endif  // SERVICE_RUN_WORK_QUEUE_H_
