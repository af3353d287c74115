// Who may do what with the files that the library makes or is told to open up.
//
// On an appliance everything that the index touches gets the mode that was asked for (0777): its services
// run under many users. With file_modes=keep in the package's settings nothing of a person's is opened up:
// existing files keep their modes, and what the library makes has the mode that the umask of the process
// leaves it. The same holds when there are settings that cannot be read.
#ifndef PLATFORM_LINUX_CORE_MODE_POLICY_H_
#define PLATFORM_LINUX_CORE_MODE_POLICY_H_

#include <sys/types.h>

#include "base/file_descriptor.h"

// Gives the file or folder MODE, as far as the policy goes. 0, or -1 with errno.
[[nodiscard]] int GiveMode(const FileDescriptor& descriptor, mode_t mode);

#endif  // PLATFORM_LINUX_CORE_MODE_POLICY_H_
