#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "commands/command.h"
#include "display.h"
#include "index_run.h"
#include "installation.h"
#include "library.h"
#include "report.h"
#include "state_root.h"
#include "stop_signals.h"

namespace {

constexpr unsigned kMostWorkers = 256;
constexpr double kDefaultTimeout = 60;
constexpr double kLongestTimeout = 86400;
constexpr double kShortestTimeout = 0.001;
constexpr double kMillisecondsOfSecond = 1000;

struct Options {
  std::string folder;
  std::string root;
  unsigned workers = std::max(1U, std::thread::hardware_concurrency());
  double timeout = kDefaultTimeout;
  bool quiet = false;
  bool json = false;
};

int Conclude(const IndexRun& run, const Options& options) {
  const IndexReport& report = run.report();
  const std::string text = options.json ? JsonLine(ReportJson(report)) + "\n" : ReportText(report);
  const ExitStatus status = report.failed.empty() ? ExitStatus::kDone : ExitStatus::kSomeFailed;
  const int printed = PrintResult(text, status);
  return run.stopped_by() != 0 ? kSignalExitBase + run.stopped_by() : printed;
}

int Index(const Options& options) {
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

  const auto timeout = std::chrono::milliseconds(std::lround(options.timeout * kMillisecondsOfSecond));
  IndexRun run({*plugin, options.workers, timeout, options.quiet}, *library, signals);
  if (const auto outcome = run.Run(); !outcome) return ReportFailure(outcome.failure());
  return Conclude(run, options);
}

}  // namespace

Runner DefineIndex(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("folder", options->folder, "The folder; the database is made inside it")
      ->type_name("FOLDER")
      ->required();
  app.add_option("-j,--jobs", options->workers, "Worker processes; default the number of cores")
      ->type_name("N")
      ->check(CLI::Range(1U, kMostWorkers));
  app.add_option("--timeout", options->timeout, "Seconds that one file may take; default 60")
      ->type_name("SECONDS")
      ->check(CLI::Range(kShortestTimeout, kLongestTimeout));
  app.add_flag("--quiet", options->quiet, "No progress on standard error");
  app.add_flag("--json", options->json, "The result as one JSON object");
  AddRootOption(app, options->root);
  return [options] { return Index(*options); };
}
