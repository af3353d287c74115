#ifndef SERVICE_WATCH_INOTIFY_SOURCE_H_
#define SERVICE_WATCH_INOTIFY_SOURCE_H_

#include <sys/inotify.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "base/file_descriptor.h"
#include "base/file_id.h"
#include "common/event_loop.h"
#include "watch/file_hints.h"
#include "watch/hint_source.h"
#include "watch/watched_tree.h"

// Hints by inotify: one watch for each folder that a walk would enter. A folder is watched before its names
// are listed, so whatever is made in it is either listed or told. To be used in the loop's thread.
class InotifySource : public HintSource, private EventHandler {
 public:
  // What it asks the kernel, for tests.
  using AddWatch = std::function<int(int queue, const char* path, unsigned mask)>;

  // FOLDER is a library's. What it borrows outlives it.
  InotifySource(std::string folder, HintListener& listener, EventLoop& loop,
                AddWatch add_watch = &inotify_add_watch);
  ~InotifySource() override;

  Outcome<Done> Begin(std::optional<uid_t> looker) override;
  void End() override;
  bool ready() const override { return to_watch_.empty(); }
  bool HasRoot() const override { return !root_ || IdBehind(folder_.c_str()) == root_; }
  void WatchAnew(const std::string& path) override;
  const std::set<std::string>& unwatched() const override { return unwatched_; }
  void TryAgain() override;
  const std::set<std::string>& links() const override { return files_.links(); }
  std::size_t watched_folders() const override { return tree_.size(); }
  std::size_t overflows() const override { return overflows_; }

 private:
  Awaited Awaits() const override;
  void Serve() override;
  void Expire() override;

  void WatchFolder(int root, const std::string& path);
  void Forget(const std::string& path);
  void Release(const std::vector<int>& watches) const;
  void Restart();

  void Handle(const inotify_event& event);
  void HandleOwn(const inotify_event& event, const std::string& path);
  void HandleFolder(unsigned mask, const std::string& path);
  void LoseRoot();

  const std::string folder_;
  std::optional<uid_t> looker_;
  HintListener& listener_;
  EventLoop& loop_;
  AddWatch add_watch_;
  FileHints files_;
  FileDescriptor queue_;
  WatchedTree tree_;
  std::optional<FileId> root_;      // that is watched
  std::set<std::string> to_watch_;  // while there are too many, no more events are taken
  std::set<std::string> unwatched_;
  std::size_t overflows_ = 0;
};

#endif  // SERVICE_WATCH_INOTIFY_SOURCE_H_
