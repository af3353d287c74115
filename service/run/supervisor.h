#ifndef SERVICE_RUN_SUPERVISOR_H_
#define SERVICE_RUN_SUPERVISOR_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/outcome.h"
#include "common/stop_signals.h"
#include "library/library.h"
#include "run/worker_process.h"
#include "work/wire.h"
#include "work/work_queue.h"
#include "work/write_turn.h"

// Hears what a run does, in the supervisor's thread.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  // The first worker has opened the library; nothing has been given out yet.
  virtual void LibraryOpen() = 0;
  // An item is done for good: committed, or failed.
  virtual void ItemDone(const WorkItem& item, const ItemResult& result) = 0;
  // What was told so far of a transaction is all of it; GENERATION is the database's since then.
  virtual void BatchKept(std::uint64_t generation) = 0;
  // Comes at least ten times a second.
  virtual void Tick() = 0;
};

struct SupervisorOptions {
  WorkerStart worker;
  RunName name;
  std::size_t workers = 1;
  std::chrono::milliseconds file_timeout{};
};

// Gives the items of a queue to worker processes until it is empty. A worker that dies is replaced; the item
// it was at is failed, what it had not committed is given out again. A signal stops the handing out and lets
// the workers commit what they have; a second one ends them at once.
class Supervisor {
 public:
  Supervisor(SupervisorOptions options, WorkQueue& queue, RunObserver& observer, StopSignals& signals)
      : options_(std::move(options)), queue_(queue), observer_(observer), signals_(signals) {}

  // A failure when no worker can do anything, however often it is started, or the database has failed.
  Outcome<Done> Run();
  // The signal that stopped the run, 0 when none did.
  int stopped_by() const { return stopped_by_; }

 private:
  using Clock = std::chrono::steady_clock;
  enum class State : std::uint8_t { kStarting, kIdle, kBusy };

  // A worker and what it has in hand.
  struct Slot {
    explicit Slot(WorkerProcess started) : process(std::move(started)) {}

    WorkerProcess process;
    State state = State::kStarting;
    std::vector<WorkQueue::Entry> batch;
    std::size_t reported = 0;         // results of the batch that have come
    std::size_t told = 0;             // messages of the batch
    std::uint32_t current = kNoItem;  // the item it is at
    Clock::time_point since = Clock::now();
  };
  using Slots = std::vector<std::unique_ptr<Slot>>;

  bool Working();
  void HandOut();
  void StartWorkers();
  std::size_t WantedWorkers() const;
  bool GiveBatch(Slot& slot);

  void Wait();
  void Serve(Slot& slot);
  // False: not what a worker may send at this point.
  bool Accept(Slot& slot, const Message& message);
  bool AcceptResults(Slot& slot, std::string_view content);
  bool AcceptPosition(Slot& slot, std::string_view content);
  bool AcceptReady(Slot& slot, std::string_view content);
  bool AcceptUnusable(Slot& slot, std::string_view content);

  void KillOverdue();
  Clock::time_point Deadline(const Slot& slot) const;
  void Lose(Slot& slot, const std::string& why);
  void ReturnRest(Slot& slot, const std::string& why);
  void Finish(const WorkItem& item, const ItemResult& result);

  void HandleSignal();
  // No more is given out: a signal came, or the run cannot go on. Workers commit what they have.
  bool Stopping() const { return stopped_by_ != 0 || failure_; }
  void StopWorkers();
  void EndWorkers();

  SupervisorOptions options_;
  WorkQueue& queue_;
  RunObserver& observer_;
  StopSignals& signals_;
  const FileDescriptor turn_ = WriteTurn::MakeShared();
  Slots slots_;
  bool library_open_ = false;  // one worker has opened it; more may follow
  std::string database_;       // the file that it is
  int failed_starts_ = 0;      // in a row
  int stopped_by_ = 0;
  Clock::time_point stop_deadline_;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_RUN_SUPERVISOR_H_
