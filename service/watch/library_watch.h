#ifndef SERVICE_WATCH_LIBRARY_WATCH_H_
#define SERVICE_WATCH_LIBRARY_WATCH_H_

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "common/outcome.h"
#include "library/library.h"
#include "run/index_run.h"
#include "run/kept_workers.h"
#include "setup/prepared_run.h"
#include "watch/folders_above.h"
#include "watch/hint_source.h"
#include "watch/hint_store.h"
#include "watch/patience.h"
#include "watch/retry_list.h"
#include "watch/run_order.h"
#include "watch/told_problems.h"
#include "watch/watch_news.h"

struct WatchOptions {
  RunWish wish;  // but for the library
  IndexOptions run;
  Settling settling;
  std::chrono::milliseconds poll_interval{};  // of what cannot be watched
  std::chrono::milliseconds worker_idle{};    // how long workers without work stay
  bool by_fanotify = false;                   // else by inotify
};

// Keeps one library true: what its source of hints names is surveyed when it has settled, and the differences
// go the way of `index`. The first run looks at everything, with the watches there before it begins. The
// library is held during runs alone. Nothing is looked at while nothing happens. To be used in the loop's
// thread; runs turn the loop, so those of several libraries may be within each other.
class LibraryWatch : private HintListener, private EventHandler {
 public:
  using MakeSource = std::function<std::unique_ptr<HintSource>(HintListener& listener)>;

  // What it borrows outlives it.
  LibraryWatch(Library library, WatchOptions options, const MakeSource& make_source, RunOrder& order,
               WatchTeller& teller, EventLoop& loop);
  ~LibraryWatch() override;
  LibraryWatch(const LibraryWatch&) = delete;
  LibraryWatch& operator=(const LibraryWatch&) = delete;

  // A signal asks it to stop: what is being done is brought to its end, or, when it is asked again, ended.
  void Stop(int signal);
  // The end of all workers that wait for a run begins.
  void DismissWorkers() { workers_.AskToEnd(); }
  // Something was mounted, or is no more, at or above the library (""), or at this path below it.
  void MountChanged(const std::string& path);
  const Library& library() const { return library_; }

 private:
  enum class State : std::uint8_t { kAway, kSettingUp, kWatching };

  void Hinted(const Hint& hint) override;
  void RootLost() override;
  Awaited Awaits() const override;
  void Expire() override;

  // As whom the library is to be looked at now: whoever owns it may have come with a disk.
  Outcome<std::optional<uid_t>> WhoLooks() const;
  // The folder is the one that is watched, and its owner the one who looks.
  bool IsAsBegun() const;
  void PathChanged();
  void BeginWatching();
  // It is looked for at NEXT.
  void LetGo(Moment next);
  void GoAway(const std::string& why);
  void Poll();
  std::optional<Moment> NextRun() const;
  void RunNow();
  Outcome<IndexReport> Perform(const WalkScope& scope);
  // LEFT: what could not be put away after the run.
  Outcome<IndexReport> Perform(const WalkScope& scope, std::optional<Failure>& left);
  WalkScope ScopeOf(const std::vector<Hint>& hints) const;
  // What is to be tried again becomes hints.
  void Retry();
  struct RunOver {
    const WalkScope& scope;
    const std::vector<Hint>& taken;
  };
  void LookAgain(bool whole);
  void NoteRun(IndexReport& report, const RunOver& over);
  void TryAgain(const IndexReport& report, const RunOver& over);
  void NoteFailure(const Failure& failure, const std::vector<Hint>& taken);
  void TellOnce(WatchEvent event, const std::string& text);
  void TellOfSource();

  const Library library_;
  WatchOptions options_;
  RunOrder& order_;
  WatchTeller& teller_;
  EventLoop& loop_;
  HintStore hints_;
  RetryList retries_;
  ToldProblems told_problems_;
  KeptWorkers workers_;
  std::unique_ptr<HintSource> source_;
  FoldersAbove above_;

  State state_ = State::kAway;
  std::optional<uid_t> looker_;    // as whom the library is looked at
  bool whole_ = true;              // nothing less than everything is to be looked at
  std::optional<Moment> again_;    // everything, by then
  std::optional<Moment> held_at_;  // when a look at everything found a loss that is not believed
  std::optional<Moment> poll_;     // what is not watched
  std::optional<Moment> dismiss_;  // the workers
  Moment not_before_;              // the next run, or the next look for the folder
  Patience patience_;
  Patience move_patience_;
  std::string told_;       // the last problem
  std::string told_left_;  // after a run
  std::size_t told_unwatched_ = 0;
  std::size_t told_overflows_ = 0;
  bool told_watching_ = false;
  IndexRun* run_ = nullptr;  // under way
  bool stopped_ = false;
};

#endif  // SERVICE_WATCH_LIBRARY_WATCH_H_
