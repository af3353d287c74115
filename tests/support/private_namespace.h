#ifndef TESTS_SUPPORT_PRIVATE_NAMESPACE_H_
#define TESTS_SUPPORT_PRIVATE_NAMESPACE_H_

#include <filesystem>
#include <set>
#include <string>

// Moves the process into a mount namespace of its own, in which none of PATHS exists and each can be made:
// their parent folders show everything else that is in them, and what is made there is in memory, seen by
// this process and its children alone. What this machine has at PATHS is out of reach, so that nothing can
// happen to it. The reason when that is not permitted here, else "".
//
// Once in a process, before it starts a thread.
std::string EnterPrivateNamespace(const std::set<std::filesystem::path>& paths);

#endif  // TESTS_SUPPORT_PRIVATE_NAMESPACE_H_
