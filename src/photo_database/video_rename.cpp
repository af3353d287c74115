#include <string>
#include <string_view>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"
#include "photo_database/default_title.h"
#include "photo_database/rename_sql.h"
#include "photo_database/stored_path.h"

namespace {

constexpr std::size_t kTemplateSize = 512;  // a template completed with a column's name

// One rename of a video's side rows in one table.
struct VideoRename {
  PHOTO_TABLE_TYPE type;
  const char* column;
  const char* new_path;
  const char* new_key;
  const char* old_key;
};

bool IsSideTable(PHOTO_TABLE_TYPE type) {
  return type >= PHOTO_TABLE_VIDEO_DESC && type <= PHOTO_TABLE_VIDEO_LABEL;
}

// The statement that moves the row of the old key to NEW_VALUE. A description's title that was made from the
// name follows it.
Statement BuildUpdate(const VideoRename& rename, const std::string& new_value) {
  const int database_type = RequestDatabaseType();
  const char* table = PhotoMapping::GetValue(rename.type);
  if (rename.type == PHOTO_TABLE_VIDEO_DESC &&
      PhotoInfoDBIsDefaultTitle(database_type, rename.type, rename.old_key) == 1) {
    if (const auto title = DefaultTitle(rename.new_path)) {
      return Statement::Build(database_type, kRenameVideoAndTitle, table, new_value.c_str(), title->c_str(),
                              rename.old_key);
    }
  }
  const std::string sql = FormatText(kTemplateSize, kRenameVideoColumn, rename.column, rename.column);
  return Statement::Build(database_type, sql.c_str(), table, new_value.c_str(), rename.old_key);
}

// VALUE with everything up to the end of the first OLD_KEY replaced by the new key.
std::string NewValue(const VideoRename& rename, std::string_view value, std::size_t position) {
  const std::string_view rest = value.substr(position + std::string_view(rename.old_key).size());
  return Cut(rename.new_key + std::string(rest), kPathSize);
}

[[nodiscard]] bool MoveRow(const Cursor& cursor, const VideoRename& rename) {
  const std::string_view value = OrEmpty(cursor.Field(rename.column));
  const auto position = value.find(rename.old_key);
  if (value.empty() || position == std::string_view::npos) return true;
  const Statement sql = BuildUpdate(rename, NewValue(rename, value, position));
  if (!sql) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to escape string!");
    return false;
  }
  if (!cursor.Execute(sql.get())) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", sql.get(), cursor.error());
    return false;
  }
  return true;
}

[[nodiscard]] bool MoveRows(const VideoRename& rename) {
  const std::string sql = FormatText(kTemplateSize, kRowsThatBegin, rename.column);
  const Statement condition = Statement::Build(RequestDatabaseType(), sql.c_str(), rename.old_key);
  if (!condition) return false;
  // The statement below selects by the old key, not by the row's value. In this order the row of that very
  // key comes first and is the one that moves; longer paths that begin with it then find nothing left to
  // move.
  Cursor cursor(rename.type, rename.column, condition.get(), rename.column, 0, 0);
  if (!cursor) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return false;
  }
  if (cursor.count() < 1) return false;
  while (cursor.Next()) {
    if (!MoveRow(cursor, rename)) return false;
  }
  return true;
}

[[nodiscard]] bool RenameVideo(PHOTO_TABLE_TYPE type, const char* new_path, const char* old_path) {
  if (IsEmpty(new_path) || IsEmpty(old_path) || !IsSideTable(type)) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameter.");
    return false;
  }
  const char* column = type == PHOTO_TABLE_VIDEO_LABEL ? "video_path" : "path";
  return MoveRows({type, column, new_path, StoredPath(new_path), StoredPath(old_path)});
}

}  // namespace

int KAVOPhotoInfoVideoRename(PHOTO_TABLE_TYPE type, const char* new_path, const char* old_path) {
  return Guarded(kPhotoDatabaseSource, -1, [&] { return RenameVideo(type, new_path, old_path) ? 0 : -1; });
}
