#ifndef SERVICE_COMMANDS_STANDARD_OUTPUT_H_
#define SERVICE_COMMANDS_STANDARD_OUTPUT_H_

#include <string_view>

#include "common/stop_signals.h"

// Standard output, which may be a full disk, closed, or a pipe that nobody reads any more. SIGPIPE is
// ignored. Each gives 0, or the error that kept something from it; once there was one it stays. Used by one
// thread.

// TEXT may wait in a buffer. A signal that STOPS holds back ends the wait for a reader who takes nothing
// (EINTR).
int Write(std::string_view text, const StopSignals* stops = nullptr);
// With all that waits.
int WriteOut(std::string_view text = {});

#endif  // SERVICE_COMMANDS_STANDARD_OUTPUT_H_
