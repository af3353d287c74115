// Files, key=value files and locks.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files.h"
#include "support/fake_record.h"

namespace {

bool IsKind(const char* path, mode_t kind, struct stat* status) {
  return path != nullptr && stat(path, status) == 0 && (kind == 0 || (status->st_mode & S_IFMT) == kind);
}

const std::string* FindValue(const char* file, const char* key) {
  const auto& files = FakePlatform::Get().key_values;
  const auto found = files.find(file);
  if (found == files.end()) return nullptr;
  const auto entry = found->second.find(key);
  return entry == found->second.end() ? nullptr : &entry->second;
}

// The result of the call that acts on PATH below ROOT, which is refused for a path elsewhere.
template <typename Act>
int Beneath(const char* root, const char* path, Act act) {
  if (PathIsIn(path, root)) return act();
  errno = EXDEV;
  return -1;
}

}  // namespace

int KAVOFixedPathGet(const char* path, char* out, int size) {
  return Answered("KAVOFixedPathGet", [&]() -> int {
    if (Fails("KAVOFixedPathGet", path)) return -1;
    return PutText(out, size, FakePlatform::Get().root + path);
  });
}

int RLIBCFileExist(const char* path) {
  return Answered("RLIBCFileExist", [&]() -> int {
    if (Fails("RLIBCFileExist", path)) return 0;
    struct stat status;
    return IsKind(path, 0, &status) ? 1 : 0;
  });
}

int RLIBCFileCheckDir(const char* path) {
  return Answered("RLIBCFileCheckDir", [&]() -> int {
    if (Fails("RLIBCFileCheckDir", path)) return 0;
    struct stat status;
    return IsKind(path, S_IFDIR, &status) ? 1 : 0;
  });
}

bool IsFileExist(const char* path, int64_t* size) {
  if (Fails("IsFileExist", path)) return false;
  struct stat status;
  if (!IsKind(path, 0, &status)) return false;
  if (size != nullptr) *size = status.st_size;
  return true;
}

int RLIBCFileGetKeyValue(const char* file, const char* key, char* out, int size, int flags) {
  return Answered("RLIBCFileGetKeyValue", [&]() -> int {
    if (Fails("RLIBCFileGetKeyValue", file, key, size, flags)) return -1;
    const std::string* value = FindValue(file, key);
    return value == nullptr ? -1 : PutText(out, size, *value);
  });
}

int RLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags) {
  return Answered("RLIBCFileCheckKeyValue", [&]() -> int {
    if (Fails("RLIBCFileCheckKeyValue", file, key, value, flags)) return 0;
    const std::string* found = FindValue(file, key);
    return found != nullptr && *found == value ? 1 : 0;
  });
}

int RLIBCFileLockByFile(const char* file, int mode, int* descriptor) {
  return Answered("RLIBCFileLockByFile", [&]() -> int {
    if (Fails("RLIBCFileLockByFile", file, mode)) return 0;
    const int opened = open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (opened < 0) return 0;
    flock(opened, LOCK_EX);
    *descriptor = opened;
    return 1;
  });
}

void RLIBCFileUnlockByFile(int descriptor) {
  Record("RLIBCFileUnlockByFile");
  close(descriptor);
}

int KAVOBeneathOpen(const char* root, const char* path) {
  return Answered("KAVOBeneathOpen", [&]() -> int {
    if (Fails("KAVOBeneathOpen", root, path)) return -1;
    const auto& replaced = FakePlatform::Get().beneath_open;
    return Beneath(root, path, [&] { return replaced ? replaced(path) : open(path, O_RDONLY | O_CLOEXEC); });
  });
}

int KAVOBeneathRemove(const char* root, const char* path) {
  return Answered("KAVOBeneathRemove", [&]() -> int {
    if (Fails("KAVOBeneathRemove", root, path)) return -1;
    return Beneath(root, path, [&] { return unlink(path); });
  });
}

int KAVOBeneathExist(const char* root, const char* path) {
  return Answered("KAVOBeneathExist", [&]() -> int {
    if (Fails("KAVOBeneathExist", root, path)) return 0;
    struct stat status;
    return PathIsIn(path, root) && IsKind(path, S_IFREG, &status) ? 1 : 0;
  });
}

int KAVOBeneathFolderGone(const char* root, const char* folder) {
  return Answered("KAVOBeneathFolderGone", [&]() -> int {
    if (Fails("KAVOBeneathFolderGone", root, folder)) return 0;
    struct stat status;
    return PathIsIn(folder, root) && stat(folder, &status) != 0 && errno == ENOENT ? 1 : 0;
  });
}

int KAVOBeneathMode(const char* root, const char* path, mode_t mode) {
  return Answered("KAVOBeneathMode", [&]() -> int {
    char octal[16];
    std::snprintf(octal, sizeof octal, "%04o", mode);
    if (Fails("KAVOBeneathMode", root, path, octal)) return -1;
    return Beneath(root, path, [&] { return chmod(path, mode); });
  });
}
