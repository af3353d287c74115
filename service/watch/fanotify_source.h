#ifndef SERVICE_WATCH_FANOTIFY_SOURCE_H_
#define SERVICE_WATCH_FANOTIFY_SOURCE_H_

#include <sys/fanotify.h>
#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "base/file_descriptor.h"
#include "base/file_id.h"
#include "common/event_loop.h"
#include "watch/file_hints.h"
#include "watch/hint_source.h"

// Hints by fanotify: one mark for each file system that the library lies on, however many folders it has.
// That takes root's rights, and tells of all that happens on these file systems: what lies elsewhere is
// passed over. An event names a folder and a name in it; the folder's path is the one of now. To be used in
// the loop's thread.
class FanotifySource : public HintSource, private EventHandler {
 public:
  // Whether it can be used for FOLDER; why not.
  static Outcome<Done> Try(const std::string& folder);

  // FOLDER is a library's. What it borrows outlives it.
  FanotifySource(std::string folder, HintListener& listener, EventLoop& loop);
  ~FanotifySource() override;

  Outcome<Done> Begin(std::optional<uid_t> looker) override;
  void End() override;
  bool ready() const override { return to_list_.empty(); }
  bool HasRoot() const override { return IdBehind(folder_.c_str()) == root_; }
  void WatchAnew(const std::string& path) override;
  const std::set<std::string>& unwatched() const override { return unwatched_; }
  void TryAgain() override;
  const std::set<std::string>& links() const override { return files_.links(); }
  std::size_t watched_folders() const override { return folders_; }
  std::size_t overflows() const override { return overflows_; }

 private:
  Awaited Awaits() const override;
  void Serve() override;
  void Expire() override;

  // Open while events are read: held, it would keep a disk from being unmounted.
  using OpenMounts = std::map<std::uint64_t, FileDescriptor>;

  bool Mark(const std::string& path);
  void MarkBelow();
  void Handle(const fanotify_event_metadata& event, OpenMounts& mounts);
  void HandleName(std::uint64_t mask, const std::string& path);
  void HandleFolder(std::uint64_t mask, const std::string& path);
  // Of the folder that INFO means, below the library; nothing where it is gone or lies elsewhere.
  std::optional<std::string> FolderOf(const fanotify_event_info_fid& info, OpenMounts& mounts) const;
  void CheckRoot();
  void LoseRoot();

  const std::string folder_;
  std::optional<uid_t> looker_;
  HintListener& listener_;
  EventLoop& loop_;
  FileHints files_;
  FileDescriptor queue_;
  std::optional<FileId> root_;
  std::map<std::uint64_t, std::string> mounts_;  // id of a file system -> a path on it
  std::set<std::string> to_list_;
  std::set<std::string> unwatched_;
  std::size_t folders_ = 0;
  std::size_t overflows_ = 0;
};

#endif  // SERVICE_WATCH_FANOTIFY_SOURCE_H_
