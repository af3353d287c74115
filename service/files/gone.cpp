#include "files/gone.h"

#include <sys/stat.h>

#include <cerrno>

#include "files/looking.h"

bool IsGone(const std::string& path, ItemKind kind) {
  const Looking looking;
  struct stat status {};
  if (!looking) return false;
  if (lstat(path.c_str(), &status) != 0) return errno == ENOENT || errno == ENOTDIR;
  if (kind == ItemKind::kFolder) return S_ISREG(status.st_mode);
  return S_ISDIR(status.st_mode);
}
