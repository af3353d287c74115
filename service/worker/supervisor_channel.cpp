#include "worker/supervisor_channel.h"

#include <poll.h>
#include <sys/stat.h>

#include "work/worker_memory.h"
#include "worker/prepared_item.h"

bool SupervisorChannel::TurnTo(std::uint32_t index, const WorkItem& item) {
  struct stat status {};
  AllowMapping(ReadsFile(item) && stat(item.path.c_str(), &status) == 0
                   ? static_cast<std::uint64_t>(status.st_size)
                   : 0);
  return Announce(index);
}

bool SupervisorChannel::TurnToNone() {
  AllowMapping(0);
  return Announce(kNoItem);
}

bool SupervisorChannel::Announce(std::uint32_t index) {
  const MessageWriter message = MessageWriter().Number(index);
  return channel_.Send(MessageType::kAt, message.content());
}

bool SupervisorChannel::Take(const Results& results) {
  return channel_.Send(MessageType::kResults, EncodeResults(results));
}

bool SupervisorChannel::End() {
  return channel_.Send(MessageType::kBatchEnd);
}

bool SupervisorChannel::WantsStop() {
  pollfd supervisor{channel_.descriptor(), POLLIN, 0};
  return poll(&supervisor, 1, 0) != 0;
}
