#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "core/error.h"
#include "core/mode_policy.h"
#include "core/open_below.h"
#include "core/out_text.h"
#include "core/trusted_folder.h"
#include "platform/files.h"
#include "platform/share.h"

namespace {

constexpr std::string_view kSideFolder = "@eaDir";
constexpr mode_t kFolderMode = 0777;

std::string_view WithoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

std::string Join(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (!path.ends_with('/')) path += '/';
  return path.append(name);
}

// The folder that holds the side items of PATH.
std::string SideFolderOf(const char* path) {
  if (RLIBCFileCheckDir(path) == 1) return Join(WithoutTrailingSlashes(path), kSideFolder);
  const std::string_view file = path;
  const std::size_t name = file.rfind('/') + 1;  // 0 where there is no slash
  return Join(std::string(file.substr(0, name)).append(kSideFolder), file.substr(name));
}

// FOLDER cut where the side folder begins: what lies before exists as a rule, the rest lies in somebody's
// own folder.
struct SideParts {
  std::string owner_folder;
  std::string side;
};

SideParts Cut(std::string_view folder) {
  const std::string below = Join("", kSideFolder);
  std::size_t cut = folder.find(below);
  while (cut != folder.npos && cut + below.size() < folder.size() && folder[cut + below.size()] != '/') {
    cut = folder.find(below, cut + 1);
  }
  if (cut == folder.npos) cut = folder.rfind('/');
  if (cut == folder.npos) return {".", std::string(folder)};
  return {std::string(folder.substr(0, std::max<std::size_t>(cut, 1))), std::string(folder.substr(cut + 1))};
}

bool IsOurs(const FileDescriptor& folder) {
  const auto status = StatusOf(folder);
  return status.has_value() && status->st_uid == geteuid();
}

// The folder NAME of FOLDER, made when missing; never a link. What is there by then may be another's folder,
// which somebody has put in the place of the one that was made.
FileDescriptor MakeFolder(const FileDescriptor& folder, const std::string& name) {
  const bool made = mkdirat(folder.get(), name.c_str(), kFolderMode) == 0;
  if (!made && errno != EEXIST) return FileDescriptor();
  FileDescriptor opened = OpenBelow(folder.get(), name, O_PATH | O_DIRECTORY);
  if (opened && made && IsOurs(opened) && GiveMode(opened, kFolderMode) != 0) return FileDescriptor();
  return opened;
}

bool MakeSideFolder(std::string_view folder) {
  const SideParts parts = Cut(WithoutTrailingSlashes(folder));
  FileDescriptor at = MakeTrustedFolder(parts.owner_folder);
  for (std::string_view rest = parts.side; at && !rest.empty();) {
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (!name.empty()) at = MakeFolder(at, std::string(name));
  }
  return static_cast<bool>(at);
}

}  // namespace

int KAVOEAPath(int /*mode*/, const char* path, const char* item, char* out, int size, int /*flags*/) {
  return WithoutExceptions(-1, [&] {
    if (path == nullptr || *path == '\0' || item == nullptr) {
      RECORD_ERROR(EINVAL);
      return -1;
    }
    if (PutWhole(Join(SideFolderOf(path), item), out, size) >= 0) return 0;
    RECORD_ERROR(ENAMETOOLONG);
    return -1;
  });
}

int KAVOEAMKDir(int /*mode*/, const char* folder) {
  return WithoutExceptions(-1, [&] {
    errno = EINVAL;
    if (folder != nullptr && *folder != '\0' && MakeSideFolder(folder)) return 0;
    RECORD_ERROR(errno);
    return -1;
  });
}
