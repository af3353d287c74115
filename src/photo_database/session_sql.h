// Statements that concern a connection or a whole database.
#ifndef PHOTO_DATABASE_SESSION_SQL_H_
#define PHOTO_DATABASE_SESSION_SQL_H_

// SQLite leaves foreign keys unchecked unless each connection asks for them.
inline constexpr const char* kForeignKeysOn = "PRAGMA foreign_keys = ON;";
inline constexpr const char* kVacuum = "VACUUM ANALYZE";

#endif  // PHOTO_DATABASE_SESSION_SQL_H_
