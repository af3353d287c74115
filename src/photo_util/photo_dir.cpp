#include "photo_util/photo_dir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "base/export_guard.h"
#include "base/fixed_path.h"
#include "base/limits.h"
#include "base/path_below.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"

namespace {

// The target of the shared photo link, from its first successful reading on. Callers keep pointers into it.
struct SharedPhotoDir {
  char path[kPathSize];
  int length;  // 0 while it has not been read
};
SharedPhotoDir g_shared;

// Reads the link into the cache; false while there is none.
bool Resolve() {
  const ssize_t length =
      readlink(FixedPath(kSharedPhotoLink).c_str(), g_shared.path, sizeof g_shared.path - 1);
  if (length <= 0) return false;
  g_shared.path[length] = '\0';
  g_shared.length = static_cast<int>(length);
  return true;
}

}  // namespace

const char* PhotoUtilPhotoDirGet() {
  if (g_shared.length != 0) return g_shared.path;
  return Guarded<const char*>(kPhotoUtilSource, nullptr, [] { return Resolve() ? g_shared.path : nullptr; });
}

int PhotoUtilPhotoDirLenGet() {
  return g_shared.length;
}

int IsDirExist(const char* path) {
  struct stat status;
  return path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

const char* RequestPhotoRoot() {
  return HGAStatusIsHGARequest() ? HGAStatusPhotoDirGet() : PhotoUtilPhotoDirGet();
}

std::optional<std::string> PhotoRootIn(const char* path) {
  const char* root = RequestPhotoRoot();
  if (root == nullptr || !LiesIn(path, root)) return std::nullopt;
  return std::string(path, std::strlen(root));
}

void ResetPhotoDirForTest() {
  g_shared = {};
}
