#include "core/beneath.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <string_view>

#include "core/error.h"
#include "core/lent_side_file.h"
#include "core/mode_policy.h"
#include "core/open_below.h"
#include "core/pending_removals.h"
#include "core/trusted_folder.h"
#include "platform/files.h"

namespace {

// An O_PATH descriptor of PATH, which opens nothing yet: neither a FIFO nor a device notices.
Descriptor Find(const std::string& root, const std::string& path) {
  const auto relative = RelativeTo(root, path);
  if (!relative.has_value()) {
    errno = EXDEV;
    return Descriptor();
  }
  const Descriptor folder = OpenTrustedFolder(root);
  return folder ? OpenBelow(folder.get(), *relative, O_PATH) : Descriptor();
}

bool IsRegular(const Descriptor& found) {
  const auto status = StatusOf(found);
  if (status.has_value() && S_ISREG(status->st_mode)) return true;
  errno = EINVAL;
  return false;
}

bool IsRegularOrFolder(const Descriptor& found) {
  const auto status = StatusOf(found);
  if (status.has_value() && (S_ISREG(status->st_mode) || S_ISDIR(status->st_mode))) return true;
  errno = EINVAL;
  return false;
}

Descriptor FindRegular(const std::string& root, const std::string& path) {
  Descriptor found = Find(root, path);
  return found && IsRegular(found) ? std::move(found) : Descriptor();
}

int OpenForReading(const std::string& root, const std::string& path) {
  const Descriptor found = FindRegular(root, path);
  const bool lent = IsLentSideFile(root, path);
  if (!found) return lent ? OpenLentSideFile().Release() : -1;
  if (lent) TakeLentSideFile();
  return Reopen(found, O_RDONLY | O_NONBLOCK | O_NOCTTY).Release();
}

int ChangeMode(const std::string& root, const std::string& path, mode_t mode) {
  const Descriptor found = Find(root, path);
  return found && IsRegularOrFolder(found) ? GiveMode(found, mode) : -1;
}

int RemoveOrDefer(const std::string& root, const std::string& path) {
  const Descriptor found = FindRegular(root, path);
  if (!found && IsLentSideFile(root, path)) {
    TakeLentSideFile();
    return 0;
  }
  if (!BatchOpen()) return RemoveBeneathNow(root, path);
  const auto status = found ? StatusOf(found) : std::nullopt;
  if (!status.has_value()) return -1;
  AddPendingRemoval({root, path, FileState(*status)});
  return 0;
}

// Runs ACT for the two paths of the caller and notes its failure (negative) as the last error.
template <typename Act>
int Noted(const char* root, const char* path, Act&& act) {
  return Contained(-1, [&] {
    errno = EINVAL;
    const int result = root != nullptr && path != nullptr ? act(std::string(root), std::string(path)) : -1;
    if (result < 0) RECORD_ERROR(errno);
    return result;
  });
}

}  // namespace

int RemoveBeneathNow(const std::string& root, const std::string& path,
                     const std::optional<FileState>& state) {
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) {
    errno = EINVAL;
    return -1;
  }
  const std::string name = path.substr(slash + 1);
  const Descriptor folder = Find(root, path.substr(0, slash));
  struct stat status {};
  if (!folder || fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return -1;
  if (!S_ISREG(status.st_mode) || (state.has_value() && FileState(status) != *state)) {
    errno = EINVAL;
    return -1;
  }
  // Should the file be exchanged now, what goes is a name of this folder still, never what a link points to.
  return unlinkat(folder.get(), name.c_str(), 0);
}

int KAVOBeneathOpen(const char* root, const char* path) {
  return Noted(root, path, OpenForReading);
}

int KAVOBeneathOpenFolder(int root, const char* path) {
  return Contained(-1, [&] {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK;
    errno = EINVAL;
    const int opened = path != nullptr ? OpenBelow(root, *path != '\0' ? path : ".", kFlags).Release() : -1;
    if (opened < 0) RECORD_ERROR(errno);
    return opened;
  });
}

int KAVOBeneathRemove(const char* root, const char* path) {
  return Noted(root, path, RemoveOrDefer);
}

int KAVOBeneathExist(const char* root, const char* path) {
  return Contained(0, [&] {
    if (root == nullptr || path == nullptr) return 0;
    const Descriptor found = FindRegular(root, path);
    if (!found) return IsLentSideFile(root, path) ? 1 : 0;
    const auto status = StatusOf(found);
    return status.has_value() && !IsRemovalPending(path, FileState(*status)) ? 1 : 0;
  });
}

int KAVOBeneathMode(const char* root, const char* path, mode_t mode) {
  return Noted(root, path, [mode](const std::string& folder, const std::string& file) {
    return ChangeMode(folder, file, mode);
  });
}
