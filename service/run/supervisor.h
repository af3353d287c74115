#ifndef SERVICE_RUN_SUPERVISOR_H_
#define SERVICE_RUN_SUPERVISOR_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "common/event_loop.h"
#include "common/outcome.h"
#include "common/ticker.h"
#include "library/library.h"
#include "run/crew.h"
#include "run/started_worker.h"
#include "run/work_queue.h"
#include "run/worker_link.h"

// Hears what a run does, in the loop's thread.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  // The first worker has opened the library; nothing has been given out yet.
  virtual void LibraryOpen() = 0;
  // An item is done for good: committed, or failed.
  virtual void ItemDone(const WorkItem& item, const ItemResult& result) = 0;
  // As WorkerLinkListener::Kept.
  virtual void BatchKept(std::uint64_t generation) = 0;
  // Comes after all that the others tell of, and ten times a second.
  virtual void Tick(Moment now) = 0;
};

struct SupervisorOptions {
  Library library;
  RunName name;
  std::size_t workers = 1;
  std::chrono::milliseconds file_timeout{};
};

// Gives the items of a queue to workers until it is empty. A worker that dies is replaced; the item it was at
// is failed, what it had not committed is given out again. It does nothing but when its loop turns, which may
// turn for others too; to be used in the loop's thread.
class Supervisor : private WorkerLinkListener {
 public:
  // What it borrows outlives it.
  Supervisor(SupervisorOptions options, WorkQueue& queue, RunObserver& observer, WorkerStarter& starter,
             EventLoop& loop);
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;

  // Nothing more is given out; the workers commit what they have. Asked again, they are ended at once.
  void Stop();

  bool finished() const { return phase_ == Phase::kFinished; }
  // Of one that has finished: a failure when no worker can do anything, however often it is started, or the
  // database has failed.
  Outcome<Done> outcome() const;

 private:
  // While it stops, the workers commit what they have; while it ends, they close the database.
  enum class Phase : std::uint8_t { kWorking, kStopping, kEnding, kFinished };

  void Opened(const std::string& database) override;
  void ItemDone(const WorkItem& item, const ItemResult& result) override;
  void Kept(std::uint64_t generation) override { observer_.BatchKept(generation); }
  void Unusable(bool had_opened, Failure reason) override;
  void SaidAll() override { GoOn(); }
  void Lost(WorkerLink& link, const WorkerEnd& end) override;
  void Ended(WorkerLink& link) override;

  // What it does each time that something was told, and on each tick.
  void GoOn();
  // Gives out what there is; where there is nothing any more, the next phase begins.
  void HandOutOrEnd();
  bool HasWork();
  void HandOut();
  // False when nothing can be given out at the moment, as for the next.
  bool GiveToIdle();
  bool GiveBatch(WorkerLink& link);
  std::size_t WantedWorkers() const;
  void Fail(Failure reason);
  void StopWorkers();
  // The workers are told; they are gone when the loop has heard of each.
  void BeginEnding();

  SupervisorOptions options_;
  WorkQueue& queue_;
  RunObserver& observer_;
  WorkerStarter& starter_;
  EventLoop& loop_;
  Phase phase_ = Phase::kWorking;
  Crew crew_;
  bool asked_to_stop_ = false;
  Moment stop_until_;
  std::optional<Failure> failure_;
  Ticker ticker_;
};

#endif  // SERVICE_RUN_SUPERVISOR_H_
