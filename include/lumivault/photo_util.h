/* Paths, album names and side files. Album names are paths below the photo root of the request, without a
 * leading '/'; "/" is the root album. The request is that of the last HGAStatusCheck (request_context.h);
 * none of these changes it. Errors, ownership, encoding, units and threads as in media_info.h.
 *
 * Every OUT is written with a bounded copy of SIZE bytes, terminator included. */
#ifndef LUMIVAULT_PHOTO_UTIL_H_
#define LUMIVAULT_PHOTO_UTIL_H_

#include <stddef.h>

#include "lumivault/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when PATH exists and is a directory, else 0 (also for NULL). */
LUMIVAULT_API int IsDirExist(const char* path);

#ifdef __cplusplus
}

/* The shared photo folder (the target of the link /var/services/photo), a text of the library's, or NULL
 * while the link cannot be read. The first success is kept for the life of the process. */
LUMIVAULT_API const char* PhotoUtilPhotoDirGet();
/* Its length in bytes, or 0 while PhotoUtilPhotoDirGet has not given it. */
LUMIVAULT_API int PhotoUtilPhotoDirLenGet();

/* The next four give 0, or -1 (OUT unwritten) for NULL. */

/* The album-relative form of PATH, which the caller knows to lie below the photo root. -1 also when the root
 * cannot be told, or ends inside a name of PATH. */
LUMIVAULT_API int PhotoUtilShareNameGet(const char* path, char* out, size_t size);
/* The album that holds FILE; "/" also for a FILE outside the photo root. */
LUMIVAULT_API int GetSharenameByFilePath(const char* file, char* out, size_t size);
/* The album whose settings ALBUM refers to: a/b/c gives a/b, a/b gives a, a gives a. */
LUMIVAULT_API int GetReferenceSharenameBySharename(const char* album, char* out, size_t size);
/* The album whose rights govern FILE: at most the second level. */
LUMIVAULT_API int GetPrivilegeSharenameByFilePath(const char* file, char* out, size_t size);

/* 1 when EXTENSION, without its dot, equals an entry of the NULL-ended LIST, letter case ignored; 0 otherwise
 * and for NULL. */
LUMIVAULT_API int IsFormat(const char* extension, const char* const* list);
/* 1 for the formats whose keywords are read again at every save, 0 otherwise and for NULL. */
LUMIVAULT_API int IsExiv2TagForceUpdateFormat(const char* extension);

/* Reads the first line of side file NAME of FILE into BUF, its newline kept, and removes the side file: it is
 * used up by its first reading, whatever it holds. 0: the line is not empty. -1: it is empty (the side file
 * is gone), or there is no side file, or it cannot be read (it stays). A symbolic link and what lies outside
 * the photo root of the request count as no side file. REQUIRES: SIZE of 2 at least; one byte has room for
 * the terminator alone, and the line would be lost. */
LUMIVAULT_API int GetFileContentInEA(const char* file, const char* name, char* buf, int size);
#endif

#endif /* LUMIVAULT_PHOTO_UTIL_H_ */
