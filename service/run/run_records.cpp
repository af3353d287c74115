#include "run/run_records.h"

#include <chrono>

#include "changes/library_catalogue.h"
#include "changes/parked_rows.h"

namespace {

constexpr std::chrono::seconds kCommitInterval{1};

}  // namespace

RunRecords::RunRecords(const Library& library, Catalogue& catalogue)
    : library_(library), catalogue_(catalogue), generations_(catalogue), marked_(HasMarkedRows(catalogue)) {}

// A database that takes the place of this one later has not got what the catalogue then says of it.
void RunRecords::LibraryOpen() {
  NoteDatabase(catalogue_, library_);
}

void RunRecords::NoteWaiting(const std::vector<WorkItem>& items) {
  std::set<std::string> parked;
  for (const WorkItem& item : items) {
    // Only under these names could a run that is killed leave rows that no file tells of.
    if (item.action != ItemAction::kParkRows) continue;
    catalogue_.Put({Key(item.path), item.kind, item.stamp, "", ItemOutcome::kPlanned});
    parked.insert(Key(item.path));
  }
  if (!parked.empty()) NoteParked(parked, catalogue_);
  catalogue_.Commit();
}

void RunRecords::Put(const WorkItem& item, const ItemResult& result) {
  catalogue_.Put(
      {Key(item.path), item.kind, item.stamp, result.fingerprint, AsKept(result.outcome), result.reason});
}

void RunRecords::Forget(const WorkItem& item) {
  catalogue_.Remove(Key(item.path), item.kind);
}

void RunRecords::ForgetTree(const WorkItem& item) {
  if (item.kind == ItemKind::kFolder) return catalogue_.RemoveTree(Key(item.path));
  ++lost_files_;
  Forget(item);
}

void RunRecords::ForgetOldName(const WorkItem& item) {
  catalogue_.Remove(Key(item.from), item.kind);
}

void RunRecords::NoteRootAlbum() {
  ::NoteRootAlbum(catalogue_);
}

void RunRecords::NoteMounts(const std::string& mounts) {
  NoteMountsInDatabase(catalogue_, mounts);
}

std::optional<CatalogueEntry> RunRecords::Recorded(const WorkItem& item) {
  return catalogue_.Find(Key(IsMove(item) ? item.from : item.path), item.kind);
}

// A change of rights, a move or a full reindex makes no new damage of an old one.
bool RunRecords::WasReportedBefore(const WorkItem& item, const ItemResult& result) {
  const auto recorded = Recorded(item);
  return recorded && recorded->outcome == AsKept(result.outcome) && recorded->reason == result.reason &&
         recorded->stamp.SameContent(item.stamp);
}

bool RunRecords::Waits(const WorkItem& item) {
  const auto recorded = Recorded(item);
  return !recorded || (recorded->outcome == ItemOutcome::kPartial && !recorded->reason.empty());
}

void RunRecords::CommitWhenDue(Moment now) {
  if (!soon_ && now - committed_ < kCommitInterval) return;
  catalogue_.Commit();
  committed_ = now;
  soon_ = false;
}

void RunRecords::Close(bool complete) {
  if (complete) NoteRoot(catalogue_, library_);
  catalogue_.Commit();
}
