#include "setup/prepared_run.h"

#include <utility>

#include "changes/library_catalogue.h"
#include "common/display.h"
#include "common/installation.h"
#include "files/looking.h"
#include "setup/database_adoption.h"
#include "setup/worker_memory.h"
#include "setup/worker_view.h"
#include "work/worker_identity.h"

namespace {

// Makes WORKER, and what is the library's, the library owner's; the view of STATE that it then has.
Outcome<FileDescriptor> BecomeOwners(const StateRoot& state, WorkerStart& worker) {
  const auto owner = OwnerToBecome(worker.library);
  if (!owner) return owner.failure();
  worker.identity = *owner;
  if (!worker.identity) return FileDescriptor();
  if (auto looks = LookAs(worker.identity->user); !looks) return looks.failure();
  if (auto adopted = AdoptDatabase(worker.library, *worker.identity); !adopted) return adopted.failure();
  return MakeWorkerView(state, worker.library, *worker.identity);
}

}  // namespace

ViewOfRun::~ViewOfRun() {
  if (const auto removed = RemoveWorkerView(root_, library_); !removed) left_ = removed.failure();
}

Outcome<PreparedRun> PrepareRun(const RunWish& wish, std::optional<Failure>& left) {
  auto program = OpenWorkerProgram();
  if (!program) return program.failure();
  const auto plugin = PluginPath();
  if (!plugin) return plugin.failure();
  const auto root = StateRoot::Locate(wish.root);
  if (!root) return root.failure();
  if (!wish.is_prepared) {
    if (const auto prepared = root->Prepare(); !prepared) return prepared.failure();
  }
  const auto memory = WorkerMemory(*root, wish.worker_memory);
  if (!memory) return memory.failure();
  const auto library = wish.library(*root);
  if (!library) return library.failure();
  auto lock = LibraryLock::Take(*root, *library);
  if (!lock) return lock.failure();
  if (auto cleared = RemoveWorkerView(*root, *library); !cleared) return cleared.failure();
  auto view_of_run = std::make_unique<ViewOfRun>(*root, *library, left);
  WorkerStart worker{program->get(), *plugin, *library, *memory, std::nullopt, -1};
  auto view = wish.as_root ? Outcome<FileDescriptor>(FileDescriptor()) : BecomeOwners(*root, worker);
  if (!view) return view.failure();
  worker.view = view->get();
  auto catalogue = OpenLibraryCatalogue(CatalogueFile(*root, *library), *library, wish.accepts_loss);
  if (!catalogue) return catalogue.failure();
  return PreparedRun{*root,    std::move(*program), std::move(*view),       std::move(worker),
                     *library, std::move(*lock),    std::move(view_of_run), std::move(*catalogue)};
}

Failure LossOrFailure(const Failure& failure, const PreparedRun& run) {
  if (run.lock.FolderIsThere(run.library)) return failure;
  return {ExitStatus::kLoss, Visible(run.library.folder) +
                                 ": the folder went away while it was indexed; nothing was deleted, and what "
                                 "was done before is kept"};
}
