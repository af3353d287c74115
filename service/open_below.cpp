#include "open_below.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;

FileDescriptor OpenAtOnce(int root, const std::string& relative) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(kFolderFlags);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return FileDescriptor(static_cast<int>(syscall(SYS_openat2, root, relative.c_str(), &how, sizeof(how))));
}

// For kernels and sandboxes without openat2.
FileDescriptor OpenStepByStep(int root, const std::string& relative) {
  FileDescriptor folder(openat(root, ".", kFolderFlags));
  for (std::size_t begin = 0; folder && begin < relative.size();) {
    const std::size_t end = std::min(relative.find('/', begin), relative.size());
    folder = FileDescriptor(openat(folder.get(), relative.substr(begin, end - begin).c_str(), kFolderFlags));
    begin = end + 1;
  }
  return folder;
}

}  // namespace

FileDescriptor OpenFolderBelow(int root, const std::string& relative) {
  FileDescriptor folder = OpenAtOnce(root, relative.empty() ? "." : relative);
  if (!folder && (errno == ENOSYS || errno == EPERM)) return OpenStepByStep(root, relative);
  return folder;
}
