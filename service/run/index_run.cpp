#include "run/index_run.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "changes/library_catalogue.h"
#include "changes/parked_rows.h"
#include "changes/recent_losses.h"
#include "changes/unopened.h"
#include "run/sweep.h"
#include "run/tree_source.h"
#include "run/work_queue.h"

namespace {

// How often a run that looks at files sees whether it is to stop.
constexpr std::chrono::milliseconds kPollInterval{50};

std::vector<WorkItem> ListOf(std::optional<WorkItem> item) {
  std::vector<WorkItem> items;
  if (item) items.push_back(*std::move(item));
  return items;
}

// What a supervisor tells goes to the ledger, to the records and to whoever watches.
class LedgerObserver : public RunObserver {
 public:
  LedgerObserver(Ledger& ledger, RunRecords& records, RunProgress& progress)
      : ledger_(ledger), records_(records), progress_(progress) {}

  void LibraryOpen() override { records_.LibraryOpen(); }
  void ItemDone(const WorkItem& item, const ItemResult& result) override {
    ledger_.NoteDone(item, result);
    progress_.NoteDone(item);
  }
  void BatchKept(std::uint64_t generation) override { records_.NoteKept(generation); }
  void Tick(Moment now) override {
    records_.CommitWhenDue(now);
    progress_.ShowWhenDue();
  }

 private:
  Ledger& ledger_;
  RunRecords& records_;
  RunProgress& progress_;
};

}  // namespace

IndexRun::IndexRun(IndexOptions options, const Library& library, Catalogue& catalogue, WorkerStarter& starter,
                   EventLoop& loop)
    : options_(options),
      library_(library),
      catalogue_(catalogue),
      starter_(starter),
      loop_(loop),
      held_(library),
      records_(library, catalogue),
      ledger_(library, records_, held_),
      mounts_(library, NotedMounts(catalogue)),
      progress_(library.folder, options_.quiet) {}

Outcome<Done> IndexRun::Update(const Part& part) {
  const bool enough = WasSurveyed(catalogue_) && !RootChanged(catalogue_, library_) && !records_.marked();
  const bool whole = part.scope.is_whole() || !enough;
  const Extent extent = whole ? Extent::kDifferences : Extent::kPart;
  if (auto unmarked = Unmark(); !unmarked) return Conclude(unmarked, extent);
  if (!whole) {
    WalkScope scope = part.scope;
    for (const std::string& name : ParkedNames(catalogue_)) scope.Add(name, Reach::kName);
    return Conclude(UpdateDifferences({scope, part.unsettled}), extent);
  }
  return Conclude(
      IsFirstRun(catalogue_) ? UpdateFirstTime() : UpdateDifferences({WalkScope::Whole(), part.unsettled}),
      extent);
}

Outcome<Done> IndexRun::UpdateFirstTime() {
  auto tree = TreeSource::Start(library_, ledger_);
  if (!tree) return tree.failure();
  FirstSource source(*tree, mounts_, library_);
  auto sent = SendFrom([&] { return source.Next(); });
  if (sent && stopped_by_ == 0) ledger_.report().Add(tree->TakeCountsSinceItem());
  return sent;
}

Outcome<Done> IndexRun::UpdateDifferences(const Part& part) {
  auto plan = LookAt(part);
  if (!plan) return plan.failure();
  if (stopped_by_ != 0) return Done{};
  ledger_.report().Add(std::move(plan->counts));
  // Before any row lies on them: a catalogue that is lost together with a disk goes by this.
  if (auto noted = Send(ListOf(mounts_.BeforeAdding(*plan, part.scope))); !noted) return noted;
  if (auto sent = Send(std::move(plan->items)); !sent) return sent;
  if (auto sent = Send(held_.TakeRescues()); !sent) return sent;
  ledger_.NoteWithheld(plan->withheld_reason, plan->withheld);
  if (auto sent = SendDeletes(*plan); !sent) return sent;
  return ForgetGone(*plan, part.scope.is_whole());
}

