// Statements and conditions on photo_share and the right tables.
#ifndef PHOTO_DATABASE_SHARE_SQL_H_
#define PHOTO_DATABASE_SHARE_SQL_H_

// --- Finding albums.
inline constexpr const char* kAlbumIdByName = "SELECT shareid FROM photo_share WHERE sharename = '@KAVO:VAR'";
inline constexpr const char* kAlbumByName = "sharename = '@KAVO:VAR'";
// A printf format around a raw name.
inline constexpr const char kRawAlbumByName[] = " sharename='%s' ";
inline constexpr const char* kNumberedAlbums = "shareid > 0";
inline constexpr const char* kHighestIdFirst = "shareid desc";

// --- Writing albums.
inline constexpr const char* kInsertAlbum =
    "INSERT INTO photo_share (shareid, sharename, title, description, public, hits, cover, "
    "comment, is_subdir, updated, conversion, ref_shareid) "
    "values(@KAVO:INT, '@KAVO:VAR', '', '', '@KAVO:VAR', 0, '', "
    "'@KAVO:VAR', '@KAVO:VAR', '1', '@KAVO:VAR', '@KAVO:INT');";
inline constexpr const char* kUpdateAlbum =
    "UPDATE photo_share SET is_subdir = '@KAVO:VAR', ref_shareid = '@KAVO:INT',updated = '1' "
    "WHERE sharename = '@KAVO:VAR'";
inline constexpr const char* kRenameAlbum =
    "Update photo_share set sharename = '@KAVO:VAR', is_subdir = '@KAVO:VAR', ref_shareid = '@KAVO:INT' "
    "where sharename = '@KAVO:VAR'";
inline constexpr const char* kSetAlbumConversion =
    "UPDATE photo_share SET conversion = '@KAVO:VAR' WHERE sharename = '@KAVO:VAR'";
// Covers are keys of photos: relative in a personal database, below the shared photo folder in the shared one
// (a printf format of that folder, twice).
inline constexpr const char* kMoveCoverPersonal =
    "UPDATE photo_share SET cover = replace(cover, '@KAVO:VAR/', '@KAVO:VAR/') WHERE sharename='@KAVO:VAR'";
inline constexpr const char kMoveCoverShared[] =
    "UPDATE photo_share SET cover = replace(cover, '%s/@KAVO:VAR/', '%s/@KAVO:VAR/') "
    "WHERE sharename='@KAVO:VAR'";

// --- Rights. The first is a printf format around the album's id, the last one of table, user, album and
// time.
inline constexpr const char kRightsOfAlbum[] = "shareid = '%s'";
inline constexpr const char* kDeleteRights = "DELETE FROM @KAVO:NEVAR WHERE shareid = '@KAVO:VAR'";
inline constexpr const char* kDeleteRightsPersonal =
    "PRAGMA case_sensitive_like=true; DELETE FROM @KAVO:NEVAR WHERE shareid = '@KAVO:VAR'";
inline constexpr const char kInsertRight[] = "Insert into %s Values (%s, %s, '%s')";

#endif  // PHOTO_DATABASE_SHARE_SQL_H_
