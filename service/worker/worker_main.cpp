#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "common/exit_status.h"
#include "work/worker_arguments.h"
#include "worker/worker.h"

namespace {

constexpr std::size_t kFewest = 6;
constexpr std::size_t kWithIdentity = 7;
constexpr int kDecimal = 10;

int Refuse(ExitStatus status, const char* why) {
  std::fprintf(stderr, "lumivault-worker: %s\n", why);
  return static_cast<int>(status);
}

unsigned long Number(const std::string& text) {
  return std::strtoul(text.c_str(), nullptr, kDecimal);
}

// As WorkerProcess::Start gives them.
WorkerOptions OptionsOf(const std::vector<std::string>& arguments) {
  auto argument = arguments.begin();
  WorkerOptions options;
  options.plugin = *argument++;
  options.library.folder = *argument++;
  options.database = *argument++;
  options.supervisor = static_cast<pid_t>(Number(*argument++));
  options.memory = static_cast<unsigned>(Number(*argument++));
  if (*argument++ == kSharedArgument) options.library.kind = LibraryKind::kShared;
  if (arguments.size() < kWithIdentity) return options;
  options.identity = static_cast<uid_t>(Number(*argument));
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  if (arguments.size() < kFewest || !StartedBySupervisor())
    return Refuse(ExitStatus::kUsage, "only lumivault starts it");
  try {
    return RunWorker(OptionsOf(arguments));
  } catch (const std::exception& error) {
    return Refuse(ExitStatus::kFatal, error.what());
  }
}
