#include "platform/media_file.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "core/error.h"
#include "core/link_walk.h"
#include "core/open_below.h"
#include "core/read_for.h"
#include "core/trusted_folder.h"

namespace {

constexpr uid_t kRoot = 0;

struct HeldFolder {
  std::string path;
  FileDescriptor folder;
};

HeldFolder& TheHeldFolder() {
  static HeldFolder held;
  return held;
}

FileDescriptor Refused() {
  errno = EPERM;
  return FileDescriptor();
}

// The names of files that a process has open would lend its rights, and they look like links.
bool StandsForOpenFile(const FileDescriptor& found) {
  const auto status = StatusOf(found);
  struct statfs system {};
  return status && S_ISLNK(status->st_mode) && fstatfs(found.get(), &system) == 0 &&
         system.f_type == PROC_SUPER_MAGIC;
}

// A folder is opened as one, by which what is mounted on demand is there.
FileDescriptor FindLooking(const FileDescriptor& folder, const std::string& name) {
  constexpr int kItself = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  FileDescriptor found(openat(folder.get(), name.c_str(), kItself | O_DIRECTORY));
  return found || errno != ENOTDIR ? std::move(found)
                                   : FileDescriptor(openat(folder.get(), name.c_str(), kItself));
}

// A name on the way behind a link has to be one that everybody finds who made a link before it.
FileDescriptor FindBehindLinks(const FileDescriptor& folder, const std::string& name,
                               const LinkWalk::Makers& makers) {
  FileDescriptor found = AsEach(makers, [&] { return FindLooking(folder, name); });
  if (!found || !StandsForOpenFile(found)) return found;
  errno = ELOOP;
  return FileDescriptor();
}

// What lies in the library is everybody's in it; else the maker of the link has to own the file.
bool MayLeadTo(const FileDescriptor& found, uid_t maker) {
  const auto status = StatusOf(found);
  if (status && status->st_uid == maker) return true;
  const auto place = PathOf(found);
  return place && RelativeTo(TheHeldFolder().path, *place);
}

// A user cannot take on the rights of others; root does.
bool MayAllLeadTo(const FileDescriptor& found, const LinkWalk::Makers& makers) {
  const uid_t reader = geteuid();
  return std::all_of(makers.begin(), makers.end(), [&](uid_t maker) {
    return reader == kRoot || maker == kRoot || maker == reader || MayLeadTo(found, maker);
  });
}

// The file may be a link, its folder RELATIVE_FOLDER none. What is behind a link and may not be read is
// refused for the link's sake. It may be none any more, but another name of somebody's file.
FileDescriptor OpenLink(const std::string& relative_folder, const std::string& name) {
  FileDescriptor folder = OpenBelow(TheHeldFolder().folder.get(), relative_folder, O_PATH | O_DIRECTORY);
  if (!folder) return FileDescriptor();
  LinkWalk walk(std::move(folder), name, FindBehindLinks);
  const FileDescriptor found = walk.Run();
  if (!found) return errno == EACCES ? Refused() : FileDescriptor();
  if (!MayAllLeadTo(found, walk.makers())) return Refused();
  return ReadForAll(found, walk.folder(), TheHeldFolder().folder, walk.makers());
}

FileDescriptor OpenHeld(const std::string& path) {
  const auto relative = RelativeTo(TheHeldFolder().path, path);
  if (!relative) {
    errno = EXDEV;
    return FileDescriptor();
  }
  const FileDescriptor found = OpenBelow(TheHeldFolder().folder.get(), *relative, O_PATH);
  if (found)
    return NeedsOwnersRights(found) ? ReadBelow(TheHeldFolder().folder, *relative) : ReadRegular(found);
  if (errno != ELOOP) return FileDescriptor();
  const std::size_t slash = relative->rfind('/');
  return OpenLink(slash == relative->npos ? "." : relative->substr(0, slash), relative->substr(slash + 1));
}

int Hold(const char* folder) {
  TheHeldFolder() = {};
  if (folder == nullptr) return 0;
  FileDescriptor opened = OpenTrustedFolder(folder);
  if (!opened) return -1;
  TheHeldFolder() = {folder, std::move(opened)};
  return 0;
}

FileDescriptor Open(const std::string& path) {
  return TheHeldFolder().folder ? OpenHeld(path)
                                : ReadRegular(FileDescriptor(open(path.c_str(), O_PATH | O_CLOEXEC)));
}

struct KeptFile {
  std::string path;
  FileDescriptor file;
};

KeptFile& Kept() {
  static KeptFile kept;
  return kept;
}

int Keep(const char* path) {
  Kept() = {};
  if (path == nullptr) return 0;
  FileDescriptor opened = Open(path);
  if (!opened) return -1;
  Kept() = {path, std::move(opened)};
  return 0;
}

FileDescriptor OpenOrCopy(const std::string& path) {
  const KeptFile& kept = Kept();
  return kept.file && kept.path == path ? FileDescriptor(fcntl(kept.file.get(), F_DUPFD_CLOEXEC, 0))
                                        : Open(path);
}

}  // namespace

int KAVOMediaFolderHold(const char* folder) {
  return WithoutExceptions(-1, [&] {
    const int held = Hold(folder);
    if (held < 0) RECORD_ERROR(errno);
    return held;
  });
}

int KAVOMediaOpen(const char* path) {
  return WithoutExceptions(-1, [&] {
    errno = EINVAL;
    FileDescriptor opened;
    if (path != nullptr) opened = OpenOrCopy(path);
    if (!opened) RECORD_ERROR(errno);
    return opened.Release();
  });
}

int KAVOMediaKeep(const char* path) {
  return WithoutExceptions(-1, [&] {
    const int kept = Keep(path);
    if (kept < 0) RECORD_ERROR(errno);
    return kept;
  });
}
