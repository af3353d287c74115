// Lets the owner of the process hand over a value as if another program had left it in a side file of a media
// file, so that nothing has to be written into people's folders. While one is lent, the functions for files
// below a hostile owner (platform/files.h) answer for its path: it exists, it is opened for reading, and its
// removal takes it away. A file that is there on the disk under this path comes first. A process that lends
// nothing sees no difference.
//
// One lent side file a thread, seen by that thread only.
#ifndef PLATFORM_SIDE_FILE_LENDING_H_
#define PLATFORM_SIDE_FILE_LENDING_H_

#include "platform/api.h"

extern "C" {

// Lends TEXT, of at most 4096 bytes, as side item ITEM of the media file PATH, in the place of what was lent
// before. 0, or -1 where nothing is lent.
KAVO_API int KAVOSideFileLend(const char* path, const char* item, const char* text);
// Nothing is lent any more. Harmless when nothing was.
KAVO_API void KAVOSideFileLendEnd(void);

}  // extern "C"

#endif  // PLATFORM_SIDE_FILE_LENDING_H_
