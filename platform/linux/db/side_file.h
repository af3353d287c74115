// What may lie beside a database under the names of what SQLite keeps there. Whoever owns the folder chooses
// what bears them: a file that somebody else has put into it, too.
#ifndef PLATFORM_LINUX_DB_SIDE_FILE_H_
#define PLATFORM_LINUX_DB_SIDE_FILE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <optional>

#include "base/file_descriptor.h"

// A file as it was found, and what stands for it (O_PATH).
struct FoundFile {
  const struct stat& status;
  const FileDescriptor& descriptor;
};

// Whether SIDE_FILE was made by somebody who may write the database, be it by an access list: he could write
// there what a side file has it take in.
bool IsOfAWriter(const struct stat& side_file, const FoundFile& database);

// What SIDE_FILE holds comes into the database, for all who read that: false where some of them may not read
// it. What SQLite makes has the database's own mode.
bool IsAsPublic(const FoundFile& side_file, const FoundFile& database);

// With whose rights a process of root's opens SIDE_FILE, so that it does nothing there that the database's
// owner could not; nothing for its own rights, and in other processes.
std::optional<uid_t> RightsFor(const struct stat& side_file, const struct stat& database);

// Lets all who may open the database open MADE too, which this process has just made beside it, as far as it
// can. What root makes SQLite gives to the database's owner.
void ShareWithWriters(const FileDescriptor& made, const FoundFile& database);

#endif  // PLATFORM_LINUX_DB_SIDE_FILE_H_
