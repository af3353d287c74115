#ifndef SERVICE_SETUP_DATABASE_ADOPTION_H_
#define SERVICE_SETUP_DATABASE_ADOPTION_H_

#include "common/outcome.h"
#include "library/library.h"
#include "work/worker_identity.h"

// Gives what is root's of the library's database, and of what SQLite keeps beside it, to its owner. Fails
// where that may be another file of root's: one with a second name, one that the owner may not read, or one
// whose content is not a library's.
Outcome<Done> AdoptDatabase(const Library& library, const WorkerIdentity& owner);

#endif  // SERVICE_SETUP_DATABASE_ADOPTION_H_
