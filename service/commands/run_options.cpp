#include "commands/run_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "commands/command.h"
#include "commands/number_check.h"
#include "library/library.h"
#include "setup/worker_memory.h"

namespace {

constexpr unsigned kMostWorkers = 256;
constexpr double kDefaultTimeout = 60;
constexpr double kLongestTimeout = 86400;
constexpr double kShortestTimeout = 0.001;
constexpr double kMillisecondsOfSecond = 1000;

// In CLI11's form: why TEXT is refused.
std::string CheckedMemory(const std::string& text) {
  unsigned megabytes = 0;
  if (CLI::detail::lexical_cast(text, megabytes) && IsWorkerMemory(megabytes)) return "";
  return "not 0 and not from " + std::to_string(kLeastWorkerMemory) + " to " +
         std::to_string(kMostWorkerMemory);
}

}  // namespace

void AddWorkerOptions(CLI::App& app, RunOptions& options) {
  options.workers = std::max(1U, std::thread::hardware_concurrency());
  options.timeout = kDefaultTimeout;
  app.add_option("-j,--jobs", options.workers, "Number of worker processes; default one per processor")
      ->type_name("N")
      ->check(NumberFrom(1U, kMostWorkers));
  app.add_option("--timeout", options.timeout, "How long one file may take, in seconds; default 60")
      ->type_name("SECONDS")
      ->check(NumberFrom(kShortestTimeout, kLongestTimeout));
  app.add_option("--worker-memory", options.worker_memory,
                 "Memory that one worker may use, in MiB, at least 256, or 0 for no limit; default 512")
      ->type_name("MIB")
      ->check(CheckedMemory);
  app.add_flag("--as-root", options.as_root,
               "When started by root: read the files as root, not as the folder's owner");
  app.add_flag("--quiet", options.quiet, "No progress on standard error");
  app.add_flag("--json", options.json, "Print the result as one JSON value");
  AddRootOption(app, options.root);
}

void AddRunOptions(CLI::App& app, RunOptions& options, const char* folder) {
  app.add_option("folder", options.folder, folder)->type_name("FOLDER");
  AddSharedOption(app, options.shared);
  AddWorkerOptions(app, options);
  app.add_flag("--accept-loss", options.accepts_loss,
               "Delete the rows of files that are not there, however many they are");
  app.add_flag("--failed", options.lists_failed,
               "Also list files that failed, or were noted, in earlier runs and have not changed");
}

std::chrono::milliseconds FileTimeout(const RunOptions& options) {
  return std::chrono::milliseconds(std::lround(options.timeout * kMillisecondsOfSecond));
}

Outcome<Library> NamedLibrary(const RunOptions& options) {
  if (options.shared) return RequireSharedTree(options.folder);
  if (options.folder.empty()) return NoLibraryNamed();
  return NameLibrary(options.folder);
}
