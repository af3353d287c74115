/* The photo database: rows of photos, videos, albums, rights and labels.
 *
 * Which database is meant follows from the last HGAStatusCheck (request_context.h): the shared PostgreSQL
 * database, or the SQLite file of a personal photo folder. A function that says that it checks PATH does so
 * itself; for the others it lies in the library of the last check. Every PATH is absolute. Keys, as the rows
 * hold them, are absolute paths in the shared database and paths relative to the photo folder in a personal
 * one. Errors, ownership, encoding, units and threads as in media_info.h. */
#ifndef LUMIVAULT_PHOTO_DATABASE_H_
#define LUMIVAULT_PHOTO_DATABASE_H_

#include <stddef.h>
#include <stdint.h>

#include "lumivault/export.h"
#include "lumivault/handles.h"
#include "lumivault/media_info.h"

/* Logical tables. */
typedef enum tag_PHOTO_TABLE_TYPE {
  PHOTO_TABLE_IMAGE = 0,                 /* photo_image */
  PHOTO_TABLE_VIDEO_DESC = 1,            /* video_desc */
  PHOTO_TABLE_VIDEO_COMMENT = 2,         /* video_comment */
  PHOTO_TABLE_VIDEO_LABEL = 3,           /* photo_video_label */
  PHOTO_TABLE_SHARE = 4,                 /* photo_share */
  PHOTO_TABLE_ACCESS_RIGHT = 5,          /* photo_access_right */
  PHOTO_TABLE_ACCESS_RIGHT_ACCOUNT = 6,  /* photo_access_right_for_zor_account */
  PHOTO_TABLE_UPLOAD_RIGHT = 7,          /* photo_upload_right */
  PHOTO_TABLE_UPLOAD_RIGHT_ACCOUNT = 8,  /* photo_upload_right_for_zor_account */
  PHOTO_TABLE_MANAGE_RIGHT = 9,          /* photo_manage_right */
  PHOTO_TABLE_MANAGE_RIGHT_ACCOUNT = 10, /* photo_manage_right_for_zor_account */
  PHOTO_TABLE_CONFIG = 11,               /* photo_config */
  PHOTO_TABLE_VIDEO = 12,                /* video */
  PHOTO_TABLE_VIDEO_CONVERT = 13,        /* video_convert */
  PHOTO_TABLE_DIRECTORY = 14             /* no table: everything below a folder, for deletes only */
} PHOTO_TABLE_TYPE;

/* An album as its caller describes it. */
typedef struct __tag_KAVO_PHOTO_SHARE_INFO {
  int32_t shareId; /* id to use when a row is inserted; the one it got when another writer was faster */
  char szAlbumPath[4096];       /* absolute path of the folder */
  char szShareName[4096];       /* album name, "/" for the root */
  char szRightsShareName[4096]; /* the album whose rights this album takes */
  char szReserved[4096];        /* password of the parent album */
  int32_t isPublic;
  int32_t isSubdir; /* not a top-level folder */
} KAVO_PHOTO_SHARE_INFO;

/* An open query over one logical table; from PhotoInfoDBOpen to PhotoInfoDBClose. Whether it owns its
 * connection is settled when it is opened: a path checked meanwhile changes nothing. */
typedef struct __tag_MEDIA_DB_HANDLER {
  KAVODB_CONNECTION* connection;
  KAVODB_RESULT* result;
  KAVODB_ROW row; /* the current row */
  int32_t count;  /* rows of the result */
  PHOTO_TABLE_TYPE type;
} MEDIA_DB_HANDLER;

#ifdef __cplusplus

namespace Json {
class Value;
}

static_assert(sizeof(KAVO_PHOTO_SHARE_INFO) == 4 + 4 * 4096 + 8, "the album record is a binary interface");
static_assert(offsetof(MEDIA_DB_HANDLER, count) == 3 * sizeof(void*), "the cursor is a binary interface");

/* --- Connection, statements, versions --- */

/* The connection of the shared database, kept from its first use until PhotoDBConnClose; NULL while there is
 * none. */
LUMIVAULT_API extern KAVODB_CONNECTION* gpPGSQLConnect;

/* The connection for the current request, or NULL. For a personal request the caller owns it and ends it with
 * KAVODBClose; the shared one is never closed by callers. */
