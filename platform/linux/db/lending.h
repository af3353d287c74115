#ifndef PLATFORM_LINUX_DB_LENDING_H_
#define PLATFORM_LINUX_DB_LENDING_H_

#include <memory>

#include "db/engine.h"

// The lent connection in the state of a new one, when this thread has lent one to FILE; null otherwise. FILE
// is compared by device and inode, so a file that was put in the place of the lent one is another.
[[nodiscard]] std::unique_ptr<DatabaseEngine> HandOutLent(const char* file);

#endif  // PLATFORM_LINUX_DB_LENDING_H_
