#include "index_run.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "album_name.h"
#include "library_catalogue.h"
#include "media_files.h"
#include "path_parts.h"
#include "survey.h"
#include "unopened.h"
#include "work_queue.h"

namespace {

constexpr std::chrono::seconds kCommitInterval{1};

bool IsUpdate(const WorkItem& item) {
  return item.action == ItemAction::kAdd || item.action == ItemAction::kReindex;
}

bool IsMove(const WorkItem& item) {
  return item.action == ItemAction::kMove || item.action == ItemAction::kSetAside ||
         item.action == ItemAction::kRename;
}

constexpr const char* kHeldBack = "waits for what could not be done in this run";
constexpr const char* kSweepFact = "sweep-loss";

WorkItem WholeLibrary(const Library& library, ItemAction action) {
  return {ItemKind::kFolder, library.folder, action};
}

}  // namespace

IndexRun::IndexRun(IndexOptions options, const Library& library, Catalogue& catalogue, StopSignals& signals)
    : options_(std::move(options)),
      catalogue_(catalogue),
      signals_(signals),
      generations_(catalogue),
      progress_(stderr, ProgressModeFor(stderr, options_.quiet)),
      mounts_(MountsInDatabase(catalogue)),
      marked_(HasMarkedRows(catalogue)) {
  report_.library = library;
}

Outcome<Done> IndexRun::Update() {
  if (auto unmarked = Unmark(); !unmarked) return Conclude(unmarked);
  const bool first_time = catalogue_.FileCount() == 0 && catalogue_.Folders().empty();
  return Conclude(first_time ? UpdateFirstTime() : UpdateDifferences());
}

Outcome<Done> IndexRun::Unmark() {
  return marked_ ? Send({WholeLibrary(report_.library, ItemAction::kUnmark)}) : Done{};
}

Outcome<Done> IndexRun::UpdateFirstTime() {
  auto walk = Walk::Start(report_.library.folder);
  if (!walk) return walk.failure();
  return Send([&] { return NextOfFirst(*walk); });
}

std::optional<WorkItem> IndexRun::NextOfFirst(Walk& walk) {
  if (behind_) return std::exchange(behind_, std::nullopt);
  const std::size_t known = mounts_.size();
  auto item = NextOf(walk, ItemAction::kAdd);
  if (!item) return item;
  if (mounts_.size() == known) {
    item->stage = first_stage_;
    return item;
  }
  WorkItem note = WholeLibrary(report_.library, ItemAction::kNoteMounts);
  note.from = MountText(mounts_);
  note.stage = ++first_stage_;
  item->stage = ++first_stage_;
  behind_ = std::move(item);
  return note;
}

Outcome<Done> IndexRun::SendMounts(const MountRecord& mounts) {
  if (mounts == std::exchange(mounts_, mounts)) return Done{};
  WorkItem note = WholeLibrary(report_.library, ItemAction::kNoteMounts);
  note.from = MountText(mounts);
  return Send({std::move(note)});
}

Outcome<Done> IndexRun::NoteMounts(const Plan& plan) {
  MountRecord known = mounts_;
  for (auto& [path, devices] : known) {
    // Rows of another disk, or of the folder below, may be there too.
    if (plan.verdict.holds && !plan.mounts.contains(path)) devices.insert(0);
  }
  for (const auto& [path, device] : plan.mounts) known[path].insert(device);
  return SendMounts(known);
}

Outcome<Done> IndexRun::ForgetMounts(const Plan& plan) {
  if (stopped_by_ != 0 || !plan.unknown.empty() || !report_.withheld_reason.empty()) return Done{};
  MountRecord known;
  for (const auto& [path, device] : plan.mounts) known[path].insert(device);
  return SendMounts(known);
}

Outcome<Done> IndexRun::UpdateDifferences() {
  auto plan = MakePlan(report_.library, catalogue_, {options_.accepts_loss, false});
  if (!plan) return plan.failure();
  report_.Add(std::move(plan->seen));
  if (auto noted = NoteMounts(*plan); !noted) return noted;
  if (auto sent = Send(std::move(plan->items)); !sent) return sent;
  if (auto sent = SendRescues(); !sent) return sent;
  if (auto sent = SendDeletes(*plan); !sent) return sent;
  return ForgetMounts(*plan);
}

Outcome<Done> IndexRun::SendRescues() {
  return Send(std::exchange(rescues_, {}));
}

Outcome<Done> IndexRun::SendDeletes(Plan& plan) {
  if (plan.verdict.holds) {
    Withhold(plan.verdict, plan.deletes);
    return Done{};
  }
  LeaveOutHeldBack(plan.deletes);
  return Send(std::move(plan.deletes));
}

