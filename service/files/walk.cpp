#include "files/walk.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/limits.h"
#include "common/database_name.h"
#include "common/display.h"
#include "common/error_text.h"
#include "files/file_system_id.h"
#include "files/looking.h"
#include "files/open_folder.h"
#include "files/statx_time.h"
#include "platform/files.h"
#include "platform/index.h"

namespace {

constexpr std::size_t kLongestPath = kPathSize - 1;

// The service's own and the plug-in's files, of which nobody wants to hear.
bool LeftOutSilently(std::string_view name) {
  if (name == "." || name == ".." || name == kSideFolder) return true;
  if (!name.starts_with(kDatabaseName)) return false;
  const std::string_view rest = name.substr(std::string_view(kDatabaseName).size());
  return rest.empty() || rest == "-wal" || rest == "-shm" || rest == "-journal";
}

constexpr unsigned kWantedFields = STATX_BASIC_STATS | STATX_BTIME;

FileStamp StampOf(const struct statx& status, std::uint64_t device) {
  FileStamp stamp;
  stamp.device = device;
  stamp.inode = status.stx_ino;
  stamp.birth = BirthOf(status);
  stamp.size = static_cast<std::int64_t>(status.stx_size);
  stamp.modified = Nanoseconds(status.stx_mtime);
  stamp.changed = Nanoseconds(status.stx_ctime);
  return stamp;
}

std::string Join(const std::string& folder, std::string_view name) {
  return std::string(folder).append("/").append(name);
}

FileDescriptor OpenRoot(const std::string& root) {
  const Looking looking;
  return FileDescriptor(looking ? open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1);
}

WalkEntry Elsewhere(std::string path) {
  return {EntryKind::kUnknown, std::move(path), "on another machine or in an image file"};
}

std::string CannotBeListed(int error) {
  return "cannot be listed: " + ErrorText(error);
}

}  // namespace

Outcome<Walk> Walk::Start(const std::string& root, const WalkScope& scope) {
  FileDescriptor folder = OpenRoot(root);
  struct statx status {};
  if (!folder || statx(folder.get(), "", AT_EMPTY_PATH, kWantedFields, &status) != 0) {
    return Failure{ExitStatus::kFatal, AboutFile(root, ErrorText(errno))};
  }
  Walk walk(std::move(folder), root);
  const WalkEntry entered = walk.EnterFolder(root, scope.Top());
  if (entered.kind != EntryKind::kFolder) return Failure{ExitStatus::kFatal, AboutFile(root, entered.reason)};
  if (const int error = walk.levels_.back().error; error != 0)
    return Failure{ExitStatus::kFatal, AboutFile(root, CannotBeListed(error))};
  return walk;
}

std::optional<WalkEntry> Walk::Next() {
  if (!std::exchange(started_, true))
    return WalkEntry{EntryKind::kFolder,
                     root_path_,
                     "",
                     levels_.front().stamp,
                     levels_.front().device_number,
                     levels_.front().part.is_meant()};
  while (!levels_.empty()) {
    Level& level = levels_.back();
    if (const int error = std::exchange(level.error, 0); error != 0) {
      return WalkEntry{EntryKind::kFailed, level.path, CannotBeListed(error), {}, 0, level.part.is_meant()};
    }
    if (level.next_file < level.files.size()) {
      const std::size_t index = level.next_file++;
      const std::string_view name = level.files.name(index);
      WalkEntry entry = EntryOf(level.files.tag(index), Join(level.path, name));
      entry.meant = level.part.Below(name).is_meant();
      return entry;
    }
    level.files.Clear();
    level.next_file = 0;
    if (level.next_folder < level.folders.size()) return NextFolder();
    levels_.pop_back();
  }
  return std::nullopt;
}

WalkEntry Walk::NextFolder() {
  Level& level = levels_.back();
  const std::string_view name = level.folders.name(level.next_folder++);
  const WalkScope::Part part = level.part.Below(name);
  WalkEntry entry = EnterFolder(Join(level.path, name), part);
  entry.meant = part.is_meant();
  return entry;
}

WalkEntry Walk::EnterFolder(const std::string& path, const WalkScope::Part& part) {
  if (path.size() > kLongestPath) return {EntryKind::kFailed, path, "the path is too long"};
  const Looking looking;
  // The plug-in takes none of what lies there, and its server may never answer: the list of mounts is asked,
  // and again for what is mounted by the opening. A link may stand here by now.
  if (!levels_.empty() && looking && LeadsElsewhere(path)) return Elsewhere(path);
  const std::string relative = path.substr(std::min(path.size(), root_path_.size() + 1));
  FileDescriptor folder(looking ? KAVOBeneathOpenFolder(root_.get(), relative.c_str()) : -1);
  struct statx status {};
  if (!folder || statx(folder.get(), "", AT_EMPTY_PATH, kWantedFields, &status) != 0) {
    return {EntryKind::kFailed, path, "cannot be opened: " + ErrorText(errno)};
  }
  const bool another = BeginsAnotherFileSystem(status);
  if (another && LeadsElsewhere(path)) return Elsewhere(path);
  const std::uint64_t above = levels_.empty() ? 0 : levels_.back().stamp.device;
  Level level{path,
              StampOf(status, another ? FileSystemId(folder.get(), status) : above),
              DeviceOf(status),
              part,
              0,
              {},
              {},
              0,
              0};
  if (IsAncestor(level)) return {EntryKind::kUnknown, path, "folder inside itself"};
  if (part.has_names()) ListFolder(folder.Release(), level);
  levels_.push_back(std::move(level));
  return {EntryKind::kFolder, path, "", levels_.back().stamp, another ? DeviceOf(status) : 0};
}

