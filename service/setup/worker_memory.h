// How much a worker may take of the machine's memory: what a file says of itself must not decide that.
#ifndef SERVICE_SETUP_WORKER_MEMORY_H_
#define SERVICE_SETUP_WORKER_MEMORY_H_

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

#endif  // SERVICE_SETUP_WORKER_MEMORY_H_
