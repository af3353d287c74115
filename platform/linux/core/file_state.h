#ifndef PLATFORM_LINUX_CORE_FILE_STATE_H_
#define PLATFORM_LINUX_CORE_FILE_STATE_H_

#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

#include <cstdint>

#include "base/file_id.h"

// What tells one state of a file from another.
struct FileState {
  FileId id;
  off_t size;
  std::int64_t modified;  // nanoseconds
  std::int64_t changed;

  explicit FileState(const struct stat& status);
  bool operator==(const FileState&) const = default;
};

// Whether the file can still be written within the tick of its clock that the state has: what is written then
// leaves the state as it is.
[[nodiscard]] bool MayChangeUnseen(const FileState& state);

#endif  // PLATFORM_LINUX_CORE_FILE_STATE_H_
