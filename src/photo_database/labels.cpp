#include <climits>
#include <optional>
#include <string>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/text.h"
#include "lumivault/request_context.h"
#include "photo_database/cursor.h"
#include "photo_database/label.h"
#include "photo_database/label_sql.h"
#include "photo_database/media_sql.h"
#include "photo_database/stored_path.h"

namespace {

// How often a personal label is given an id that another process takes first. Each time one of the others
// gets its label, so with the handful that write to one person's library at a time this many are never
// needed.
constexpr int kIdTries = 100;

// Looks a label up into ID, which stays empty when there is none; false when the query failed.
[[nodiscard]] bool FindLabel(const RequestConnection& connection, const char* name, int category,
                             std::optional<int>* id) {
  Result found;
  const auto sql = FormatText(kPathSize, kLabelByName, category);
  if (!RunStatement(connection, Statement::Build(connection.type(), sql.c_str(), name), &found)) return false;
  if (found.Next()) *id = IdOf(found);
  return true;
}

// The highest id and one; 1 when that cannot be told, nothing when no id is left.
std::optional<int> NextLabelId(const RequestConnection& connection) {
  Result last;
  const bool found =
      RunStatement(connection, Statement::Build(connection.type(), kLastLabel), &last) && last.Next();
  if (!found) return 1;
  const int highest = IdOf(last);
  if (highest == INT_MAX) return std::nullopt;
  return highest + 1;
}

[[nodiscard]] bool InsertLabel(const RequestConnection& connection, const std::string& sql,
                               const char* name) {
  return RunStatement(connection, Statement::Build(connection.type(), sql.c_str(), name));
}

// Here the database gives the id, or -1 on failure. A failed insert leaves the answer to the look-up: when
// another process has just made the label, only this insert was in vain.
int MakeSharedLabel(const RequestConnection& connection, const char* name, int category) {
  static_cast<void>(InsertLabel(connection, FormatText(kPathSize, kInsertLabel, category), name));
  std::optional<int> id;
  return FindLabel(connection, name, category, &id) ? id.value_or(-1) : -1;
}

// Here the program gives the id, or -1 on failure. When another process has taken that id for another label,
// the insert fails, this label is still not there and the highest id has moved: then the next one is tried.
int MakePersonalLabel(const RequestConnection& connection, const char* name, int category) {
  std::optional<int> tried;
  for (int i = 0; i < kIdTries; ++i) {
    const auto new_id = NextLabelId(connection);
    if (!new_id || new_id == tried) return -1;
    tried = new_id;
    const bool inserted =
        InsertLabel(connection, FormatText(kPathSize, kInsertLabelWithId, *new_id, category), name);
    std::optional<int> id;
    if (!FindLabel(connection, name, category, &id) || id || inserted) return id.value_or(-1);
  }
  return -1;
}

int FindOrMakeLabel(const char* path, const char* name, int category) {
  if (!CheckPath(path)) return -1;
  const RequestConnection connection;
  if (!IsConnected(connection)) return -1;
  std::optional<int> id;
  if (!FindLabel(connection, name, category, &id)) return -1;
  if (id) return *id;
  return HGAStatusIsHGARequest() ? MakePersonalLabel(connection, name, category)
                                 : MakeSharedLabel(connection, name, category);
}

int FindPhoto(const char* path) {
  if (!CheckPath(path)) return -1;
  const Statement condition = Statement::Build(RequestDatabaseType(), kMediaByPath, StoredPath(path));
  if (!condition) return -1;
  Cursor photo(PHOTO_TABLE_IMAGE, "id", condition.get(), nullptr, 0, 1);
  if (!photo) {
    LOG_COLON(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return -1;
  }
  return photo.Next() ? DecimalInt(photo.Field("id")) : -1;
}

}  // namespace

int IdOf(const Result& row) {
  return DecimalInt(row.Field("id"));
}

FaceInfo FaceInfoOf(const Result& row) {
  const char* info_new = OrEmpty(row.Field("info_new"));
  if (*info_new != '\0') return {info_new, "info_new"};
  return {OrEmpty(row.Field("info")), "info"};
}

bool CheckPath(const char* path, int caller) {
  if (HGAStatusCheck(path) >= 0) return true;
  LOG_COLON_LINE(kPhotoDatabaseSource, caller, "HGAStatusCheck failed for %s.", path);
  return false;
}

bool IsConnected(const RequestConnection& connection, int caller) {
  if (connection) return true;
  LOG_COLON_LINE(kPhotoDatabaseSource, caller, "Failed to connect to photo database");
  return false;
}

bool RunStatement(const RequestConnection& connection, const Statement& statement, Result* result,
                  int caller) {
  if (!statement) return false;
  if (Execute(connection, statement.get(), result)) return true;
  LOG_COLON_LINE(kPhotoDatabaseSource, caller, "Failed to exec [%s] (%s)", statement.get(),
                 connection.error());
  return false;
}

int PhotoInfoDBLabelCheck(const char* path, const char* name, int category) {
  if (path == nullptr || name == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return FindOrMakeLabel(path, name, category); });
}

int PhotoInfoDBPhotoIdGet(const char* path) {
  if (path == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return FindPhoto(path); });
}
