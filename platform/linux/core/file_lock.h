#ifndef PLATFORM_LINUX_CORE_FILE_LOCK_H_
#define PLATFORM_LINUX_CORE_FILE_LOCK_H_

#include <chrono>
#include <string>

#include "base/file_descriptor.h"

// FILE, locked against all other openers; empty with errno (ETIMEDOUT after LIMIT) on failure. The lock is
// that of the open file: it ends when all descriptors of it are closed, those that a child process got
// included.
FileDescriptor LockFile(const std::string& file, std::chrono::milliseconds limit);

#endif  // PLATFORM_LINUX_CORE_FILE_LOCK_H_
