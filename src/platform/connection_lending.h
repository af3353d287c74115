// Lets the owner of the process lend one connection of its own, so that many short operations need not open
// it each time and several can be one transaction. While a connection is lent, KAVODBConnect to the same
// database hands it out and KAVODBClose gives it back: the same SQLite file (device and inode, checked each
// time), or the same user and database name on PostgreSQL. A process that lends nothing sees no difference.
//
// A hand-out begins with the settings of a new connection, but for SQLite's foreign keys, which are on
// (inside a transaction they could not be switched). Several may be out at once; they share the transaction,
// and the statements that it has prepared.
//
// One lent connection a thread, seen by that thread only. 0 on success, -1 on failure, whose reason
// KAVODBLentErrorGet tells.
#ifndef PLATFORM_CONNECTION_LENDING_H_
#define PLATFORM_CONNECTION_LENDING_H_

#include "platform/api.h"

extern "C" {

// Opens FILE, which must exist, and lends it. A connection lent before is withdrawn first.
KAVO_API int KAVODBLend(const char* file);
// The same for a PostgreSQL database (platform/database.h).
KAVO_API int KAVODBLendDatabase(const char* user, const char* database);
// Closes the lent connection (an open batch is rolled back). Harmless when nothing is lent.
KAVO_API void KAVODBLendEnd(void);

// One write transaction around the calls that follow; a statement that fails leaves it open and takes back
// itself alone. One batch at a time is open on a database: the next waits for its end, up to 30 s. While it
// is open, the removal of consumed side files (KAVOBeneathRemove) waits for its commit, so that nothing is
// lost between the two, and so does a VACUUM, which PostgreSQL runs outside transactions only. When the
// engine ends the transaction by itself (disk full, I/O error, a lost connection, a deadlock) every further
// statement of the batch fails, and so does its commit.
KAVO_API int KAVODBBatchBegin(void);
// -1: nothing of the batch was kept and no side file was removed; so also when another file stands in the
// place of the lent one by now. Only when a PostgreSQL server goes away at this very moment nobody can tell
// whether it was kept. A side file that was written again after it was consumed is not removed.
KAVO_API int KAVODBBatchCommit(void);
KAVO_API void KAVODBBatchRollback(void);

// How many removals wait for the commit now. A call that fails in the middle of a batch has consumed side
// files whose values are in no row: forgetting the removals that were added since the mark taken before it
// keeps those files. Harmless when no batch is open.
KAVO_API int KAVODBBatchMark(void);
KAVO_API void KAVODBBatchForgetRemovals(int mark);

KAVO_API const char* KAVODBLentErrorGet(void);

// Why nothing more can be done with the lent database, whatever is asked of it: it was removed or replaced,
// or a statement met a full or failing disk, damage, a lock that nobody gives up, or a file that cannot be
// written, or the server went away and did not come back, only reads, or has no room, memory or other
// resources. Null while it is well. Once told it holds until a
// connection is lent anew.
KAVO_API const char* KAVODBLentFailureGet(void);

}  // extern "C"

#endif  // PLATFORM_CONNECTION_LENDING_H_