LUMIVAULT_API KAVODB_CONNECTION* PhotoDBConnect() noexcept;
/* Runs one statement: the number of rows it changed, or -1. */
LUMIVAULT_API int PhotoDBExec(const char* sql) noexcept;
/* Closes the shared connection; the next use opens it again. */
LUMIVAULT_API void PhotoDBConnClose() noexcept;
/* Compacts the shared database; a personal one is left alone (0). */
LUMIVAULT_API int PhotoDBVacuum() noexcept;
/* Checks PATH: the thumbnail version of its photo; 0 when there is none and on any failure. */
LUMIVAULT_API int PhotoInfoDBVersionGet(const char* path) noexcept;
/* Checks PATH and sets it; 0 also when the photo has no row. */
LUMIVAULT_API int PhotoInfoDBVersionUpdate(const char* path, int version) noexcept;

namespace PhotoMapping {
/* The table's name, a text of the library's that stays. REQUIRES: type 0 to 13. */
LUMIVAULT_API const char* GetValue(PHOTO_TABLE_TYPE type) noexcept;
}  // namespace PhotoMapping

/* --- Cursor and counts --- */

/* Opens a query. COLUMNS NULL means all; CONDITION is SQL that is escaped already, without its WHERE;
 * GROUP_BY and ORDER_BY are lists of columns; all three may be NULL. OFFSET comes before LIMIT; 0 or -1 mean
 * none. Besides CONDITION the statement has room for 511 bytes. NULL on failure. The handler is the caller's,
 * who ends it with PhotoInfoDBClose, before PhotoDBConnClose. REQUIRES: type 0 to 13. */
LUMIVAULT_API MEDIA_DB_HANDLER* PhotoInfoDBOpen(PHOTO_TABLE_TYPE type, const char* columns,
                                                const char* condition, const char* group_by,
                                                const char* order_by, int offset, int limit) noexcept;
/* Clears RECORD and reads the next row into it; -1 at the end and for NULL. Columns that the table has not
 * read as 0 or empty; szPath is absolute in either library. */
LUMIVAULT_API int PhotoInfoDBGet(MEDIA_DB_HANDLER* handler, KAVO_MEDIA_INFO* record) noexcept;
/* Clears RECORD and fills it from the current row; -1 for NULL. */
LUMIVAULT_API int PhotoInfoDBGetRecored(MEDIA_DB_HANDLER* handler, KAVO_MEDIA_INFO* record) noexcept;
/* Checks PATH and reads its row; with SUFFIX non-zero, that of any path that ends with its key. -1 when there
 * is none (RECORD is cleared) and for NULL or a PATH that is refused (RECORD is untouched). */
LUMIVAULT_API int PhotoInfoDBGetOneEx(PHOTO_TABLE_TYPE type, const char* path, KAVO_MEDIA_INFO* record,
                                      int suffix) noexcept;
/* The same with SUFFIX 0. */
LUMIVAULT_API int PhotoInfoDBGetOne(PHOTO_TABLE_TYPE type, const char* path,
                                    KAVO_MEDIA_INFO* record) noexcept;
/* The number of rows that a raw CONDITION (one comparison with one literal, or NULL) selects, or -1. COLUMNS
 * and GROUP_BY as in PhotoInfoDBOpen. */
LUMIVAULT_API int PhotoInfoDBGetCount(PHOTO_TABLE_TYPE type, const char* columns, const char* condition,
                                      const char* group_by) noexcept;
/* Ends a query; NULL is ignored. */
LUMIVAULT_API void PhotoInfoDBClose(MEDIA_DB_HANDLER* handler) noexcept;
/* Writes the value of a photo_config key into OUT, cut to SIZE bytes; -1 when there is none. OUT may stay
 * unwritten with 0 (a row that cannot be fetched), so the caller fills it first. REQUIRES: OUT not NULL. */
LUMIVAULT_API int PhotoInfoDBConfigGet(const char* key, char* out, size_t size) noexcept;
/* The extensions excluded by configuration (an empty list when that cannot be read), freed by the caller with
 * RLIBCSzListFree; NULL when memory is out. */
LUMIVAULT_API RLIBCSZLIST* PhotoInfoDBExcludeFormatListGet() noexcept;

/* --- Albums and rights --- */

/* The highest album id plus one; 1 without albums and on any failure. Nothing reserves it: insert soon. */
LUMIVAULT_API int KAVOPhotoShareGetNewId() noexcept;
/* The id of an album, or -1. */
LUMIVAULT_API int getShareIdBySharename(const char* album) noexcept;
/* Writes the ids of the album of FILE and of the album whose rights it takes; 0 also when one is unknown (-1
 * is written). On -1 the first may have been written. REQUIRES: the two places are not NULL. */
