#ifndef SERVICE_WATCH_FOLDERS_ABOVE_H_
#define SERVICE_WATCH_FOLDERS_ABOVE_H_

#include <sys/inotify.h>

#include <functional>
#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "common/event_loop.h"

// Tells, from a loop, that something else may stand under a path, since a folder above it has moved or is
// gone: whoever watches the folder at the path hears nothing of that. Where one of them cannot be watched it
// is told every ten seconds. To be used in the loop's thread.
class FoldersAbove : private EventHandler {
 public:
  // What it asks the kernel, for tests.
  using AddWatch = std::function<int(int queue, const char* path, unsigned mask)>;

  // PATH is absolute. LOOP outlives it.
  FoldersAbove(std::string path, EventLoop& loop, std::function<void()> changed,
               AddWatch add_watch = &inotify_add_watch);
  ~FoldersAbove() override;
  FoldersAbove(const FoldersAbove&) = delete;
  FoldersAbove& operator=(const FoldersAbove&) = delete;

  // From now on, of those that are there now; to be called again after each change.
  void Watch();
  void End();

 private:
  Awaited Awaits() const override { return {queue_ ? queue_.get() : -1, false, look_}; }
  void Serve() override;
  void Expire() override;

  const std::string path_;
  EventLoop& loop_;
  std::function<void()> changed_;
  AddWatch add_watch_;
  FileDescriptor queue_;
  std::optional<Moment> look_;  // where not all can be watched
};

#endif  // SERVICE_WATCH_FOLDERS_ABOVE_H_
