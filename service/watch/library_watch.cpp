#include "watch/library_watch.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <utility>

#include "base/file_descriptor.h"
#include "files/looking.h"
#include "jobs/job_queue.h"
#include "work/worker_identity.h"

namespace {

using std::chrono::milliseconds;

// How long a library that another run holds is waited for.
constexpr milliseconds kFirstBusy{100};
constexpr milliseconds kMostBusy{5'000};
constexpr milliseconds kFirstFailure{1'000};
constexpr milliseconds kMostFailure{300'000};
// How often a folder that is away is looked for.
constexpr milliseconds kFirstAway{500};
constexpr milliseconds kMostAway{10'000};
// The loss brake believes a second scan an hour later.
constexpr std::chrono::minutes kBeliefAfter{61};
constexpr std::chrono::minutes kHeldPause{5};
// Rows that could not be moved are tried again, with all that had to wait for that.
constexpr milliseconds kFirstMove{100};
constexpr milliseconds kMostMove{300'000};
// So many links are looked at with every part of a library.
constexpr std::size_t kMostLinks = 1'000;

constexpr const char* kGone = "the folder is out of reach; nothing is deleted, and it is waited for";
constexpr const char* kBusy = "another run holds the library; what has changed waits for its end";

std::optional<Moment> Earlier(std::optional<Moment> one, std::optional<Moment> other) {
  if (!one || !other) return one ? one : other;
  return std::min(*one, *other);
}

bool IsThere(const std::string& folder) {
  const Looking looking;
  // Who may list it and not enter it cannot look at what it holds.
  const std::string inside = folder + "/.";
  const FileDescriptor opened(looking ? open(inside.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1);
  return static_cast<bool>(opened);
}

// The reason lies outside of the file, which may also have been renamed while the run came to it.
bool IsWorthAnother(ItemOutcome outcome) {
  return outcome == ItemOutcome::kNotKept || outcome == ItemOutcome::kUnopened ||
         outcome == ItemOutcome::kCrashed || outcome == ItemOutcome::kPartial;
}

}  // namespace

LibraryWatch::LibraryWatch(Library library, WatchOptions options, const MakeSource& make_source,
                           RunOrder& order, WatchTeller& teller, EventLoop& loop)
    : library_(std::move(library)),
      options_(std::move(options)),
      order_(order),
      teller_(teller),
      loop_(loop),
      hints_(options_.settling),
      source_(make_source(*this)),
      above_(library_.folder, loop, [this] { PathChanged(); }),
      not_before_(loop.Now()) {
  options_.wish.library = [this](const StateRoot& root) { return MakeLibrary(root, library_.folder); };
  loop_.Add(*this);
}

LibraryWatch::~LibraryWatch() {
  loop_.Remove(*this);
  workers_.EndAll();
}

void LibraryWatch::Stop(int signal) {
  stopped_ = true;
  if (run_ != nullptr) run_->Stop(signal);
}

void LibraryWatch::Hinted(const Hint& hint) {
  // What could not be looked at in a folder may be seen now: then all of it is, and is watched.
  const bool opens = hint.state == HintState::kComplete && retries_.HasBelow(hint.path);
  if (opens) source_->WatchAnew(hint.path);
  hints_.Add({hint.path, opens ? Reach::kTree : hint.reach, hint.state}, loop_.Now());
}

void LibraryWatch::RootLost() {
  // What was never there may go on not being there.
  if (state_ == State::kSettingUp) return GoAway(kGone);
  LetGo(loop_.Now());
}

void LibraryWatch::LetGo(Moment next) {
  source_->End();
  above_.End();
  state_ = State::kAway;
  not_before_ = next;
  told_watching_ = false;
}

void LibraryWatch::PathChanged() {
  if (state_ == State::kAway) return;
  if (!source_->HasRoot()) return LetGo(loop_.Now());
  above_.Watch();
}

void LibraryWatch::MountChanged(const std::string& path) {
  if (state_ == State::kAway) {
    not_before_ = loop_.Now();
  } else if (path.empty()) {
    LetGo(loop_.Now());
  } else {
    source_->WatchAnew(path);
    Hinted({path, Reach::kTree, HintState::kComplete});
  }
}

Outcome<std::optional<uid_t>> LibraryWatch::WhoLooks() const {
  if (options_.wish.as_root) return std::optional<uid_t>();
  const auto owner = OwnerToBecome(library_);
  if (!owner) return owner.failure();
  return *owner ? std::optional((*owner)->user) : std::nullopt;
}

bool LibraryWatch::IsAsBegun() const {
  const auto looker = WhoLooks();
  return looker && *looker == looker_ && source_->HasRoot();
}

void LibraryWatch::BeginWatching() {
  const auto looks = WhoLooks();
  if (!looks) return GoAway(looks.failure().message);
  looker_ = *looks;
  const LookingAs looker(looker_);
  if (!IsThere(library_.folder)) return GoAway(kGone);
  above_.Watch();
  if (auto begun = source_->Begin(looker_); !begun) return GoAway(begun.failure().message);
  state_ = State::kSettingUp;
  whole_ = true;
  hints_.Clear();
}

void LibraryWatch::GoAway(const std::string& why) {
  LetGo(loop_.Now() + patience_.Next(kFirstAway, kMostAway));
  workers_.EndAll();
  TellOnce(WatchEvent::kAway, why);
}

void LibraryWatch::TellOnce(WatchEvent event, const std::string& text) {
  if (std::exchange(told_, text) == text) return;
  teller_.Tell({event, library_.folder, text, std::nullopt});
}

void LibraryWatch::TellOfSource() {
  if (const std::size_t count = source_->overflows(); count > std::exchange(told_overflows_, count))
    teller_.Tell({WatchEvent::kOverflow, library_.folder,
                  "more happened than could be told; everything is looked at", std::nullopt});
  const std::size_t unwatched = source_->unwatched().size();
  const bool is_news = unwatched > 0 && std::exchange(told_unwatched_, unwatched) == 0;
  if (unwatched == 0) told_unwatched_ = 0;
  if (!is_news) return;
  const std::size_t watched = source_->watched_folders();
  teller_.Tell({WatchEvent::kUnwatched, library_.folder,
                Counted(watched, "folder") + (watched == 1 ? " is" : " are") +
                    " watched, the others are looked at every " + TextOf(options_.poll_interval) +
                    ": there is no room for more watches (sysctl fs.inotify.max_user_watches, "
                    "fs.inotify.max_user_instances)",
                std::nullopt});
}

// Nothing of it is waited for while a run is under way, which looks again when it has come to its end.
Awaited LibraryWatch::Awaits() const {
  Awaited awaited;
  if (stopped_ || run_ != nullptr) return awaited;
  awaited.moment = dismiss_;
  if (state_ == State::kAway) awaited.moment = Earlier(awaited.moment, not_before_);
  if (state_ == State::kAway || !source_->ready()) return awaited;
  if (state_ == State::kSettingUp) awaited.moment = loop_.Now();
  if (state_ != State::kWatching) return awaited;
  for (const auto& moment : {poll_, retries_.NextDue(), NextRun()})
    awaited.moment = Earlier(awaited.moment, moment);
  return awaited;
}

// As far as it may begin.
std::optional<Moment> LibraryWatch::NextRun() const {
  const auto next = whole_ ? std::optional(not_before_) : Earlier(hints_.NextDue(), again_);
  const bool is_whole = whole_ || (again_ && *again_ <= loop_.Now());
  if (!next || !order_.MayBegin(is_whole)) return std::nullopt;
  return std::max(*next, not_before_);
}

void LibraryWatch::Expire() {
  const Moment now = loop_.Now();
  if (dismiss_ && *dismiss_ <= now) {
    workers_.EndAll();
    dismiss_.reset();
  }
  if (state_ == State::kAway) return not_before_ <= now ? BeginWatching() : void();
  if (!source_->ready()) return;
  if (state_ == State::kSettingUp) {
    state_ = State::kWatching;
    not_before_ = std::min(not_before_, now);
  }
  TellOfSource();
  if (source_->unwatched().empty()) {
    poll_.reset();
  } else if (!poll_) {
    poll_ = now + options_.poll_interval;
  } else if (*poll_ <= now) {
    return Poll();
  }
  if (const auto due = retries_.NextDue(); due && *due <= now) return Retry();
  if (const auto next = NextRun(); next && *next <= now) RunNow();
}

void LibraryWatch::Poll() {
  poll_ = loop_.Now() + options_.poll_interval;
  for (const std::string& path : source_->unwatched()) Hinted({path, Reach::kTree, HintState::kComplete});
  source_->TryAgain();
}

// A folder among them may not be watched either.
void LibraryWatch::Retry() {
  for (const std::string& path : retries_.Take(loop_.Now())) {
    Hinted({path, Reach::kTree, HintState::kComplete});
    if (!path.empty()) source_->WatchAnew(path);
  }
}

WalkScope LibraryWatch::ScopeOf(const std::vector<Hint>& hints) const {
  WalkScope scope;
  for (const Hint& hint : hints) {
    scope.Add(hint.path, hint.reach);
    for (const std::string& folder : retries_.Above(hint.path)) scope.Add(folder, Reach::kName);
  }
  if (source_->links().size() > kMostLinks) return scope;
  for (const std::string& link : source_->links()) scope.Add(link, Reach::kName);
  return scope;
}

void LibraryWatch::RunNow() {
  if (!IsAsBegun()) return LetGo(loop_.Now() + patience_.Next(kFirstAway, kMostAway));
  if (again_ && *again_ <= loop_.Now()) whole_ = true;
  const std::vector<Hint> taken = whole_ ? hints_.TakeAll() : hints_.Take(loop_.Now());
  if (!whole_ && taken.empty()) return;
  const WalkScope scope = whole_ ? WalkScope::Whole() : ScopeOf(taken);
  const bool whole = scope.is_whole();
  // It waits for those that are under way.
  if (!order_.MayBegin(whole)) return static_cast<void>(whole_ = true);
  if (whole) again_.reset();
  const RunOrder::Running running(order_, whole);
  auto report = Perform(scope);
  if (report) {
    NoteRun(*report, {scope, taken});
  } else {
    NoteFailure(report.failure(), taken);
  }
}

// The library is let go when this returns.
Outcome<IndexReport> LibraryWatch::Perform(const WalkScope& scope) {
  std::optional<Failure> left;
  auto report = Perform(scope, left);
  if (left && std::exchange(told_left_, left->message) != left->message)
    teller_.Tell({WatchEvent::kFailed, library_.folder, left->message, std::nullopt});
  return report;
}

Outcome<IndexReport> LibraryWatch::Perform(const WalkScope& scope, std::optional<Failure>& left) {
  const LookingAs looker(looker_);
  auto prepared = PrepareRun(options_.wish, left);
  if (!prepared) return prepared.failure();
  workers_.Use(prepared->worker);
  IndexOptions options = options_.run;
  options.quiet = options.quiet || !scope.is_whole();
  IndexRun run(options, prepared->library, prepared->catalogue, workers_, loop_);
  run_ = &run;
  const auto outcome =
      run.Update({scope, [this](const std::string& path) { return hints_.IsGrowing(path); }});
  run_ = nullptr;
  dismiss_ = workers_.empty() ? std::nullopt : std::optional(loop_.Now() + options_.worker_idle);
  if (!outcome) return LossOrFailure(outcome.failure(), *prepared);
  IndexReport report = run.report();
  report.dropped_jobs = TendJobQueue(prepared->root);
  return report;
}

void LibraryWatch::TryAgain(const IndexReport& report, const RunOver& over) {
  const Moment now = loop_.Now();
  std::set<std::string> undone;
  for (const FileProblem& problem : report.failed) {
    if (IsWorthAnother(problem.outcome)) undone.insert(library_.Below(problem.path));
  }
  retries_.NoteRun(undone, over.scope, now);
  // What was held back lies in what the run has looked at, or waits under a name that nobody hints.
  const bool all_moved = !report.left_moves && report.waiting.empty();
  if (all_moved || report.moved > 0) move_patience_.Reset();
  if (all_moved) return;
  const Moment due = now + move_patience_.Next(kFirstMove, kMostMove);
  if (over.scope.is_whole()) {
    again_ = Earlier(again_, due);
  } else {
    std::vector<Hint> hints = over.taken;
    for (const std::string& name : report.waiting)
      hints.push_back({name, Reach::kName, HintState::kComplete});
    hints_.PutBack(hints, due);
  }
}

// The brake counts what is gone of the whole library; not for each part that it holds back, though.
void LibraryWatch::LookAgain(bool whole) {
  const Moment now = loop_.Now();
  const Moment due = !held_at_ ? now : *held_at_ + (whole ? Moment::duration(kBeliefAfter) : kHeldPause);
  again_ = whole ? due : Earlier(again_, std::max(due, now));
}

void LibraryWatch::NoteRun(IndexReport& report, const RunOver& over) {
  patience_.Reset();
  if (report.interrupted) return;
  const bool whole = over.scope.is_whole();
  options_.wish.is_prepared = true;
  whole_ = whole_ && !whole;
  const std::string& withheld = report.withheld_reason;
  if (whole) held_at_ = withheld.empty() ? std::nullopt : std::optional(loop_.Now());
  if (!withheld.empty()) LookAgain(whole);
  TryAgain(report, over);
  told_problems_.Compare(report.failed,
                         [&](const std::string& path) { return over.scope.Contains(library_.Below(path)); });
  const bool is_news = report.added + report.folders + report.moved + report.deleted > 0 ||
                       report.HasNewFailure() || (!withheld.empty() && whole && withheld != told_);
  told_ = whole || withheld.empty() ? withheld : told_;
  if (is_news) teller_.Tell({WatchEvent::kRun, library_.folder, "", report});
  if (state_ != State::kWatching || !whole || std::exchange(told_watching_, true)) return;
  teller_.Tell({WatchEvent::kWatching, library_.folder,
                "watching " + Counted(source_->watched_folders(), "folder"), std::nullopt});
}

void LibraryWatch::NoteFailure(const Failure& failure, const std::vector<Hint>& taken) {
  const LookingAs looker(looker_);
  const Moment now = loop_.Now();
  if (stopped_) return;
  if (failure.status == ExitStatus::kLibraryBusy) {
    hints_.PutBack(taken, now);
    not_before_ = now + patience_.Next(kFirstBusy, kMostBusy);
    return TellOnce(WatchEvent::kFailed, kBusy);
  }
  whole_ = true;
  options_.wish.is_prepared = false;
  workers_.EndAll();
  if (!IsThere(library_.folder)) return GoAway(failure.message);
  if (failure.status == ExitStatus::kLoss) {
    // What is watched stays: to watch it anew takes a look at every folder.
    not_before_ = now + patience_.Next(kFirstAway, kMostAway);
    told_watching_ = false;
    return TellOnce(WatchEvent::kAway, failure.message);
  }
  not_before_ = now + patience_.Next(kFirstFailure, kMostFailure);
  TellOnce(WatchEvent::kFailed, failure.message);
}
