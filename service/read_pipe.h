#ifndef SERVICE_READ_PIPE_H_
#define SERVICE_READ_PIPE_H_

#include <string>

// Everything that has been written into PIPE, without waiting.
std::string ReadPipe(int pipe);

#endif  // SERVICE_READ_PIPE_H_
