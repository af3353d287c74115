// The statements that look at a database as such.
#ifndef SERVICE_DATABASE_SCHEMA_SQL_H_
#define SERVICE_DATABASE_SCHEMA_SQL_H_

inline constexpr const char* kColumnsOfSqlite =
    "SELECT T.name AS table_name, C.name AS column_name FROM sqlite_schema T, pragma_table_info(T.name) C "
    "WHERE T.type = 'table'";
inline constexpr const char* kColumnsOfPostgres =
    "SELECT table_name, column_name FROM information_schema.columns WHERE table_schema = current_schema()";
// Of tables and indexes.
inline constexpr const char* kNamesOfSqlite = "SELECT name FROM sqlite_schema";
inline constexpr const char* kNamesOfPostgres =
    "SELECT relname AS name FROM pg_class WHERE relnamespace = current_schema()::regnamespace";
// Table and definition.
inline constexpr const char* kAddColumnSql = "ALTER TABLE @KAVO:NEVAR ADD COLUMN @KAVO:NEVAR";

// Keys compare as bytes anyway; with this locale no index depends on the system's collations, which change
// with its C library.
inline constexpr const char* kMakeSharedDatabaseSql =
    "CREATE DATABASE photo TEMPLATE template0 ENCODING 'UTF8' LC_COLLATE 'C' LC_CTYPE 'C'";

// "ok", or the first damage: of the file as such, or else of what a table or an index holds.
inline constexpr const char* kQuickCheckSql = "PRAGMA quick_check(1)";
// The same of one table.
inline constexpr const char* kQuickCheckOfTableSql = "PRAGMA quick_check('@KAVO:VAR')";
inline constexpr const char* kServerFactsSql =
    "SELECT current_setting('server_encoding') AS encoding, current_setting('transaction_read_only') AS "
    "read_only";

#endif  // SERVICE_DATABASE_SCHEMA_SQL_H_
