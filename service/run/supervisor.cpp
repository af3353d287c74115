#include "run/supervisor.h"

#include <algorithm>
#include <utility>

#include "common/display.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTick{100};
// How long workers may take to commit what they have when the run is stopped.
constexpr milliseconds kStopPatience{2'000};
// How long one may take to close the database at the end.
constexpr milliseconds kEndPatience{10'000};
constexpr int kMostFailedStarts = 3;
// A worker takes longer to start than to do fewer than these.
constexpr std::size_t kItemsWorthAWorker = 8;
constexpr const char* kKilled = "killed by signal 9 (Killed)";

}  // namespace

Supervisor::Supervisor(SupervisorOptions options, WorkQueue& queue, RunObserver& observer,
                       WorkerStarter& starter, EventLoop& loop)
    : options_(std::move(options)),
      queue_(queue),
      observer_(observer),
      starter_(starter),
      loop_(loop),
      next_tick_(loop.Now()) {
  loop_.Add(*this);
}

Outcome<Done> Supervisor::outcome() const {
  if (failure_) return *failure_;
  return Done{};
}

void Supervisor::Stop() {
  if (phase_ == Phase::kEnding) {
    for (const auto& link : workers_) link->EndBy(loop_.Now());
  } else if (std::exchange(asked_to_stop_, true)) {
    stop_until_ = loop_.Now();
  } else {
    StopWorkers();
  }
}

void Supervisor::StopWorkers() {
  phase_ = Phase::kStopping;
  stop_until_ = loop_.Now() + kStopPatience;
  for (const auto& link : workers_) link->Stop();
}

void Supervisor::Expire() {
  next_tick_ = loop_.Now() + kTick;
  Served();
}

void Supervisor::Served() {
  Advance();
  observer_.Tick(loop_.Now());
}

void Supervisor::Advance() {
  if (phase_ == Phase::kWorking && HasWork()) HandOut();
  const bool going = phase_ == Phase::kWorking || phase_ == Phase::kStopping;
  if (going && (!HasWork() || (failure_ && workers_.empty()))) End();
  if (phase_ == Phase::kEnding && workers_.empty()) phase_ = Phase::kFinished;
}

bool Supervisor::HasWork() {
  if (phase_ == Phase::kWorking) return !queue_.Finished();
  const bool busy =
      std::any_of(workers_.begin(), workers_.end(), [](const auto& link) { return link->busy(); });
  return busy && loop_.Now() < stop_until_;
}

void Supervisor::HandOut() {
  for (const auto& link : workers_) {
    if (link->idle() && !GiveBatch(*link)) return;
  }
  if (queue_.HasWaiting()) StartWorkers();
}

// False when nothing can be given out at the moment.
bool Supervisor::GiveBatch(WorkerLink& link) {
  auto batch = queue_.Take(options_.workers);
  if (batch.empty()) return false;
  link.Give(options_.name, std::move(batch));
  return true;
}

// The first worker makes the database, where there is none yet; the others come when it is there.
std::size_t Supervisor::WantedWorkers() const {
  if (!database_) return 1;
  return std::min(options_.workers, queue_.KnownWaiting() / kItemsWorthAWorker + 1);
}

// Where starting fails again and again, those that run go on alone.
void Supervisor::StartWorkers() {
  WorkerLinkListener& listener = *this;
  const std::size_t wanted = WantedWorkers();
  while (workers_.size() < wanted && (workers_.empty() || failed_starts_ < kMostFailedStarts)) {
    auto started = starter_.Start(database_.value_or(""));
    if (!started) {
      ++failed_starts_;
      if (workers_.empty()) Fail(started.failure());
      return;
    }
    workers_.push_back(
        std::make_unique<WorkerLink>(std::move(*started), options_.file_timeout, listener, loop_));
  }
}

void Supervisor::Opened(const std::string& database) {
  failed_starts_ = 0;
  if (!database_) {
    database_ = database;
    observer_.LibraryOpen();
  } else if (database != *database_) {
    // The others still write what is no longer the library's.
    Fail({ExitStatus::kDatabase, Visible(options_.library.database()) +
                                     ": it was removed or replaced; what was done before is kept"});
  }
}

void Supervisor::ItemDone(const WorkItem& item, const ItemResult& result) {
  queue_.Done(item);
  observer_.ItemDone(item, result);
}

// What cannot be opened by a further worker is still open in the others.
void Supervisor::Unusable(bool had_opened, Failure reason) {
  if (had_opened || workers_.size() == 1) Fail(std::move(reason));
}

void Supervisor::Fail(Failure reason) {
  if (!failure_) failure_ = std::move(reason);
  if (phase_ == Phase::kWorking) StopWorkers();
}

void Supervisor::Lost(WorkerLink& link, const std::string& why) {
  const bool last = workers_.size() == 1;
  if (link.starting() && ++failed_starts_ >= kMostFailedStarts && last)
    Fail({ExitStatus::kFatal, "no worker can be started: " + why});
  ReturnRest(link.TakeRest(), why);
  std::erase_if(workers_, [&](const auto& other) { return other.get() == &link; });
  Advance();
}

void Supervisor::ReturnRest(WorkerLink::Rest rest, const std::string& why) {
  std::vector<WorkQueue::Entry> innocent;
  for (std::size_t i = 0; i < rest.entries.size(); ++i) {
    WorkQueue::Entry& entry = rest.entries[i];
    const bool current = rest.current == i;
    // Somebody else, or want of memory, may have killed it whatever it was at: that is no fault of the file.
    const bool killed = current && why == kKilled;
    const bool suspected = (!rest.current || killed) && phase_ == Phase::kWorking;
    if (killed && entry.alone) {
      ItemDone(entry.item, ItemResult::NotKept(why));
    } else if ((current && !killed) || (suspected && entry.alone)) {
      ItemDone(entry.item, ItemResult::Crashed(why));
    } else {
      entry.alone = entry.alone || suspected;
      innocent.push_back(std::move(entry));
    }
  }
  queue_.Return(std::move(innocent));
}

// What still has something in hand by now is given up: its transaction is rolled back. The others, with them
// those that have only the end of their batch to tell, close the database, so that it is left in one file.
void Supervisor::End() {
  phase_ = Phase::kEnding;
  std::erase_if(workers_, [](const auto& link) { return link->has_open_items(); });
  const Moment until = loop_.Now() + (asked_to_stop_ ? kStopPatience : kEndPatience);
  for (const auto& link : workers_) link->EndBy(until);
}

void Supervisor::Ended(WorkerLink& link) {
  std::erase_if(workers_, [&](const auto& other) { return other.get() == &link; });
  Advance();
}
