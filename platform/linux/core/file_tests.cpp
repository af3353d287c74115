#include <errno.h>
#include <sys/stat.h>

#include "platform/files.h"

namespace {

// Rows are removed because a file is gone, and unknown is not gone: when a disk or a folder cannot be read,
// its files count as present.
bool MayExist(const char* path, struct stat* status) {
  if (path == nullptr) return false;
  if (stat(path, status) == 0) return true;
  *status = {};
  return errno != ENOENT && errno != ENOTDIR && errno != ELOOP && errno != ENAMETOOLONG;
}

}  // namespace

int RLIBCFileExist(const char* path) {
  struct stat status {};
  return MayExist(path, &status) ? 1 : 0;
}

int RLIBCFileCheckDir(const char* path) {
  struct stat status {};
  return path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

bool IsFileExist(const char* path, int64_t* size) {
  struct stat status {};
  if (!MayExist(path, &status)) return false;
  if (size != nullptr) *size = status.st_size;
  return true;
}
