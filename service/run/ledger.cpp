#include "run/ledger.h"

#include <algorithm>
#include <utility>

#include "common/display.h"
#include "library/album_name.h"

namespace {

constexpr const char* kWaits = "waits for what could not be done in this run";

bool IsUpdate(const WorkItem& item) {
  return item.action == ItemAction::kAdd || item.action == ItemAction::kReindex;
}

// Of a file: what a later run has to know. What cannot be opened stays as it was.
bool IsLearned(ItemOutcome outcome) {
  return outcome != ItemOutcome::kUnopened && outcome != ItemOutcome::kSkipped;
}

void AddProblem(std::vector<FileProblem>& problems, const WorkItem& item, const ItemResult& result,
                bool known) {
  problems.push_back({item.path, result.reason, known, result.outcome});
}

}  // namespace

Ledger::Ledger(const Library& library, RunRecords& records, HeldBack& held) : records_(records), held_(held) {
  report_.library = library;
}

void Ledger::NoteCountsBefore(const WorkItem& item, SurveyCounts&& counts) {
  counts_before_[item.path] = std::move(counts);
}

void Ledger::NoteRefused(const WorkItem& item) {
  if (reported_paths_.insert(item.path).second)
    report_.failed.push_back({item.path, kWaits, false, ItemOutcome::kNotKept});
  held_.Add(item);
  AddCountsBefore(item);
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
  AddCountsBefore(item);
}

void Ledger::NoteWithheld(const std::string& reason, const std::vector<WorkItem>& items) {
  if (reason.empty()) return;
  report_.withheld_reason = reason;
  report_.withheld.clear();
  for (const WorkItem& item : items) report_.withheld.push_back(item.path);
}

void Ledger::Close() {
  // The workers come to the files in another order each time.
  for (auto* problems : {&report_.failed, &report_.notes}) {
    std::stable_sort(problems->begin(), problems->end(),
                     [](const auto& one, const auto& other) { return one.path < other.path; });
  }
}

void Ledger::NoteWholeLibrary(const WorkItem& item, const ItemResult& result) {
  if (!result.done()) {
    failure_ = Failure{ExitStatus::kFatal, AboutFile(report_.library.folder, result.reason)};
  } else if (item.action == ItemAction::kNoteMounts) {
    records_.NoteMounts(item.from);
  } else {
    records_.NoteMarked(item.action == ItemAction::kMark);
  }
}

void Ledger::NoteUpdate(const WorkItem& item, const ItemResult& result) {
  const bool folder = item.kind == ItemKind::kFolder;
  NoteProblem(item, result);
  if (result.done() && !folder) ++report_.added;
  if (result.done() && folder && NoAlbumReason(report_.library.Below(item.path)) == nullptr)
    ++report_.folders;
  // The library's own folder has no entry in the catalogue.
  if (item.path == report_.library.folder) {
    if (result.done()) records_.NoteRootAlbum();
    return;
  }
  if (folder && result.outcome == ItemOutcome::kNotKept) held_.Add(item);
  if (result.done() || (!folder && IsLearned(result.outcome))) records_.Put(item, result);
}

void Ledger::NoteMove(const WorkItem& item, const ItemResult& result) {
  NoteProblem(item, result);
  // A move that is in the database and not in the catalogue looks like a delete and an add.
  records_.CommitSoon();
  // Unless it crashed, a failure says that there was nothing to move.
  const bool settled = result.done() || (result.outcome == ItemOutcome::kUnusable);
  if (!settled) return NoteFailedMove(item, result);
  records_.ForgetOldName(item);
  if (result.done() && item.action != ItemAction::kParkRows) ++report_.moved;
  const std::string crash = held_.CrashReason(item.path);
  records_.Put(item, crash.empty() ? result : ItemResult{ItemOutcome::kUnusable, crash, result.fingerprint});
}

// The rows of a photo can follow it unread; those of a video cannot, it is tried again by the next run.
void Ledger::NoteFailedMove(const WorkItem& item, const ItemResult& result) {
  held_.Add(item);
  report_.left_moves = true;
  if (result.outcome == ItemOutcome::kCrashed && item.action == ItemAction::kMove &&
      item.kind == ItemKind::kPhoto)
    held_.Rescue(item, result.reason);
}

void Ledger::NoteDelete(const WorkItem& item, const ItemResult& result) {
  NoteProblem(item, result);
  if (!result.done()) return;
  ++report_.deleted;
  records_.ForgetTree(item);
}

void Ledger::NoteProblem(const WorkItem& item, const ItemResult& result) {
  if (result.outcome == ItemOutcome::kSkipped) {
    ++report_.skipped[result.reason];
    return;
  }
  if (result.outcome == ItemOutcome::kStored) return;
  AddProblem(result.done() ? report_.notes : report_.failed, item, result,
             records_.WasReportedBefore(item, result));
  reported_paths_.insert(item.path);
}

void Ledger::AddCountsBefore(const WorkItem& item) {
  if (const auto found = counts_before_.find(item.path); found != counts_before_.end())
    report_.Add(std::move(counts_before_.extract(found).mapped()));
}
