// How a worker ends to which an allocation was refused.
#ifndef SERVICE_WORK_OUT_OF_MEMORY_H_
#define SERVICE_WORK_OUT_OF_MEMORY_H_

// Its exit status, and what that means to people.
inline constexpr int kOutOfMemoryStatus = 12;
inline constexpr const char* kOutOfMemoryWords =
    "reading it takes more memory than a worker may use (--worker-memory)";

#endif  // SERVICE_WORK_OUT_OF_MEMORY_H_
