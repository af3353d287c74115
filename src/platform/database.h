// One interface over SQLite and PostgreSQL. Installed as lumivault/platform/database.h; callable from C.
//
// A connection and the results made from it are used by one thread at a time. All texts are NUL-terminated
// UTF-8. Nothing here logs: a failure is -1 or null, and KAVODBErrorGet tells its text.
#ifndef PLATFORM_DATABASE_H_
#define PLATFORM_DATABASE_H_

#include "lumivault/export.h"
#include "lumivault/handles.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { KAVODB_TYPE_SQLITE = 0, KAVODB_TYPE_POSTGRES = 1 };

// HOST is always null. USER and DATABASE open the PostgreSQL database of that name through libpq and its
// usual environment, with PASSWORD unless that is null; a null USER opens the SQLite file DATABASE, which
// must exist or be creatable (one that a schema script has just failed to make must exist) and is refused
// when it is a symbolic link itself, or when a privileged process would reach it through a user's link into a
// folder that is not the user's. The connection is the caller's, who ends it with KAVODBClose. Null on
// failure. That an existing file is no SQLite database shows at the first statement.
//
// A statement waits up to 30 s for an SQLite file, or a PostgreSQL lock, that others hold, and takes 10
// minutes at most; then it fails. A lost PostgreSQL connection is made anew before a statement is sent; a
// SELECT that dies on its way is sent once more, a write that dies is a failure and never sent twice, and a
// transaction that was open is lost with a failure. What PostgreSQL undoes as a whole because of what others
// do at the same moment (a deadlock, no serial order, a lock not given) is sent again for up to 10 s, outside
// of transactions.
KAVO_API KAVODB_CONNECTION* KAVODBConnect(const char* host, const char* user, const char* password,
                                          const char* database);
// Opens the SQLite file DATABASE for reading; null on failure. What a transaction reads is of one moment,
// whatever others write meanwhile. Where file and folder are writable, the files that SQLite needs for that
// lie beside the database until the last connection is closed, which also takes in what a process that died
// has left there. Where they are not, nothing is made, and the file is read through the log that others keep
// beside it; without one it is read as it stands, and a statement fails when the file was written since it
// was opened. It fails, too, when a stop signal comes that is held back, or after LUMIVAULT_READ_TIMEOUT ms.
KAVO_API KAVODB_CONNECTION* KAVODBConnectReadOnly(const char* database);
// Why the last KAVODBConnect or KAVODBConnectReadOnly of this thread gave null, in one line; empty when it
// did not. Never null; valid until the thread's next attempt.
KAVO_API const char* KAVODBConnectErrorGet(void);
// Ends a connection, and a transaction that is open without keeping it. Results of it may outlive it. Null is
// ignored.
KAVO_API void KAVODBClose(KAVODB_CONNECTION* connection);

// Runs one or several statements separated by semicolons, in order, stopping at the first that fails (what
// the earlier ones did stays on SQLite and is undone on PostgreSQL, unless a transaction is open). RESULT may
// be null; otherwise it receives the result of the last statement (rows, or the number of changed rows), to
// be freed with KAVODBFreeResult. A null SQL is a failure. -1 on failure (*RESULT then stays as it was), 0
// otherwise.
KAVO_API int KAVODBExecute(KAVODB_CONNECTION* connection, const char* sql, KAVODB_RESULT** result);
// The same for a SELECT, of which at most LIMIT rows are kept after skipping OFFSET; 0 or -1 mean no limit,
// no offset.
KAVO_API int KAVODBSelectLimit(KAVODB_CONNECTION* connection, const char* sql, int limit, int offset,
                               KAVODB_RESULT** result);

// The number of rows; 0 for null.
KAVO_API int KAVODBNumRows(KAVODB_RESULT* result);
// 0 and the next row, or -1 when none is left or RESULT is null. A row handle is valid until its result is
// freed.
KAVO_API int KAVODBFetchRow(KAVODB_RESULT* result, KAVODB_ROW* row);
// The value as text, owned by the result; null for SQL NULL, an unknown column or null arguments. Letter case
// of COLUMN is ignored.
KAVO_API const char* KAVODBFetchField(KAVODB_RESULT* result, KAVODB_ROW row, const char* column);
// Rows changed by the statement of RESULT (the last one, where there were several); 0 for a SELECT. With a
// null RESULT those of the connection's last successful call.
KAVO_API int KAVODBAffectedRows(KAVODB_CONNECTION* connection, KAVODB_RESULT* result);
// Null is ignored.
KAVO_API void KAVODBFreeResult(KAVODB_RESULT* result);

// The text of the last failure on this connection, in one line; never null; valid until its next call.
KAVO_API const char* KAVODBErrorGet(KAVODB_CONNECTION* connection);
// KAVODB_TYPE_*, or -1 for null.
KAVO_API int KAVODBDatabaseTypeGet(KAVODB_CONNECTION* connection);

// Fills the placeholders of TEMPLATE, left to right, with the arguments that follow; a value that holds a
// placeholder is not expanded again. Returns a heap text to be freed with free(), or null (null template or
// text argument, unknown type, a literal of the template that is not closed, or one with a letter, a digit,
// an underscore or an ampersand directly before it: E'...' and U&'...' have other rules for what ends them).
//   @KAVO:VAR    const char*, escaped for a quoted literal
//   @KAVO:NEVAR  const char*, unchanged: a name of the program's own, never a value from outside
//   @KAVO:LVAR   const char*, escaped for a quoted literal inside which it matches itself in a LIKE pattern;
//                on SQLite ESCAPE '\' is added behind that literal
//   @KAVO:INT    int, decimal
//   @KAVO:LLINT  long long, decimal
// Outside a literal VAR and LVAR take a number ("-35.500000") or the word NULL, and anything else gives null:
// nothing would keep it from becoming a part of the statement. "nan" and "inf" become NULL.
KAVO_API char* KAVODBEscapeStringEX3(int database_type, const char* sql_template, ...);

// Makes a raw condition safe to send: one comparison of a column with one literal (column = 'value', column
// like 'value'), blanks around each, the value as it is. A column is a name of ASCII letters, digits and
// underscores, or two with a dot between them; a comparison one of = == <> != < <= > >= like, not like. The
// quote behind it opens the literal and the last one closes it, whatever the value holds; wildcards of a LIKE
// stay wildcards, a backslash is a character on both engines. A number (-1, 0.5) needs no quotes. Blanks
// alone are copied. OUT holds at least twice the length of CONDITION plus one byte. 0, or -1 with OUT as it
// was when the condition has not that shape: a comment, a second condition, a literal of another kind
// (E'...', $$...$$).
KAVO_API int EscapeConditionEX2(int database_type, const char* condition, char* out);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // PLATFORM_DATABASE_H_
