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

bool IsFolder(const Descriptor& found) {
  const auto status = StatusOf(found);
  if (status.has_value() && S_ISDIR(status->st_mode)) return true;
  errno = ENOTDIR;
  return false;
}

bool LinksCount(const Descriptor& found, const LinkWalk::Makers& makers) {
  if (geteuid() != kAdministrator) return true;
  const auto folder = StatusOf(found);
  const bool count = folder.has_value() && std::all_of(makers.begin(), makers.end(), [&](uid_t maker) {
                       return maker == kAdministrator || maker == folder->st_uid;
                     });
  if (!count) errno = EPERM;
  return count;
}

Descriptor FindName(const Descriptor& folder, const std::string& name, const LinkWalk::Makers&) {
  return Descriptor(openat(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

Descriptor FindOrMake(const Descriptor& folder, const std::string& name, const LinkWalk::Makers& makers) {
  Descriptor found = FindName(folder, name, makers);
  if (found || errno != ENOENT || !makers.empty()) return found;
  if (mkdirat(folder.get(), name.c_str(), kUsualMode) != 0 && errno != EEXIST) return found;
  return Descriptor(openat(folder.get(), name.c_str(), kFolderFlags | O_NOFOLLOW));
}

Descriptor WalkTo(const std::string& folder, LinkWalk::Find find) {
  LinkWalk walk(Descriptor(open(".", kFolderFlags)), folder, std::move(find));
  Descriptor found = walk.Run();
  return found && IsFolder(found) && LinksCount(found, walk.makers()) ? std::move(found) : Descriptor();
}

}  // namespace

Descriptor OpenTrustedFolder(const std::string& folder) {
  if (geteuid() != kAdministrator) return Descriptor(open(folder.c_str(), kFolderFlags));
  const Descriptor root(open("/", kFolderFlags));
  const auto relative = RelativeTo("/", folder);
  if (root && relative.has_value()) {
    Descriptor opened = OpenBelow(root.get(), *relative, kFolderFlags);
    if (opened || errno != ELOOP) return opened;
  }
  return WalkTo(folder, FindName);
}

Descriptor MakeTrustedFolder(const std::string& folder) {
  return WalkTo(folder, FindOrMake);
}
