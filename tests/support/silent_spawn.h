#ifndef TESTS_SUPPORT_SILENT_SPAWN_H_
#define TESTS_SUPPORT_SILENT_SPAWN_H_

#include <spawn.h>
#include <sys/wait.h>

// False where user-mode emulation makes a copy of the process to spawn from, and the copy's failure stays its
// own: a program that cannot be run then ends with 127.
inline bool SpawnTellsOfFailure() {
  const char folder[] = "/";
  char* const arguments[] = {nullptr};
  pid_t id = -1;
  if (posix_spawn(&id, folder, nullptr, nullptr, arguments, nullptr) != 0) return true;
  waitpid(id, nullptr, 0);
  return false;
}

// True there: the copy of a process that has threads may wait for ever for what one of them held, and any use
// of posix_spawn, popen or system makes such a copy.
inline bool SpawnCopiesThreads() {
  return !SpawnTellsOfFailure();
}

inline constexpr const char* kCopiedThreads = "a process with threads cannot start programs here";
inline constexpr const char* kSilentSpawn = "posix_spawn does not tell here that a program cannot be run";

#endif  // TESTS_SUPPORT_SILENT_SPAWN_H_
