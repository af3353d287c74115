// With whose rights a process of root's looks at files.
#ifndef PLATFORM_FILE_RIGHTS_H_
#define PLATFORM_FILE_RIGHTS_H_

#include <sys/types.h>

#include "platform/api.h"

extern "C" {

// This thread opens and looks at files with the rights of USER from now on, groups included, and with none of
// root's; other threads keep theirs. 0, or -1 with errno: it has its own then. One at a time in a thread,
// which remembers the account that it has looked up.
KAVO_API int KAVOFileRightsTake(uid_t user);
// It has its own again.
KAVO_API void KAVOFileRightsReturn(void);

}  // extern "C"

#endif  // PLATFORM_FILE_RIGHTS_H_
