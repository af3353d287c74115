#ifndef SERVICE_WORKER_BATCH_RUNNER_H_
#define SERVICE_WORKER_BATCH_RUNNER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "common/outcome.h"
#include "database/transaction.h"
#include "work/wire.h"
#include "work/work_item.h"
#include "worker/batch_seams.h"
#include "worker/prepared_item.h"

// Takes batches through the plug-in: some files are read first, then written in transactions of at most 50
// ms, so that other processes get their turn at the database. What is reported is committed.
//
// A transaction is an object of the function that works in it: whatever happens, an exception included, none
// is open when Run ends, and nothing is written outside of one. It owns the batch in hand alone. One thread.
class BatchRunner {
 public:
  explicit BatchRunner(BatchSeams seams) : seams_(std::move(seams)) {}

  // False when the giver wants no more or is gone, or the database has failed; what was done by then is
  // committed and reported.
  [[nodiscard]] bool Run(const Batch& batch);
  // The database as a whole has failed, and no item: trying others would fail them all.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  // What became of some items, in their order, and whether the transaction that they shared was kept.
  struct Attempt {
    std::vector<ItemResult> results;
    bool kept = false;
  };

  // Each announces the item it turns to; nothing can be told apart afterwards without that.
  PreparedItem Prepare(std::size_t index);
  ItemResult Write(std::size_t index, Transaction& transaction);

  // Writes what is prepared from item FIRST on. False as for Run.
  [[nodiscard]] bool WritePrepared(std::size_t first);
  // Some items from FIRST on, in one transaction or, where that is lost, in one each; they have their results
  // in `results_`. None: the database has failed.
  void WriteSome(std::size_t first);
  // One transaction of the items from FIRST to before END, or of those of them that its time is enough for.
  // It is over.
  Attempt WriteTogether(std::size_t first, std::size_t end);
  std::vector<ItemResult> WriteItems(std::size_t first, std::size_t end, Transaction& transaction);
  void RetryOneByOne(std::size_t first, std::size_t count);
  // True, with the failure noted, when the database has failed.
  bool DatabaseFailed();
  // It has, for the reason that it tells, else for WHY.
  void NoteDatabaseFailure(const std::string& why);

  void Announce(std::size_t index);
  void AnnounceNoItem();
  bool StopWanted();

  BatchSeams seams_;
  RunName name_;  // whose generation the database gets
  std::vector<WorkItem> items_;
  std::vector<PreparedItem> prepared_;
  std::vector<ItemResult> results_;         // of the items that were last written
  std::vector<std::uint64_t> generations_;  // that these have given the database
  bool connected_ = true;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_WORKER_BATCH_RUNNER_H_
