// What the operations on labels, links and faces share.
#ifndef PHOTO_DATABASE_LABEL_H_
#define PHOTO_DATABASE_LABEL_H_

#include <utility>

#include "photo_database/connection.h"

// The column "id" of the current row; 0 for null.
int IdOf(const Result& row);

// The place of a face: the value of "info_new", or of "info" when that is empty, and the name of the column
// that gave it. Valid while ROW is at its row.
struct FaceInfo {
  const char* text;
  const char* column;
};
FaceInfo FaceInfoOf(const Result& row);

// The next three log a failure with the line of their caller.

// True when PATH (not null) belongs to a library that can be used; the request context then describes it.
[[nodiscard]] bool CheckPath(const char* path, int caller = __builtin_LINE());
// True when CONNECTION is open.
[[nodiscard]] bool IsConnected(const RequestConnection& connection, int caller = __builtin_LINE());
// Runs STATEMENT. One that could not be built fails silently.
[[nodiscard]] bool RunStatement(const RequestConnection& connection, const Statement& statement,
                                Result* result = nullptr, int caller = __builtin_LINE());

// A whole operation of one statement: the request's connection, the statement that BUILD makes for its type,
// and the result that is exported, 0 or -1.
template <typename Builder>
int RunAlone(Builder&& build, int caller = __builtin_LINE()) {
  const RequestConnection connection;
  if (!IsConnected(connection, caller)) return -1;
  return RunStatement(connection, std::forward<Builder>(build)(connection.type()), nullptr, caller) ? 0 : -1;
}

#endif  // PHOTO_DATABASE_LABEL_H_
