#include "core/open_below.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "base/path_below.h"

namespace {

bool HasDotDot(std::string_view relative) {
  for (std::size_t start = 0; start <= relative.size();) {
    const std::size_t end = std::min(relative.find('/', start), relative.size());
    if (relative.substr(start, end - start) == "..") return true;
    start = end + 1;
  }
  return false;
}

// The first component of REST, which then is what follows it. Empty when nothing is left.
std::string NextComponent(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  std::string component(rest.substr(0, rest.find('/')));
  rest.remove_prefix(component.size());
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  return component;
}

bool IsLink(int folder, const char* name) {
  struct stat status {};
  return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

// One component. A link is refused in the words of openat2, also where O_PATH would give the link itself.
FileDescriptor OpenComponent(int folder, const std::string& name, int flags, mode_t mode) {
  FileDescriptor opened(openat(folder, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!opened) {
    const int error = errno;
    errno = error == ENOTDIR && IsLink(folder, name.c_str()) ? ELOOP : error;
    return opened;
  }
  const auto status = StatusOf(opened);
  if (status.has_value() && !S_ISLNK(status->st_mode)) return opened;
  errno = ELOOP;
  return FileDescriptor();
}

std::optional<std::string> ReadLink(int folder, const std::string& name) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = readlinkat(folder, name.c_str(), target.data(), target.size());
  if (length <= 0) return std::nullopt;
  target.resize(static_cast<std::size_t>(length));
  return target;
}

}  // namespace

std::optional<std::string> RelativeTo(std::string_view root, std::string_view path) {
  while (root.ends_with('/')) root.remove_suffix(1);
  if (!IsOrLiesBelow(path, root)) return std::nullopt;
  path.remove_prefix(root.size());
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  if (HasDotDot(path)) return std::nullopt;
  return path.empty() ? "." : std::string(path);
}

FileDescriptor OpenBelowAtOnce(int root, const std::string& relative, int flags, mode_t mode) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  // What the C library adds to its own opens in a 32-bit process: without it files of 2 GiB are refused.
  if ((flags & O_PATH) == 0) how.flags |= static_cast<unsigned>(O_LARGEFILE);
  how.mode = (flags & O_CREAT) != 0 ? mode : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return FileDescriptor(static_cast<int>(syscall(SYS_openat2, root, relative.c_str(), &how, sizeof(how))));
}

FileDescriptor OpenBelowStepwise(int root, const std::string& relative, int flags, mode_t mode) {
  if (relative.starts_with('/') || HasDotDot(relative)) {
    errno = EXDEV;
    return FileDescriptor();
  }
  constexpr int kFolder = O_PATH | O_DIRECTORY;
  FileDescriptor folder = OpenComponent(root, ".", kFolder, 0);
  std::string_view rest = relative;
  std::string name = NextComponent(rest);
  while (folder && !rest.empty()) {
    folder = OpenComponent(folder.get(), name, kFolder, 0);
    name = NextComponent(rest);
  }
  if (!folder) return folder;
  return OpenComponent(folder.get(), name, flags, mode);
}

FileDescriptor OpenBelow(int root, const std::string& relative, int flags, mode_t mode) {
  // Set once the kernel, or a filter that does not know the call, has refused it.
  static std::atomic<bool> stepwise_only{false};
  if (!stepwise_only) {
    FileDescriptor opened = OpenBelowAtOnce(root, relative, flags, mode);
    if (opened || (errno != ENOSYS && errno != EPERM)) return opened;
    // EPERM may also be an answer about the file; the other way then gives the same one.
    if (errno == ENOSYS) stepwise_only = true;
  }
  return OpenBelowStepwise(root, relative, flags, mode);
}

FileDescriptor Reopen(const FileDescriptor& descriptor, int flags) {
  return FileDescriptor(open(NameOfDescriptor(descriptor).c_str(), flags | O_CLOEXEC));
}

std::string NameOfDescriptor(const FileDescriptor& descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor.get());
}

std::optional<std::string> TargetOf(const FileDescriptor& link) {
  return ReadLink(link.get(), "");
}

std::optional<std::string> PathOf(const FileDescriptor& descriptor) {
  return ReadLink(AT_FDCWD, NameOfDescriptor(descriptor));
}

std::optional<struct stat> StatusOf(const FileDescriptor& descriptor) {
  struct stat status {};
  if (fstat(descriptor.get(), &status) != 0) return std::nullopt;
  return status;
}
