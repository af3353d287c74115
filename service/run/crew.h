#ifndef SERVICE_RUN_CREW_H_
#define SERVICE_RUN_CREW_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "common/outcome.h"
#include "run/started_worker.h"
#include "run/worker_link.h"

// The workers of a run: how they are started, until starting fails too often, and that all have opened the
// same database. To be used in the loop's thread.
class Crew {
 public:
  using Links = std::vector<std::unique_ptr<WorkerLink>>;
  enum class Opening : std::uint8_t { kFirst, kSame, kOther };

  // STARTER and LOOP outlive it.
  Crew(std::chrono::milliseconds file_timeout, WorkerStarter& starter, EventLoop& loop)
      : file_timeout_(file_timeout), starter_(starter), loop_(loop) {}

  // Starts what is lacking of COUNT workers, whose LISTENER outlives them. Where starting fails again and
  // again those that run go on alone; a failure where there is none.
  Outcome<Done> GrowTo(std::size_t count, WorkerLinkListener& listener);
  // One of them has opened DATABASE.
  Opening NoteOpened(const std::string& database);
  bool has_opened() const { return database_.has_value(); }
  // One that was started is gone before it has opened anything; true when that is too often.
  bool NoteFailedStart();

  const Links& links() const { return links_; }
  bool empty() const { return links_.empty(); }
  // There is no other.
  bool has_one() const { return links_.size() == 1; }
  bool HasBusy() const;
  void Remove(const WorkerLink& link);
  // Gives up those with something in hand: what they have not committed is rolled back.
  void RemoveThoseWithOpenItems();
  // Those that wait for work stay for a later run, where the starter keeps them.
  void LeaveIdle();
  void StopAll();
  void EndAllBy(Moment until);

 private:
  std::chrono::milliseconds file_timeout_;
  WorkerStarter& starter_;
  EventLoop& loop_;
  Links links_;
  std::optional<std::string> database_;  // which file it is; one worker has opened it, more may follow
  int failed_starts_ = 0;                // in a row
};

#endif  // SERVICE_RUN_CREW_H_
