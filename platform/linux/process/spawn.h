// One program, started and supervised until it ends.
#ifndef PLATFORM_LINUX_PROCESS_SPAWN_H_
#define PLATFORM_LINUX_PROCESS_SPAWN_H_

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// What a program prints beyond this is read and dropped.
inline constexpr std::size_t kMaxCapturedOutput = std::size_t{16} << 20;
inline constexpr std::chrono::seconds kProgramTimeLimit{30};

struct SpawnRequest {
  std::string program;                 // the executable, by path
  std::vector<std::string> arguments;  // the whole vector; the first is the program's own name
  bool capture = false;                // keep standard output; else it is thrown away
  bool keep_errors = false;            // standard error stays this process's; else it is thrown away
  std::chrono::milliseconds limit = kProgramTimeLimit;
};

struct SpawnResult {
  int status = 0;        // exit status, 0 to 255
  std::string output;    // at most kMaxCapturedOutput bytes
  bool complete = true;  // nothing of the output was dropped
};

// Runs the program in a process group of its own, with no descriptor but the standard three, default signals
// and the "C" locale, so that the numbers it prints are read back whatever the locale of this process. Once
// it has ended, or its time is over, what is left of the group is killed. Nothing, noted as the last error,
// when it could not be started or did not end by itself.
[[nodiscard]] std::optional<SpawnResult> RunProgram(const SpawnRequest& request);

#endif  // PLATFORM_LINUX_PROCESS_SPAWN_H_
