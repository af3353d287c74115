#ifndef SERVICE_RUN_STARTED_WORKER_H_
#define SERVICE_RUN_STARTED_WORKER_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "common/outcome.h"
#include "work/wire.h"

// How a worker ended.
struct WorkerEnd {
  std::string text;  // for people: "killed by signal 11 (Segmentation fault)", with the last line it wrote
  std::optional<int> signal;  // that ended it
};

// A worker that was started; it ends with the object.
class StartedWorker {
 public:
  virtual ~StartedWorker() = default;

  // Which file the database is of one that has opened it before.
  virtual std::optional<std::string> opened() const { return std::nullopt; }
  // The conversation with it.
  virtual Channel& channel() = 0;
  // Ends it if it still runs.
  virtual void Kill() = 0;
  // Waits for the end of one that has closed its end of the conversation or was told to stop, kills it when
  // it takes longer than PATIENCE, and tells how it ended.
  virtual WorkerEnd AwaitEnd(std::chrono::milliseconds patience) = 0;
};

class WorkerStarter {
 public:
  virtual ~WorkerStarter() = default;
  // DATABASE is the file that the run has opened, "" for its first worker.
  virtual Outcome<std::unique_ptr<StartedWorker>> Start(const std::string& database) = 0;
  // Keeps workers for later runs.
  virtual bool keeps() const { return false; }
  // A run that went well has no more work for WORKER, which has opened DATABASE and has nothing in hand. What
  // is given back is to be ended.
  virtual std::unique_ptr<StartedWorker> Keep(std::unique_ptr<StartedWorker> worker,
                                              const std::string& database) {
    static_cast<void>(database);
    return worker;
  }
};

#endif  // SERVICE_RUN_STARTED_WORKER_H_
