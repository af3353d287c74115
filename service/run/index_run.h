#ifndef SERVICE_RUN_INDEX_RUN_H_
#define SERVICE_RUN_INDEX_RUN_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "changes/catalogue.h"
#include "changes/marked_rows.h"
#include "changes/mount_notes.h"
#include "changes/plan.h"
#include "common/event_loop.h"
#include "common/outcome.h"
#include "files/walk_scope.h"
#include "library/library.h"
#include "run/held_back.h"
#include "run/ledger.h"
#include "run/report.h"
#include "run/run_progress.h"
#include "run/run_records.h"
#include "run/started_worker.h"
#include "run/supervisor.h"

struct IndexOptions {
  std::size_t workers = 1;
  std::chrono::milliseconds file_timeout{};
  bool quiet = false;
  bool accepts_loss = false;
};

// One run over a library: its phases. What has to be sent goes to the plug-in through the workers, the ledger
// keeps what became of it. To be used in one thread.
class IndexRun {
 public:
  // The catalogue is the library's. What it borrows outlives it.
  IndexRun(IndexOptions options, const Library& library, Catalogue& catalogue, WorkerStarter& starter,
           EventLoop& loop);

  // Sends the differences between the folder and its catalogue.
  Outcome<Done> Update() { return Update({WalkScope::Whole(), nullptr}); }
  // What of the folder may differ, as somebody has told. UNSETTLED: PlanOptions.
  struct Part {
    const WalkScope& scope;
    std::function<bool(const std::string&)> unsettled;
  };
  // Of what lies in PART; of everything where a part is not enough, since the catalogue was made anew or the
  // folder is another one.
  Outcome<Done> Update(const Part& part);
  // Sends everything again and deletes what is not there.
  Outcome<Done> Reindex();

  // A signal asks it to stop, from the loop: what is being done is brought to its end. Asked again it stops
  // at once.
  void Stop(int signal);

  const IndexReport& report() const { return ledger_.report(); }
  int stopped_by() const { return stopped_by_; }

 private:
  // Nothing is in it when a signal came meanwhile. MOVES_ALONE: and the folders that moved files need.
  Outcome<Plan> Look(bool moves_alone);
  Outcome<Plan> LookAt(const Part& part);
  bool StopAsked();
  Outcome<Done> UpdateFirstTime();
  Outcome<Done> UpdateDifferences(const Part& part);
  Outcome<Done> SendDeletes(Plan& plan);
  Outcome<Done> MarkSendAndSweep();
  // But what is HIDING others.
  Outcome<Done> SendEverything(const std::unordered_set<std::string>& hiding);
  Outcome<Done> SweepOrDelete(Plan& plan);
  // Whether what a full reindex has not met may be deleted: what may only be out of reach leaves MARKED.
  Outcome<LossVerdict> AskAboutMarked(MarkedRows& marked);
  // The marks that an earlier reindex or this one leaves go.
  Outcome<Done> Unmark();
  // What went and leaves no rows: files that had none, mounts.
  Outcome<Done> ForgetGone(Plan& plan, bool whole);

  Outcome<Done> Send(std::vector<WorkItem> items);
  Outcome<Done> SendFrom(WorkQueue::Source source);
  // What a run has looked at.
  enum class Extent : std::uint8_t {
    kPart,
    kDifferences,  // of the whole library
    kEverything,   // it was read, and told of
  };
  Outcome<Done> Conclude(Outcome<Done> outcome, Extent extent);

  IndexOptions options_;
  Library library_;
  Catalogue& catalogue_;
  WorkerStarter& starter_;
  EventLoop& loop_;
  HeldBack held_;
  RunRecords records_;
  Ledger ledger_;
  MountNotes mounts_;
  RunProgress progress_;
  Supervisor* supervisor_ = nullptr;  // while something is sent
  int stopped_by_ = 0;
  Moment next_poll_{};
};

#endif  // SERVICE_RUN_INDEX_RUN_H_
