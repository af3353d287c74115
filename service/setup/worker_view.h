#ifndef SERVICE_SETUP_WORKER_VIEW_H_
#define SERVICE_SETUP_WORKER_VIEW_H_

#include "base/file_descriptor.h"
#include "common/outcome.h"
#include "library/library.h"
#include "library/state_root.h"
#include "work/worker_identity.h"

// What a worker that is not root's sees of a state folder that may be root's alone: a copy of the settings,
// tools and schema, with no other library in it, below libraries/<user>/worker. It is handed over open, and
// reached through the descriptor alone. Only the folder for jobs is the owner's. It is there for one run,
// which holds the library; nothing stands in its place before.
Outcome<FileDescriptor> MakeWorkerView(const StateRoot& root, const Library& library,
                                       const WorkerIdentity& owner);

// Takes it away, where there is one; a killed run has left its own.
Outcome<Done> RemoveWorkerView(const StateRoot& root, const Library& library);

#endif  // SERVICE_SETUP_WORKER_VIEW_H_
