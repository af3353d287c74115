#ifndef SERVICE_RUN_KEPT_WORKERS_H_
#define SERVICE_RUN_KEPT_WORKERS_H_

#include <chrono>
#include <cstdint>
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
  // stays where it was started in the same way and has this folder and this database open still.
  void Use(const WorkerStart& start);

  Outcome<std::unique_ptr<StartedWorker>> Start(const std::string& database) override;
  bool keeps() const override { return start_ && !start_->identity; }
  std::unique_ptr<StartedWorker> Keep(std::unique_ptr<StartedWorker> worker,
                                      const std::string& database) override;

  bool empty() const { return kept_.empty(); }
  // They close the database and go, all at once.
  void EndAll();
  // The same, without waiting for them.
  void AskToEnd();

 private:
  // A file with the content that it has.
  struct Content {
    std::optional<FileId> file;
    std::int64_t modified = 0;  // in nanoseconds
    bool operator==(const Content&) const = default;
  };
  // What a worker is made of, and what it holds: whatever differs makes it another.
  struct Kind {
    std::optional<FileId> folder;
    Content program;
    Content plugin;
    unsigned memory = 0;
    std::optional<uid_t> identity;
    bool operator==(const Kind&) const = default;
  };
  static Content ContentOf(int file);
  static Kind KindOf(const WorkerStart& start);
  bool IsKind(const Kind& kind) const { return kind.folder && kind == kind_; }

  std::optional<WorkerStart> start_;
  Kind kind_;
  std::vector<std::unique_ptr<StartedWorker>> kept_;             // each knows what it has opened
  std::optional<std::chrono::steady_clock::time_point> end_by_;  // those that were asked to end
  FileDescriptor turn_;
};

#endif  // SERVICE_RUN_KEPT_WORKERS_H_
