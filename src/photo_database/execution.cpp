// Single statements on the database of the request.
#include "base/log.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/connection.h"
#include "photo_database/session_sql.h"

int PhotoDBExec(const char* sql) noexcept {
  if (sql == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameters.");
    return -1;
  }
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to database");
    return -1;
  }
  Result result;
  if (!Execute(connection, sql, &result)) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", sql, connection.error());
    return -1;
  }
  return KAVODBAffectedRows(connection.get(), result.get());
}

int PhotoDBVacuum() noexcept {
  if (HGAStatusIsHGARequest()) return 0;
  if (PhotoDBExec(kVacuum) == -1) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s].", kVacuum);
    return -1;
  }
  return 0;
}
