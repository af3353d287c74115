// Whose rights a worker has. Started as root, a run reads the files of somebody who may have put anything
// there; what reads them has the rights of that person alone.
#ifndef SERVICE_WORK_WORKER_IDENTITY_H_
#define SERVICE_WORK_WORKER_IDENTITY_H_

#include <sys/types.h>

#include <optional>

#include "common/outcome.h"
#include "library/library.h"

struct WorkerIdentity {
  uid_t user = 0;
  gid_t group = 0;  // of the folder, and of what is given to him
};

// The owner of the library's folder, who is to become its workers; nothing when they stay who started the
// run: an ordinary user, the owner himself, or a shared tree, which holds the files of many. Fails where the
// folder is root's now and somebody else could put his own in its place a moment later.
Outcome<std::optional<WorkerIdentity>> OwnerToBecome(const Library& library);

// This process becomes USER, for good: with the groups of the account, or nobody's alone where there is none,
// no privileges and no way to new ones, in a session and with keys of its own; it makes no file that others
// may write. False, with errno, when it is not wholly so: it must not go on then.
[[nodiscard]] bool BecomeUser(uid_t user);

#endif  // SERVICE_WORK_WORKER_IDENTITY_H_