// What is lost is counted before: a run that is killed may have lost it.
Outcome<Done> IndexRun::SendDeletes(Plan& plan) {
  held_.LeaveOut(plan.deletes);
  RecentLosses losses(catalogue_);
  if (plan.verdict.is_meant) losses.Forget();
  const auto is_file = [](const WorkItem& item) { return item.kind != ItemKind::kFolder; };
  const auto files =
      plan.verdict.is_meant ? 0 : std::count_if(plan.deletes.begin(), plan.deletes.end(), is_file);
  const auto most = static_cast<std::size_t>(files);
  losses.Add(most);
  auto sent = Send(std::move(plan.deletes));
  losses.TakeBack(most - std::min(most, records_.lost_files()));
  return sent;
}

Outcome<Done> IndexRun::Reindex() {
  auto outcome = MarkSendAndSweep();
  // Where rows are kept that were not met, or a loss is not believed.
  if (outcome) outcome = Unmark();
  return Conclude(std::move(outcome), Extent::kEverything);
}

Outcome<Done> IndexRun::MarkSendAndSweep() {
  auto plan = Look(true);
  if (!plan) return plan.failure();
  if (stopped_by_ != 0) return Done{};
  ledger_.NoteWithheld(plan->withheld_reason, plan->withheld);
  if (auto noted = Send(ListOf(mounts_.BeforeAdding(*plan))); !noted) return noted;
  if (auto sent = Send(std::move(plan->items)); !sent) return sent;
  if (auto sent = Send(held_.TakeRescues()); !sent) return sent;
  if (auto sent = SendEverything(plan->hiding); !sent) return sent;
  if (auto swept = SweepOrDelete(*plan); !swept) return swept;
  return ForgetGone(*plan, true);
}

Outcome<Done> IndexRun::SendEverything(const std::unordered_set<std::string>& hiding) {
  auto tree = TreeSource::Start(library_, ledger_);
  if (!tree) return tree.failure();
  bool marked = false;
  auto sent = SendFrom([&]() -> std::optional<WorkItem> {
    if (!std::exchange(marked, true)) return WholeLibrary(library_.folder, ItemAction::kMark);
    auto item = tree->Next(ItemAction::kReindex);
    for (; item && hiding.contains(item->path); item = tree->Next(ItemAction::kReindex)) {
      ledger_.NoteLeftAsItIs(*item);
    }
    if (!item) return item;
    // A reindex queues no background jobs.
    if (item->kind != ItemKind::kFolder && records_.Waits(*item)) item->action = ItemAction::kAdd;
    item->stage = 1;
    return item;
  });
  if (sent && stopped_by_ == 0) ledger_.report().Add(tree->TakeCountsSinceItem());
  return sent;
}

Outcome<LossVerdict> IndexRun::AskAboutMarked(MarkedRows& marked) {
  // A disk may have gone away while everything was sent.
  auto again = Look(true);
  if (!again) return again.failure();
  if (again->verdict.holds || stopped_by_ != 0) return again->verdict;
  const SweepQuestion question{library_, catalogue_, options_.accepts_loss};
  KeepUnreached(marked, *again, question);
  if (!again->withheld_reason.empty()) ledger_.NoteWithheld(again->withheld_reason, again->withheld);
  return AskAboutSweep(marked, question);
}

Outcome<Done> IndexRun::SweepOrDelete(Plan& plan) {
  // The brake has held already: asked again at the end of a long run, it would take that for the second scan
  // that it waits for.
  if (stopped_by_ != 0 || plan.verdict.holds) return Done{};
  auto marked = FindMarkedRows(library_);
  if (!marked) return marked.failure();
  held_.LeaveOut(marked->gone);
  held_.LeaveOut(plan.deletes);
  const auto verdict = AskAboutMarked(*marked);
  if (!verdict) return verdict.failure();
  if (stopped_by_ != 0) return Done{};
  if (verdict->holds) {
    ledger_.NoteWithheld(verdict->reason, marked->gone);
    return Done{};
  }
  // The sweep takes every marked row; one that must stay forbids it.
  if (verdict->is_meant) RecentLosses(catalogue_).Forget();
  const bool all_gone = marked->kept == 0 && !held_.has_move();
  auto sent = all_gone ? Send({WholeLibrary(library_.folder, ItemAction::kSweep)}) : Send(marked->gone);
  if (!sent || stopped_by_ != 0) return sent;
  if (all_gone) ledger_.report().deleted += marked->gone.size();
  // What had rows is noted as it is deleted.
  std::unordered_set<std::string> with_rows;
  for (const WorkItem& item : marked->gone) with_rows.insert(item.path);
  for (const WorkItem& item : plan.deletes) {
    if (all_gone || !with_rows.contains(item.path)) records_.Forget(item);
  }
  return Done{};
}

