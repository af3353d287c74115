#include "run/handed_batch.h"

#include <signal.h>

#include <iterator>

void HandedBatch::Begin(std::vector<WorkQueue::Entry> entries) {
  Forget();
  entries_ = std::move(entries);
}

Batch HandedBatch::AsMessage(const RunName& name) const {
  Batch message{name, {}};
  for (const WorkQueue::Entry& entry : entries_) message.items.push_back(entry.item);
  return message;
}

bool HandedBatch::TurnTo(std::string_view content) {
  MessageReader reader(content);
  current_ = reader.Number();
  const bool possible = current_ == kNoItem || current_ < entries_.size();
  // TakeUnfinishedItems counts with it, so nothing but an index of the batch may stay there.
  if (!possible) current_ = kNoItem;
  return possible && reader.IsCompletelyRead();
}

bool HandedBatch::Fits(const Results& results) const {
  return results.first == reported_ && results.items.size() <= entries_.size() - reported_ &&
         results.generations.size() <= results.items.size();
}

HandedBatch::UnfinishedItems HandedBatch::TakeUnfinishedItems() {
  UnfinishedItems items;
  const auto open = entries_.begin() + static_cast<std::ptrdiff_t>(reported_);
  if (current_ != kNoItem && current_ >= reported_) items.current = current_ - reported_;
  items.entries.assign(std::make_move_iterator(open), std::make_move_iterator(entries_.end()));
  Forget();
  return items;
}

// The item that it was at is to blame, unless something outside killed the worker. Where nobody knows which
// it was, each is given out alone from then on, and one that is alone when a worker goes again is to blame.
LostBatch JudgeUnfinishedItems(HandedBatch::UnfinishedItems items, const WorkerEnd& end, bool suspecting) {
  LostBatch lost;
  for (std::size_t i = 0; i < items.entries.size(); ++i) {
    WorkQueue::Entry& entry = items.entries[i];
    const bool current = items.current == i;
    // By a person, or by the system for want of memory: that says nothing about the file.
    const bool killed = current && end.signal == SIGKILL;
    const bool suspected = (!items.current || killed) && suspecting;
    if (killed && entry.is_suspect) {
      lost.failed.emplace_back(std::move(entry.item), ItemResult::NotKept(end.text));
    } else if ((current && !killed) || (suspected && entry.is_suspect)) {
      lost.failed.emplace_back(std::move(entry.item), ItemResult::Crashed(end.text));
    } else {
      entry.is_suspect = entry.is_suspect || suspected;
      lost.innocent.push_back(std::move(entry));
    }
  }
  return lost;
}
