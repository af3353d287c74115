// The books of a run: what became of each item, as its report tells it and as the catalogue keeps it.
#ifndef SERVICE_RUN_LEDGER_H_
#define SERVICE_RUN_LEDGER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "changes/catalogue.h"
#include "changes/catalogue_generation.h"
#include "common/event_loop.h"
#include "common/outcome.h"
#include "library/library.h"
#include "run/held_back.h"
#include "run/report.h"
#include "work/work_item.h"

class Ledger {
 public:
  // CATALOGUE and HELD, which gets what an item that failed holds back, outlive it.
  Ledger(const Library& library, Catalogue& catalogue, HeldBack& held);

  // The library's database is there.
  void LibraryOpen();
  // What waits to be sent, as far as it must be known though the run is killed.
  void NoteWaiting(const std::vector<WorkItem>& items);
  // What the walk came to on the way to ITEM counts when the item is done or refused.
  void NotePassed(const WorkItem& item, SurveyCounts&& passed);
  // ITEM is left to the next run.
  void NoteRefused(const WorkItem& item);
  void NoteDone(const WorkItem& item, const ItemResult& result);
  // The name of the run, noted before anything of it is sent.
  const RunName& Begin() { return generations_.Begin(); }
  // What was told so far of a transaction is all of it.
  void NoteKept(std::uint64_t generation) { generations_.Note(generation); }
  // ITEMS are not sent, since files may only be out of reach, for this REASON; "" for none.
  void NoteWithheld(const std::string& reason, const std::vector<WorkItem>& items);
  // ITEM stays as it is.
  void NoteLeft(const WorkItem& item) { CountPassed(item); }
  // The rows of ITEM are gone, whoever has deleted them.
  void Forget(const WorkItem& item);
  // Once a second, and after each move.
  void CommitWhenDue(Moment now);
  // The run is at its end, which it has come to by itself or by a signal when it is GOOD.
  void Close(bool good);

  IndexReport& report() { return report_; }
  const IndexReport& report() const { return report_; }
  // ITEM is not known yet, or an earlier run has left something of it to be done.
  bool Waits(const WorkItem& item);
  // Rows are marked by a full reindex.
  bool marked() const { return marked_; }
  // Something that concerns the library as a whole has failed.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  void NoteWholeLibrary(const WorkItem& item, const ItemResult& result);
  void NoteUpdate(const WorkItem& item, const ItemResult& result);
  void NoteMove(const WorkItem& item, const ItemResult& result);
  void NoteFailedMove(const WorkItem& item, const ItemResult& result);
  void NoteDelete(const WorkItem& item, const ItemResult& result);
  // A line of the report where RESULT needs one.
  void NoteTrouble(const WorkItem& item, const ItemResult& result);
  // An earlier run came to the same with this item, whose content is the same.
  bool WasTold(const WorkItem& item, const ItemResult& result);
  // What the catalogue keeps of an item that was read.
  CatalogueEntry EntryOf(const WorkItem& item, const ItemResult& result) const;
  // Of what is recorded of ITEM, under its old path if it moved.
  std::optional<CatalogueEntry> Recorded(const WorkItem& item);
  std::string Key(const std::string& path) const { return report_.library.Below(path); }
  void CountPassed(const WorkItem& item);

  Catalogue& catalogue_;
  HeldBack& held_;
  KeptGenerations generations_;
  IndexReport report_;
  std::unordered_map<std::string, SurveyCounts> passed_;  // path of an item -> on the way to it
  std::unordered_set<std::string> told_;                  // paths of items that the report has a line about
  bool marked_;
  bool moved_ = false;  // since the last commit
  Moment committed_{};
  std::optional<Failure> failure_;
};

#endif  // SERVICE_RUN_LEDGER_H_
