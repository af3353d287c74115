// One run of `lumivault index` with what it costs, counted.
#ifndef BENCH_CONTRACT_TRACED_RUN_H_
#define BENCH_CONTRACT_TRACED_RUN_H_

#include <filesystem>
#include <map>
#include <string>

// Name of a cost -> how often. Those of a worker begin with "worker", those of any process of the run with
// "run".
using Counts = std::map<std::string, double>;

// Indexes FOLDER with one worker and the state folder beside it, traced. What the trace needs is put into
// SCRATCH, and read there. Throws std::runtime_error when the run fails.
Counts TracedIndex(const std::filesystem::path& folder, const std::filesystem::path& state,
                   const std::filesystem::path& scratch);

#endif  // BENCH_CONTRACT_TRACED_RUN_H_
