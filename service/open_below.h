#ifndef SERVICE_OPEN_BELOW_H_
#define SERVICE_OPEN_BELOW_H_

#include <string>

#include "file_descriptor.h"

// Opens the folder RELATIVE ("" for the root itself, "a/b") below the folder ROOT for listing, without
// following any link. Empty, with errno, on failure.
FileDescriptor OpenFolderBelow(int root, const std::string& relative);

#endif  // SERVICE_OPEN_BELOW_H_
