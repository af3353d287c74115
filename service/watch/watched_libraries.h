#ifndef SERVICE_WATCH_WATCHED_LIBRARIES_H_
#define SERVICE_WATCH_WATCHED_LIBRARIES_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "common/outcome.h"
#include "library/library.h"
#include "watch/library_watch.h"
#include "watch/mount_changes.h"
#include "watch/patience.h"
#include "watch/run_order.h"
#include "watch/watch_news.h"

// All libraries that one process watches, in one loop. One that fails does not end the others. To be used in
// the loop's thread.
class WatchedLibraries : private EventHandler {
 public:
  // What it borrows outlives it.
  WatchedLibraries(WatchTeller& teller, EventLoop& loop);
  ~WatchedLibraries() override;
  WatchedLibraries(const WatchedLibraries&) = delete;
  WatchedLibraries& operator=(const WatchedLibraries&) = delete;

  // One that is watched already stays as it is. One that is not there is waited for.
  Outcome<Done> Add(const std::string& folder, const WatchOptions& options);
  // Runs that are under way commit what they have, and are ended where that takes long.
  void Stop(int signal);
  int stopped_by() const { return stopped_by_; }

 private:
  // A folder that nobody has found yet.
  struct Missing {
    std::string folder;
    WatchOptions options;
    Moment next;  // look for it
    Patience patience;
    std::string told;
  };

  Awaited Awaits() const override;
  void Expire() override;
  Outcome<Done> Watch(const Library& library, const WatchOptions& options);
  void LookForMissing(Moment now);
  // True when it is watched now.
  bool LookFor(Missing& missing);
  void MountChanged(const std::string& path);

  WatchTeller& teller_;
  EventLoop& loop_;
  RunOrder order_;
  MountChanges mounts_;
  std::vector<std::unique_ptr<LibraryWatch>> watches_;
  std::vector<Missing> missing_;
  std::optional<Moment> stop_again_;
  int stopped_by_ = 0;
};

#endif  // SERVICE_WATCH_WATCHED_LIBRARIES_H_
