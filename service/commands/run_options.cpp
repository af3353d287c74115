#include "commands/run_options.h"

#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "commands/command.h"
#include "display.h"
#include "installation.h"
#include "library.h"
#include "library_catalogue.h"
#include "report.h"
#include "state_root.h"
#include "stop_signals.h"

namespace {

constexpr unsigned kMostWorkers = 256;
constexpr double kDefaultTimeout = 60;
constexpr double kLongestTimeout = 86400;
constexpr double kShortestTimeout = 0.001;
constexpr double kMillisecondsOfSecond = 1000;

ExitStatus StatusOf(const IndexReport& report) {
  if (!report.withheld_reason.empty()) return ExitStatus::kLoss;
  return report.failed.empty() ? ExitStatus::kDone : ExitStatus::kSomeFailed;
}

int Conclude(const IndexRun& run, const RunOptions& options) {
  const IndexReport& report = run.report();
  const std::string text = options.json ? JsonLine(ReportJson(report)) + "\n" : ReportText(report);
  const int printed = PrintResult(text, StatusOf(report));
  return run.stopped_by() != 0 ? kSignalExitBase + run.stopped_by() : printed;
}

}  // namespace

void AddRunOptions(CLI::App& app, RunOptions& options) {
  options.workers = std::max(1U, std::thread::hardware_concurrency());
  options.timeout = kDefaultTimeout;
  app.add_option("folder", options.folder, "The folder; the database is made inside it")
      ->type_name("FOLDER")
      ->required();
  app.add_option("-j,--jobs", options.workers, "Worker processes; default the number of cores")
      ->type_name("N")
      ->check(CLI::Range(1U, kMostWorkers));
  app.add_option("--timeout", options.timeout, "Seconds that one file may take; default 60")
      ->type_name("SECONDS")
      ->check(CLI::Range(kShortestTimeout, kLongestTimeout));
  app.add_flag("--accept-loss", options.accepts_loss,
               "Delete the rows of what is not there, however much that is");
  app.add_flag("--quiet", options.quiet, "No progress on standard error");
  app.add_flag("--json", options.json, "The result as one JSON value");
  AddRootOption(app, options.root);
}

int RunOnLibrary(const RunOptions& options, const std::function<Outcome<Done>(IndexRun&)>& work) {
  // A reader of the progress or the result that goes away does not end the run.
  signal(SIGPIPE, SIG_IGN);
  StopSignals signals;
  const auto plugin = PluginPath();
  if (!plugin) return ReportFailure(plugin.failure());
  const auto root = StateRoot::Locate(options.root);
  if (!root) return ReportFailure(root.failure());
  if (const auto prepared = root->Prepare(); !prepared) return ReportFailure(prepared.failure());
  const auto library = MakeLibrary(*root, options.folder);
  if (!library) return ReportFailure(library.failure());
  const auto lock = LockLibrary(*root, *library);
  if (!lock) return ReportFailure(lock.failure());
  auto catalogue = OpenLibraryCatalogue(CatalogueFile(*root, *library), *library, options.accepts_loss);
  if (!catalogue) return ReportFailure(catalogue.failure());

  const auto timeout = std::chrono::milliseconds(std::lround(options.timeout * kMillisecondsOfSecond));
  IndexRun run({*plugin, options.workers, timeout, options.quiet, options.accepts_loss}, *library, *catalogue,
               signals);
  if (const auto outcome = work(run); !outcome) return ReportFailure(outcome.failure());
  return Conclude(run, options);
}
