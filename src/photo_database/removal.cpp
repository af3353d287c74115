#include "photo_database/removal_sql.h"

#include <array>
#include <optional>
#include <string>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/album_name.h"
#include "photo_database/connection.h"
#include "photo_database/stored_path.h"
#include "platform/share.h"

namespace {

constexpr const char* kPhotoShare = "photo";

// What fills the placeholders of a statement.
enum class Fill { kNothing, kTable, kTableAndKey, kAlbum, kKeysAndAlbum };

struct Removal {
  PHOTO_TABLE_TYPE type;
  const char* root;  // for the photo root, the next two for what lies below it
  const char* personal;
  const char* shared;
  Fill root_fill;
  Fill fill;
  bool leaves_labels;  // labels may lose their last use
};

constexpr Removal ByPath(PHOTO_TABLE_TYPE type, bool leaves_labels) {
  return {type,         kDeleteTable,       kDeletePathPersonal, kDeletePathShared,
          Fill::kTable, Fill::kTableAndKey, leaves_labels};
}

constexpr Removal ByVideoPath(PHOTO_TABLE_TYPE type) {
  return {
      type, kDeleteTable, kDeleteVideoPathPersonal, kDeleteVideoPathShared, Fill::kTable, Fill::kTableAndKey,
      false};
}

constexpr std::array kRemovals = {
    ByPath(PHOTO_TABLE_IMAGE, true),
    ByPath(PHOTO_TABLE_VIDEO_DESC, false),
    ByPath(PHOTO_TABLE_VIDEO_COMMENT, false),
    ByPath(PHOTO_TABLE_VIDEO, true),
    ByVideoPath(PHOTO_TABLE_VIDEO_LABEL),
    ByVideoPath(PHOTO_TABLE_VIDEO_CONVERT),
    Removal{PHOTO_TABLE_SHARE, kDeleteAllAlbums, kDeleteAlbumPersonal, kDeleteAlbumShared, Fill::kNothing,
            Fill::kAlbum, false},
    Removal{PHOTO_TABLE_DIRECTORY, kDeleteLibrary, kDeleteFolderPersonal, kDeleteFolderShared, Fill::kNothing,
            Fill::kKeysAndAlbum, true},
};

const Removal* FindRemoval(PHOTO_TABLE_TYPE type) {
  for (const Removal& removal : kRemovals) {
    if (removal.type == type) return &removal;
  }
  return nullptr;
}

Statement FillAlbum(int database_type, const char* sql, const char* path) {
  const auto album = AlbumName(path);
  if (!album) return {};
  const char* name = album->c_str();
  return Statement::Build(database_type, sql, name, name);
}

Statement FillKeysAndAlbum(int database_type, const char* sql, const char* path) {
  const auto album = AlbumName(path);
  if (!album) return {};
  const char* key = StoredPath(path);
  const char* name = album->c_str();
  return Statement::Build(database_type, sql, key, key, key, key, name, name, key, key);
}

// Empty when PATH has no album name where one is needed, or a value cannot be stored.
Statement BuildRemoval(int database_type, const Removal& removal, const char* path, bool is_root) {
  const char* below = HGAStatusIsHGARequest() ? removal.personal : removal.shared;
  const char* sql = is_root ? removal.root : below;
  switch (is_root ? removal.root_fill : removal.fill) {
    case Fill::kTable:
      return Statement::Build(database_type, sql, PhotoMapping::GetValue(removal.type));
    case Fill::kTableAndKey:
      return Statement::Build(database_type, sql, PhotoMapping::GetValue(removal.type), StoredPath(path));
    case Fill::kAlbum:
      return FillAlbum(database_type, sql, path);
    case Fill::kKeysAndAlbum:
      return FillKeysAndAlbum(database_type, sql, path);
    case Fill::kNothing:
      break;
  }
  return Statement::Build(database_type, sql);
}

// Callers pass over the result of a delete, so one that fails would leave no other trace.
[[nodiscard]] bool Run(const RequestConnection& connection, const char* sql) {
  if (Execute(connection, sql)) return true;
  LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", sql, connection.error());
  return false;
}

// The photo root of the request; nothing when the platform cannot tell that of the shared tree, whatever the
// request.
std::optional<std::string> PhotoRoot() {
  char shared[kPathSize] = {};
  if (KAVOSharePathGet(kPhotoShare, shared, sizeof shared) < 0) return std::nullopt;
  return HGAStatusIsHGARequest() ? HGAStatusPhotoDirGet() : shared;
}

[[nodiscard]] bool Remove(const RequestConnection& connection, const Removal& removal, const char* path,
                          bool is_root) {
  const Statement sql = BuildRemoval(connection.type(), removal, path, is_root);
  if (!sql || !Run(connection, sql.get())) return false;
  return !removal.leaves_labels || Run(connection, kDeleteUnusedLabels);
}

[[nodiscard]] bool Delete(PHOTO_TABLE_TYPE type, const char* path) {
  if (IsEmpty(path)) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameter");
    return false;
  }
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to photo database");
    return false;
  }
  const auto root = PhotoRoot();
  if (!root) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to get photo share path");
    return false;
  }
  if (const Removal* removal = FindRemoval(type)) return Remove(connection, *removal, path, *root == path);
  LOG_PARENS(kPhotoDatabaseSource, "Bad table type.");
  // No statement: the database library decides what that is.
  return Execute(connection, nullptr);
}

}  // namespace

int PhotoInfoDBDelete(PHOTO_TABLE_TYPE type, const char* path) {
  return Guarded(kPhotoDatabaseSource, -1, [&] { return Delete(type, path) ? 0 : -1; });
}
