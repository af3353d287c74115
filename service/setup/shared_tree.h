// Sets up the shared tree of a state folder: the link to its folder, and its database.
#ifndef SERVICE_SETUP_SHARED_TREE_H_
#define SERVICE_SETUP_SHARED_TREE_H_

#include <string>
#include <vector>

#include "common/outcome.h"
#include "library/state_root.h"

// Every server has it; whoever wants to make a database is connected to it.
inline constexpr const char* kMaintenanceDatabase = "postgres";

// Makes FOLDER the shared tree of ROOT, which is prepared. Safe to repeat: what is there stays. Each thing
// that fails is told by itself and does not keep the others from being done; empty: all is well.
std::vector<Failure> SetUpSharedTree(const StateRoot& root, const std::string& folder);

#endif  // SERVICE_SETUP_SHARED_TREE_H_
