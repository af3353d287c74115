// The options that the commands share which change a library.
#ifndef SERVICE_COMMANDS_RUN_OPTIONS_H_
#define SERVICE_COMMANDS_RUN_OPTIONS_H_

#include <chrono>
#include <optional>
#include <string>

#include "common/outcome.h"
#include "library/library.h"

namespace CLI {
class App;
}

struct RunOptions {
  std::string folder;
  bool shared = false;
  std::string root;
  unsigned workers = 1;
  double timeout = 0;                     // seconds
  std::optional<unsigned> worker_memory;  // MiB
  bool as_root = false;
  bool accepts_loss = false;
  bool lists_failed = false;
  bool quiet = false;
  bool json = false;
};

// FOLDER says in the help text what the folder is.
void AddRunOptions(CLI::App& app, RunOptions& options, const char* folder);
// Those of them that say how files are read and what is printed.
void AddWorkerOptions(CLI::App& app, RunOptions& options);

// How long one file may take.
std::chrono::milliseconds FileTimeout(const RunOptions& options);

// The library that they name, which is not made.
Outcome<Library> NamedLibrary(const RunOptions& options);

#endif  // SERVICE_COMMANDS_RUN_OPTIONS_H_
