// The statements on the service's own table in a library's database.
#ifndef SERVICE_DATABASE_LIBRARY_FACTS_SQL_H_
#define SERVICE_DATABASE_LIBRARY_FACTS_SQL_H_

inline constexpr const char* kFactTableOfSqlite =
    "SELECT name FROM sqlite_schema WHERE name = 'lumivault_fact' AND type = 'table'";
inline constexpr const char* kFactTableOfPostgres =
    "SELECT relname AS name FROM pg_class WHERE relname = 'lumivault_fact' AND relnamespace = "
    "current_schema()::regnamespace";

inline constexpr const char* kFactsSql = "SELECT name, number, value FROM lumivault_fact";
// The database's own row and that of the writer get one number and the name of the run.
inline constexpr const char* kRaiseGenerationSql =
    "INSERT INTO lumivault_fact (name, number, value) SELECT N.name, (SELECT coalesce(max(number), 0) + 1 "
    "FROM lumivault_fact WHERE name = 'generation'), '@KAVO:VAR' FROM (SELECT 'generation' AS name UNION ALL "
    "SELECT 'generation/@KAVO:VAR') N WHERE true ON CONFLICT (name) DO UPDATE SET number = excluded.number, "
    "value = excluded.value RETURNING number";
// All but the sixteen that wrote last. A library has one or two that write; the catalogue of one that was
// forgotten is made anew when it comes back.
inline constexpr const char* kForgetWritersSql =
    "DELETE FROM lumivault_fact WHERE name LIKE 'generation/%' AND name NOT IN (SELECT name FROM "
    "lumivault_fact WHERE name LIKE 'generation/%' ORDER BY number DESC, name LIMIT 16)";
inline constexpr const char* kNoteMarkedSql =
    "INSERT INTO lumivault_fact (name) VALUES ('marked') ON CONFLICT (name) DO NOTHING";
inline constexpr const char* kNoteMountsSql =
    "INSERT INTO lumivault_fact (name, value) VALUES ('mounts', '@KAVO:VAR') ON CONFLICT (name) DO UPDATE "
    "SET value = excluded.value";
inline constexpr const char* kForgetMarkedSql = "DELETE FROM lumivault_fact WHERE name = 'marked'";
// The tables that a full reindex marks. These look at every row, after a reindex that did not come to its
// end.
inline constexpr const char* kUnmarkPhotosSql = "UPDATE photo_image SET updated = '1' WHERE updated = '0'";
inline constexpr const char* kUnmarkVideosSql = "UPDATE video SET updated = '1' WHERE updated = '0'";
inline constexpr const char* kUnmarkConvertedSql =
    "UPDATE video_convert SET updated = '1' WHERE updated = '0'";
inline constexpr const char* kUnmarkAlbumsSql = "UPDATE photo_share SET updated = '1' WHERE updated = '0'";

#endif  // SERVICE_DATABASE_LIBRARY_FACTS_SQL_H_
