// The statements that mark rows before a full reindex and delete afterwards what is still marked.
#ifndef PHOTO_DATABASE_SWEEP_SQL_H_
#define PHOTO_DATABASE_SWEEP_SQL_H_

// SQLite compares LIKE without regard to letter case unless told.
inline constexpr const char* kCaseSensitiveLike = "PRAGMA case_sensitive_like=true;";

// --- Files: the prefix above or nothing; the table; (its key column;) a tail that names a folder, or
// nothing.
inline constexpr const char* kMarkFiles = "%s UPDATE %s SET updated = '0' %s";
inline constexpr const char* kSweepFiles = "%s DELETE FROM %s WHERE updated = '0' %s";
inline constexpr const char* kSweepOrphans = "%s DELETE FROM %s WHERE %s NOT IN (SELECT path FROM video) %s";
// The tail: "WHERE" or "AND", the key column and the pattern.
inline constexpr const char* kBelow = "%s %s LIKE %s";
inline constexpr const char* kBelowFolder = "'@KAVO:LVAR/%'";

// --- Albums: all, or those below the named one.
inline constexpr const char* kMarkAllAlbums = "Update photo_share set updated = '0'";
inline constexpr const char* kMarkAlbumsBelow =
    "Update photo_share set updated = '0' where sharename like '@KAVO:LVAR/%'";
inline constexpr const char* kSweepAllAlbums = "DELETE FROM photo_share WHERE updated = '0'";
inline constexpr const char* kSweepAlbumsBelow =
    "DELETE FROM photo_share WHERE updated = '0' AND sharename LIKE '@KAVO:LVAR/%'";

#endif  // PHOTO_DATABASE_SWEEP_SQL_H_
