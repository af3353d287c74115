#ifndef SERVICE_COMMON_READ_PIPE_H_
#define SERVICE_COMMON_READ_PIPE_H_

#include <string>

// What has been written into PIPE, without waiting; some 64 KiB of it at most.
std::string ReadPipe(int pipe);

#endif  // SERVICE_COMMON_READ_PIPE_H_
