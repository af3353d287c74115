#include <CLI/CLI.hpp>
#include <memory>

#include "commands/command.h"
#include "commands/library_run.h"
#include "commands/run_options.h"

Runner DefineReindex(CLI::App& app) {
  const auto options = std::make_shared<RunOptions>();
  AddRunOptions(app, *options, "Library whose files are read again");
  return [options] { return RunOnLibrary(*options, [](IndexRun& run) { return run.Reindex(); }); };
}
