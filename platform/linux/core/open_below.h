// Opening files of other people's folders. A check of a path followed by an open of it, or an open of whose
// last name alone is known to be no link, can be cheated by exchanging a folder for a link in between;
// these opens cannot.
#ifndef PLATFORM_LINUX_CORE_OPEN_BELOW_H_
#define PLATFORM_LINUX_CORE_OPEN_BELOW_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/file_descriptor.h"

// PATH relative to ROOT, "." for ROOT itself; nothing when it does not lie there by name, or climbs with
// "..".
std::optional<std::string> RelativeTo(std::string_view root, std::string_view path);

// Opens RELATIVE below the folder ROOT, following no symbolic link. FLAGS are those of open(2), MODE is for
// O_CREAT. Empty with errno on failure: ELOOP where a link stands in the way.
FileDescriptor OpenBelow(int root, const std::string& relative, int flags, mode_t mode = 0);

// The two ways in which OpenBelow does it. The first needs Linux 5.6 (ENOSYS before); the second opens one
// component after the other.
FileDescriptor OpenBelowAtOnce(int root, const std::string& relative, int flags, mode_t mode);
FileDescriptor OpenBelowStepwise(int root, const std::string& relative, int flags, mode_t mode);

// Opens again, with FLAGS, the file that DESCRIPTOR (O_PATH) stands for.
FileDescriptor Reopen(const FileDescriptor& descriptor, int flags);
// The name under which the calls that take names find what DESCRIPTOR stands for.
std::string NameOfDescriptor(const FileDescriptor& descriptor);
// Where the link LINK (O_PATH) leads; nothing, with errno, when that cannot be told.
std::optional<std::string> TargetOf(const FileDescriptor& link);
// Where the file that DESCRIPTOR stands for is now.
std::optional<std::string> PathOf(const FileDescriptor& descriptor);
std::optional<struct stat> StatusOf(const FileDescriptor& descriptor);

#endif  // PLATFORM_LINUX_CORE_OPEN_BELOW_H_
