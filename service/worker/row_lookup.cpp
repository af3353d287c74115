#include "worker/row_lookup.h"

#include "database/file_row.h"
#include "database/queries_sql.h"

DatabaseReader& RowLookup::Database() {
  if (!database_ || !*database_) database_.emplace(DatabaseReader::Open(library_));
  return *database_;
}

std::optional<bool> RowLookup::HasAlbum(const std::string& folder) {
  const auto rows = Database().Query({"shareid"}, kAlbumByNameSql, library_.Below(folder));
  return rows ? std::optional<bool>(!rows->empty()) : std::nullopt;
}

std::optional<bool> RowLookup::HasRow(ItemKind kind, const std::string& path) {
  return HasFileRow(Database(), kind, KeyOf(path));
}

std::optional<bool> RowLookup::Has(ItemKind kind, const std::string& path) {
  return kind == ItemKind::kFolder ? HasAlbum(path) : HasRow(kind, path);
}

std::optional<std::string> RowLookup::PlaceOf(const std::string& path) {
  const auto rows = Database().Query({"gps"}, kVideoSql, KeyOf(path));
  if (!rows) return std::nullopt;
  return rows->empty() ? "" : rows->front().front().value_or("");
}
