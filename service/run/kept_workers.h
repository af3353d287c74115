#ifndef SERVICE_RUN_KEPT_WORKERS_H_
#define SERVICE_RUN_KEPT_WORKERS_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "base/file_id.h"
#include "common/outcome.h"
#include "run/started_worker.h"
#include "run/worker_process.h"

// Starts the worker program for one run of a library after the other. What a run leaves is there for the next
// one: it has the plug-in loaded and the database open, and begins at once. One that becomes somebody else is
// not kept, since what it sees of the state folder goes with its run. To be used in one thread.
class KeptWorkers : public WorkerStarter {
 public:
  // How workers are started from now on; the descriptors of START are open until the next call. What was kept
  // stays where it has this folder and this database open still.
  void Use(const WorkerStart& start);

  Outcome<std::unique_ptr<StartedWorker>> Start(const std::string& database) override;
  bool keeps() const override { return start_ && !start_->identity; }
  std::unique_ptr<StartedWorker> Keep(std::unique_ptr<StartedWorker> worker,
                                      const std::string& database) override;

  bool empty() const { return kept_.empty(); }
  // They close the database and go.
  void EndAll();

 private:
  std::optional<WorkerStart> start_;
  std::optional<FileId> folder_;                      // that those that are kept hold
  std::vector<std::unique_ptr<StartedWorker>> kept_;  // each knows what it has opened
  FileDescriptor turn_;
};

#endif  // SERVICE_RUN_KEPT_WORKERS_H_
