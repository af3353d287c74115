#include "run/ledger.h"

#include <algorithm>
#include <utility>

#include "changes/library_catalogue.h"
#include "library/album_name.h"

namespace {

constexpr std::chrono::seconds kCommitInterval{1};
constexpr const char* kWaits = "waits for what could not be done in this run";

bool IsUpdate(const WorkItem& item) {
  return item.action == ItemAction::kAdd || item.action == ItemAction::kReindex;
}

// Of a file: what a later run has to know. What cannot be opened stays as it was.
bool IsLearned(ItemOutcome outcome) {
  return outcome != ItemOutcome::kUnopened && outcome != ItemOutcome::kSkipped;
}

void Tell(std::vector<Trouble>& troubles, const WorkItem& item, const ItemResult& result, bool known) {
  troubles.push_back({item.path, result.reason, known, result.outcome});
}

}  // namespace

Ledger::Ledger(const Library& library, Catalogue& catalogue, HeldBack& held)
    : catalogue_(catalogue), held_(held), generations_(catalogue), marked_(HasMarkedRows(catalogue)) {
  report_.library = library;
}

// A database that takes the place of this one later has not got what the catalogue then says of it.
void Ledger::LibraryOpen() {
  RecordDatabase(catalogue_, report_.library);
}

void Ledger::NoteWaiting(const std::vector<WorkItem>& items) {
  for (const WorkItem& item : items) {
    if (item.action != ItemAction::kSetAside) continue;
    catalogue_.Put({Key(item.path), item.kind, item.stamp, "", ItemOutcome::kPlanned});
  }
  catalogue_.Commit();
}

void Ledger::NotePassed(const WorkItem& item, SurveyCounts&& passed) {
  passed_[item.path] = std::move(passed);
}

void Ledger::NoteRefused(const WorkItem& item) {
  if (told_.insert(item.path).second) report_.failed.push_back({item.path, kWaits});
  held_.Add(item);
  CountPassed(item);
}

void Ledger::NoteDone(const WorkItem& item, const ItemResult& result) {
  if (IsUpdate(item)) {
    NoteUpdate(item, result);
  } else if (IsMove(item)) {
    NoteMove(item, result);
  } else if (item.action == ItemAction::kDelete) {
    NoteDelete(item, result);
  } else {
    NoteWholeLibrary(item, result);
  }
  CountPassed(item);
}

void Ledger::NoteWithheld(const std::string& reason, const std::vector<WorkItem>& items) {
  if (reason.empty()) return;
  report_.withheld_reason = reason;
  report_.withheld.clear();
  for (const WorkItem& item : items) report_.withheld.push_back(item.path);
}

void Ledger::Forget(const WorkItem& item) {
  catalogue_.Remove(Key(item.path), item.kind);
}

void Ledger::CommitWhenDue(Moment now) {
  if (!moved_ && now - committed_ < kCommitInterval) return;
  catalogue_.Commit();
  committed_ = now;
  moved_ = false;
}

void Ledger::Close(bool good) {
  // Not in the order in which the workers came to them.
  for (auto* troubles : {&report_.failed, &report_.notes}) {
    std::stable_sort(troubles->begin(), troubles->end(),
                     [](const auto& one, const auto& other) { return one.path < other.path; });
  }
  if (good && report_.withheld_reason.empty()) RecordRoot(catalogue_, report_.library);
  catalogue_.Commit();
}

void Ledger::NoteWholeLibrary(const WorkItem& item, const ItemResult& result) {
  if (!result.done()) {
    failure_ = Failure{ExitStatus::kFatal, report_.library.folder + ": " + result.reason};
  } else if (item.action == ItemAction::kNoteMounts) {
    RecordMounts(catalogue_, item.from);
  } else {
    marked_ = item.action == ItemAction::kMark;
  }
}

void Ledger::NoteUpdate(const WorkItem& item, const ItemResult& result) {
  const bool folder = item.kind == ItemKind::kFolder;
  NoteTrouble(item, result);
  if (result.done() && !folder) ++report_.added;
  if (result.done() && folder && NoAlbumReason(Key(item.path)) == nullptr) ++report_.folders;
  if (item.path == report_.library.folder) return;
  if (folder && result.outcome == ItemOutcome::kNotKept) held_.Add(item);
  if (result.done() || (!folder && IsLearned(result.outcome))) catalogue_.Put(EntryOf(item, result));
}

void Ledger::NoteMove(const WorkItem& item, const ItemResult& result) {
  NoteTrouble(item, result);
  moved_ = true;
  // Unless it crashed, a failure says that there was nothing to move.
  const bool settled = result.done() || (result.outcome == ItemOutcome::kUnusable);
  if (!settled) return NoteFailedMove(item, result);
  catalogue_.Remove(Key(item.from), item.kind);
  if (result.done() && item.action != ItemAction::kSetAside) ++report_.moved;
  CatalogueEntry entry = EntryOf(item, result);
  if (const std::string crash = held_.CrashOf(item.path); !crash.empty()) {
    entry.outcome = ItemOutcome::kUnusable;
    entry.reason = crash;
  }
  catalogue_.Put(entry);
}

// The rows of a photo can follow it unread; those of a video cannot, it is tried again by the next run.
void Ledger::NoteFailedMove(const WorkItem& item, const ItemResult& result) {
  held_.Add(item);
  if (result.outcome == ItemOutcome::kCrashed && item.action == ItemAction::kMove &&
      item.kind == ItemKind::kPhoto)
    held_.Rescue(item, result.reason);
}

void Ledger::NoteDelete(const WorkItem& item, const ItemResult& result) {
  NoteTrouble(item, result);
  if (!result.done()) return;
  ++report_.deleted;
  if (item.kind == ItemKind::kFolder) {
    catalogue_.RemoveTree(Key(item.path));
  } else {
    catalogue_.Remove(Key(item.path), item.kind);
  }
}

void Ledger::NoteTrouble(const WorkItem& item, const ItemResult& result) {
  if (result.outcome == ItemOutcome::kSkipped) {
    ++report_.skipped[result.reason];
    return;
  }
  if (result.outcome == ItemOutcome::kStored) return;
  Tell(result.done() ? report_.notes : report_.failed, item, result, WasTold(item, result));
  told_.insert(item.path);
}

std::optional<CatalogueEntry> Ledger::Recorded(const WorkItem& item) {
  return catalogue_.Find(Key(item.from.empty() ? item.path : item.from), item.kind);
}

// A change of rights, a move or a full reindex makes no new damage of an old one.
bool Ledger::WasTold(const WorkItem& item, const ItemResult& result) {
  const auto recorded = Recorded(item);
  return recorded && recorded->outcome == AsKept(result.outcome) && recorded->reason == result.reason &&
         recorded->stamp.SameContent(item.stamp);
}

bool Ledger::Waits(const WorkItem& item) {
  const auto recorded = Recorded(item);
  return !recorded || (recorded->outcome == ItemOutcome::kPartial && !recorded->reason.empty());
}

CatalogueEntry Ledger::EntryOf(const WorkItem& item, const ItemResult& result) const {
  return {Key(item.path), item.kind, item.stamp, result.fingerprint, AsKept(result.outcome), result.reason};
}

void Ledger::CountPassed(const WorkItem& item) {
  if (const auto found = passed_.find(item.path); found != passed_.end())
    report_.Add(std::move(passed_.extract(found).mapped()));
}
