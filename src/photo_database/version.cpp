// The thumbnail version of a photo's row.
#include <cstdlib>
#include <optional>

#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/connection.h"
#include "photo_database/stored_path.h"
#include "photo_database/version_sql.h"

namespace {

// Nothing when the photo has no row or the statement failed.
std::optional<int> VersionOf(const RequestConnection& connection, const char* key) {
  const auto statement = Statement::Build(connection.type(), kVersionByPath, key);
  if (!statement) return std::nullopt;
  Result result;
  if (!Execute(connection, statement.get(), &result)) {
    LOG_IN(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return std::nullopt;
  }
  if (!result.Next()) return std::nullopt;
  return static_cast<int>(std::strtoll(OrEmpty(result.Field("version")), nullptr, 10));
}

bool SetVersion(const RequestConnection& connection, const char* key, int version) {
  const auto statement = Statement::Build(connection.type(), kSetVersion, version, key);
  if (!statement) return false;
  if (!Execute(connection, statement.get())) {
    LOG_IN(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return false;
  }
  return true;
}

}  // namespace

int PhotoInfoDBVersionGet(const char* path) {
  if (HGAStatusCheck(path) < 0) return 0;
  const RequestConnection connection;
  if (!connection) {
    LOG_IN(kPhotoDatabaseSource, "Failed to connect to photo database");
    return 0;
  }
  return VersionOf(connection, StoredPath(path)).value_or(0);
}

int PhotoInfoDBVersionUpdate(const char* path, int version) {
  if (HGAStatusCheck(path) < 0) return -1;
  const RequestConnection connection;
  if (!connection) {
    LOG_IN(kPhotoDatabaseSource, "Failed to connect to database");
    return -1;
  }
  return SetVersion(connection, StoredPath(path), version) ? 0 : -1;
}