void IndexRun::LeaveOutHeldBack(std::vector<WorkItem>& deletes) const {
  std::unordered_set<std::string> kept;
  for (const std::string& path : held_back_) {
    for (std::string at = path; at.size() > report_.library.folder.size(); at = FolderOf(at)) kept.insert(at);
  }
  std::erase_if(deletes, [&](const WorkItem& item) { return kept.contains(item.path); });
}

Outcome<Done> IndexRun::Reindex() {
  full_ = true;
  auto outcome = MarkSendAndSweep();
  // Where rows are kept that were not met, or a loss is not believed.
  if (outcome) outcome = Unmark();
  return Conclude(std::move(outcome));
}

Outcome<Done> IndexRun::MarkSendAndSweep() {
  auto plan = MakePlan(report_.library, catalogue_, {options_.accepts_loss, true});
  if (!plan) return plan.failure();
  if (plan->verdict.holds) {
    Withhold(plan->verdict, plan->deletes);
    return Done{};
  }
  if (auto noted = NoteMounts(*plan); !noted) return noted;
  if (auto sent = Send(std::move(plan->items)); !sent) return sent;
  if (auto sent = SendRescues(); !sent) return sent;
  if (auto sent = SendEverything(); !sent) return sent;
  if (auto swept = SweepOrDelete(*plan); !swept) return swept;
  return ForgetMounts(*plan);
}

Outcome<Done> IndexRun::SendEverything() {
  auto walk = Walk::Start(report_.library.folder);
  if (!walk) return walk.failure();
  bool marked = false;
  return Send([&]() -> std::optional<WorkItem> {
    if (!std::exchange(marked, true)) return WholeLibrary(report_.library, ItemAction::kMark);
    return NextOf(*walk, ItemAction::kReindex);
  });
}

Outcome<Done> IndexRun::SweepOrDelete(Plan& plan) {
  if (stopped_by_ != 0) return Done{};
  auto marked = FindMarkedRows(report_.library);
  if (!marked) return marked.failure();
  LeaveOutHeldBack(marked->gone);
  LeaveOutHeldBack(plan.deletes);
  const auto verdict = JudgeSweep(*marked);
  if (!verdict) return verdict.failure();
  if (verdict->holds) {
    Withhold(*verdict, marked->gone);
    return Done{};
  }
  const bool all_gone = marked->kept == 0 && !move_failed_;
  auto sent = all_gone ? Send({WholeLibrary(report_.library, ItemAction::kSweep)}) : Send(marked->gone);
  if (!sent || stopped_by_ != 0) return sent;
  if (all_gone) report_.deleted += marked->gone.size();
  // What had rows is noted as it is deleted.
  std::unordered_set<std::string> with_rows;
  for (const WorkItem& item : marked->gone) with_rows.insert(item.path);
  for (const WorkItem& item : plan.deletes) {
    if (all_gone || !with_rows.contains(item.path)) catalogue_.Remove(Key(item.path), item.kind);
  }
  return Done{};
}

Outcome<LossVerdict> IndexRun::JudgeSweep(MarkedRows& marked) {
  // A disk may have gone away while everything was sent.
  auto again = MakePlan(report_.library, catalogue_, {options_.accepts_loss, true});
  if (!again) return again.failure();
  if (again->verdict.holds) return again->verdict;
  marked.kept += std::erase_if(
      marked.gone, [&](const WorkItem& item) { return LiesInOne(again->unknown, Key(item.path)); });
  LossQuestion question;
  question.fact = kSweepFact;
  for (const WorkItem& item : marked.gone) {
    if (item.kind != ItemKind::kFolder) question.gone.push_back(Key(item.path));
  }
  question.recorded = marked.rows;
  question.accepted = options_.accepts_loss;
  return JudgeLoss(question, catalogue_);
}

std::optional<WorkItem> IndexRun::NextOf(Walk& walk, ItemAction action) {
  while (auto entry = walk.Next()) {
    if (!Account(*entry, report_.library, passed_)) continue;
    WorkItem item;
    item.kind = entry->kind == EntryKind::kFolder ? ItemKind::kFolder : *MediaKindOf(entry->path);
    item.action = action;
    item.path = std::move(entry->path);
    item.stage = action == ItemAction::kReindex ? 1 : 0;
    item.stamp = entry->stamp;
    // The root has its number, too.
    if (action == ItemAction::kAdd && entry->mounted != 0 && item.path != report_.library.folder)
      mounts_[Key(item.path)].insert(entry->stamp.device);
    ahead_[item.path] = std::exchange(passed_, {});
    return item;
  }
  return std::nullopt;
}

Outcome<Done> IndexRun::Send(std::vector<WorkItem> items) {
  if (items.empty()) return Done{};
  NoteWaiting(items);
  if (catalogue_.failure()) return *catalogue_.failure();
  total_ = files_done_ + items.size();
  std::size_t next = 0;
  return Send([&]() -> std::optional<WorkItem> {
    if (next == items.size()) return std::nullopt;
    return std::move(items[next++]);
  });
}

