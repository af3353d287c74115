#ifndef SERVICE_RUN_WORKER_LINK_H_
#define SERVICE_RUN_WORKER_LINK_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/event_loop.h"
#include "common/outcome.h"
#include "run/handed_batch.h"
#include "run/started_worker.h"
#include "run/work_queue.h"
#include "work/wire.h"

class WorkerLink;

// Hears of a worker, in the loop's thread. Only in SaidAll, Lost and Ended may the listener destroy links,
// the one that tells among them.
class WorkerLinkListener {
 public:
  virtual ~WorkerLinkListener() = default;
  // The worker has opened the library, whose database is this file.
  virtual void Opened(const std::string& database) = 0;
  virtual void ItemDone(const WorkItem& item, const ItemResult& result) = 0;
  // All results of one transaction have been told; it has raised the database to GENERATION.
  virtual void Kept(std::uint64_t generation) = 0;
  // The worker cannot go on, and no item is to blame. HAD_OPENED: it could before.
  virtual void Unusable(bool had_opened, Failure reason) = 0;
  // It has said all that it had to say for now.
  virtual void SaidAll() = 0;
  // It is gone, in this way.
  virtual void Lost(WorkerLink& link, const WorkerEnd& end) = 0;
  // It is gone as it was told to.
  virtual void Ended(WorkerLink& link) = 0;
};

// One worker as its supervisor sees it: what it may say at which point, and by when. A broken file may
// have taken the worker over, so whatever does not belong where it stands ends it. To be used in the loop's
// thread.
class WorkerLink : public EventHandler {
 public:
  // LISTENER and LOOP outlive it.
  WorkerLink(std::unique_ptr<StartedWorker> worker, std::chrono::milliseconds file_timeout,
             WorkerLinkListener& listener, EventLoop& loop);
  ~WorkerLink() override { loop_.Remove(*this); }
  WorkerLink(const WorkerLink&) = delete;
  WorkerLink& operator=(const WorkerLink&) = delete;

  bool starting() const { return state_ == State::kStarting; }
  bool idle() const { return state_ == State::kIdle; }
  bool busy() const { return state_ == State::kBusy; }
  // Something that was given to it is not told of yet.
  bool has_open_items() const { return busy() && !batch_.told_of_all(); }

  // To one that is idle.
  void Give(const RunName& name, std::vector<WorkQueue::Entry> batch);
  // It commits what it has and tells of it; what is left of its batch it leaves.
  void Stop();
  // It closes the database and is gone at UNTIL at the latest. What it says meanwhile is not heard.
  void EndBy(Moment until);

  // One that is idle goes to STARTER, for a later run; false when it is not kept.
  bool Leave(WorkerStarter& starter, const std::string& database);

  HandedBatch::UnfinishedItems TakeUnfinishedItems() { return batch_.TakeUnfinishedItems(); }

  Awaited Awaits() const override;
  void Serve() override;
  void Expire() override;

 private:
  enum class State : std::uint8_t { kStarting, kIdle, kBusy, kEnding };

  // False: not what a worker may send at this point.
  bool HandleMessage(const Message& message);
  bool HandleReady(std::string_view content);
  bool HandleUnusable(std::string_view content);
  bool HandleResults(std::string_view content);
  bool HandleBatchEnd();
  // For what it is at: an item, or work that belongs to none.
  std::chrono::milliseconds TimeForStep() const;
  std::chrono::milliseconds TimeForBatch() const;

  std::unique_ptr<StartedWorker> worker_;
  std::chrono::milliseconds file_timeout_;
  WorkerLinkListener& listener_;
  EventLoop& loop_;
  State state_;
  HandedBatch batch_;
  std::size_t messages_of_batch_ = 0;
  Moment last_word_at_;  // when it last said something, or was given something
  Moment batch_end_;     // when it must be done with the batch
  Moment end_;           // when it must be gone
};

#endif  // SERVICE_RUN_WORKER_LINK_H_
