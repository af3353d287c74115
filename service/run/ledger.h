#ifndef SERVICE_RUN_LEDGER_H_
#define SERVICE_RUN_LEDGER_H_

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/outcome.h"
#include "library/library.h"
#include "run/held_back.h"
#include "run/report.h"
#include "run/run_records.h"
#include "work/work_item.h"

// What became of each item of a run: tells the report, the records and what is held back. Used by the thread
// of the run.
class Ledger {
 public:
  // RECORDS and HELD, which gets what an item that failed holds back, outlive it.
  Ledger(const Library& library, RunRecords& records, HeldBack& held);

  // What the walk came to on the way to ITEM counts when the item is done or refused.
  void NoteCountsBefore(const WorkItem& item, SurveyCounts&& counts);
  // ITEM is left to the next run.
  void NoteRefused(const WorkItem& item);
  void NoteDone(const WorkItem& item, const ItemResult& result);
  // ITEMS are not sent, since files may only be out of reach, for this REASON; "" for none.
  void NoteWithheld(const std::string& reason, const std::vector<WorkItem>& items);
  // ITEM stays as it is.
  void NoteLeftAsItIs(const WorkItem& item) { AddCountsBefore(item); }
  // The run is at its end: its lines get their order.
  void Close();

  IndexReport& report() { return report_; }
  const IndexReport& report() const { return report_; }
  // Something that concerns the library as a whole has failed.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  void NoteWholeLibrary(const WorkItem& item, const ItemResult& result);
  void NoteUpdate(const WorkItem& item, const ItemResult& result);
  void NoteMove(const WorkItem& item, const ItemResult& result);
  void NoteFailedMove(const WorkItem& item, const ItemResult& result);
  void NoteDelete(const WorkItem& item, const ItemResult& result);
  // A line of the report where RESULT needs one.
  void NoteProblem(const WorkItem& item, const ItemResult& result);
  void AddCountsBefore(const WorkItem& item);

  RunRecords& records_;
  HeldBack& held_;
  IndexReport report_;
  std::unordered_map<std::string, SurveyCounts> counts_before_;  // path of an item -> on the way to it
  std::unordered_set<std::string> reported_paths_;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_RUN_LEDGER_H_
