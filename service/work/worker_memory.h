// How much a worker may take of the machine's memory: what a file says of itself must not decide that.
#ifndef SERVICE_WORK_WORKER_MEMORY_H_
#define SERVICE_WORK_WORKER_MEMORY_H_

#include <cstdint>
#include <optional>

#include "common/outcome.h"
#include "library/state_root.h"

// MiB of address space, of which a worker has some 200 before it reads anything. 0 stands for no limit.
inline constexpr unsigned kDefaultWorkerMemory = 512;
inline constexpr unsigned kLeastWorkerMemory = 256;
inline constexpr unsigned kMostWorkerMemory = 1U << 20;

inline constexpr const char* kWorkerMemorySetting = "worker_memory";  // of the package's settings

// NAMED on the command line, else the setting, else the default. Fails for a setting that is none.
Outcome<unsigned> WorkerMemory(const StateRoot& root, const std::optional<unsigned>& named);
// The setting alone, where there is one.
Outcome<std::optional<unsigned>> MemoryOfStateFolder(const StateRoot& root);
bool IsWorkerMemory(unsigned megabytes);

// The exit status of a worker that an allocation was refused, and what that means to people.
inline constexpr int kOutOfMemoryStatus = 12;
inline constexpr const char* kOutOfMemoryWords =
    "reading it takes more memory than a worker may use (--worker-memory)";

// Holds this process to the limit from now on, and to BYTES more, which a file of that size takes that is
// mapped into it whole (of at most 4 GiB). Under the sanitizers, which reserve terabytes, both do nothing.
void LimitMemory(unsigned megabytes);
void AllowMapping(std::uint64_t bytes);

#endif  // SERVICE_WORK_WORKER_MEMORY_H_
