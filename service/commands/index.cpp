#include <CLI/CLI.hpp>
#include <memory>

#include "changes/dry_run.h"
#include "commands/command.h"
#include "commands/library_run.h"
#include "commands/run_options.h"
#include "common/display.h"
#include "files/looking.h"
#include "library/library.h"
#include "library/state_root.h"
#include "work/worker_identity.h"

namespace {

struct Options {
  RunOptions run;
  bool dry_run = false;
};

// Refused, and looked at, as the run itself would.
Outcome<Done> MayBeTried(const RunOptions& options, const StateRoot& root, const Library& library) {
  if (!library.shared()) {
    if (auto may = MayBeMade(root, library); !may) return may;
  }
  if (options.as_root) return Done{};
  const auto owner = OwnerToBecome(library);
  if (!owner) return owner.failure();
  return *owner ? LookAs((*owner)->user) : Done{};
}

int ShowDryRun(const RunOptions& options) {
  const auto root = StateRoot::Locate(options.root);
  if (!root) return ReportFailure(root.failure(), options.json);
  const auto library = NamedLibrary(options);
  if (!library) return ReportFailure(library.failure(), options.json);
  if (auto may = MayBeTried(options, *root, *library); !may)
    return ReportFailure(may.failure(), options.json);
  const auto run = TryRun(*root, *library, options.accepts_loss);
  if (!run) return ReportFailure(run.failure(), options.json);
  const std::string text = options.json ? JsonLine(DryRunJson(*run)) + "\n" : DryRunText(*run);
  if (run->withheld_reason.empty()) return PrintResult(text, ExitStatus::kDone);
  ReportFailure({ExitStatus::kLoss, run->withheld_reason});
  return PrintResult(text, ExitStatus::kLoss);
}

int Index(const Options& options) {
  if (options.dry_run) return ShowDryRun(options.run);
  return RunOnLibrary(options.run, [](IndexRun& run) { return run.Update(); });
}

}  // namespace

Runner DefineIndex(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  AddRunOptions(app, options->run, "Folder to index; its database is made inside it");
  app.add_flag("--dry-run", options->dry_run, "Show what a run would change; change nothing")
      ->excludes("--failed");
  return [options] { return Index(*options); };
}
