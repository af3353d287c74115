#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "common/display.h"
#include "library/library.h"
#include "library/state_root.h"
#include "run/report.h"
#include "setup/shared_tree.h"

namespace {

constexpr int kSchemaVersion = 1;

struct Options {
  std::string folder;
  bool shared = false;
  std::string root;
  bool json = false;
};

// A line for each; for programs the first one's object, the others in it.
int ReportFailures(const std::vector<Failure>& failures, bool json) {
  Json::Value first = FailureJson(failures.front());
  for (const Failure& failure : failures) {
    ReportFailure(failure);
    if (&failure != &failures.front()) first["also"].append(FailureJson(failure));
  }
  const std::string text = json ? JsonLine(first) + "\n" : "";
  return PrintResult(text, failures.front().status);
}

int ReportTree(const Library& tree, bool json) {
  if (!json) {
    return PrintResult(Visible(tree.folder) + ": shared tree, database " + tree.database() + "\n",
                       ExitStatus::kDone);
  }
  Json::Value made(Json::objectValue);
  made["schema_version"] = kSchemaVersion;
  SetBytes(made, "library", tree.folder);
  made["database"] = tree.database();
  return PrintResult(JsonLine(made) + "\n", ExitStatus::kDone);
}

int Init(const Options& options) {
  const auto root = StateRoot::Locate(options.root);
  if (!root) return ReportFailure(root.failure(), options.json);
  if (const auto prepared = root->Prepare(); !prepared)
    return ReportFailure(prepared.failure(), options.json);
  if (const auto failures = SetUpSharedTree(*root, options.folder); !failures.empty())
    return ReportFailures(failures, options.json);
  const auto tree = RequireSharedTree("");
  if (!tree) return ReportFailure(tree.failure(), options.json);
  return ReportTree(*tree, options.json);
}

}  // namespace

Runner DefineInit(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("folder", options->folder, "Folder that becomes the shared tree")
      ->type_name("FOLDER")
      ->required();
  app.add_flag("--shared", options->shared,
               "Make a tree that several people share, in the PostgreSQL database photo")
      ->required();
  app.add_flag("--json", options->json, "Print the result as one JSON object");
  AddRootOption(app, options->root);
  return [options] { return Init(*options); };
}
