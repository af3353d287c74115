// What the program lumivault-worker is: loads the plug-in, opens one library and does what the supervisor
// sends, one call at a time. A file that brings it down brings down nothing else.
#ifndef SERVICE_WORKER_H_
#define SERVICE_WORKER_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "library.h"
#include "worker_identity.h"

// Descriptors that a worker is started with, besides standard error, which is the writing end of the log
// pipe.
inline constexpr int kWorkerSocket = 3;
inline constexpr int kWorkerLogPipe = 4;
inline constexpr int kWorkerTurn = 5;
inline constexpr int kWorkerView = 6;  // of the state folder, for one that becomes somebody else

// The arguments of the program after the file of the plug-in, the folder, the database and the supervisor's
// number are the memory and the kind of library; two numbers follow for one that becomes somebody else.
inline constexpr const char* kPersonalArgument = "personal";
inline constexpr const char* kSharedArgument = "shared";

struct WorkerOptions {
  std::string plugin;
  Library library;       // without its user
  std::string database;  // the file that the run has opened, "" in its first worker
  pid_t supervisor = 0;
  unsigned memory = 0;                     // MiB, 0 without limit
  std::optional<WorkerIdentity> identity;  // who it becomes
};

// False in a process that was not started by a supervisor.
bool StartedBySupervisor();
// Returns the process's exit status.
int RunWorker(const WorkerOptions& options);

#endif  // SERVICE_WORKER_H_
