// A new SQLite database that nobody ever sees half made.
#ifndef PLATFORM_LINUX_DB_SQLITE_CREATION_H_
#define PLATFORM_LINUX_DB_SQLITE_CREATION_H_

#include <string>

// Makes the database FILE as SCRIPT has it, in the mode of a write-ahead log where the script asks for that.
// It is made in memory, written to the disk without a name and named at last, in the folder that was looked
// at: no link in the place of FILE is followed. Where the file system has no nameless files it has a hidden
// one until then, which a process that is killed leaves behind. Where a file is there by then, that one
// stays. False with errno.
[[nodiscard]] bool MakeSqliteDatabase(const std::string& file, const std::string& script);

#endif  // PLATFORM_LINUX_DB_SQLITE_CREATION_H_
