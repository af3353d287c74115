#ifndef SERVICE_WORKER_BATCH_RUNNER_H_
#define SERVICE_WORKER_BATCH_RUNNER_H_

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "common/outcome.h"
#include "work/wire.h"
#include "work/work_item.h"
#include "work/write_turn.h"
#include "worker/log_capture.h"
#include "worker/plugin.h"
#include "worker/plugin_calls.h"
#include "worker/prepared_item.h"
#include "worker/row_lookup.h"

// Takes batches through the plug-in: some files are read first, then written in transactions of at most 50
// ms, so that other processes get their turn at the database. What is reported is committed.
class BatchRunner {
 public:
  BatchRunner(const Plugin& plugin, Library library, LogCapture& log, Channel& channel, const WriteTurn& turn)
      : library_(std::move(library)),
        rows_(library_),
        calls_(plugin, library_, log, rows_),
        channel_(channel),
        turn_(turn) {}

  // False when the supervisor wants no more or is gone, or the database has failed; what was done by then is
  // committed and reported.
  [[nodiscard]] bool Run(const Batch& batch);
  // The database as a whole has failed, and no item: trying others would fail them all.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  // Each announces the item it turns to; nothing can be told apart afterwards without that.
  PreparedItem Prepare(std::size_t index);
  ItemResult Write(std::size_t index, PreparedItem& prepared);

  // Writes what is prepared from item FIRST on. False as for Run.
  [[nodiscard]] bool WritePrepared(std::size_t first);
  // One transaction from item FIRST on; the items that it took have their results in `results_`.
  void WriteTransaction(std::size_t first);
  void WriteItems(std::size_t first);
  // Ends the transaction with a generation of its own; false when it was not kept.
  [[nodiscard]] bool Commit();
  // Items of a transaction that was lost, each in one of its own.
  void RetryOneByOne(std::size_t first);
  ItemResult WriteAlone(std::size_t index);
  static ItemResult NotKept();
  // True, with the failure noted and the transaction given up, when the database has failed.
  bool DatabaseFailed();
  // The database has failed for the reason WHY.
  void GiveUp(const char* why);

  void Announce(std::size_t index);
  void AnnounceNoItem();
  // The supervisor sends nothing during a batch but the wish to stop; its end counts as one.
  bool StopWanted() const;

  Library library_;
  RowLookup rows_;
  PluginCalls calls_;
  Channel& channel_;
  const WriteTurn& turn_;
  RunName name_;  // whose generation the database gets
  std::vector<WorkItem> items_;
  std::vector<PreparedItem> prepared_;
  std::vector<ItemResult> results_;         // of the current transaction
  std::vector<std::uint64_t> generations_;  // that it, or each of its items, has given the database
  bool connected_ = true;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_WORKER_BATCH_RUNNER_H_
