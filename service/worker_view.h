#ifndef SERVICE_WORKER_VIEW_H_
#define SERVICE_WORKER_VIEW_H_

#include "file_descriptor.h"
#include "library.h"
#include "outcome.h"
#include "state_root.h"
#include "worker_identity.h"

// What a worker that is not root's sees of a state folder that may be root's alone: a copy of the settings,
// tools and schema, with no other library in it, below libraries/<user>/worker. It is handed over open, and
// reached through the descriptor alone. Only the folder for jobs is the owner's.
Outcome<FileDescriptor> MakeWorkerView(const StateRoot& root, const Library& library,
                                       const WorkerIdentity& owner);

#endif  // SERVICE_WORKER_VIEW_H_
