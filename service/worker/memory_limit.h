#ifndef SERVICE_WORKER_MEMORY_LIMIT_H_
#define SERVICE_WORKER_MEMORY_LIMIT_H_

#include <cstdint>

// Holds this process to so many MiB of address space from now on (0: to none), and to BYTES more, which a
// file of that size takes that is mapped into it whole (of at most 4 GiB). Under the sanitizers, which
// reserve terabytes, both do nothing. To be used in one thread.
void LimitMemory(unsigned megabytes);
void AllowMapping(std::uint64_t bytes);

#endif  // SERVICE_WORKER_MEMORY_LIMIT_H_
