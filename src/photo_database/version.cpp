// The thumbnail version of a photo's row.
#include <cstdlib>

#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/connection.h"
#include "photo_database/stored_path.h"
#include "photo_database/version_sql.h"

namespace {

constexpr int kDecimal = 10;

// 0 also when the photo has no row or the statement failed.
int VersionOf(const RequestConnection& connection, const char* key) {
  const auto statement = Statement::Build(connection.type(), kVersionByPath, key);
  if (!statement) return 0;
  Result result;
  if (!Execute(connection, statement.get(), &result)) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return 0;
  }
  if (!result.Next()) return 0;
  // Read as 64 bits and then cut to its low 32: a value beyond an int is not the nearest int.
  return static_cast<int>(std::strtoll(OrEmpty(result.Field("version")), nullptr, kDecimal));
}

bool SetVersion(const RequestConnection& connection, const char* key, int version) {
  const auto statement = Statement::Build(connection.type(), kSetVersion, version, key);
  if (!statement) return false;
  if (!Execute(connection, statement.get())) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return false;
  }
  return true;
}

}  // namespace

int PhotoInfoDBVersionGet(const char* path) noexcept {
  if (HGAStatusCheck(path) < 0) return 0;
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to photo database");
    return 0;
  }
  return VersionOf(connection, StoredPath(path));
}

int PhotoInfoDBVersionUpdate(const char* path, int version) noexcept {
  if (HGAStatusCheck(path) < 0) return -1;
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to database");
    return -1;
  }
  return SetVersion(connection, StoredPath(path), version) ? 0 : -1;
}
