/* The plug-in entry points, resolved by name (dlopen, dlsym). Callable from C but for the *_Json forms, whose
 * record is a Json::Value of JsonCpp. A program needs nothing else to index: no start-up call, and
 * IndexDBClose at the end. Settings and personal folders are found at the appliance's fixed paths, or below
 * the folder that the environment variable LUMIVAULT_ROOT names: the state folder of the program lumivault.
 *
 * Arguments: every path is absolute and belongs to the caller; NULL and the empty path are failures where a
 * function says nothing else; the empty path is nobody's business, 0, for IndexDelete, IndexRename (as the
 * new one), IndexDirAdd, IndexDirDelete, IndexDirRename (as the new one), IndexPreReindex and
 * IndexPostReindex, and like any other path of the shared tree for IndexPhotoUserNameGet ("root"),
 * IndexVersionUpdate (0), the three functions of labels and faces (IndexFaceRecognitionLableCheck,
 * ...DataGet, ...ImageLabelDataGet), IndexFaceRecognitionQueueAdd and IndexWatermarkQueueAdd (a job without a
 * photo). Slashes at the end of a folder's name count in the reindex of a whole library alone, whose ROOT has
 * none. INDEXTYPE is the kind of the indexed folder; only 1, 2, 4 and 5 concern this plug-in, any other gives
 * 0. SIZE counts bytes, terminator included. Results: 0 done or not this plug-in's business, -1 failure,
 * where a function says nothing else. The reason of a failure goes to syslog. No exception leaves these
 * functions. Threads: one call at a time in a process, whatever its thread; calls set the request context
 * (request_context.h) and may wait up to 30 s for a database that another process writes.
 */
#ifndef LUMIVAULT_PHOTO_INDEX_H_
#define LUMIVAULT_PHOTO_INDEX_H_

#include "lumivault/export.h"
#include "lumivault/handles.h"
#include "lumivault/media_info.h"

