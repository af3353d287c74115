#include "files/gone.h"

#include <sys/stat.h>

#include <cerrno>

bool IsGone(const std::string& path, ItemKind kind) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return errno == ENOENT || errno == ENOTDIR;
  if (kind == ItemKind::kFolder) return S_ISREG(status.st_mode);
  return S_ISDIR(status.st_mode);
}
