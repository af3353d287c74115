#ifndef SERVICE_BATCH_RUNNER_H_
#define SERVICE_BATCH_RUNNER_H_

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "log_capture.h"
#include "plugin.h"
#include "wire.h"
#include "work_item.h"

// Takes batches through the plug-in: some files are read first, then written in transactions of at most 50
// ms, so that other processes get their turn at the database. What is reported is committed.
class BatchRunner {
 public:
  BatchRunner(const Plugin& plugin, std::string library, LogCapture& log, Channel& channel)
      : plugin_(plugin), library_(std::move(library)), log_(log), channel_(channel) {}

  // False when the supervisor wants no more or is gone; what was done by then is committed and reported.
  [[nodiscard]] bool Run(const std::vector<WorkItem>& items);

 private:
  // A file that was read.
  struct Prepared {
    Json::Value record;
    bool storable = true;
    std::string trouble;  // why it is not, or what is wrong with it all the same
  };

  // Each announces the item it turns to; nothing can be told apart afterwards without that.
  Prepared Prepare(std::size_t index);
  ItemResult Write(std::size_t index, Prepared& prepared);

  // Writes what is prepared from item FIRST on. False as for Run.
  [[nodiscard]] bool WritePrepared(std::size_t first);
  // One transaction from item FIRST on; the items that it took have their results in `results_`.
  void WriteTransaction(std::size_t first);
  void WriteItems(std::size_t first);
  // Items of a transaction that was lost, each in one of its own.
  void RetryOneByOne(std::size_t first);
  ItemResult WriteAlone(std::size_t index);
  static ItemResult NotKept();

  void Announce(std::size_t index);
  void AnnounceNoItem();
  // The supervisor sends nothing during a batch but the wish to stop; its end counts as one.
  bool StopWanted() const;

  const Plugin& plugin_;
  std::string library_;
  LogCapture& log_;
  Channel& channel_;
  std::vector<WorkItem> items_;
  std::vector<Prepared> prepared_;
  std::vector<ItemResult> results_;  // of the current transaction
  bool connected_ = true;
};

#endif  // SERVICE_BATCH_RUNNER_H_
