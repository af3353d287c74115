#include "run/supervisor.h"

#include <poll.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "common/display.h"
#include "library/library.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTick{100};
// Work that belongs to no file: opening the library, waiting for other processes' transactions, committing.
constexpr milliseconds kOtherWork{60'000};
// How long workers may take to commit what they have when the run is stopped.
constexpr milliseconds kStopPatience{2'000};
// How long one may take to close the database at the end.
constexpr milliseconds kEndPatience{10'000};
constexpr int kMostFailedStarts = 3;
// A worker takes longer to start than to do fewer than these.
constexpr std::size_t kItemsWorthAWorker = 8;
constexpr const char* kKilled = "killed by signal 9 (Killed)";
// Of a batch, each item of which is announced when it is read, when it is written and when it is tried alone:
// a worker that goes on telling where it is has no deadline.
constexpr std::size_t kMostMessages = 16 * kBatchSize;
constexpr const char* kNonsense = "the worker's answer makes no sense";

std::string TimedOut(milliseconds limit) {
  std::ostringstream text;
  text << "timed out after " << std::chrono::duration<double>(limit).count() << " s";
  return text.str();
}

// The worker's failures that are the run's.
bool MayEndRun(ExitStatus status) {
  return status == ExitStatus::kFatal || status == ExitStatus::kConfiguration ||
         status == ExitStatus::kDatabase;
}

}  // namespace

Outcome<Done> Supervisor::Run() {
  while (Working()) {
    if (!Stopping()) HandOut();
    if (failure_ && slots_.empty()) break;
    Wait();
    KillOverdue();
    observer_.Tick();
  }
  EndWorkers();
  if (failure_) return *failure_;
  return Done{};
}

bool Supervisor::Working() {
  if (!Stopping()) return !queue_.Finished();
  const bool busy =
      std::any_of(slots_.begin(), slots_.end(), [](const auto& slot) { return slot->state == State::kBusy; });
  return busy && Clock::now() < stop_deadline_;
}

void Supervisor::HandOut() {
  for (const auto& slot : slots_) {
    if (slot->state == State::kIdle && !GiveBatch(*slot)) return;
  }
  if (queue_.HasWaiting()) StartWorkers();
}

// The first worker makes the database, where there is none yet; the others come when it is there.
std::size_t Supervisor::WantedWorkers() const {
  if (!library_open_) return 1;
  return std::min(options_.workers, queue_.KnownWaiting() / kItemsWorthAWorker + 1);
}

// Where starting fails again and again, those that run go on alone.
void Supervisor::StartWorkers() {
  const std::size_t wanted = WantedWorkers();
  while (slots_.size() < wanted && (slots_.empty() || failed_starts_ < kMostFailedStarts)) {
    auto started = WorkerProcess::Start(options_.worker, database_, turn_);
    if (!started) {
      ++failed_starts_;
      if (slots_.empty()) failure_ = started.failure();
      return;
    }
    slots_.push_back(std::make_unique<Slot>(std::move(*started)));
  }
}

// False when nothing can be given out at the moment.
bool Supervisor::GiveBatch(Slot& slot) {
  slot.batch = queue_.Take(options_.workers);
  if (slot.batch.empty()) return false;
  Batch batch{options_.name, {}};
  for (const WorkQueue::Entry& entry : slot.batch) batch.items.push_back(entry.item);
  slot.state = State::kBusy;
  slot.reported = 0;
  slot.current = kNoItem;
  slot.told = 0;
  slot.since = Clock::now();
  slot.process.channel().Post(MessageType::kBatch, EncodeBatch(batch));
  return true;
}

void Supervisor::Wait() {
  Clock::time_point until = Clock::now() + kTick;
  std::vector<pollfd> descriptors{{signals_.descriptor(), POLLIN, 0}};
  for (const auto& slot : slots_) {
    const Channel& channel = slot->process.channel();
    const bool sends = channel.has_unsent();
    descriptors.push_back({channel.descriptor(), static_cast<short>(sends ? POLLIN | POLLOUT : POLLIN), 0});
    until = std::min(until, Deadline(*slot));
  }
  const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
  if (poll(descriptors.data(), descriptors.size(), static_cast<int>(std::max<decltype(left)>(left, 0))) <= 0)
    return;
  if (descriptors.front().revents != 0) HandleSignal();
  for (std::size_t i = slots_.size(); i > 0; --i) {  // from the end: a lost worker leaves the list
    if (descriptors[i].revents != 0) Serve(*slots_[i - 1]);
  }
}

void Supervisor::Serve(Slot& slot) {
  Channel& channel = slot.process.channel();
  channel.Flush();
  const Channel::State state = channel.Fill();
  while (const auto message = channel.Next()) {
    if (!Accept(slot, *message)) return Lose(slot, kNonsense);
  }
  if (channel.broken()) return Lose(slot, kNonsense);
  if (state == Channel::State::kClosed) Lose(slot, slot.process.AwaitEnd(kStopPatience));
}

bool Supervisor::Accept(Slot& slot, const Message& message) {
  const bool busy = slot.state == State::kBusy;
  slot.since = Clock::now();
  if (++slot.told > kMostMessages) return false;
  switch (message.type) {
    case MessageType::kReady:
      return slot.state == State::kStarting && AcceptReady(slot, message.content);
    case MessageType::kUnusable:
      return slot.state != State::kIdle && AcceptUnusable(slot, message.content);
    case MessageType::kAt:
      return busy && AcceptPosition(slot, message.content);
    case MessageType::kResults:
      return busy && AcceptResults(slot, message.content);
    case MessageType::kBatchEnd:
      if (!busy || slot.reported != slot.batch.size()) return false;
      slot.state = State::kIdle;
      slot.batch.clear();
      return true;
    default:
      return false;
  }
}

bool Supervisor::AcceptReady(Slot& slot, std::string_view content) {
  MessageReader reader(content);
  const std::string database = reader.Text();
  slot.state = State::kIdle;
  failed_starts_ = 0;
  if (!std::exchange(library_open_, true)) {
    database_ = database;
    observer_.LibraryOpen();
  } else if (database != database_) {
    // The others still write what is no longer the library's.
    failure_ =
        Failure{ExitStatus::kDatabase, Visible(options_.worker.library.database()) +
                                           ": it was removed or replaced; what was done before is kept"};
    StopWorkers();
  }
  return reader.Complete();
}

bool Supervisor::AcceptUnusable(Slot& slot, std::string_view content) {
  MessageReader reader(content);
  const auto status = static_cast<ExitStatus>(reader.Number());
  Failure reason{status, reader.Text().substr(0, kLongestTrouble)};
  if (!reader.Complete() || !MayEndRun(status)) return false;
  const bool was_open = slot.state == State::kBusy;
  if (was_open) slot.state = State::kIdle;
  slot.batch.clear();  // no item is to blame
  // One that cannot be opened by a further worker is still open in the others.
  if ((was_open || slots_.size() == 1) && !failure_) {
    failure_ = std::move(reason);
    StopWorkers();
  }
  return true;
}

bool Supervisor::AcceptPosition(Slot& slot, std::string_view content) {
  MessageReader reader(content);
  slot.current = reader.Number();
  const bool possible = slot.current == kNoItem || slot.current < slot.batch.size();
  if (!possible) slot.current = kNoItem;
  return possible && reader.Complete();
}

bool Supervisor::AcceptResults(Slot& slot, std::string_view content) {
  const auto results = DecodeResults(content);
  if (!results || results->first != slot.reported ||
      results->items.size() > slot.batch.size() - slot.reported ||
      results->generations.size() > results->items.size()) {
    return false;
  }
  for (const ItemResult& result : results->items) Finish(slot.batch[slot.reported++].item, result);
  for (const std::uint64_t generation : results->generations) observer_.BatchKept(generation);
  slot.current = kNoItem;
  return true;
}

void Supervisor::Finish(const WorkItem& item, const ItemResult& result) {
  queue_.Done(item);
  observer_.ItemDone(item, result);
}

Supervisor::Clock::time_point Supervisor::Deadline(const Slot& slot) const {
  if (slot.state == State::kIdle) return Clock::time_point::max();
  return slot.since + (slot.current == kNoItem ? kOtherWork : options_.file_timeout);
}

void Supervisor::KillOverdue() {
  for (std::size_t i = slots_.size(); i > 0; --i) {
    Slot& slot = *slots_[i - 1];
    if (Clock::now() < Deadline(slot)) continue;
    slot.process.Kill();
    Lose(slot, TimedOut(slot.current == kNoItem ? kOtherWork : options_.file_timeout));
  }
}

// The worker is gone, or goes now, for the reason WHY.
void Supervisor::Lose(Slot& slot, const std::string& why) {
  const bool last = slots_.size() == 1;
  if (slot.state == State::kStarting && ++failed_starts_ >= kMostFailedStarts && last && !failure_) {
    failure_ = Failure{ExitStatus::kFatal, "no worker can be started: " + why};
  }
  ReturnRest(slot, why);
  std::erase_if(slots_, [&](const auto& other) { return other.get() == &slot; });
}

void Supervisor::ReturnRest(Slot& slot, const std::string& why) {
  std::vector<WorkQueue::Entry> innocent;
  for (std::size_t i = slot.reported; i < slot.batch.size(); ++i) {
    WorkQueue::Entry& entry = slot.batch[i];
    // Somebody else, or want of memory, may have killed it whatever it was at: that is no fault of the file.
    const bool killed = slot.current == i && why == kKilled;
    const bool suspected = (slot.current == kNoItem || killed) && !Stopping();
    if (killed && entry.alone) {
      Finish(entry.item, ItemResult::NotKept(why));
    } else if ((slot.current == i && !killed) || (suspected && entry.alone)) {
      Finish(entry.item, ItemResult::Crashed(why));
    } else {
      entry.alone = entry.alone || suspected;
      innocent.push_back(std::move(entry));
    }
  }
  queue_.Return(std::move(innocent));
}

void Supervisor::HandleSignal() {
  const int signal_number = signals_.Take();
  if (signal_number == 0) return;
  if (stopped_by_ != 0) {
    stop_deadline_ = Clock::now();
    return;
  }
  stopped_by_ = signal_number;
  StopWorkers();
}

void Supervisor::StopWorkers() {
  stop_deadline_ = Clock::now() + kStopPatience;
  for (const auto& slot : slots_) slot->process.channel().Post(MessageType::kStop);
}

// What still has something in hand by now is given up: its transaction is rolled back. The others, with them
// those that have only the end of their batch to tell, close the database, so that it is left in one file.
void Supervisor::EndWorkers() {
  std::erase_if(slots_, [](const auto& slot) {
    return slot->state == State::kBusy && slot->reported < slot->batch.size();
  });
  const Clock::time_point end = Clock::now() + (stopped_by_ == 0 ? kEndPatience : kStopPatience);
  for (const auto& slot : slots_) slot->process.channel().Post(MessageType::kStop);
  for (const auto& slot : slots_) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    static_cast<void>(slot->process.AwaitEnd(std::max(left, milliseconds(0))));
  }
  slots_.clear();
}
