// What the program lumivault-worker is: loads the plug-in, opens one library and does what the supervisor
// sends, one call at a time. A file that brings it down brings down nothing else.
#ifndef SERVICE_WORKER_WORKER_H_
#define SERVICE_WORKER_WORKER_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "library/library.h"
#include "work/worker_identity.h"

struct WorkerOptions {
  std::string plugin;
  Library library;       // without its user
  std::string database;  // the file that the run has opened, "" in its first worker
  pid_t supervisor = 0;
  unsigned memory = 0;            // MiB, 0 without limit
  std::optional<uid_t> identity;  // who it becomes
};

// False in a process that was not started by a supervisor.
bool StartedBySupervisor();
// Returns the process's exit status.
int RunWorker(const WorkerOptions& options);

#endif  // SERVICE_WORKER_WORKER_H_