void IndexRun::NoteWaiting(const std::vector<WorkItem>& items) {
  // What the database has and the catalogue has not would be moved twice.
  if (std::any_of(items.begin(), items.end(), IsMove)) catalogue_.MakeDurable();
  for (const WorkItem& item : items) {
    if (item.action != ItemAction::kSetAside) continue;
    catalogue_.Put({Key(item.path), item.kind, item.stamp, "", EntryState::kPlanned});
  }
  catalogue_.Commit();
}

bool IndexRun::MayBeSent(const WorkItem& item) {
  if (item.action == ItemAction::kDelete || item.action == ItemAction::kRename) return true;
  const std::string folder = item.path.substr(0, item.path.rfind('/'));
  if (!held_back_.contains(item.path) && !without_album_.contains(folder)) return true;
  if (!told_.contains(item.path)) Tell(report_.failed, item, kHeldBack);
  HoldBack(item);
  Reach(item);
  return false;
}

void IndexRun::HoldBack(const WorkItem& item) {
  held_back_.insert(item.path);
  if (!item.from.empty()) held_back_.insert(item.from);
  if (item.kind == ItemKind::kFolder) without_album_.insert(item.path);
  move_failed_ = move_failed_ || IsMove(item);
}

Outcome<Done> IndexRun::Send(WorkQueue::Source source) {
  if (stopped_by_ != 0) return Done{};
  if (!total_ && !counter_ && progress_.mode() != ProgressMode::kNone) {
    counter_ = std::make_unique<FileCounter>(report_.library.folder);
  }
  WorkQueue queue(std::move(source), [this](const WorkItem& item) { return MayBeSent(item); });
  Supervisor supervisor({options_.worker, WriterOf(catalogue_), options_.workers, options_.file_timeout},
                        queue, *this, signals_);
  auto outcome = supervisor.Run();
  stopped_by_ = supervisor.stopped_by();
  counter_.reset();
  total_.reset();
  if (outcome && failure_) return *failure_;
  return outcome;
}

void IndexRun::Withhold(const LossVerdict& verdict, const std::vector<WorkItem>& deletes) {
  report_.withheld_reason = verdict.reason;
  for (const WorkItem& item : deletes) report_.withheld.push_back(item.path);
}

Outcome<Done> IndexRun::Conclude(Outcome<Done> outcome) {
  progress_.Clear();
  // A run that was stopped has found what it came to.
  if (outcome && stopped_by_ == 0) report_.Add(std::move(passed_));
  if (outcome && stopped_by_ == 0 && !full_) CompareUnopened(catalogue_, report_.library, report_.failed);
  // Not in the order in which the workers came to them.
  for (auto* troubles : {&report_.failed, &report_.notes}) {
    std::stable_sort(troubles->begin(), troubles->end(),
                     [](const auto& one, const auto& other) { return one.path < other.path; });
  }
  if (outcome && report_.withheld_reason.empty()) RecordRoot(catalogue_, report_.library);
  catalogue_.Commit();
  report_.interrupted = stopped_by_ != 0;
  report_.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
  if (outcome && catalogue_.failure()) return *catalogue_.failure();
  return outcome;
}

std::string IndexRun::Key(const std::string& path) const {
  return report_.library.Below(path);
}

// A database that takes the place of this one later has not got what the catalogue then says of it.
void IndexRun::LibraryOpen() {
  RecordDatabase(catalogue_, report_.library);
}

void IndexRun::ItemDone(const WorkItem& item, const ItemResult& result) {
  if (IsUpdate(item)) {
    NoteUpdate(item, result);
  } else if (IsMove(item)) {
    NoteMove(item, result);
  } else if (item.action == ItemAction::kDelete) {
    NoteDelete(item, result);
  } else if (!result.done()) {
    failure_ = Failure{ExitStatus::kFatal, report_.library.folder + ": " + result.trouble};
  } else {
    NoteWholeLibrary(item);
  }
  CountFile(item);
  Reach(item);
}

void IndexRun::NoteWholeLibrary(const WorkItem& item) {
  if (item.action == ItemAction::kNoteMounts) return RecordMounts(catalogue_, item.from);
  marked_ = item.action == ItemAction::kMark;
}

void IndexRun::BatchKept(std::uint64_t generation) {
  generations_.Note(generation);
}

void IndexRun::Reach(const WorkItem& item) {
  if (const auto found = ahead_.find(item.path); found != ahead_.end())
    report_.Add(std::move(ahead_.extract(found).mapped()));
}

