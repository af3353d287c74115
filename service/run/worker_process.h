#ifndef SERVICE_RUN_WORKER_PROCESS_H_
#define SERVICE_RUN_WORKER_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "common/outcome.h"
#include "library/library.h"
#include "run/started_worker.h"
#include "work/wire.h"
#include "work/worker_identity.h"
#include "work/write_turn.h"

// What the workers of a run have in common.
struct WorkerStart {
  int program = -1;  // the worker program, open
  std::string plugin;
  Library library;
  unsigned memory = 0;                     // MiB that each may take, 0 without limit
  std::optional<WorkerIdentity> identity;  // who they become, with
  int view = -1;                           // what they see of the state folder then, open
};

class WorkerProcess : public StartedWorker {
 public:
  // TURN is what the workers of a run share (write_turn.h); it may be empty.
  static Outcome<std::unique_ptr<StartedWorker>> Start(const WorkerStart& start, const std::string& database,
                                                       const FileDescriptor& turn);
  ~WorkerProcess() override { WorkerProcess::Kill(); }
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  Channel& channel() override { return channel_; }
  void Kill() override;
  WorkerEnd AwaitEnd(std::chrono::milliseconds patience) override;

 private:
  WorkerProcess(pid_t pid, Channel channel, FileDescriptor log)
      : pid_(pid), channel_(std::move(channel)), log_(std::move(log)) {}

  pid_t pid_;
  Channel channel_;
  FileDescriptor log_;
};

// Starts the worker program, for one run.
class WorkerProcesses : public WorkerStarter {
 public:
  // The descriptors of START are open as long as the object.
  explicit WorkerProcesses(WorkerStart start) : start_(std::move(start)) {}

  Outcome<std::unique_ptr<StartedWorker>> Start(const std::string& database) override {
    return WorkerProcess::Start(start_, database, turn_);
  }

 private:
  WorkerStart start_;
  const FileDescriptor turn_ = WriteTurn::MakeShared();
};

#endif  // SERVICE_RUN_WORKER_PROCESS_H_
