// Files, key=value configuration files, locks, and files that belong to other people.
#ifndef PLATFORM_FILES_H_
#define PLATFORM_FILES_H_

#include <stdint.h>
#include <sys/types.h>

#include "platform/api.h"

extern "C" {

// The real place of one of the appliance's fixed paths ("/var/services/photo", "/var/packages/...",
// "/usr/kavo/...", "/usr/bin/php", "/etc/kavo/..."): the path itself, or below the folder that the
// environment variable LUMIVAULT_ROOT names (ignored in programs with privileges of their own: set-user-ID
// and the like). The length, or -1 when OUT of SIZE bytes is too small, and for every path when that folder's
// own is so long (more than 3,072 bytes) that some places below it could not be named.
KAVO_API int KAVOFixedPathGet(const char* path, char* out, int size);

// Non-zero when PATH exists (links followed), or when that cannot be told (a folder that may not be read, a
// disk error): what is unknown is not gone.
KAVO_API int RLIBCFileExist(const char* path);
// 1 when PATH is a directory (links followed), else 0.
KAVO_API int RLIBCFileCheckDir(const char* path);
// The same; the size in bytes goes to SIZE unless that is null (0 where it cannot be told).
KAVO_API bool IsFileExist(const char* path, int64_t* size);

// key=value files: one pair a line, blanks around both and one pair of double quotes around the value
// dropped, '#' starts a comment line; the last of equal keys holds. Malformed lines are skipped and logged
// once, as is a file above 1 MiB.

// Writes the value of KEY into OUT of SIZE bytes, cut when longer. The length written, or -1 when the file or
// the key is missing. FLAGS is 0.
KAVO_API int RLIBCFileGetKeyValue(const char* file, const char* key, char* out, int size, int flags);
// Non-zero when KEY is there with exactly VALUE. FLAGS is 0.
KAVO_API int RLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags);

// Opens the regular file FILE for reading and writing, made when missing, and takes an exclusive lock against
// all other openers; waits at most 10 s, then logs it and fails. Once a process has waited so for FILE in
// vain, it waits a tenth of a second until it has got it. No symbolic link below the shared photo folder is
// followed; a file with a second name (a hard link) is refused (EMLINK), and to root what others may not
// write to (EPERM), unless it is root's or stands in its owner's folder, to which nobody else writes. A
// reader may rename or remove FILE while it has the lock: whoever waits then gets the new file. MODE is 1.
// Non-zero and the descriptor on success, 0 on failure.
KAVO_API int RLIBCFileLockByFile(const char* file, int mode, int* descriptor);
// Unlocks and closes.
KAVO_API void RLIBCFileUnlockByFile(int descriptor);

// Acts on files below ROOT as if their owner were hostile: PATH is ROOT itself or lies below it, and no
// symbolic link between the two is followed. -1 with errno on failure. A descriptor of the regular file PATH,
// open for reading; root reads one with further names (hard links) as far as the owners of its folder and of
// ROOT may (EPERM).
KAVO_API int KAVOBeneathOpen(const char* root, const char* path);
// A descriptor of the folder PATH below the folder that the descriptor ROOT stands for ("" for that folder
// itself), open for listing.
KAVO_API int KAVOBeneathOpenFolder(int root, const char* path);
// The real path of FOLDER goes into OUT. To a process of root's a link on the way counts only when root has
// made it or when its maker owns the folder. Its length, or -1 with errno: EPERM for a link that does not
// count.
KAVO_API int KAVOBeneathRootGet(const char* folder, char* out, int size);
// Removes the regular file PATH; while a batch is open (connection_lending.h) at its commit.
KAVO_API int KAVOBeneathRemove(const char* root, const char* path);
// Non-zero when the regular file PATH exists and its removal is not pending.
KAVO_API int KAVOBeneathExist(const char* root, const char* path);
// Non-zero when nothing stands under the name of FOLDER, so that no file in it exists; 0 also when that
// cannot be told.
KAVO_API int KAVOBeneathFolderGone(const char* root, const char* folder);
// Gives the regular file or directory PATH the mode. With file_modes=keep in the package's settings it leaves
// the mode as it is and succeeds, and so with settings that cannot be read: a person's photos are opened up
// to nobody. A process of root's refuses (EPERM) a file with a second name, and what in a user's folder is
// neither the user's nor root's.
KAVO_API int KAVOBeneathMode(const char* root, const char* path, mode_t mode);

}  // extern "C"

#endif  // PLATFORM_FILES_H_
