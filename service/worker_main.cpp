#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "exit_status.h"
#include "worker.h"

namespace {

constexpr int kFewest = 4;
constexpr int kDecimal = 10;

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
  options.supervisor = static_cast<pid_t>(std::strtol(argument++->c_str(), nullptr, kDecimal));
  if (argument != arguments.end() && *argument == kSharedArgument)
    options.library.kind = LibraryKind::kShared;
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc <= kFewest || !StartedBySupervisor())
    return Refuse(ExitStatus::kUsage, "only lumivault starts it");
  try {
    return RunWorker(OptionsOf({argv + 1, argv + argc}));
  } catch (const std::exception& error) {
    return Refuse(ExitStatus::kFatal, error.what());
  }
}
