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
constexpr milliseconds kClosingPatience{10'000};
// A worker takes longer to start than to do fewer than these.
constexpr std::size_t kItemsWorthAWorker = 8;

}  // namespace

Supervisor::Supervisor(SupervisorOptions options, WorkQueue& queue, RunObserver& observer,
                       WorkerStarter& starter, EventLoop& loop)
    : options_(std::move(options)),
      queue_(queue),
      observer_(observer),
      starter_(starter),
      loop_(loop),
      crew_(options_.file_timeout, starter, loop),
      ticker_(loop, kTick, [this] { GoOn(); }) {}

Outcome<Done> Supervisor::outcome() const {
  if (failure_) return *failure_;
  return Done{};
}

void Supervisor::Stop() {
  if (phase_ == Phase::kEnding) {
    crew_.EndAllBy(loop_.Now());
  } else if (std::exchange(asked_to_stop_, true)) {
    stop_until_ = loop_.Now();
  } else {
    StopWorkers();
  }
}

void Supervisor::StopWorkers() {
  phase_ = Phase::kStopping;
  stop_until_ = loop_.Now() + kStopPatience;
  crew_.StopAll();
}

void Supervisor::GoOn() {
  HandOutOrEnd();
  observer_.Tick(loop_.Now());
}

void Supervisor::HandOutOrEnd() {
  if (phase_ == Phase::kWorking && HasWork()) HandOut();
  const bool going = phase_ == Phase::kWorking || phase_ == Phase::kStopping;
  if (going && (!HasWork() || (failure_ && crew_.empty()))) BeginEnding();
  if (phase_ == Phase::kEnding && crew_.empty()) phase_ = Phase::kFinished;
}

bool Supervisor::HasWork() {
  // One that is to be kept comes to the end of its batch.
  if (phase_ == Phase::kWorking) return !queue_.Finished() || (starter_.keeps() && crew_.HasBusy());
  return crew_.HasBusy() && loop_.Now() < stop_until_;
}

void Supervisor::HandOut() {
  if (!GiveToIdle() || !queue_.HasWaiting()) return;
  if (auto grown = crew_.GrowTo(WantedWorkers(), *this); !grown) return Fail(grown.failure());
  // Those that an earlier run has left have nothing to open.
  if (phase_ == Phase::kWorking) GiveToIdle();
}

bool Supervisor::GiveToIdle() {
  for (const auto& link : crew_.links()) {
    if (link->idle() && !GiveBatch(*link)) return false;
  }
  return true;
}

bool Supervisor::GiveBatch(WorkerLink& link) {
  auto batch = queue_.Take(options_.workers);
  if (batch.empty()) return false;
  link.Give(options_.name, std::move(batch));
  return true;
}

// The first worker makes the database, where there is none yet; the others come when it is there.
std::size_t Supervisor::WantedWorkers() const {
  if (!crew_.has_opened()) return 1;
  return std::min(options_.workers, queue_.KnownWaiting() / kItemsWorthAWorker + 1);
}

void Supervisor::Opened(const std::string& database) {
  const Crew::Opening opening = crew_.NoteOpened(database);
  if (opening == Crew::Opening::kFirst) {
    observer_.LibraryOpen();
  } else if (opening == Crew::Opening::kOther) {
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
  if (had_opened || crew_.has_one()) Fail(std::move(reason));
}

void Supervisor::Fail(Failure reason) {
  if (!failure_) failure_ = std::move(reason);
  if (phase_ == Phase::kWorking) StopWorkers();
}

void Supervisor::Lost(WorkerLink& link, const WorkerEnd& end) {
  if (link.starting() && crew_.NoteFailedStart() && crew_.has_one())
    Fail({ExitStatus::kFatal, "no worker can be started: " + end.text});
  // While it stops, what was cut off says nothing about the files.
  LostBatch lost = JudgeUnfinishedItems(link.TakeUnfinishedItems(), end, phase_ == Phase::kWorking);
  for (const auto& [item, result] : lost.failed) ItemDone(item, result);
  queue_.Return(std::move(lost.innocent));
  crew_.Remove(link);
  HandOutOrEnd();
}

// What still has something in hand by now is given up: its transaction is rolled back. The others, with them
// those that have only the end of their batch to tell, close the database, so that it is left in one file.
void Supervisor::BeginEnding() {
  phase_ = Phase::kEnding;
  crew_.RemoveThoseWithOpenItems();
  if (!failure_ && !asked_to_stop_) crew_.LeaveIdle();
  crew_.EndAllBy(loop_.Now() + (asked_to_stop_ ? kStopPatience : kClosingPatience));
}

void Supervisor::Ended(WorkerLink& link) {
  crew_.Remove(link);
  HandOutOrEnd();
}
