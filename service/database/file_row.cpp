#include "database/file_row.h"

#include "database/queries_sql.h"

std::optional<bool> HasFileRow(DatabaseReader& database, ItemKind kind, const std::string& key) {
  const auto rows = database.Query({"path"}, kind == ItemKind::kPhoto ? kHasPhotoSql : kHasVideoSql, key);
  return rows ? std::optional<bool>(!rows->empty()) : std::nullopt;
}
