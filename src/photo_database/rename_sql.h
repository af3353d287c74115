// The statements that give the rows of a file its new path.
#ifndef PHOTO_DATABASE_RENAME_SQL_H_
#define PHOTO_DATABASE_RENAME_SQL_H_

// --- A photo: new key, new base name, (new title,) album, album of its rights; old key.
inline constexpr const char* kRenamePhotoAndTitle =
    "Update photo_image set path = '@KAVO:VAR', name = '@KAVO:VAR', title = '@KAVO:VAR', "
    "shareid = '@KAVO:INT', privilege_shareid = '@KAVO:INT' where path = '@KAVO:VAR'";
inline constexpr const char* kRenamePhoto =
    "Update photo_image set path = '@KAVO:VAR', name = '@KAVO:VAR', "
    "shareid = '@KAVO:INT', privilege_shareid = '@KAVO:INT' where path = '@KAVO:VAR'";

// --- A side row of a video: table, new key, (new title;) old key. The second is completed with its column
// twice.
inline constexpr const char* kRenameVideoAndTitle =
    "Update @KAVO:NEVAR set path = '@KAVO:VAR', title = '@KAVO:VAR' where path = '@KAVO:VAR'";
inline constexpr const char* kRenameVideoColumn =
    "Update @KAVO:NEVAR set %s = '@KAVO:VAR' where %s = '@KAVO:VAR'";

// --- The rows that a rename looks at.
inline constexpr const char* kRowsThatBegin = "%s like '@KAVO:LVAR%%'";

#endif  // PHOTO_DATABASE_RENAME_SQL_H_
