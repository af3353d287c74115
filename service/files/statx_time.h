#ifndef SERVICE_FILES_STATX_TIME_H_
#define SERVICE_FILES_STATX_TIME_H_

#include <sys/stat.h>

#include <cstdint>

#include "files/file_stamp.h"

// Since 1970.
inline std::int64_t Nanoseconds(const statx_timestamp& time) {
  return time.tv_sec * kNanosecondsOfSecond + time.tv_nsec;
}

// When the file was made, in nanoseconds; 0 where the file system does not tell. STATUS was asked for it
// (STATX_BTIME).
inline std::int64_t BirthOf(const struct statx& status) {
  return (status.stx_mask & STATX_BTIME) != 0 ? Nanoseconds(status.stx_btime) : 0;
}

#endif  // SERVICE_FILES_STATX_TIME_H_
