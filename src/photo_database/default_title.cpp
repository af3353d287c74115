#include "photo_database/default_title.h"

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"
#include "photo_database/media_sql.h"

namespace {

bool HasDefaultTitle(int database_type, PHOTO_TABLE_TYPE type, const char* key) {
  const auto default_title = DefaultTitle(OrEmpty(key));
  if (!default_title) return false;
  const Statement condition = Statement::Build(database_type, kMediaByPath, key);
  if (!condition) return false;
  Cursor cursor(type, "title", condition.get(), nullptr, 0, 0);
  if (!cursor) {
    LOG_COLON(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return false;
  }
  if (cursor.count() < 1) return false;
  if (!cursor.Next()) {
    LOG_COLON(kPhotoDatabaseSource, "KAVODBFetchRow failed");
    return false;
  }
  const char* title = cursor.Field("title");
  return title != nullptr && *default_title == title;
}

}  // namespace

std::optional<std::string> DefaultTitle(std::string_view path) {
  if (path.find('/') == std::string_view::npos) return std::nullopt;
  const std::string_view name = BaseName(path);
  const auto dot = name.rfind('.');
  if (name.size() >= kNameSize || dot == std::string_view::npos) return std::nullopt;
  return std::string(name.substr(0, dot));
}

int PhotoInfoDBIsDefaultTitle(int database_type, PHOTO_TABLE_TYPE type, const char* key) {
  return Guarded(kPhotoDatabaseSource, 0, [&] { return HasDefaultTitle(database_type, type, key) ? 1 : 0; });
}
