// Whose word the state folder is. It says which programs a run starts and which files are whose, so whoever
// may write there may do what the run may do.
#ifndef SERVICE_LIBRARY_STATE_TRUST_H_
#define SERVICE_LIBRARY_STATE_TRUST_H_

#include <string>

#include "common/outcome.h"

// Fails where somebody else but the caller and root has made FOLDER (a real path; it need not exist) or a
// name in it that the service goes by, a link too, or where others may write: everybody, a group other than
// root's own for root, or whom an access list names. Root's is not to be in reach of anybody: neither a
// folder that others may write to nor one of somebody else's leads to it. The folder for jobs is not looked
// at; others have their files there.
Outcome<Done> TrustStateFolder(const std::string& folder);

#endif  // SERVICE_LIBRARY_STATE_TRUST_H_
