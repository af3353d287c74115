#ifndef PLATFORM_LINUX_DB_LENDING_H_
#define PLATFORM_LINUX_DB_LENDING_H_

#include <memory>

#include "db/engine.h"

// The lent connection in the state of a new one, when this thread has lent one to DATABASE for USER (null:
// DATABASE is an SQLite file); null otherwise.
[[nodiscard]] std::unique_ptr<DatabaseEngine> HandOutLent(const char* user, const char* database);

#endif  // PLATFORM_LINUX_DB_LENDING_H_
