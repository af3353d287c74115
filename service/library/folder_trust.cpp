#include "library/folder_trust.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr uid_t kRoot = 0;
constexpr gid_t kRootsGroup = 0;
constexpr const char* kAccessList = "system.posix_acl_access";

// Where there is one, the group's bits are what anybody named in it may have.
bool HasAccessList(const std::string& path) {
  return lgetxattr(path.c_str(), kAccessList, nullptr, 0) > 0;
}

// In a sticky folder (/tmp) nobody touches what is another's.
std::optional<Distrust> DistrustOf(const std::string& folder) {
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0) return std::nullopt;
  if (!IsOurs(status)) return Distrust::kForeign;
  if ((status.st_mode & S_ISVTX) == 0 && OthersMayWrite(folder, status)) return Distrust::kOpen;
  return std::nullopt;
}

}  // namespace

bool IsOurs(const struct stat& status) {
  return status.st_uid == kRoot || status.st_uid == geteuid();
}

// Who is in a user's group he may not know; root's group is root's affair.
bool OthersMayWrite(const std::string& path, const struct stat& status) {
  if ((status.st_mode & S_IWOTH) != 0) return true;
  if ((status.st_mode & S_IWGRP) == 0) return false;
  return geteuid() != kRoot || status.st_gid != kRootsGroup || HasAccessList(path);
}

std::optional<DistrustedFolder> DistrustedAbove(const std::string& folder) {
  for (fs::path above = fs::path(folder).parent_path();; above = above.parent_path()) {
    if (const auto why = DistrustOf(above.string())) return DistrustedFolder{above.string(), *why};
    if (above == above.root_path()) return std::nullopt;
  }
}
