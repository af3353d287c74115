// The folders that the safe opens begin at. Their place is the administrator's choice and may be reached
// through links; but a process that may do more than a user must not be led by that user's link into a
// folder that is not the user's.
#ifndef PLATFORM_LINUX_CORE_TRUSTED_FOLDER_H_
#define PLATFORM_LINUX_CORE_TRUSTED_FOLDER_H_

#include <string>

#include "base/file_descriptor.h"

// An O_PATH descriptor of FOLDER. In a privileged process a link on the way counts only when root made it
// or when its maker owns the folder in the end. Empty with errno on failure: EPERM for a link that does not
// count.
FileDescriptor OpenTrustedFolder(const std::string& folder);
// The same, and makes what is missing, with the usual mode. What a link points to is never made: a volume
// that is not mounted must not come to life as a folder on the system disk.
FileDescriptor MakeTrustedFolder(const std::string& folder);

#endif  // PLATFORM_LINUX_CORE_TRUSTED_FOLDER_H_