Outcome<Plan> IndexRun::Look(bool moves_alone) {
  return MakePlan(library_, catalogue_, {options_.accepts_loss, moves_alone, [this] { return StopAsked(); }});
}

Outcome<Plan> IndexRun::LookAt(const Part& part) {
  return MakePlan(library_, catalogue_,
                  {options_.accepts_loss, false, [this] { return StopAsked(); }, part.scope, part.unsettled});
}

// The loop serves whoever else it drives, too.
bool IndexRun::StopAsked() {
  if (const Moment now = loop_.Now(); now >= next_poll_) {
    next_poll_ = now + kPollInterval;
    loop_.Poll();
  }
  return stopped_by_ != 0;
}

Outcome<Done> IndexRun::Unmark() {
  return records_.marked() ? Send({WholeLibrary(library_.folder, ItemAction::kUnmark)}) : Done{};
}

Outcome<Done> IndexRun::ForgetGone(Plan& plan, bool whole) {
  if (stopped_by_ != 0 || !report().withheld_reason.empty()) return Done{};
  held_.LeaveOut(plan.rowless);
  for (const WorkItem& item : plan.rowless) records_.Forget(item);
  return whole ? Send(ListOf(mounts_.AfterDeletes(plan))) : Done{};
}

Outcome<Done> IndexRun::Send(std::vector<WorkItem> items) {
  if (items.empty()) return Done{};
  records_.NoteWaiting(items);
  if (catalogue_.failure()) return *catalogue_.failure();
  progress_.Expect(items.size());
  std::size_t next = 0;
  return SendFrom([&]() -> std::optional<WorkItem> {
    if (next == items.size()) return std::nullopt;
    return std::move(items[next++]);
  });
}

Outcome<Done> IndexRun::SendFrom(WorkQueue::Source source) {
  if (stopped_by_ != 0) return Done{};
  progress_.Begin();
  WorkQueue queue(std::move(source), [this](const WorkItem& item) {
    const bool held = held_.Holds(item);
    if (held) ledger_.NoteRefused(item);
    return !held;
  });
  LedgerObserver observer(ledger_, records_, progress_);
  Supervisor supervisor({library_, records_.Begin(), options_.workers, options_.file_timeout}, queue,
                        observer, starter_, loop_);
  supervisor_ = &supervisor;  // Stop reaches it from inside Turn
  while (!supervisor.finished()) loop_.Turn();
  supervisor_ = nullptr;
  auto outcome = supervisor.outcome();
  progress_.End();
  if (outcome && ledger_.failure()) return *ledger_.failure();
  return outcome;
}

void IndexRun::Stop(int signal) {
  if (stopped_by_ == 0) stopped_by_ = signal;
  if (supervisor_ != nullptr) supervisor_->Stop();
}

Outcome<Done> IndexRun::Conclude(Outcome<Done> outcome, Extent extent) {
  progress_.Clear();
  const bool ended = outcome && stopped_by_ == 0;
  const bool part = extent == Extent::kPart;
  IndexReport& report = ledger_.report();
  if (ended && extent != Extent::kEverything) CompareUnopened(catalogue_, library_, report.failed, part);
  if (ended && !part) NoteSurveyed(catalogue_);
  ledger_.Close();
  report.waiting = ParkedNames(catalogue_);
  records_.Close(outcome && !part && report.withheld_reason.empty());
  report.interrupted = stopped_by_ != 0;
  report.elapsed = progress_.Elapsed();
  if (outcome && catalogue_.failure()) return *catalogue_.failure();
  return outcome;
}
