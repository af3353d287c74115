#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string_view>

#include "core/error.h"
#include "core/find_below.h"
#include "core/mode_policy.h"
#include "core/open_below.h"
#include "core/out_text.h"
#include "core/pending_removals.h"
#include "core/read_for.h"
#include "core/trusted_folder.h"
#include "db/session.h"
#include "platform/files.h"
#include "share/lent_side_file.h"

namespace {

constexpr uid_t kRoot = 0;

bool IsRegularOrFolder(const FileDescriptor& found) {
  const auto status = StatusOf(found);
  if (status.has_value() && (S_ISREG(status->st_mode) || S_ISDIR(status->st_mode))) return true;
  errno = EINVAL;
  return false;
}

FileDescriptor ReadAgain(const std::string& root, const std::string& path) {
  const FileDescriptor library = OpenTrustedFolder(root);
  return library ? ReadBelow(library, RelativeTo(root, path).value_or("..")) : FileDescriptor();
}

int OpenForReading(const std::string& root, const std::string& path) {
  const FileDescriptor found = FindRegularBelow(root, path);
  const bool lent = IsLentSideFile(root, path);
  if (!found) return lent ? OpenLentSideFile().Release() : -1;
  if (lent) TakeLentSideFile();
  return (NeedsOwnersRights(found) ? ReadAgain(root, path) : ReadRegular(found)).Release();
}

// Whether what is FILE in FOLDER is there as its owner wants it. The owner of a folder may give another's
// file a name in it; where the folder is root's, he may not. Files of root's are the index's own.
bool IsThereByItsOwner(const FileDescriptor& folder, const struct stat& file) {
  const auto status = StatusOf(folder);
  if (!status.has_value() || (S_ISREG(file.st_mode) && file.st_nlink > 1)) return false;
  return file.st_uid == status->st_uid || file.st_uid == kRoot || status->st_uid == kRoot;
}

// What a process of root's may give another mode: others change their own files alone.
bool MayChange(const FileDescriptor& folder, const FileDescriptor& found) {
  const auto status = geteuid() == kRoot ? StatusOf(found) : std::nullopt;
  if (geteuid() != kRoot || (status.has_value() && IsThereByItsOwner(folder, *status))) return true;
  errno = EPERM;
  return false;
}

int ChangeMode(const std::string& root, const std::string& path, mode_t mode) {
  std::string relative = RelativeTo(root, path).value_or("..");
  while (relative.ends_with('/')) relative.pop_back();
  const std::size_t slash = relative.rfind('/');
  const FileDescriptor folder =
      FindBelow(root, slash != relative.npos ? root + "/" + relative.substr(0, slash) : root);
  const FileDescriptor found =
      folder ? OpenBelow(folder.get(), relative.substr(slash + 1), O_PATH) : FileDescriptor();
  return found && IsRegularOrFolder(found) && MayChange(folder, found) ? GiveMode(found, mode) : -1;
}

int RootOf(const std::string& folder, char* out, int size) {
  errno = ENOENT;
  const FileDescriptor found = folder.empty() ? FileDescriptor() : OpenTrustedFolder(folder);
  const auto status = found ? StatusOf(found) : std::nullopt;
  if (!status) return -1;
  errno = ENOENT;
  const auto path = status->st_nlink > 0 ? PathOf(found) : std::nullopt;
  if (!path) return -1;
  errno = ENAMETOOLONG;
  return PutWhole(*path, out, size);
}

int RemoveOrDefer(const std::string& root, const std::string& path) {
  const FileDescriptor found = FindRegularBelow(root, path);
  if (!found && IsLentSideFile(root, path)) {
    TakeLentSideFile();
    return 0;
  }
  PendingRemovals* pending = Session::OfThread().pending();
  if (pending == nullptr) return RemoveBelow(root, path);
  const auto status = found ? StatusOf(found) : std::nullopt;
  if (!status.has_value()) return -1;
  pending->Add({root, path, FileState(*status)});
  return 0;
}

// The open batch has taken its value, and its removal waits.
bool WasConsumed(const std::string& path, const FileState& state) {
  const PendingRemovals* pending = Session::OfThread().pending();
  return pending != nullptr && pending->Has(path, state);
}

// Runs ACT for the two paths of the caller and notes its failure (negative) as the last error.
template <typename Act>
int Noted(const char* root, const char* path, Act&& act) {
  return WithoutExceptions(-1, [&] {
    errno = EINVAL;
    const int result = root != nullptr && path != nullptr ? act(std::string(root), std::string(path)) : -1;
    if (result < 0) RECORD_ERROR(errno);
    return result;
  });
}

}  // namespace

int KAVOBeneathOpen(const char* root, const char* path) {
  return Noted(root, path, OpenForReading);
}

int KAVOBeneathOpenFolder(int root, const char* path) {
  return WithoutExceptions(-1, [&] {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK;
    errno = EINVAL;
    const int opened = path != nullptr ? OpenBelow(root, *path != '\0' ? path : ".", kFlags).Release() : -1;
    if (opened < 0) RECORD_ERROR(errno);
    return opened;
  });
}

int KAVOBeneathRootGet(const char* folder, char* out, int size) {
  return WithoutExceptions(-1, [&] {
    errno = EINVAL;
    const int length = folder != nullptr ? RootOf(folder, out, size) : -1;
    if (length < 0) RECORD_ERROR(errno);
    return length;
  });
}

int KAVOBeneathRemove(const char* root, const char* path) {
  return Noted(root, path, RemoveOrDefer);
}

int KAVOBeneathExist(const char* root, const char* path) {
  return WithoutExceptions(0, [&] {
    if (root == nullptr || path == nullptr) return 0;
    const FileDescriptor found = FindRegularBelow(root, path);
    if (!found) return IsLentSideFile(root, path) ? 1 : 0;
    const auto status = StatusOf(found);
    return status.has_value() && !WasConsumed(path, FileState(*status)) ? 1 : 0;
  });
}

int KAVOBeneathFolderGone(const char* root, const char* folder) {
  return WithoutExceptions(0, [&] {
    if (root == nullptr || folder == nullptr || HoldsLentSideFile(folder)) return 0;
    return !FindBelow(root, folder) && errno == ENOENT ? 1 : 0;
  });
}

int KAVOBeneathMode(const char* root, const char* path, mode_t mode) {
  return Noted(root, path, [mode](const std::string& folder, const std::string& file) {
    return ChangeMode(folder, file, mode);
  });
}
