#ifndef SERVICE_WORKER_SUPERVISOR_CHANNEL_H_
#define SERVICE_WORKER_SUPERVISOR_CHANNEL_H_

#include <cstdint>
#include <unordered_map>

#include "work/wire.h"
#include "work/work_item.h"
#include "worker/batch_seams.h"

// The supervisor that has given the batch, at the other end of CHANNEL, which outlives it. What it is told of
// an item also decides how much of the machine's memory the process may take for that.
class SupervisorChannel : public BatchGiver {
 public:
  explicit SupervisorChannel(Channel& channel) : channel_(channel) {}

  [[nodiscard]] bool TurnTo(std::uint32_t index, const WorkItem& item) override;
  [[nodiscard]] bool TurnToNone() override;
  [[nodiscard]] bool Take(const Results& results) override;
  [[nodiscard]] bool End() override;
  // It sends nothing during a batch but this wish; its end counts as one.
  [[nodiscard]] bool WantsStop() override;

 private:
  bool Announce(std::uint32_t index);

  Channel& channel_;
  std::unordered_map<std::uint32_t, std::uint64_t> mapped_;  // of the batch's items that it has turned to
};

#endif  // SERVICE_WORKER_SUPERVISOR_CHANNEL_H_
