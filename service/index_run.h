#ifndef SERVICE_INDEX_RUN_H_
#define SERVICE_INDEX_RUN_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "catalogue.h"
#include "catalogue_generation.h"
#include "file_counter.h"
#include "library.h"
#include "marked_rows.h"
#include "mount_record.h"
#include "outcome.h"
#include "plan.h"
#include "progress.h"
#include "report.h"
#include "stop_signals.h"
#include "supervisor.h"
#include "walk.h"

struct IndexOptions {
  WorkerStart worker;  // its descriptors are open as long as the run
  std::size_t workers = 1;
  std::chrono::milliseconds file_timeout{};
  bool quiet = false;
  bool accepts_loss = false;
};

// One run over a library: what has to be sent goes to the plug-in through the workers, the catalogue and the
// report keep what became of it.
class IndexRun : private RunObserver {
 public:
  // The catalogue is the library's and outlives the run.
  IndexRun(IndexOptions options, const Library& library, Catalogue& catalogue, StopSignals& signals);

  // Sends the differences between the folder and its catalogue.
  Outcome<Done> Update();
  // Sends everything again and deletes what is not there.
  Outcome<Done> Reindex();

  const IndexReport& report() const { return report_; }
  int stopped_by() const { return stopped_by_; }

 private:
  using Clock = std::chrono::steady_clock;

  // The marks that an earlier reindex or this one leaves go.
  Outcome<Done> Unmark();
  // The database gets to know of mounts before it gets rows on them, and forgets them when it has none there.
  Outcome<Done> NoteMounts(const Plan& plan);
  Outcome<Done> ForgetMounts(const Plan& plan);
  Outcome<Done> SendMounts(const MountRecord& mounts);
  Outcome<Done> UpdateFirstTime();
  std::optional<WorkItem> NextOfFirst(Walk& walk);
  Outcome<Done> UpdateDifferences();
  Outcome<Done> SendDeletes(Plan& plan);
  Outcome<Done> SendRescues();
  Outcome<Done> MarkSendAndSweep();
  Outcome<Done> SendEverything();
  Outcome<Done> SweepOrDelete(Plan& plan);
  // The rows of what could not be moved, and their albums, stay until they are.
  void LeaveOutHeldBack(std::vector<WorkItem>& deletes) const;
  // Whether what a full reindex has not met may be deleted. What is unknown is not: it leaves MARKED.
  Outcome<LossVerdict> JudgeSweep(MarkedRows& marked);

  // The next of the walk that is for the plug-in; the rest goes into the report on the way.
  std::optional<WorkItem> NextOf(Walk& walk, ItemAction action);
  Outcome<Done> Send(WorkQueue::Source source);
  // What waits is noted before anything is sent.
  void NoteWaiting(const std::vector<WorkItem>& items);
  Outcome<Done> Send(std::vector<WorkItem> items);
  void Withhold(const LossVerdict& verdict, const std::vector<WorkItem>& deletes);
  Outcome<Done> Conclude(Outcome<Done> outcome);

  // False for what would meet rows that could not be moved, or would have no album to lie in: it is left to
  // the next run.
  bool MayBeSent(const WorkItem& item);
  // Nothing may touch the rows of ITEM any more.
  void HoldBack(const WorkItem& item);

  void LibraryOpen() override;
  void ItemDone(const WorkItem& item, const ItemResult& result) override;
  void BatchKept(std::uint64_t generation) override;
  void Tick() override;
  void NoteWholeLibrary(const WorkItem& item);
  void NoteUpdate(const WorkItem& item, const ItemResult& result);
  void NoteMove(const WorkItem& item, const ItemResult& result);
  void NoteFailedMove(const WorkItem& item, const ItemResult& result);
  void NoteDelete(const WorkItem& item, const ItemResult& result);
  void NoteFailure(const WorkItem& item, const ItemResult& result);
  // A line of the report about ITEM, which is KNOWN from an earlier run.
  void Tell(std::vector<Trouble>& troubles, const WorkItem& item, const std::string& reason,
            bool known = false);
  // An earlier run has left this STATE of the file, and its content is the same.
  bool WasTold(const WorkItem& item, EntryState state, const std::string& reason);
  // What the catalogue keeps of an item that was read.
  CatalogueEntry EntryOf(const WorkItem& item, const ItemResult& result) const;
  std::string Key(const std::string& path) const;
  void CountFile(const WorkItem& item);
  // ITEM is done, or will not be: what the walk came to on the way to it counts now.
  void Reach(const WorkItem& item);

  IndexOptions options_;
  Catalogue& catalogue_;
  StopSignals& signals_;
  KeptGenerations generations_;
  IndexReport report_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point committed_ = Clock::now();
  Progress progress_;
  std::unique_ptr<FileCounter> counter_;
  std::optional<std::size_t> total_;
  std::size_t files_done_ = 0;
  std::unordered_map<std::string, SurveyCounts> ahead_;  // of items given to the queue: what led to them
  SurveyCounts passed_;                                  // what the walk came to since the last of them
  std::string current_folder_;
  bool full_ = false;               // everything is read, and told of
  MountRecord mounts_;              // those that the database knows of, or that were given to the queue
  std::optional<WorkItem> behind_;  // follows the note of its mount
  std::uint32_t first_stage_ = 0;   // of what a first run sends now
  bool marked_;                     // rows are marked by a reindex
  bool moved_ = false;              // since the last commit
  bool move_failed_ = false;        // rows are still under an old name
  std::unordered_set<std::string> held_back_;         // paths of rows that must stay as they are
  std::unordered_set<std::string> without_album_;     // folders
  std::unordered_set<std::string> told_;              // paths of items that the report has a line about
  std::vector<WorkItem> rescues_;                     // photos whose rows move without being read
  std::map<std::string, std::string> crash_reasons_;  // of those
  std::optional<Failure> failure_;
  int stopped_by_ = 0;
};

#endif  // SERVICE_INDEX_RUN_H_
