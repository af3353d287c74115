// The statements on a library's catalogue, as templates of the database layer. Every value is given as text;
// the columns' affinity makes numbers of them.
#ifndef SERVICE_CHANGES_CATALOGUE_SQL_H_
#define SERVICE_CHANGES_CATALOGUE_SQL_H_

#include <cstddef>

// One row for each folder and file that was sent, but for the library's own folder; `folder` is "" for what
// lies directly in it. Names are raw bytes and compare as such. A folder's own name ends with a slash: a file
// may have taken its name before its rows are gone, or the other way round.
//
//   state  'sent'       its rows are in the database
//          'damaged'    they are, as far as the file could be read; reason says what is wrong with it
//          'failed'     nothing could be made of it; reason says why. Left alone until it changes.
//          'unread'     to be sent by the next run, whatever it looks like: only the library's database
//                       tells of it, it could not be opened or read to its end, or its rows could not be
//                       written or are not all there
//          'planned'    rows are about to be parked under this name, which no file bears
inline constexpr const char* kMakeCatalogue =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; "
    "CREATE TABLE IF NOT EXISTS entry (folder TEXT NOT NULL, name TEXT NOT NULL, kind INTEGER NOT NULL, "
    "device INTEGER NOT NULL, inode INTEGER NOT NULL, birth INTEGER NOT NULL, size INTEGER NOT NULL, "
    "modified INTEGER NOT NULL, changed INTEGER NOT NULL, fingerprint TEXT NOT NULL, state TEXT NOT NULL, "
    "reason TEXT NOT NULL, PRIMARY KEY (folder, name)) WITHOUT ROWID; "
    "CREATE TABLE IF NOT EXISTS fact (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;";
// Refused while another connection has the file open.
inline constexpr const char* kEndCatalogueLog = "PRAGMA journal_mode = DELETE";
inline constexpr const char* kDurableCatalogue = "PRAGMA synchronous = FULL";

inline constexpr const char* kBeginCatalogue = "BEGIN IMMEDIATE";
inline constexpr const char* kCommitCatalogue = "COMMIT";

// An entry's numbers and state in one text, which is read faster than so many columns, and made faster in one
// piece than by joining; the reason, which may hold anything, is the last.
#define LUMIVAULT_ENTRY_COLUMNS                                                                        \
  "folder, name, printf('%d %d %d %d %d %d %d %s %s %s', kind, device, inode, birth, size, modified, " \
  "changed, state, fingerprint, reason) AS facts"
// The same number as in the two texts below.
inline constexpr std::size_t kEntriesAtOnce = 2000;
inline constexpr const char* kFilesOfFolder =
    "SELECT " LUMIVAULT_ENTRY_COLUMNS
    " FROM entry WHERE folder = '@KAVO:VAR' AND name > '@KAVO:VAR' AND kind != 0 ORDER BY name LIMIT "
    "2000";
inline constexpr const char* kFirstFilesOfFolder =
    "SELECT " LUMIVAULT_ENTRY_COLUMNS
    " FROM entry WHERE folder = '@KAVO:VAR' AND kind != 0 ORDER BY name LIMIT 2000";
inline constexpr const char* kOneEntry =
    "SELECT " LUMIVAULT_ENTRY_COLUMNS " FROM entry WHERE folder = '@KAVO:VAR' AND name = '@KAVO:VAR'";
inline constexpr const char* kAllFolders =
    "SELECT " LUMIVAULT_ENTRY_COLUMNS " FROM entry WHERE kind = 0 ORDER BY folder, name";
// Every value of `folder` once, each found by a step in the index.
inline constexpr const char* kParentFolders =
    "WITH RECURSIVE parent (folder) AS (SELECT min(folder) FROM entry UNION ALL "
    "SELECT (SELECT min(folder) FROM entry WHERE entry.folder > parent.folder) FROM parent "
    "WHERE parent.folder IS NOT NULL) SELECT folder FROM parent WHERE folder != ''";
inline constexpr const char* kCountFiles = "SELECT count(*) AS count FROM entry WHERE kind != 0";
inline constexpr const char* kFilesWithRows =
    "SELECT CASE folder WHEN '' THEN name ELSE folder || '/' || name END AS path FROM entry WHERE kind != 0 "
    "AND state IN ('sent', 'damaged')";
inline constexpr const char* kPutEntry =
    "INSERT OR REPLACE INTO entry VALUES ('@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', "
    "'@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR')";
inline constexpr const char* kRemoveFile =
    "DELETE FROM entry WHERE folder = '@KAVO:VAR' AND name = '@KAVO:VAR' AND kind != 0";
inline constexpr const char* kRemoveFolder =
    "DELETE FROM entry WHERE folder = '@KAVO:VAR' AND name = '@KAVO:VAR' AND kind = 0";
// Everything below a folder; '0' is the character behind the slash.
inline constexpr const char* kRemoveBelow =
    "DELETE FROM entry WHERE folder = '@KAVO:VAR' OR (folder > '@KAVO:VAR/' AND folder < '@KAVO:VAR0')";
inline constexpr const char* kMoveToDevice =
    "UPDATE entry SET device = '@KAVO:VAR' WHERE device = '@KAVO:VAR' AND (folder = '@KAVO:VAR' OR (folder > "
    "'@KAVO:VAR/' AND folder < '@KAVO:VAR0') OR (folder = '@KAVO:VAR' AND name = '@KAVO:VAR'))";
inline constexpr const char* kForgetTrials =
    "UPDATE entry SET changed = 0 WHERE state IN ('damaged', 'failed')";
inline constexpr const char* kRemoveEntries = "DELETE FROM entry";

inline constexpr const char* kFact = "SELECT value FROM fact WHERE name = '@KAVO:VAR'";
inline constexpr const char* kRemoveFact = "DELETE FROM fact WHERE name = '@KAVO:VAR'";
inline constexpr const char* kPutFact = "INSERT OR REPLACE INTO fact VALUES ('@KAVO:VAR', '@KAVO:VAR')";

// What stays the same as long as it is the same database with the same tables. Any of those that runs fill
// may have been made anew alone.
inline constexpr const char* kServerIdentity =
    "SELECT concat_ws('/', (SELECT system_identifier FROM pg_control_system()), D.oid, "
    "to_regclass('photo_image')::oid, to_regclass('video')::oid, to_regclass('photo_share')::oid, "
    "to_regclass('photo_label')::oid, to_regclass('photo_image_label')::oid) AS identity "
    "FROM pg_database D WHERE D.datname = current_database()";

// What a library's database tells of its files and folders, for a catalogue that was lost.
// With the time of the file's content.
inline constexpr const char* kIndexedPhotos = "SELECT path, size, create_time AS modified FROM photo_image";
inline constexpr const char* kIndexedVideos = "SELECT path, filesize AS size, mdate AS modified FROM video";
inline constexpr const char* kIndexedFolders =
    "SELECT sharename AS path, 0 AS size, '' AS modified FROM photo_share WHERE sharename != '/'";

#endif  // SERVICE_CHANGES_CATALOGUE_SQL_H_
