#include "core/find_below.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/open_below.h"
#include "core/trusted_folder.h"

namespace {

bool IsRegular(const FileDescriptor& found) {
  const auto status = StatusOf(found);
  if (status.has_value() && S_ISREG(status->st_mode)) return true;
  errno = EINVAL;
  return false;
}

}  // namespace

FileDescriptor FindBelow(const std::string& root, const std::string& path) {
  const auto relative = RelativeTo(root, path);
  if (!relative.has_value()) {
    errno = EXDEV;
    return FileDescriptor();
  }
  const FileDescriptor folder = OpenTrustedFolder(root);
  return folder ? OpenBelow(folder.get(), *relative, O_PATH) : FileDescriptor();
}

FileDescriptor FindRegularBelow(const std::string& root, const std::string& path) {
  FileDescriptor found = FindBelow(root, path);
  return found && IsRegular(found) ? std::move(found) : FileDescriptor();
}

int RemoveBelow(const std::string& root, const std::string& path, const std::optional<FileState>& state) {
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) {
    errno = EINVAL;
    return -1;
  }
  const std::string name = path.substr(slash + 1);
  const FileDescriptor folder = FindBelow(root, path.substr(0, slash));
  struct stat status {};
  if (!folder || fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return -1;
  if (!S_ISREG(status.st_mode) || (state.has_value() && FileState(status) != *state)) {
    errno = EINVAL;
    return -1;
  }
  // Should the file be exchanged now, what goes is a name of this folder still, never what a link points to.
  return unlinkat(folder.get(), name.c_str(), 0);
}
