#include "core/trusted_folder.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "core/link_walk.h"
#include "core/open_below.h"

namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr uid_t kAdministrator = 0;
constexpr mode_t kUsualMode = 0755;

bool IsFolder(const FileDescriptor& found) {
  const auto status = StatusOf(found);
  if (status.has_value() && S_ISDIR(status->st_mode)) return true;
  errno = ENOTDIR;
  return false;
}

bool LinksCount(const FileDescriptor& found, const LinkWalk::Makers& makers) {
  if (geteuid() != kAdministrator) return true;
  const auto folder = StatusOf(found);
  const bool count = folder.has_value() && std::all_of(makers.begin(), makers.end(), [&](uid_t maker) {
                       return maker == kAdministrator || maker == folder->st_uid;
                     });
  if (!count) errno = EPERM;
  return count;
}

FileDescriptor FindName(const FileDescriptor& folder, const std::string& name, const LinkWalk::Makers&) {
  return FileDescriptor(openat(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

FileDescriptor FindOrMake(const FileDescriptor& folder, const std::string& name,
                          const LinkWalk::Makers& makers) {
  FileDescriptor found = FindName(folder, name, makers);
  if (found || errno != ENOENT || !makers.empty()) return found;
  if (mkdirat(folder.get(), name.c_str(), kUsualMode) != 0 && errno != EEXIST) return found;
  return FileDescriptor(openat(folder.get(), name.c_str(), kFolderFlags | O_NOFOLLOW));
}

FileDescriptor WalkTo(const std::string& folder, LinkWalk::Find find) {
  LinkWalk walk(FileDescriptor(open(".", kFolderFlags)), folder, std::move(find));
  FileDescriptor found = walk.Run();
  return found && IsFolder(found) && LinksCount(found, walk.makers()) ? std::move(found) : FileDescriptor();
}

}  // namespace

FileDescriptor OpenTrustedFolder(const std::string& folder) {
  if (geteuid() != kAdministrator) return FileDescriptor(open(folder.c_str(), kFolderFlags));
  const FileDescriptor root(open("/", kFolderFlags));
  const auto relative = RelativeTo("/", folder);
  if (root && relative.has_value()) {
    FileDescriptor opened = OpenBelow(root.get(), *relative, kFolderFlags);
    if (opened || errno != ELOOP) return opened;
  }
  return WalkTo(folder, FindName);
}

FileDescriptor MakeTrustedFolder(const std::string& folder) {
  return WalkTo(folder, FindOrMake);
}
