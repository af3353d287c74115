#ifndef SERVICE_COMMON_PERSON_FOLDER_H_
#define SERVICE_COMMON_PERSON_FOLDER_H_

#include <string>

// Where programs keep something of the caller's: the folder that the environment names under VARIABLE, else
// BELOW the caller's home. A relative one in the variable is to be ignored. "" when there is no home either.
std::string PersonFolder(const char* variable, const char* below);

#endif  // SERVICE_COMMON_PERSON_FOLDER_H_
