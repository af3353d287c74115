#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "base/whole_number.h"
#include "common/exit_status.h"
#include "work/worker_arguments.h"
#include "worker/worker.h"

namespace {

constexpr std::size_t kFewest = 6;
constexpr std::size_t kWithIdentity = 7;

int Refuse(ExitStatus status, const char* why) {
  std::fprintf(stderr, "lumivault-worker: %s\n", why);
  return static_cast<int>(status);
}

// As WorkerProcess::Start gives them.
WorkerOptions OptionsOf(const std::vector<std::string>& arguments) {
  auto argument = arguments.begin();
  WorkerOptions options;
  options.plugin = *argument++;
  options.library.folder = *argument++;
  options.database = *argument++;
  options.supervisor = LeadingNumber<pid_t>(*argument++);
  options.memory = LeadingNumber<unsigned>(*argument++);
  if (*argument++ == kSharedArgument) options.library.kind = LibraryKind::kShared;
  if (arguments.size() < kWithIdentity) return options;
  options.identity = LeadingNumber<uid_t>(*argument);
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
