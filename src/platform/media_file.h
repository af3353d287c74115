// Opening the photos and videos of people, whose names and folders may be exchanged for links at any moment.
#ifndef PLATFORM_MEDIA_FILE_H_
#define PLATFORM_MEDIA_FILE_H_

#include "platform/api.h"

extern "C" {

// This process reads the library in FOLDER from now on, which is held open; null ends that. 0, or -1 with
// errno. Of the links to a file, those on the way to it included, each that neither the reader nor root has
// made counts only as far as its maker may read himself: to root with the maker's rights, to others into the
// library or to a file of the maker's.
KAVO_API int KAVOMediaFolderHold(const char* folder);

// A descriptor of the regular file PATH, open for reading; no special file is opened. In a process that holds
// a folder PATH lies below it, and is opened from the held descriptor: no folder on the way may be a link,
// the file itself may be one, but not one into /proc that stands for an open file. -1 with errno: EINVAL for
// what is no regular file, EPERM for a link, be it a hard one, that would show more, ELOOP for a link in
// the place of a folder, EXDEV for a path elsewhere.
KAVO_API int KAVOMediaOpen(const char* path);

// Opens PATH like that for all who are about to read it: until another path is kept, or null, KAVOMediaOpen
// of PATH gives copies of this one descriptor, which share its position. 0, or -1 with errno; then PATH is
// opened each time. One thread of a process keeps and opens.
KAVO_API int KAVOMediaKeep(const char* path);

}  // extern "C"

#endif  // PLATFORM_MEDIA_FILE_H_
