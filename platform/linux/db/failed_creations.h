// Databases that a script should have made, and did not.
#ifndef PLATFORM_LINUX_DB_FAILED_CREATIONS_H_
#define PLATFORM_LINUX_DB_FAILED_CREATIONS_H_

#include <string>

// Of this process; from any thread. A connection to FILE would leave an empty database, and whoever finds
// that does not make one again.
void NoteCreation(const std::string& file, bool made);
[[nodiscard]] bool CreationFailed(const std::string& file);

#endif  // PLATFORM_LINUX_DB_FAILED_CREATIONS_H_
