#include "worker/batch_runner.h"

#include <algorithm>
#include <chrono>
#include <string>

#include "common/display.h"

namespace {

constexpr std::chrono::milliseconds kLongestTransaction{50};
// The platform keeps the metadata of so many images: read further ahead, each would be parsed again when it
// is written.
constexpr std::size_t kReadAhead = 32;

// What the reading of ITEM has left to be told instead of written; nothing where it can be written.
std::optional<ItemResult> Unwritable(const WorkItem& item, const PreparedItem& prepared) {
  const bool moves = item.action == ItemAction::kMove;
  // A file that cannot be opened today may be as it was: it is tried again.
  if (prepared.refused) return ItemResult::Skipped(prepared.trouble);
  if (!prepared.readable) return ItemResult::Unopened(prepared.trouble);
  if (prepared.late && (!prepared.storable || moves)) return ItemResult::Unopened(prepared.trouble);
  if (!prepared.storable && !moves) return ItemResult::Failed(prepared.trouble);
  return std::nullopt;
}

bool HasRows(const ItemResult& result) {
  return result.done() || result.outcome == ItemOutcome::kPartial;
}

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
    // Where it is stopped, what has been read by then is still written.
    for (std::size_t i = first; i < end && !StopWanted(); ++i) prepared_.push_back(Prepare(i));
    if (!WritePrepared(first)) return false;
  }
  return seams_.giver.End();
}

bool BatchRunner::WritePrepared(std::size_t first) {
  for (std::size_t done = first; done < prepared_.size(); done += results_.size()) {
    WriteSome(done);
    if (results_.empty()) return false;
    connected_ = connected_ && seams_.giver.Take({static_cast<std::uint32_t>(done), results_, generations_});
    if (failure_ || StopWanted()) return false;
  }
  return !StopWanted();
}

PreparedItem BatchRunner::Prepare(std::size_t index) {
  if (!ReadsFile(items_[index])) return {};
  Announce(index);
  return seams_.read(items_[index]);
}

void BatchRunner::WriteSome(std::size_t first) {
  results_.clear();
  generations_.clear();
  AnnounceNoItem();
  Attempt attempt = WriteTogether(first, prepared_.size());
  if (attempt.kept) {
    results_ = std::move(attempt.results);
  } else if (!failure_ && !DatabaseFailed()) {
    RetryOneByOne(first, attempt.results.size());
  }
}

BatchRunner::Attempt BatchRunner::WriteTogether(std::size_t first, std::size_t end) {
  Attempt attempt;
  const WriteTurn::Holder turn(seams_.turn);
  // What the database makes it wait for now is counted apart from the wait for the turn.
  AnnounceNoItem();
  Transaction transaction(seams_.database);
  if (!transaction) {
    NoteDatabaseFailure(seams_.database.error());
    return attempt;
  }
  attempt.results = WriteItems(first, end, transaction);
  if (failure_) return attempt;
  AnnounceNoItem();
  const auto generation = transaction.Commit(name_);
  attempt.kept = generation.has_value();
  if (generation) generations_.push_back(*generation);
  return attempt;
}

std::vector<ItemResult> BatchRunner::WriteItems(std::size_t first, std::size_t end,
                                                Transaction& transaction) {
  std::vector<ItemResult> results;
  const auto start = seams_.now();
  for (std::size_t i = first; i < end; ++i) {
    results.push_back(Write(i, transaction));
    if (DatabaseFailed() || transaction.spoiled()) break;
    if (seams_.now() - start >= kLongestTransaction || StopWanted()) break;
  }
  return results;
}

ItemResult BatchRunner::Write(std::size_t index, Transaction& transaction) {
  const WorkItem& item = items_[index];
  PreparedItem& prepared = prepared_[index];
  if (auto result = Unwritable(item, prepared)) return *std::move(result);
  Announce(index);
  ConsumedFiles consumed(transaction);
  ItemResult result = seams_.calls.Make(item, prepared, transaction);
  if (HasRows(result)) consumed.AreInRows();
  if (prepared.late) TakeLateness(result);
  result.fingerprint = prepared.fingerprint;
  return result;
}

void BatchRunner::RetryOneByOne(std::size_t first, std::size_t count) {
  for (std::size_t i = first; i < first + count; ++i) {
    // Read again: the first attempt has changed the record in place.
    prepared_[i] = Prepare(i);
    AnnounceNoItem();
    Attempt alone = WriteTogether(i, i + 1);
    if (failure_ || (!alone.kept && DatabaseFailed())) return;
    results_.push_back(alone.kept
                           ? std::move(alone.results.front())
                           : ItemResult::NotKept("not kept by the database: " + seams_.database.error()));
  }
}

// Asked after every item: where the file is gone the plug-in would make another one for the next.
bool BatchRunner::DatabaseFailed() {
  if (const auto why = seams_.database.LastingFailure()) NoteDatabaseFailure(*why);
  return failure_.has_value();
}

void BatchRunner::NoteDatabaseFailure(const std::string& why) {
  const std::string cause = seams_.database.LastingFailure().value_or(why);
  failure_ = Failure{ExitStatus::kDatabase,
                     AboutFile(seams_.database.name(), cause + "; what was done before is kept")};
}

void BatchRunner::Announce(std::size_t index) {
  connected_ = connected_ && seams_.giver.TurnTo(static_cast<std::uint32_t>(index), items_[index]);
}

void BatchRunner::AnnounceNoItem() {
  connected_ = connected_ && seams_.giver.TurnToNone();
}

bool BatchRunner::StopWanted() {
  return !connected_ || seams_.giver.WantsStop();
}