LUMIVAULT_API int getShareIdPrivilegeShareIdByPath(const char* file, int* share_id,
                                                   int* rights_share_id) noexcept;
/* Writes one column of an album into OUT, cut to SIZE bytes, "" for an unknown column or SQL NULL; -1 (OUT
 * unwritten) without a row. REQUIRES: OUT not NULL. */
LUMIVAULT_API int KAVOPhotoShareGetFieldValue(const char* album, const char* column, char* out,
                                              size_t size) noexcept;
/* Inserts the album, or marks its row as seen and updates what depends on its place; 0 also when the name is
 * empty or no UTF-8 and nothing is written. An id that another writer took meanwhile gives way to the next
 * one, which is then in the record. */
LUMIVAULT_API int PhotoShareInfoDBSave(KAVO_PHOTO_SHARE_INFO* album) noexcept;
/* Replaces the rights of the album by those of szRightsShareName; -1 when one of them has no row, while a
 * failing delete or copy is logged only. */
LUMIVAULT_API int PhotoSharePriviledgeDBSave(KAVO_PHOTO_SHARE_INFO* album) noexcept;
/* Gives the row of the old album the name of the new one, and its cover that path; an album without a row is
 * inserted when its new folder exists: an id that another writer took meanwhile gives way to the next one,
 * which is then in the new record. -1 on failure, also when the new name has a row already (one that another
 * writer made meanwhile, say): what was done until then stays. */
LUMIVAULT_API int PhotoShareDBRename(KAVO_PHOTO_SHARE_INFO* new_album,
                                     KAVO_PHOTO_SHARE_INFO* old_album) noexcept;
/* Removes the rows of one album from one right table. REQUIRES: type 5 to 10. */
LUMIVAULT_API int PhotoSharePriviledgeDBDelete(PHOTO_TABLE_TYPE type, const char* share_id) noexcept;
/* Adds the rights of the source album to the target, which comes first; rows that cannot be added are logged
 * and passed over. REQUIRES: type 5 to 10. */
LUMIVAULT_API int PhotoSharePriviledgeDBCopy(PHOTO_TABLE_TYPE type, const char* to_share_id,
                                             const char* from_share_id) noexcept;

/* --- Delete, rename, mark and sweep ---
 *
 * None of these checks its path. */

/* Removes the rows of file PATH from one table (0 to 3, 12, 13), the album of folder PATH with its sub-albums
 * (4), or everything below folder PATH (14). PATH being the photo root empties the table, or the library but
 * for the root album. Types 0, 12 and 14 also remove the labels that nothing carries any more. 0 also when
 * there was no row; -1 for any other type, NULL or an empty PATH, and when a statement failed. */
LUMIVAULT_API int PhotoInfoDBDelete(PHOTO_TABLE_TYPE type, const char* path);
/* Gives a photo's row its new path, name and albums, and a title that was made from the old name the new one.
 * Always -1, success included. */
LUMIVAULT_API int PhotoInfoDBRename(const char* new_path, const char* old_path);
/* Does the same for the rows of a video in a side table (1 to 3); -1 also when there are none. */
LUMIVAULT_API int KAVOPhotoInfoVideoRename(PHOTO_TABLE_TYPE type, const char* new_path, const char* old_path);
/* 1 when the title of the row with this key equals the base name without extension, else 0, also on failure.
 * DATABASE_TYPE is that of the request (KAVODB_TYPE_*); a KEY without '/' gives 0. */
LUMIVAULT_API int PhotoInfoDBIsDefaultTitle(int database_type, PHOTO_TABLE_TYPE type, const char* key);
/* Mark every file row (first) or album row (second) below FOLDER as not seen; saving a row marks it as seen.
 * The album of FOLDER itself is left alone unless FOLDER is the photo root. What was done before a failure
 * stays, here and below. */
LUMIVAULT_API int KAVOPhotoInitAllRows(const char* folder);
LUMIVAULT_API int KAVOPhotoShareInitAllRows(const char* folder);
/* Delete what is still marked below FOLDER; the first also deletes side rows of videos that have no row. */
LUMIVAULT_API int KAVOPhotoDeleteNoUpdateRows(const char* folder);
LUMIVAULT_API int KAVOPhotoShareDeleteNoUpdateRows(const char* folder);

/* --- Video conversion and format rules --- */

