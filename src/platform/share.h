// Shares, side folders and users.
#ifndef PLATFORM_SHARE_H_
#define PLATFORM_SHARE_H_

#include "platform/api.h"

extern "C" {

typedef struct __tag_KAVOSHARE {
  char szName[256];
  char szPath[4096];
} KAVOSHARE;

// Looks up a share ("photo", "homes"). 0 and a record to be freed with KAVOShareFree, or -1.
KAVO_API int KAVOShareGet(const char* name, KAVOSHARE** share);
KAVO_API void KAVOShareFree(KAVOSHARE* share);
// The share's folder; for "photo" the folder that it would have even where there is no shared tree. 0 or -1.
KAVO_API int KAVOSharePathGet(const char* name, char* out, int size);

// The path of side item ITEM of PATH: in "<folder>/@eaDir/<base name>/" for a file, in "<folder>/@eaDir/" for
// the folder itself. The first and last argument are 0. 0, or non-zero when OUT of SIZE bytes is too small.
KAVO_API int KAVOEAPath(int mode, const char* path, const char* item, char* out, int size, int flags);
// Makes the side folder FOLDER (its parents too), mode 0777. The first argument is 0. 0, or non-zero on
// failure.
KAVO_API int KAVOEAMKDir(int mode, const char* folder);

// The preference folder of USER. 0 on success.
KAVO_API int KAVOUserPreferenceDirGet(const char* user, char* out, int size);

}  // extern "C"

#endif  // PLATFORM_SHARE_H_
