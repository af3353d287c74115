#ifndef SERVICE_WORKER_LOG_CAPTURE_H_
#define SERVICE_WORKER_LOG_CAPTURE_H_

#include <string>
#include <vector>

#include "base/file_descriptor.h"

// What the plug-in writes to the system log, read back in the same process: syslog copies every message to
// standard error, which is the writing end of a pipe.
class LogCapture {
 public:
  // PIPE is the reading end; neither end waits (O_NONBLOCK). Messages go to the system log all the same.
  explicit LogCapture(FileDescriptor pipe);

  // The messages since the last call, without the source position in front.
  std::vector<std::string> Take();

 private:
  FileDescriptor pipe_;
};

// Why a call failed, from the messages it left: the cause, and what failed of it as a whole, which the last
// one tells.
std::string ReasonOf(const std::vector<std::string>& messages);

#endif  // SERVICE_WORKER_LOG_CAPTURE_H_
