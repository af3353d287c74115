// What surrounds the batch loop: in a worker the lent database, the plug-in, the files, the supervisor and
// the clock, in its tests whatever stands for them. Each may throw: the loop then ends with nothing left
// open.
#ifndef SERVICE_WORKER_BATCH_SEAMS_H_
#define SERVICE_WORKER_BATCH_SEAMS_H_

#include <chrono>
#include <cstdint>
#include <functional>

#include "database/transaction.h"
#include "work/wire.h"
#include "work/work_item.h"
#include "work/write_turn.h"
#include "worker/prepared_item.h"

// What is done for an item in a transaction.
class ItemCalls {
 public:
  ItemCalls() = default;
  ItemCalls(const ItemCalls&) = delete;
  ItemCalls& operator=(const ItemCalls&) = delete;
  virtual ~ItemCalls() = default;

  // PREPARED's record may be completed in place. TRANSACTION is open, and the caller's to end; it is spoiled
  // where the call leaves something that must not be kept.
  virtual ItemResult Make(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) = 0;
};

// Who has given the batch, and is told of it.
class BatchGiver {
 public:
  BatchGiver() = default;
  BatchGiver(const BatchGiver&) = delete;
  BatchGiver& operator=(const BatchGiver&) = delete;
  virtual ~BatchGiver() = default;

  // The worker turns to ITEM, the one with this INDEX. False when nobody listens any more, as for all of
  // these.
  [[nodiscard]] virtual bool TurnTo(std::uint32_t index, const WorkItem& item) = 0;
  // It turns to what belongs to no item.
  [[nodiscard]] virtual bool TurnToNone() = 0;
  // RESULTS have become true: what is done is committed.
  [[nodiscard]] virtual bool Take(const Results& results) = 0;
  [[nodiscard]] virtual bool End() = 0;
  // The rest of the batch is not wanted. It is asked between two items.
  [[nodiscard]] virtual bool WantsStop() = 0;
};

// All outlive whoever works with them.
struct BatchSeams {
  WriteDatabase& database;
  ItemCalls& calls;
  BatchGiver& giver;
  const WriteTurn& turn;
  // Reads the file of an item that needs it.
  std::function<PreparedItem(const WorkItem&)> read;
  std::function<std::chrono::steady_clock::time_point()> now = &std::chrono::steady_clock::now;
};

#endif  // SERVICE_WORKER_BATCH_SEAMS_H_
