#include "platform/share.h"

#include <errno.h>
#include <limits.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <string>

#include "base/fixed_path.h"
#include "core/error.h"
#include "core/out_text.h"
#include "core/rooted_path.h"
#include "platform/files.h"
#include "share/share_folder.h"

namespace {

constexpr const char* kServices = "/var/services/";
// The one share whose place is known before it is made.
constexpr std::string_view kPhotoShare = "photo";

bool IsFolder(const std::string& path) {
  return RLIBCFileCheckDir(path.c_str()) == 1;
}

// -1, noted as ERROR.
int Failed(int error) {
  RECORD_ERROR(error);
  return -1;
}

int GetShare(const char* name, KAVOSHARE** share) {
  if (name == nullptr || share == nullptr || !IsPlainName(name)) return Failed(EINVAL);
  const std::string folder = ShareFolder(name);
  if (!IsFolder(folder)) return Failed(ENOENT);
  auto record = std::make_unique<KAVOSHARE>();
  if (PutWhole(name, record->szName, sizeof(record->szName)) < 0 ||
      PutWhole(folder, record->szPath, sizeof(record->szPath)) < 0) {
    return Failed(ENAMETOOLONG);
  }
  *share = record.release();
  return 0;
}

int GetSharePath(const char* name, char* out, int size) {
  if (name == nullptr || !IsPlainName(name)) return Failed(EINVAL);
  const std::string folder = ShareFolder(name);
  if (name != kPhotoShare && !IsFolder(folder)) return Failed(ENOENT);
  return PutWhole(folder, out, size) < 0 ? Failed(ENAMETOOLONG) : 0;
}

int GetPreferenceFolder(const char* user, char* out, int size) {
  if (user == nullptr || !IsPlainName(user)) return Failed(EINVAL);
  return PutWhole(RootedPath(kPreferences) + "/" + user, out, size) < 0 ? Failed(ENAMETOOLONG) : 0;
}

}  // namespace

bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

std::string ShareFolder(std::string_view name) {
  return KnownShareFolder(name).value_or(RootedPath(kServices).append(name));
}

std::optional<std::string> KnownShareFolder(std::string_view name) {
  const std::string services = RootedPath(kServices);
  std::string link = services + std::string(name);
  std::string target(PATH_MAX, '\0');
  const ssize_t length = readlink(link.c_str(), target.data(), target.size());
  const bool is_no_link = length == 0 || errno == EINVAL || errno == ENOENT || errno == ENOTDIR;
  if (length <= 0) return is_no_link ? std::optional(link) : std::nullopt;
  target.resize(static_cast<std::size_t>(length));
  // Paths are compared by name with this one.
  while (target.size() > 1 && target.ends_with('/')) target.pop_back();
  return target.starts_with('/') ? target : services + target;
}

int KAVOShareGet(const char* name, KAVOSHARE** share) {
  return WithoutExceptions(-1, [&] { return GetShare(name, share); });
}

void KAVOShareFree(KAVOSHARE* share) {
  const std::unique_ptr<KAVOSHARE> owned(share);
}

int KAVOSharePathGet(const char* name, char* out, int size) {
  return WithoutExceptions(-1, [&] { return GetSharePath(name, out, size); });
}

int KAVOUserPreferenceDirGet(const char* user, char* out, int size) {
  return WithoutExceptions(-1, [&] { return GetPreferenceFolder(user, out, size); });
}
