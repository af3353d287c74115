#ifndef SERVICE_RUN_WORKER_PROCESS_H_
#define SERVICE_RUN_WORKER_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "common/file_descriptor.h"
#include "common/outcome.h"
#include "library/library.h"
#include "work/wire.h"
#include "work/worker_identity.h"

// What the workers of a run have in common.
struct WorkerStart {
  int program = -1;  // the worker program, open
  std::string plugin;
  Library library;
  unsigned memory = 0;                     // MiB that each may take, 0 without limit
  std::optional<WorkerIdentity> identity;  // who they become, with
  int view = -1;                           // what they see of the state folder then, open
};

// One worker process as the supervisor holds it: started by Start, gone when the object is.
class WorkerProcess {
 public:
  // DATABASE is the file that the run has opened, "" for its first worker. TURN is what the workers of a run
  // share (write_turn.h); it may be empty.
  static Outcome<WorkerProcess> Start(const WorkerStart& start, const std::string& database,
                                      const FileDescriptor& turn);
  ~WorkerProcess() { Kill(); }
  WorkerProcess(WorkerProcess&& other) noexcept
      : pid_(std::exchange(other.pid_, 0)),
        channel_(std::move(other.channel_)),
        log_(std::move(other.log_)) {}
  WorkerProcess& operator=(WorkerProcess&&) = delete;

  Channel& channel() { return channel_; }

  // Kills the process if it still runs, and waits for its end.
  void Kill();
  // Waits for the end of a process that has closed its socket or was told to stop, kills it when it takes
  // longer than PATIENCE, and tells how it ended: "killed by signal 11 (Segmentation fault)", with the last
  // line it wrote.
  std::string AwaitEnd(std::chrono::milliseconds patience);

 private:
  WorkerProcess(pid_t pid, Channel channel, FileDescriptor log)
      : pid_(pid), channel_(std::move(channel)), log_(std::move(log)) {}

  pid_t pid_;
  Channel channel_;
  FileDescriptor log_;
};

#endif  // SERVICE_RUN_WORKER_PROCESS_H_
