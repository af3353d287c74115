#ifndef SERVICE_SETUP_PREPARED_RUN_H_
#define SERVICE_SETUP_PREPARED_RUN_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "changes/catalogue.h"
#include "common/outcome.h"
#include "library/library.h"
#include "library/state_root.h"
#include "run/worker_process.h"

// What a run over a library is to stand on.
struct RunWish {
  std::string root;                       // names the state folder
  std::optional<unsigned> worker_memory;  // MiB
  bool as_root = false;
  bool accepts_loss = false;
  // The library, in the state folder that is there by then.
  std::function<Outcome<Library>(const StateRoot&)> library;
  // An earlier run of this process has prepared the state folder.
  bool is_prepared = false;
};

// As long as one lives, the library's worker may have a view of the state folder.
class ViewOfRun {
 public:
  // LEFT outlives it: why it could not be removed, to be told when the library is held no more.
  ViewOfRun(StateRoot root, Library library, std::optional<Failure>& left)
      : root_(std::move(root)), library_(std::move(library)), left_(left) {}
  ~ViewOfRun();
  ViewOfRun(const ViewOfRun&) = delete;
  ViewOfRun& operator=(const ViewOfRun&) = delete;

 private:
  const StateRoot root_;
  const Library library_;
  std::optional<Failure>& left_;
};

// A library that is held for a run, as long as the object lives. The view goes before the lock does.
struct PreparedRun {
  StateRoot root;
  FileDescriptor program;
  FileDescriptor view;
  WorkerStart worker;
  Library library;
  LibraryLock lock;
  std::unique_ptr<ViewOfRun> view_of_run;
  Catalogue catalogue;
};

// Takes the library's lock and opens its catalogue. Started by root for the library of somebody else, the
// process looks at files with the rights of that person from then on, unless that is not wished.
Outcome<PreparedRun> PrepareRun(const RunWish& wish, std::optional<Failure>& left);

// Without its folder nothing can be told about a library; least of all that its files are gone.
Failure LossOrFailure(const Failure& failure, const PreparedRun& run);

#endif  // SERVICE_SETUP_PREPARED_RUN_H_
