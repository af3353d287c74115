#ifndef BASE_FILE_ID_H_
#define BASE_FILE_ID_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <optional>

// Which file it is among all that are there now, whatever its name. A file that comes later may get the
// numbers of one that is gone, so what is to last longer than both holds a descriptor, or knows the birth
// time too.
struct FileId {
  dev_t device;
  ino_t inode;
  bool operator==(const FileId&) const = default;
};

inline FileId IdOf(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

// Each gives nothing, with errno, where that cannot be told. What is open:
inline std::optional<FileId> IdOfOpen(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? std::optional(IdOf(status)) : std::nullopt;
}
// What PATH leads to, links followed:
inline std::optional<FileId> IdBehind(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 ? std::optional(IdOf(status)) : std::nullopt;
}
// What bears the NAME in the open FOLDER, a link itself:
inline std::optional<FileId> IdOfName(int folder, const char* name) {
  struct stat status {};
  const bool found = fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
  return found ? std::optional(IdOf(status)) : std::nullopt;
}
inline std::optional<FileId> IdOfName(const char* path) {
  return IdOfName(AT_FDCWD, path);
}

#endif  // BASE_FILE_ID_H_
