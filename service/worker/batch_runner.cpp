#include "worker/batch_runner.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>

#include "common/display.h"
#include "database/library_facts.h"
#include "platform/connection_lending.h"
#include "work/worker_memory.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestTransaction{50};
// The platform keeps the metadata of so many images: read further ahead, each would be parsed again when it
// is written.
constexpr std::size_t kReadAhead = 32;

// What is known is stored; the next run completes it.
void TakeLateness(ItemResult& result) {
  if (result.done()) result.outcome = ItemOutcome::kPartial;
}

}  // namespace

bool BatchRunner::Run(const Batch& batch) {
  name_ = batch.name;
  items_ = batch.items;
  prepared_.clear();
  while (prepared_.size() < items_.size()) {
    const std::size_t first = prepared_.size();
    const std::size_t end = std::min(first + kReadAhead, items_.size());
    for (std::size_t i = first; i < end && !StopWanted(); ++i) prepared_.push_back(Prepare(i));
    if (!WritePrepared(first)) return false;
  }
  return channel_.Send(MessageType::kBatchEnd);
}

bool BatchRunner::WritePrepared(std::size_t first) {
  for (std::size_t done = first; done < prepared_.size(); done += results_.size()) {
    WriteTransaction(done);
    if (results_.empty()) return false;
    connected_ = connected_ &&
                 channel_.Send(MessageType::kResults,
                               EncodeResults({static_cast<std::uint32_t>(done), results_, generations_}));
    if (failure_ || StopWanted()) return false;
  }
  return !StopWanted();
}

PreparedItem BatchRunner::Prepare(std::size_t index) {
  if (!ReadsFile(items_[index])) return {};
  Announce(index);
  return ReadItem(items_[index], library_);
}

void BatchRunner::WriteTransaction(std::size_t first) {
  results_.clear();
  generations_.clear();
  AnnounceNoItem();
  const WriteTurn::Holder turn(turn_);
  if (KAVODBBatchBegin() != 0) return GiveUp(KAVODBLentErrorGet());
  calls_.Forget();
  WriteItems(first);
  if (failure_) return results_.clear();
  AnnounceNoItem();
  if (Commit()) return;
  if (DatabaseFailed()) return results_.clear();
  RetryOneByOne(first);
}

bool BatchRunner::Commit() {
  const auto generation = calls_.spoiled() ? std::nullopt : RaiseGeneration(rows_.Database(), name_);
  if (!generation) {
    KAVODBBatchRollback();
    return false;
  }
  if (KAVODBBatchCommit() != 0) return false;
  generations_.push_back(*generation);
  return true;
}

void BatchRunner::WriteItems(std::size_t first) {
  const Clock::time_point start = Clock::now();
  for (std::size_t i = first; i < prepared_.size(); ++i) {
    results_.push_back(Write(i, prepared_[i]));
    if (DatabaseFailed() || calls_.spoiled()) return;
    if (Clock::now() - start >= kLongestTransaction || StopWanted()) return;
  }
}

ItemResult BatchRunner::Write(std::size_t index, PreparedItem& prepared) {
  const WorkItem& item = items_[index];
  // A file that cannot be opened today may be as it was: it is tried again.
  if (prepared.refused) return ItemResult::Skipped(prepared.trouble);
  if (!prepared.readable) return ItemResult::Unopened(prepared.trouble);
  if (prepared.late && (!prepared.storable || item.action == ItemAction::kMove))
    return ItemResult::Unopened(prepared.trouble);
  if (!prepared.storable && item.action != ItemAction::kMove) return ItemResult::Failed(prepared.trouble);
  Announce(index);
  ItemResult result = calls_.Make(item, prepared);
  if (prepared.late) TakeLateness(result);
  result.fingerprint = prepared.fingerprint;
  return result;
}

void BatchRunner::RetryOneByOne(std::size_t first) {
  const std::size_t count = results_.size();
  results_.clear();
  for (std::size_t i = first; i < first + count; ++i) {
    ItemResult result = WriteAlone(i);
    if (failure_) return;
    results_.push_back(std::move(result));
  }
}

ItemResult BatchRunner::WriteAlone(std::size_t index) {
  // The first attempt has completed the record in place.
  PreparedItem prepared = Prepare(index);
  AnnounceNoItem();
  if (KAVODBBatchBegin() != 0) {
    GiveUp(KAVODBLentErrorGet());
    return {};
  }
  calls_.Forget();
  ItemResult result = Write(index, prepared);
  if (DatabaseFailed()) return {};
  AnnounceNoItem();
  if (Commit()) return result;
  if (DatabaseFailed()) return {};
  return NotKept();
}

ItemResult BatchRunner::NotKept() {
  return ItemResult::NotKept(std::string("not kept by the database: ") + KAVODBLentErrorGet());
}

// Asked after every item: where the file is gone the plug-in would make another one for the next.
bool BatchRunner::DatabaseFailed() {
  const char* why = KAVODBLentFailureGet();
  if (why == nullptr) return false;
  KAVODBBatchRollback();
  GiveUp(why);
  return true;
}

void BatchRunner::GiveUp(const char* why) {
  const char* known = KAVODBLentFailureGet();
  failure_ =
      Failure{ExitStatus::kDatabase, Visible(library_.database()) + ": " + (known != nullptr ? known : why) +
                                         "; what was done before is kept"};
}

void BatchRunner::Announce(std::size_t index) {
  struct stat status {};
  const bool is_file = index != kNoItem && ReadsFile(items_[index]);
  AllowMapping(is_file && stat(items_[index].path.c_str(), &status) == 0
                   ? static_cast<std::uint64_t>(status.st_size)
                   : 0);
  const MessageWriter message = MessageWriter().Number(static_cast<std::uint32_t>(index));
  connected_ = connected_ && channel_.Send(MessageType::kAt, message.content());
}

void BatchRunner::AnnounceNoItem() {
  Announce(kNoItem);
}

bool BatchRunner::StopWanted() const {
  pollfd supervisor{channel_.descriptor(), POLLIN, 0};
  return !connected_ || poll(&supervisor, 1, 0) != 0;
}
