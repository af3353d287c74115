#include <cstdlib>
#include <optional>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/text.h"
#include "lumivault/request_context.h"
#include "photo_database/cursor.h"
#include "photo_database/label.h"
#include "photo_database/label_sql.h"
#include "photo_database/stored_path.h"

namespace {

constexpr int kDecimal = 10;

int DecimalId(const char* text) {
  return static_cast<int>(std::strtol(OrEmpty(text), nullptr, kDecimal));
}

// Looks a label up into ID, which stays empty when there is none; false when the query failed.
[[nodiscard]] bool FindLabel(const RequestConnection& connection, const char* name, int category,
                             std::optional<int>* id) {
  Result found;
  const auto sql = FormatText(kPathSize, kLabelByName, category);
  if (!RunStatement(connection, Statement::Build(connection.type(), sql.c_str(), name), &found)) return false;
  if (found.Next()) *id = IdOf(found);
  return true;
}

// The highest id and one; 1 when that cannot be told.
int NextLabelId(const RequestConnection& connection) {
  Result last;
  const bool found =
      RunStatement(connection, Statement::Build(connection.type(), kLastLabel), &last) && last.Next();
  return found ? IdOf(last) + 1 : 1;
}

void InsertLabel(const RequestConnection& connection, const char* name, int category) {
  const auto sql = HGAStatusIsHGARequest()
                       ? FormatText(kPathSize, kInsertLabelWithId, NextLabelId(connection), category)
                       : FormatText(kPathSize, kInsertLabel, category);
  // A failure is logged and leaves the answer to the look-up that follows: when another process has just made
  // the label, only this insert was in vain.
  static_cast<void>(RunStatement(connection, Statement::Build(connection.type(), sql.c_str(), name)));
}

int FindOrMakeLabel(const char* path, const char* name, int category) {
  if (!CheckPath(path)) return -1;
  const RequestConnection connection;
  if (!IsConnected(connection)) return -1;
  std::optional<int> id;
  if (!FindLabel(connection, name, category, &id)) return -1;
  if (id) return *id;
  InsertLabel(connection, name, category);
  return FindLabel(connection, name, category, &id) ? id.value_or(-1) : -1;
}

int FindPhoto(const char* path) {
  if (!CheckPath(path)) return -1;
  const Statement condition = Statement::Build(RequestDatabaseType(), kPhotoByPath, StoredPath(path));
  if (!condition) return -1;
  Cursor photo(PHOTO_TABLE_IMAGE, "id", condition.get(), nullptr, 0, 1);
  if (!photo) {
    LOG_AT(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return -1;
  }
  return photo.Next() ? DecimalId(photo.Field("id")) : -1;
}

}  // namespace

int IdOf(const Result& row) {
  return DecimalId(row.Field("id"));
}

bool CheckPath(const char* path) {
  if (HGAStatusCheck(path) >= 0) return true;
  LOG_AT(kPhotoDatabaseSource, "HGAStatusCheck failed for %s.", path);
  return false;
}

bool IsConnected(const RequestConnection& connection) {
  if (connection) return true;
  LOG_AT(kPhotoDatabaseSource, "Failed to connect to photo database");
  return false;
}

bool RunStatement(const RequestConnection& connection, const Statement& statement, Result* result) {
  if (!statement) return false;
  if (Execute(connection, statement.get(), result)) return true;
  LOG_AT(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
  return false;
}

int PhotoInfoDBLabelCheck(const char* path, const char* name, int category) {
  if (path == nullptr || name == nullptr) {
    LOG_AT(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return FindOrMakeLabel(path, name, category); });
}

int PhotoInfoDBPhotoIdGet(const char* path) {
  if (path == nullptr) {
    LOG_AT(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return FindPhoto(path); });
}