#ifdef __cplusplus
namespace Json {
class Value;
}
typedef Json::Value KAVO_JSON_VALUE;
extern "C" {
#else
typedef struct KAVO_JSON_VALUE KAVO_JSON_VALUE;
#endif

/* File events. INFO, the caller's, describes the file as it is now ("szPath" at least) in the members of
 * KAVO_MEDIA_INFO; the record forms leave it as it is, the JSON forms complete it in place. Side files with a
 * title, description or position are used up. A folder is a failure. */

/* Writes the row of a new or changed file, hands a photo to the background jobs, runs the package's tools on
 * the file and waits for them (30 s each at most), and gives it mode 0777 unless the platform keeps modes. -1
 * also for a name that is no photo or video. */
LUMIVAULT_API int IndexAdd_Json(KAVO_JSON_VALUE* info, unsigned indexType);
LUMIVAULT_API int IndexAdd(KAVO_MEDIA_INFO* info, unsigned indexType);
/* Moves the rows of OLD_PATH to the path in INFO, or writes new ones. 0 also when INFO's name is no photo or
 * video: the rows of OLD_PATH are then removed, if that file is gone. Between two libraries it is a delete
 * and an add, and 0 whatever becomes of them. */
LUMIVAULT_API int IndexRename_Json(KAVO_JSON_VALUE* info, unsigned indexType, const char* old_path);
LUMIVAULT_API int IndexRename(KAVO_MEDIA_INFO* info, unsigned indexType, const char* old_path);
/* Removes the rows of a file that is gone; a failed statement is logged only. -1 also when the file is still
 * there: its rows are then kept. */
LUMIVAULT_API int IndexDelete(const char* path);
/* Whether PATH is one that is indexed: 1 concerned, 0 not, -1 bad path. */
LUMIVAULT_API int IndexIsIndexPath(const char* path, unsigned indexType);
/* Whether the share of PATH is indexed: 1 indexed, 0 not, -1 bad parameter. */
LUMIVAULT_API int IndexIsShareIndexed(const char* path);

/* Folder events. The root is the album "/": its delete empties the library but for that album, and so does a
 * rename to it, which then fails. */

/* Writes the album of FOLDER and gives that mode 0777 unless the platform keeps modes. A sub-album takes the
 * public flag of its parent, which must have been added before. */
LUMIVAULT_API int IndexDirAdd(const char* folder);
/* Removes the album of FOLDER, its sub-albums and every row below it, whether the folder is there or not; a
 * failed statement is logged only. */
LUMIVAULT_API int IndexDirDelete(const char* folder);
/* Gives the album of OLD_FOLDER its new name. What is recorded below the new name goes first; the files below
 * the old one are moved by IndexRename. */
LUMIVAULT_API int IndexDirRename(const char* new_folder, const char* old_folder);

/* Full reindex: mark below ROOT, send every file and folder again, sweep what was not sent. */

/* Marks every row below ROOT as not seen. */
LUMIVAULT_API int IndexPreReindex(const char* root);
/* IndexAdd for a file that is sent again: no background jobs, and a video's description stays. */
LUMIVAULT_API int IndexReindexUpdate_Json(KAVO_JSON_VALUE* info, unsigned indexType);
LUMIVAULT_API int IndexReindexUpdate(KAVO_MEDIA_INFO* info, unsigned indexType);
/* IndexDirAdd for a folder that is sent again. -1 also after a successful update; services do not stop on it.
 */
LUMIVAULT_API int IndexReindexDirUpdate(const char* folder);
/* Deletes the rows below ROOT that are still marked, and compacts the shared database. */
LUMIVAULT_API int IndexPostReindex(const char* root);
/* Compacts the shared database; after a call for a personal library it does nothing. */
LUMIVAULT_API int IndexDBVacuum(void);

/* Background jobs: one line each at the end of the package's queue file, which is locked for that; a lock of
 * another process is waited for, 10 s at most. 0 also when face recognition is off and when PATH is refused;
 * -1 for a path with a line end in it. */
LUMIVAULT_API int IndexFaceRecognitionQueueAdd(const char* path);

/* Queries and pass-through calls. */
/* The row of PATH: of a photo for MEDIA_KIND 2, of a video for 1; any other kind is 0 without a look-up, OUT
 * untouched. -1 with OUT cleared when there is no row or it cannot be read, and with OUT untouched for an
 * empty or refused PATH. */
LUMIVAULT_API int IndexDBGetOne(int media_kind, const char* path, KAVO_MEDIA_INFO* out);
/* The thumbnail version of the photo's row, 0 when there is none and on any failure, -1 for a NULL path (OUT
 * untouched); also written to OUT when not NULL. */
LUMIVAULT_API int IndexVersionGet(const char* path, unsigned* out);
/* Sets it; 0 also when the photo has no row. */
LUMIVAULT_API int IndexVersionUpdate(const char* path, unsigned version);
/* Closes the connection of the shared database, which the next call opens again. Always 0. */
LUMIVAULT_API int IndexDBClose(void);
/* The mask of the thumbnail sizes that the file (folder) at PATH needs: 18, or 0 when it needs none, is
 * excluded, refused or not concerned, and for NULL. */
LUMIVAULT_API int IndexGetThumbSizeMap(const char* path);
LUMIVAULT_API int IndexGetDirThumbSizeMap(const char* folder);
/* 0 excluded, refused or not concerned, and for NULL; 1 needs conversion, 2 does not. */
LUMIVAULT_API int IndexIsVideoConvert(const char* path);
/* 1 when the top-level album of PATH allows conversion or cannot be read, 0 when not; 0 also for a PATH that
 * is refused or lies outside the library. */
LUMIVAULT_API int IndexIsPathNeedConversion(const char* path);
/* Records a file that the conversion tool made, as its name tells: a video as a copy of SOURCE, whose path
 * CONVERTED then bears (its texts are trimmed, and its container type may change); a jpg thumbnail by the
 * version of SOURCE, 1 when the two are turned against each other. -1 for any other name, and for a thumbnail
 * when one of the two records has no resolution. */
LUMIVAULT_API int IndexConvertAdd(KAVO_MEDIA_INFO* source, KAVO_MEDIA_INFO* converted);
/* Writes the owner of PATH, "root" for the shared tree, into OUT, cut to SIZE bytes (492 hold every name). -1
 * (OUT unwritten) for NULL and for a PATH that is refused. */
LUMIVAULT_API int IndexPhotoUserNameGet(const char* path, char* out, unsigned size);

/* Faces: people labels and their links to photos. Functions with a PATH work in its library, the others in
 * that of the last call. NULL is a failure. */
/* The id of the person NAME, made when missing; -1 on failure. */
LUMIVAULT_API int IndexFaceRecognitionLableCheck(const char* path, const char* name);
/* The id of the unconfirmed link of PATH's photo with the label, made with the place INFO when missing; -1
 * when the photo has no row and on failure. */
LUMIVAULT_API int IndexFaceRecognitionAddDetectionResult(const char* info, const char* path, int label_id);
/* A list of face lines (platform/string_list.h), freed by the caller with RLIBCSzListFree, or NULL on
 * failure: those of the photo at PATH for SELECTOR 0, else all named and confirmed ones of its library.
 * CONDITION changes nothing. */
LUMIVAULT_API RLIBCSZLIST* IndexFaceRecognitionDataGet(const char* path, int selector, int condition);
/* Gives a link another label. 0 also when there is no such link. */
LUMIVAULT_API int IndexFaceRecognitionUpdateImageLabel(int link_id, int label_id);
/* Writes "place, column of the place" of a link with a tab between into OUT, cut to SIZE bytes. -1 (OUT
 * unwritten) when there is no such link, for a SIZE below 1, and on failure. */
LUMIVAULT_API int IndexFaceRecognitionImageLabelDataGet(int link_id, const char* path, char* out, int size);
/* Gives a link another place of its face. 0 also when there is no such link. */
LUMIVAULT_API int IndexFaceRecognitionUpdateDetectionResult(const char* info, int link_id);

#ifdef __cplusplus
}

/* Queues the photo of INFO, of which "szPath" alone is read, for the watermark worker; exported with its
 * argument type. -1 when that is no text, is refused or has a line end in it. */
LUMIVAULT_API int IndexWatermarkQueueAdd(const Json::Value& info);
#endif

#endif /* LUMIVAULT_PHOTO_INDEX_H_ */
