#ifndef SERVICE_WORK_DATABASE_FILE_H_
#define SERVICE_WORK_DATABASE_FILE_H_

#include <string>

#include "base/file_id.h"

// Which file the database at PATH is, as supervisor and workers tell each other; "" when that cannot be told.
inline std::string FileIdentity(const std::string& path) {
  const auto id = IdBehind(path.c_str());
  return id ? std::to_string(id->device) + ":" + std::to_string(id->inode) : "";
}

#endif  // SERVICE_WORK_DATABASE_FILE_H_