CatalogueEntry IndexRun::EntryOf(const WorkItem& item, const ItemResult& result) const {
  CatalogueEntry entry{Key(item.path), item.kind, item.stamp, result.fingerprint};
  entry.reason = result.trouble;
  if (result.outcome == ItemOutcome::kJobless) {
    entry.state = EntryState::kUnread;
  } else if (!result.done()) {
    entry.state = EntryState::kFailed;
  } else if (!result.trouble.empty()) {
    entry.state = EntryState::kDamaged;
  }
  return entry;
}

void IndexRun::NoteFailure(const WorkItem& item, const ItemResult& result) {
  if (result.outcome == ItemOutcome::kSkipped) {
    ++report_.skipped[result.trouble];
    return;
  }
  if (!result.done()) {
    Tell(report_.failed, item, result.trouble, WasTold(item, EntryState::kFailed, result.trouble));
    report_.failed.back().unopened = result.outcome == ItemOutcome::kUnopened;
  }
  if (result.done() && !result.trouble.empty())
    Tell(report_.notes, item, result.trouble, WasTold(item, EntryState::kDamaged, result.trouble));
}

void IndexRun::Tell(std::vector<Trouble>& troubles, const WorkItem& item, const std::string& reason,
                    bool known) {
  troubles.push_back({item.path, reason, known});
  told_.insert(item.path);
}

// A change of rights, a move or a full reindex makes no new damage of an old one.
bool IndexRun::WasTold(const WorkItem& item, EntryState state, const std::string& reason) {
  const auto recorded = catalogue_.Find(Key(item.from.empty() ? item.path : item.from), item.kind);
  return recorded && recorded->state == state && recorded->reason == reason &&
         recorded->stamp.SameContent(item.stamp);
}

void IndexRun::NoteUpdate(const WorkItem& item, const ItemResult& result) {
  const bool folder = item.kind == ItemKind::kFolder;
  NoteFailure(item, result);
  if (result.done() && !folder) ++report_.added;
  if (result.done() && folder && NoAlbumReason(Key(item.path)) == nullptr) ++report_.folders;
  const bool learned = result.done() || result.outcome == ItemOutcome::kJobless ||
                       (result.outcome == ItemOutcome::kFailed && !folder);
  if (folder && result.outcome == ItemOutcome::kNotKept && item.path != report_.library.folder)
    HoldBack(item);
  if (learned && item.path != report_.library.folder) catalogue_.Put(EntryOf(item, result));
}

void IndexRun::NoteMove(const WorkItem& item, const ItemResult& result) {
  NoteFailure(item, result);
  moved_ = true;
  // Unless it crashed, a failure says that there was nothing to move.
  const bool settled = result.done() || (result.outcome == ItemOutcome::kFailed && !result.crashed);
  if (!settled) return NoteFailedMove(item, result);
  catalogue_.Remove(Key(item.from), item.kind);
  if (result.done() && item.action != ItemAction::kSetAside) ++report_.moved;
  CatalogueEntry entry = EntryOf(item, result);
  if (const auto crash = crash_reasons_.find(item.path); crash != crash_reasons_.end()) {
    entry.state = EntryState::kFailed;
    entry.reason = crash->second;
  }
  catalogue_.Put(entry);
}

// The rows of a photo can follow it unread; those of a video cannot, it is tried again by the next run.
void IndexRun::NoteFailedMove(const WorkItem& item, const ItemResult& result) {
  HoldBack(item);
  if (!result.crashed || item.action != ItemAction::kMove || item.kind != ItemKind::kPhoto) return;
  WorkItem rescue = item;
  rescue.action = ItemAction::kRename;
  rescue.stage = 0;
  crash_reasons_[item.path] = result.trouble;
  rescues_.push_back(std::move(rescue));
}

void IndexRun::NoteDelete(const WorkItem& item, const ItemResult& result) {
  NoteFailure(item, result);
  if (!result.done()) return;
  ++report_.deleted;
  if (item.kind == ItemKind::kFolder) {
    catalogue_.RemoveTree(Key(item.path));
  } else {
    catalogue_.Remove(Key(item.path), item.kind);
  }
}

void IndexRun::CountFile(const WorkItem& item) {
  if (item.kind == ItemKind::kFolder && counter_) return;
  ++files_done_;
  const std::size_t slash = item.path.rfind('/');
  const std::size_t root = report_.library.folder.size();
  current_folder_ = slash > root ? item.path.substr(root + 1, slash - root - 1) : "";
}

void IndexRun::Tick() {
  if (moved_ || Clock::now() - committed_ >= kCommitInterval) {
    catalogue_.Commit();
    committed_ = Clock::now();
    moved_ = false;
  }
  if (!progress_.Due()) return;
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
  progress_.Show({files_done_, counter_ ? counter_->total() : total_, elapsed, current_folder_});
}
