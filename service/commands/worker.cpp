#include "worker.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "commands/command.h"

Runner DefineWorker(CLI::App& app) {
  const auto options = std::make_shared<WorkerOptions>();
  app.add_option("--plugin", options->plugin)->required();
  app.add_option("--library", options->library.folder)->required();
  app.add_flag_callback("--shared", [options] { options->library.kind = LibraryKind::kShared; });
  app.add_option("--supervisor", options->supervisor)->required();
  return [options] { return RunWorker(*options); };
}
