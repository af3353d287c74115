// The one SELECT behind every cursor, and the conditions that find a row by its path.
#ifndef PHOTO_DATABASE_CURSOR_SQL_H_
#define PHOTO_DATABASE_CURSOR_SQL_H_

// printf formats: columns, table, "WHERE" or nothing, condition, GROUP BY clause, ORDER BY clause. SQLite
// ignores letter case in LIKE unless told otherwise.
inline constexpr const char kSelect[] = "SELECT %s FROM %s %s %s %s %s";
inline constexpr const char kSelectPersonal[] =
    "PRAGMA case_sensitive_like=true; SELECT %s FROM %s %s %s %s %s";

inline constexpr const char* kPathEquals = "path like '@KAVO:LVAR'";
inline constexpr const char* kPathEndsWith = "path like '%@KAVO:LVAR'";

#endif  // PHOTO_DATABASE_CURSOR_SQL_H_
