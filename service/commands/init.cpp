#include <CLI/CLI.hpp>
#include <memory>

#include "commands/command.h"
#include "display.h"
#include "library.h"
#include "shared_tree.h"
#include "state_root.h"

namespace {

struct Options {
  std::string folder;
  bool shared = false;
  std::string root;
};

int Init(const Options& options) {
  const auto root = StateRoot::Locate(options.root);
  if (!root) return ReportFailure(root.failure());
  if (const auto prepared = root->Prepare(); !prepared) return ReportFailure(prepared.failure());
  const std::vector<Failure> failures = SetUpSharedTree(*root, options.folder);
  for (const Failure& failure : failures) ReportFailure(failure);
  if (!failures.empty()) return static_cast<int>(failures.front().status);
  const auto tree = RequireSharedTree("");
  if (!tree) return ReportFailure(tree.failure());
  return PrintResult(Visible(tree->folder) + ": shared tree, database " + tree->database() + "\n",
                     ExitStatus::kDone);
}

}  // namespace

Runner DefineInit(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("folder", options->folder, "The shared photo folder")->type_name("FOLDER")->required();
  app.add_flag("--shared", options->shared,
               "A tree that several people share, in the PostgreSQL database photo")
      ->required();
  AddRootOption(app, options->root);
  return [options] { return Init(*options); };
}