/* Writes the row of a converted copy of the video CONVERTED->szPath, and trims texts of CONVERTED in place. 0
 * also when nothing is written because the copy does not exist or the video has no row. A NULL path is a copy
 * that does not exist, a NULL type the empty text. */
LUMIVAULT_API int PhotoInfoVideoConvertDBSave(KAVO_MEDIA_INFO* converted, const char* converted_path,
                                              const char* convert_type) noexcept;
/* 1 when the top-level album of PATH allows conversion or cannot be read; 0 also for a PATH outside the
 * library and for one without '/' that is no folder. */
LUMIVAULT_API int IsPathNeedConversion(const char* path) noexcept;
/* 1 when the extension of NAME is listed in "excluding_index_format", whatever its letter case; 0 also for
 * NULL and when the list cannot be read. */
LUMIVAULT_API int IsExcludeFormat(const char* name) noexcept;

/* --- Record save --- */

/* Inserts or updates the row of one file: type 0 (photo), 1 (video description) or 12 (video). INFO describes
 * it in the members of KAVO_MEDIA_INFO and is only read. 0 when that was done or was not needed; -1 for NULL,
 * another type, a path that is no UTF-8 or has no extension, and a failed statement. Keywords and people tags
 * of a written row follow; their failures are only logged. A side file with a position is removed once it is
 * read. */
LUMIVAULT_API int PhotoInfoDBSave(PHOTO_TABLE_TYPE type, Json::Value* info);

/* --- Labels and faces ---
 *
 * A label is a name in a category (0 people, 2 keywords); a link ties a photo to a label, with the place of a
 * face as text: "info_new", or "info" while that is empty. Functions with a PATH check it and work in its
 * library, the others in that of the last check. NULL (a path, name, info, STATUS or OUT) is a failure. */

/* Whether the configuration switches face recognition on; false also when it cannot be read. */
LUMIVAULT_API bool PhotoInfoDBFaceRecognitionEnableGet();
/* The id of the label NAME, made when missing; -1 on failure. */
LUMIVAULT_API int PhotoInfoDBLabelCheck(const char* path, const char* name, int category);
/* The id of the photo at PATH; -1 when it has no row, and on failure. */
LUMIVAULT_API int PhotoInfoDBPhotoIdGet(const char* path);
/* The id of the link, made with INFO_NEW and STATUS when missing; an existing one stays as it is. STATUS is
 * "t" (confirmed) or "f" (proposed). -1 on failure. With other writers at the same moment the id of a new
 * link may be one of theirs. */
LUMIVAULT_API int PhotoInfoDBImageLabelDataAdd(int image_id, int label_id, const char* info_new,
                                               const char* status);
/* Removes the link when it is confirmed. 0 also when there is none; -1 when the statement failed. */
LUMIVAULT_API int PhotoInfoDBImageLabelDataDelete(int image_id, int label_id);
/* Removes the keyword links of a photo and leaves its people. 0 also when there are none; -1 for an id below
 * 1 and when the statement failed. */
LUMIVAULT_API int PhotoInfoDBImageLabelDeleteByImage(int image_id);
/* One line a face, "label id, place, absolute path of the photo, column of the place" with tabs between and
 * cut at 8191 bytes. SELECTOR 0: all people links of the photo at PATH; any other: the named and confirmed
 * faces of its whole library. CONDITION is for narrowing the former; no value does. Freed by the caller with
 * RLIBCSzListFree; NULL on failure. */
LUMIVAULT_API RLIBCSZLIST* PhotoInfoDBFaceRecognitionDataGet(const char* path, int selector, int condition);
/* Gives a link another label. 0 also when there is no such link; -1 when the statement failed. */
LUMIVAULT_API int PhotoInfoDBFaceRecognitionUpdateImageLabel(int link_id, int label_id);
/* Writes "place, column of the place" of a link with a tab between into OUT, cut to SIZE bytes, terminator
 * included. -1 (OUT unwritten) when there is no such link, for a SIZE below 1, and on failure. */
LUMIVAULT_API int PhotoInfoDBFaceRecognitionImageLabelDataGet(int link_id, const char* path, char* out,
                                                              int size);
/* Gives a link another "info_new". 0 also when there is no such link; -1 when the statement failed. */
LUMIVAULT_API int PhotoInfoDBFaceRecognitionUpdateDetectionResult(const char* info_new, int link_id);

#endif /* __cplusplus */

#endif /* LUMIVAULT_PHOTO_DATABASE_H_ */
