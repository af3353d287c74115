#ifndef SERVICE_COMMANDS_STANDARD_OUTPUT_H_
#define SERVICE_COMMANDS_STANDARD_OUTPUT_H_

#include <string_view>

// Standard output, which may be a full disk, closed, or a pipe that nobody reads any more. SIGPIPE is
// ignored. Each gives 0, or the error that kept something from it; once there was one it stays.

// TEXT may wait in a buffer.
int Write(std::string_view text);
// With all that waits.
int WriteOut(std::string_view text = {});

#endif  // SERVICE_COMMANDS_STANDARD_OUTPUT_H_
