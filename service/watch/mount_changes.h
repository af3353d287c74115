#ifndef SERVICE_WATCH_MOUNT_CHANGES_H_
#define SERVICE_WATCH_MOUNT_CHANGES_H_

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>

#include "base/file_descriptor.h"
#include "common/event_loop.h"

// A mount of this process: where, and which one.
struct MountPoint {
  std::string path;
  std::string id;  // names it among those that are there
  bool operator<(const MountPoint& other) const {
    return std::tie(path, id) < std::tie(other.path, other.id);
  }
};

// Of a text like /proc/self/mountinfo.
std::set<MountPoint> ParseMountPoints(std::string_view text);

// Tells, from a loop, where something was mounted or is no more: no watch on a folder tells of that. To be
// used in the loop's thread.
class MountChanges : private EventHandler {
 public:
  // LOOP outlives it.
  MountChanges(EventLoop& loop, std::function<void(const std::string& path)> changed);
  ~MountChanges() override;
  MountChanges(const MountChanges&) = delete;
  MountChanges& operator=(const MountChanges&) = delete;

 private:
  Awaited Awaits() const override { return {events_.get(), false, std::nullopt}; }
  void Serve() override;

  EventLoop& loop_;
  std::function<void(const std::string&)> changed_;
  FileDescriptor table_;
  FileDescriptor events_;  // the table can always be read, so it cannot be waited for itself
  std::set<MountPoint> known_;
};

#endif  // SERVICE_WATCH_MOUNT_CHANGES_H_
