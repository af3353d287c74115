// The statements that remove the rows of a file, of an album or of a whole folder, in the forms of the two
// engines.
//
// LIKE without a wildcard is an exact match, and is what the statements of single files use. Placeholders:
// the table and the key for files; the name twice for albums; for folders the key four times, the name twice,
// the key twice.
#ifndef PHOTO_DATABASE_REMOVAL_SQL_H_
#define PHOTO_DATABASE_REMOVAL_SQL_H_

// --- Everything: the photo root itself is removed.
inline constexpr const char* kDeleteTable = "DELETE FROM @KAVO:NEVAR;";
inline constexpr const char* kDeleteAllAlbums = "DELETE FROM photo_share;";
inline constexpr const char* kDeleteLibrary =
    "DELETE FROM photo_image; "
    "DELETE FROM video_desc; "
    "DELETE FROM video_comment; "
    "DELETE FROM photo_video_label; "
    "DELETE FROM photo_share; "
    "INSERT INTO photo_share (shareid, sharename, public, comment, ref_shareid) "
    "VALUES (1, '/', 't', 'f', 1); "
    "DELETE FROM video; "
    "DELETE FROM video_convert;";

// --- One file, in a table keyed by "path".
inline constexpr const char* kDeletePathPersonal =
    "PRAGMA case_sensitive_like=true; DELETE FROM @KAVO:NEVAR WHERE path like '@KAVO:LVAR'";
inline constexpr const char* kDeletePathShared = "DELETE FROM @KAVO:NEVAR WHERE path like '@KAVO:LVAR'";

// --- One file, in a table keyed by "video_path".
inline constexpr const char* kDeleteVideoPathPersonal =
    "PRAGMA case_sensitive_like=true; DELETE FROM @KAVO:NEVAR WHERE video_path like '@KAVO:LVAR'";
inline constexpr const char* kDeleteVideoPathShared =
    "DELETE FROM @KAVO:NEVAR WHERE video_path like '@KAVO:LVAR'";

// --- An album with its sub-albums. The personal form alone tests the name with LIKE and without escaping it.
inline constexpr const char* kDeleteAlbumPersonal =
    "PRAGMA case_sensitive_like=true; "
    "DELETE FROM photo_share WHERE sharename like '@KAVO:VAR' or sharename like '@KAVO:LVAR/%';";
inline constexpr const char* kDeleteAlbumShared =
    "DELETE FROM photo_share WHERE sharename = '@KAVO:VAR' or sharename like '@KAVO:LVAR/%';";

// --- A folder: its album with all sub-albums, and the rows of every file below it.
inline constexpr const char* kDeleteFolderPersonal =
    "PRAGMA case_sensitive_like=true; DELETE FROM photo_image WHERE path like '@KAVO:LVAR/%'; "
    "PRAGMA case_sensitive_like=true; DELETE FROM video_desc WHERE path like '@KAVO:LVAR/%'; "
    "PRAGMA case_sensitive_like=true; DELETE FROM video_comment WHERE path like '@KAVO:LVAR/%'; "
    "PRAGMA case_sensitive_like=true; DELETE FROM photo_video_label WHERE video_path like '@KAVO:LVAR/%'; "
    "PRAGMA case_sensitive_like=true; "
    "DELETE FROM photo_share WHERE sharename = '@KAVO:VAR' or sharename like '@KAVO:LVAR/%';"
    "PRAGMA case_sensitive_like=true; DELETE FROM video WHERE path like '@KAVO:LVAR/%'; "
    "PRAGMA case_sensitive_like=true; DELETE FROM video_convert WHERE video_path like '@KAVO:LVAR/%'; ";
inline constexpr const char* kDeleteFolderShared =
    "DELETE FROM photo_image WHERE path like '@KAVO:LVAR/%'; "
    "DELETE FROM video_desc WHERE path like '@KAVO:LVAR/%'; "
    "DELETE FROM video_comment WHERE path like '@KAVO:LVAR/%'; "
    "DELETE FROM photo_video_label WHERE video_path like '@KAVO:LVAR/%'; "
    "DELETE FROM photo_share WHERE sharename = '@KAVO:VAR' or sharename like '@KAVO:LVAR/%';"
    "DELETE FROM video WHERE path like '@KAVO:LVAR/%'; "
    "DELETE FROM video_convert WHERE video_path like '@KAVO:LVAR/%'; ";

// --- Labels that no photo and no video carries any more.
inline constexpr const char* kDeleteUnusedLabels =
    "DELETE FROM photo_label WHERE id NOT IN "
    "( SELECT DISTINCT label_id FROM photo_image_label "
    "LEFT OUTER JOIN photo_label ON label_id = photo_label.id ) "
    "AND id NOT IN "
    "( SELECT DISTINCT label_id FROM photo_video_label "
    "LEFT OUTER JOIN photo_label ON label_id = photo_label.id );";

#endif  // PHOTO_DATABASE_REMOVAL_SQL_H_
