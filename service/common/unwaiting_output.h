#ifndef SERVICE_COMMON_UNWAITING_OUTPUT_H_
#define SERVICE_COMMON_UNWAITING_OUTPUT_H_

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string_view>

#include "base/file_descriptor.h"

// An output that may be taken by nobody for a while: a full pipe, a stopped terminal, a socket. Nobody waits
// for it here. What has the descriptor too, be it another process, goes on writing as it did.
class UnwaitingOutput {
 public:
  // DESCRIPTOR outlives it.
  explicit UnwaitingOutput(int descriptor);

  // How much of TEXT was taken, from its begin; nothing, with errno, where it cannot be written.
  std::optional<std::size_t> Write(std::string_view text) const;

 private:
  enum class Kind { kNeverWaits, kOwn, kSocket, kAsked };

  // As write().
  ssize_t WriteSome(std::string_view text) const;

  int descriptor_;
  Kind kind_ = Kind::kNeverWaits;  // as files do
  FileDescriptor own_;             // of kOwn: the same output, opened not to wait
  std::size_t piece_ = 1;          // of kAsked: what it takes where it says that it takes something
};

#endif  // SERVICE_COMMON_UNWAITING_OUTPUT_H_
