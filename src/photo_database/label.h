// What the operations on labels, links and faces share.
#ifndef PHOTO_DATABASE_LABEL_H_
#define PHOTO_DATABASE_LABEL_H_

#include "photo_database/connection.h"

// The column "id" of the current row; 0 for null.
int IdOf(const Result& row);

// True when PATH (not null) belongs to a library that can be used; the request context then describes it. A
// failure is logged.
[[nodiscard]] bool CheckPath(const char* path);
// True when CONNECTION is open. A failure is logged.
[[nodiscard]] bool IsConnected(const RequestConnection& connection);
// Runs STATEMENT; a failure is logged. One that could not be built fails silently.
[[nodiscard]] bool RunStatement(const RequestConnection& connection, const Statement& statement,
                                Result* result = nullptr);

#endif  // PHOTO_DATABASE_LABEL_H_
