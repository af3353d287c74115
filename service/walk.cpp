#include "walk.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>

#include "base/limits.h"
#include "display.h"
#include "error_text.h"
#include "library.h"
#include "open_below.h"

namespace {

constexpr std::string_view kSideFolder = "@eaDir";
constexpr std::size_t kLongestPath = kPathSize - 1;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

// The service's own and the plug-in's files, of which nobody wants to hear.
bool LeftOutSilently(std::string_view name) {
  if (name == "." || name == ".." || name == kSideFolder) return true;
  if (!name.starts_with(kDatabaseName)) return false;
  const std::string_view rest = name.substr(std::string_view(kDatabaseName).size());
  return rest.empty() || rest == "-wal" || rest == "-shm" || rest == "-journal";
}

std::string Join(const std::string& folder, std::string_view name) {
  return std::string(folder).append("/").append(name);
}

std::string CannotBeListed(int error) {
  return "cannot be listed: " + ErrorText(error);
}

}  // namespace

Outcome<Walk> Walk::Start(const std::string& root) {
  FileDescriptor folder(open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return Failure{ExitStatus::kFatal, Visible(root) + ": " + ErrorText(errno)};
  Walk walk(std::move(folder), root);
  const WalkEntry entered = walk.Enter(root);
  if (entered.kind != EntryKind::kFolder)
    return Failure{ExitStatus::kFatal, Visible(root) + ": " + entered.reason};
  if (const int error = walk.levels_.back().error; error != 0)
    return Failure{ExitStatus::kFatal, Visible(root) + ": " + CannotBeListed(error)};
  return walk;
}

std::optional<WalkEntry> Walk::Next() {
  if (!std::exchange(started_, true)) return WalkEntry{EntryKind::kFolder, root_path_, ""};
  while (!levels_.empty()) {
    Level& level = levels_.back();
    if (const int error = std::exchange(level.error, 0); error != 0) {
      return WalkEntry{EntryKind::kFailed, level.path, CannotBeListed(error)};
    }
    if (level.next_file < level.files.size()) {
      const std::size_t index = level.next_file++;
      return EntryOf(level.files.tag(index), Join(level.path, level.files.name(index)));
    }
    level.files.Clear();
    level.next_file = 0;
    if (level.next_folder < level.folders.size()) {
      return Enter(Join(level.path, level.folders.name(level.next_folder++)));
    }
    levels_.pop_back();
  }
  return std::nullopt;
}

WalkEntry Walk::Enter(const std::string& path) {
  if (path.size() > kLongestPath) return {EntryKind::kFailed, path, "the path is too long"};
  const std::string relative = path.substr(std::min(path.size(), root_path_.size() + 1));
  FileDescriptor folder = OpenFolderBelow(root_.get(), relative);
  struct stat status {};
  if (!folder || fstat(folder.get(), &status) != 0) {
    return {EntryKind::kFailed, path, "cannot be opened: " + ErrorText(errno)};
  }
  Level level{path, {status.st_dev, status.st_ino}, 0, {}, {}, 0, 0};
  if (IsAncestor(level.identity)) return {EntryKind::kSkipped, path, "folder inside itself"};
  List(folder.Release(), level);
  levels_.push_back(std::move(level));
  return {EntryKind::kFolder, path, ""};
}

bool Walk::IsAncestor(const Identity& identity) const {
  return std::any_of(levels_.begin(), levels_.end(),
                     [&](const Level& level) { return level.identity == identity; });
}

// Takes over the descriptor.
void Walk::List(int descriptor, Level& level) {
  const Folder folder(fdopendir(descriptor));
  if (!folder) {
    level.error = errno;
    close(descriptor);
    return;
  }
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (LeftOutSilently(name)) continue;
    const NameKind kind = KindOf(dirfd(folder.get()), entry->d_name, entry->d_type);
    (kind == NameKind::kFolder ? level.folders : level.files).Add(name, kind);
    errno = 0;
  }
  level.error = errno;
  level.files.Sort();
  level.folders.Sort();
}

Walk::NameKind Walk::KindOf(int folder, const char* name, unsigned char type) {
  if (*name == '.') return NameKind::kHidden;
  if (type == DT_UNKNOWN) {
    struct stat status {};
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return NameKind::kUnknown;
    type = static_cast<unsigned char>(IFTODT(status.st_mode));
  }
  switch (type) {
    case DT_REG:
      return NameKind::kFile;
    case DT_DIR:
      return NameKind::kFolder;
    case DT_LNK:
      return LinkKind(folder, name);
    default:
      return NameKind::kSpecial;
  }
}

Walk::NameKind Walk::LinkKind(int folder, const char* name) {
  struct stat status {};
  if (fstatat(folder, name, &status, 0) != 0) return NameKind::kDanglingLink;
  if (S_ISREG(status.st_mode)) return NameKind::kFile;
  return S_ISDIR(status.st_mode) ? NameKind::kFolderLink : NameKind::kSpecial;
}

WalkEntry Walk::EntryOf(NameKind kind, std::string path) {
  const auto skipped = [&](const char* reason) {
    return WalkEntry{EntryKind::kSkipped, std::move(path), reason};
  };
  switch (kind) {
    case NameKind::kHidden:
      return skipped("hidden");
    case NameKind::kSpecial:
      return skipped("special file");
    case NameKind::kFolderLink:
      return skipped("link to a folder");
    case NameKind::kDanglingLink:
      return skipped("link that leads nowhere");
    case NameKind::kUnknown:
      return {EntryKind::kFailed, std::move(path), "cannot be looked at"};
    case NameKind::kFile:
    case NameKind::kFolder:
      break;
  }
  if (path.size() > kLongestPath) return {EntryKind::kFailed, std::move(path), "the path is too long"};
  return {EntryKind::kFile, std::move(path), ""};
}
