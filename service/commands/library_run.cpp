#include "commands/library_run.h"

#include <filesystem>
#include <optional>
#include <system_error>

#include "commands/command.h"
#include "common/display.h"
#include "common/event_loop.h"
#include "common/signal_events.h"
#include "common/stop_signals.h"
#include "jobs/job_queue.h"
#include "library/library.h"
#include "library/state_root.h"
#include "run/report.h"
#include "run/worker_process.h"
#include "setup/prepared_run.h"

namespace {

ExitStatus StatusOf(const IndexReport& report) {
  if (!report.withheld_reason.empty()) return ExitStatus::kLoss;
  return report.HasNewFailure() ? ExitStatus::kSomeFailed : ExitStatus::kDone;
}

// In the state folder that is there for the run.
Outcome<Library> PrepareLibrary(const StateRoot& root, const RunOptions& options) {
  if (!options.shared && !options.folder.empty()) return MakeLibrary(root, options.folder);
  auto tree = NamedLibrary(options);
  if (!tree) return tree;
  std::error_code error;
  if (!std::filesystem::is_directory(tree->folder, error)) {
    return Failure{ExitStatus::kLoss, AboutFile(tree->folder, error ? error.message() : "not a folder") +
                                          "; nothing was deleted (see lumivault doctor --shared)"};
  }
  if (auto made = root.MakeFolder(tree->StateFolder()); !made) return made.failure();
  return tree;
}

// What is left of a run when it holds nothing any more.
struct RunEnd {
  IndexReport report;
  int stopped_by = 0;
  std::optional<Failure> failure;
};

int PrintReport(const RunEnd& end, const RunOptions& options) {
  const std::string text =
      options.json ? JsonLine(ReportJson(end.report)) + "\n" : ReportText(end.report, options.lists_failed);
  const int printed = PrintResult(text, StatusOf(end.report));
  return end.stopped_by != 0 ? kSignalExitBase + end.stopped_by : printed;
}

// The run ended before its time. What it did by then is told all the same.
int ReportBrokenRun(const IndexReport& report, const Failure& failure, const RunOptions& options) {
  ReportFailure(failure);
  if (options.json) return PrintResult(JsonLine(ReportJson(report, failure)) + "\n", failure.status);
  return PrintResult(report.DidAnything() ? ReportText(report, options.lists_failed) : "", failure.status);
}

// The library is let go when this returns.
Outcome<RunEnd> PerformRun(const RunOptions& options, const std::function<Outcome<Done>(IndexRun&)>& work,
                           StopSignals& signals, std::optional<Failure>& left) {
  auto run_setup = PrepareRun({options.root, options.worker_memory, options.as_root, options.accepts_loss,
                               [&](const StateRoot& root) { return PrepareLibrary(root, options); }},
                              left);
  if (!run_setup) return run_setup.failure();
  const auto timeout = FileTimeout(options);
  WorkerProcesses starter(run_setup->worker);
  EventLoop loop;
  IndexRun run({options.workers, timeout, options.quiet, options.accepts_loss}, run_setup->library,
               run_setup->catalogue, starter, loop);
  const SignalEvents stops(signals, loop, [&](int signal) { run.Stop(signal); });
  const auto outcome = work(run);
  RunEnd end{run.report(), run.stopped_by(), std::nullopt};
  end.report.dropped_jobs = TendJobQueue(run_setup->root);
  if (!outcome) end.failure = LossOrFailure(outcome.failure(), *run_setup);
  return end;
}

// Nothing is held any more when this returns, the signals neither: nobody has to wait for who reads what is
// then told.
Outcome<RunEnd> PerformStoppableRun(const RunOptions& options,
                                    const std::function<Outcome<Done>(IndexRun&)>& work,
                                    std::optional<Failure>& left) {
  StopSignals signals;
  auto end = PerformRun(options, work, signals, left);
  // There is nothing left that they could stop, and what was done, or failed, is to be told.
  while (const int signal = signals.Take()) {
    if (end && end->stopped_by == 0) end->stopped_by = signal;
  }
  return end;
}

}  // namespace

int RunOnLibrary(const RunOptions& options, const std::function<Outcome<Done>(IndexRun&)>& work) {
  std::optional<Failure> left;
  const auto end = PerformStoppableRun(options, work, left);
  if (left) ReportFailure(*left);
  if (!end) return ReportFailure(end.failure(), options.json);
  return end->failure ? ReportBrokenRun(end->report, *end->failure, options) : PrintReport(*end, options);
}