bool Walk::LeadsElsewhere(const std::string& path) const {
  return KAVOIndexLeadsToForeignMount(root_path_.c_str(), path.c_str());
}

// A part of the same file system may be shown there.
bool Walk::BeginsAnotherFileSystem(const struct statx& status) const {
  if (levels_.empty()) return false;
  return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0 ||
         DeviceOf(status) != levels_.back().device_number;
}

bool Walk::IsAncestor(const Level& folder) const {
  return std::any_of(levels_.begin(), levels_.end(), [&](const Level& level) {
    return level.device_number == folder.device_number && level.stamp.inode == folder.stamp.inode &&
           level.stamp.birth == folder.stamp.birth;
  });
}

// Takes over the descriptor.
void Walk::ListFolder(int descriptor, Level& level) const {
  const OpenFolder folder(descriptor);
  if (!folder) {
    level.error = errno;
    return;
  }
  // The end of a listing and an error both come as null; errno tells them apart.
  errno = 0;
  while (const dirent* entry = folder.Next()) {
    const std::string_view name = entry->d_name;
    if (LeftOutSilently(name) || level.part.Below(name).empty()) continue;
    const Name found = Classify(folder.descriptor(), entry->d_name, entry->d_type, level);
    if (found.kind == NameKind::kFolder) {
      level.folders.Add(name, {});
    } else {
      level.files.Add(name, found);
    }
    errno = 0;
  }
  level.error = errno;
  level.files.Sort();
  level.folders.Sort();
}

// One file system may give its files the numbers of others, as overlays do.
std::uint64_t Walk::DeviceOfFile(const struct statx& status, const Level& level) {
  const bool mounted = (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  const std::uint64_t device_number = DeviceOf(status);
  return mounted && device_number != level.device_number ? device_number : level.stamp.device;
}

Walk::Name Walk::Classify(int folder, const char* name, unsigned char type, const Level& level) const {
  if (*name == '.') return {NameKind::kHidden, {}};
  if (type == DT_DIR) return {NameKind::kFolder, {}};  // looked at when it is entered
  // As EnterFolder does: a link is followed.
  if (type != DT_REG && LeadsElsewhere(Join(level.path, name))) return {NameKind::kElsewhere, {}};
  struct statx status {};
  if (statx(folder, name, AT_SYMLINK_NOFOLLOW, kWantedFields, &status) != 0) return {NameKind::kUnknown, {}};
  const FileStamp stamp = StampOf(status, DeviceOfFile(status, level));
  switch (status.stx_mode & S_IFMT) {
    case S_IFREG:
      return {NameKind::kFile, stamp};
    case S_IFDIR:
      return {NameKind::kFolder, {}};
    case S_IFLNK:
      return ClassifyLinkTarget(folder, name, stamp);
    default:
      return {NameKind::kSpecial, {}};
  }
}

Walk::Name Walk::ClassifyLinkTarget(int folder, const char* name, FileStamp stamp) {
  struct statx status {};
  if (statx(folder, name, 0, kWantedFields, &status) != 0)
    return {errno == EACCES ? NameKind::kClosedLink : NameKind::kDanglingLink, {}};
  const FileStamp target = StampOf(status, 0);
  stamp.size = target.size;
  stamp.modified = target.modified;
  stamp.changed = target.changed;
  if (S_ISREG(status.stx_mode)) return {NameKind::kFile, stamp};
  return {S_ISDIR(status.stx_mode) ? NameKind::kFolderLink : NameKind::kSpecial, {}};
}

WalkEntry Walk::EntryOf(const Name& name, std::string path) {
  switch (name.kind) {
    case NameKind::kHidden:
      return {EntryKind::kSkipped, std::move(path), "hidden"};
    case NameKind::kSpecial:
      return {EntryKind::kUnknown, std::move(path), "special file"};
    case NameKind::kFolderLink:
      return {EntryKind::kUnknown, std::move(path), "link to a folder"};
    case NameKind::kDanglingLink:
      return {EntryKind::kUnknown, std::move(path), "link that leads nowhere"};
    case NameKind::kClosedLink:
      return {EntryKind::kUnknown, std::move(path), kRefusedLink};
    case NameKind::kElsewhere:
      return Elsewhere(std::move(path));
    case NameKind::kUnknown:
      return {EntryKind::kFailed, std::move(path), "cannot be looked at"};
    case NameKind::kFile:
    case NameKind::kFolder:
      break;
  }
  if (path.size() > kLongestPath) return {EntryKind::kFailed, std::move(path), "the path is too long"};
  return {EntryKind::kFile, std::move(path), "", name.stamp};
}
