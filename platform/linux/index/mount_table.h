// The mounts of this process, as /proc/self/mountinfo lists them.
#ifndef PLATFORM_LINUX_INDEX_MOUNT_TABLE_H_
#define PLATFORM_LINUX_INDEX_MOUNT_TABLE_H_

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

struct Mount {
  std::string point;
  std::string type;
  std::string source;
  // By a process of a user who is not root (FUSE): whether it ever answers is up to him.
  bool served_by_user = false;
};

// In the order of the list: of two at one place the later hides the earlier.
using MountTable = std::vector<Mount>;

// Lines that cannot be understood are left out.
MountTable ParseMountTable(std::string_view text);

// A file system of another machine, or one that lies in an image file or on a disc.
bool IsRemoteOrImage(const Mount& mount);

// Whether the real path PATH is the point of MOUNT or lies below it, be it on another mount.
bool IsHeldBy(const Mount& mount, std::string_view path);

// Whether CALLER asks nothing of MOUNT: a remote or image mount, and for root one that a user serves himself,
// who could hold a process of root's for ever. Anybody else is refused by the kernel there, is that user, or
// has been let in on purpose.
bool IsForeignTo(uid_t caller, const Mount& mount);

// Whether PATH lies on a mount that is foreign to CALLER and does not hold FOLDER too; both are real paths. A
// folder that lies on such a mount as a whole is somebody's choice.
bool LiesOnForeignMount(const MountTable& table, std::string_view path, std::string_view folder,
                        uid_t caller);

// The mount that holds the real path PATH; null when the table has none.
const Mount* MountOf(const MountTable& table, std::string_view path);

#endif  // PLATFORM_LINUX_INDEX_MOUNT_TABLE_H_
