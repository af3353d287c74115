/* The request context: whether the path of the request belongs to the shared photo tree or to a user's
 * personal photo folder.
 *
 * Threads: one process-wide record without a lock. Every entry point of the library rewrites it, so whole
 * requests must be serialised by the caller. Errors, ownership, encoding and units as in media_info.h. */
#ifndef LUMIVAULT_REQUEST_CONTEXT_H_
#define LUMIVAULT_REQUEST_CONTEXT_H_

#include <stdint.h>

#include "lumivault/export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
  HGA_USER_NAME_SIZE = 492, /* capacity of a user name, terminator included */
  HGA_PATH_SIZE = 4095      /* capacity of each path, terminator included; longer values are cut */
};

/* What the last HGAStatusCheck found. All zero for the shared tree. Not to be used after a failed check. */
typedef struct __tag_HGA_INFORMATION {
  int32_t isHGARequest;                /* 1: a personal photo folder that is in use */
  int32_t isUserPhotoRoot;             /* 1: the request names the personal photo folder itself */
  char szUserName[HGA_USER_NAME_SIZE]; /* owner of the folder */
  char szPhotoDir[HGA_PATH_SIZE];      /* the personal photo folder */
  char szDBPath[HGA_PATH_SIZE];        /* its SQLite database */
  char szRequestPath[HGA_PATH_SIZE];   /* the path asked about; empty in the form "user:NAME" */
  int32_t userPhotoPathLen;            /* length of szPhotoDir */
} HGA_INFORMATION;

/* Only to be read by other programs. */
LUMIVAULT_API extern HGA_INFORMATION gHGAInformation;

/* Decides for PATH ("/a/path", "user:NAME" or "user:NAME:/a/path") and fills gHGAInformation; makes the
 * personal database on first use, mode 0777 unless the platform keeps modes. 0: decided. -1: NULL path (the
 * record stays as it was), an empty user name, or a personal folder whose personal edition is not switched on
 * or not usable, or whose database is a link or no regular file. PATH need not exist and is copied. */
LUMIVAULT_API int HGAStatusCheck(const char* path);

/* The fields of the last check as they stand. Pointers stay valid for ever; what they point at changes with
 * the next check. */
LUMIVAULT_API int HGAStatusIsHGARequest(void);
LUMIVAULT_API int HGAStatusIsUserPhotoRoot(void);
LUMIVAULT_API const char* HGAStatusUserNameGet(void);
LUMIVAULT_API const char* HGAStatusPhotoDirGet(void);
LUMIVAULT_API const char* HGAStatusDBPathGet(void);
LUMIVAULT_API const char* HGAStatusRequestPathGet(void);
LUMIVAULT_API int HGAStatusUserPhotoPathLenGet(void);

#ifdef __cplusplus
}
#endif

#endif /* LUMIVAULT_REQUEST_CONTEXT_H_ */
