#include "answers/album_rights.h"

#include <array>

#include "database/queries_sql.h"

namespace {

struct RightTable {
  const char* table;
  const char* right;
  const char* accounts;
};

constexpr std::array kRightTables{
    RightTable{"photo_access_right", "access", "appliance"},
    RightTable{"photo_upload_right", "upload", "appliance"},
    RightTable{"photo_manage_right", "manage", "appliance"},
    RightTable{"photo_access_right_for_zor_account", "access", "package"},
    RightTable{"photo_upload_right_for_zor_account", "upload", "package"},
    RightTable{"photo_manage_right_for_zor_account", "manage", "package"},
};

}  // namespace

Outcome<std::optional<AlbumRights>> ReadAlbumRights(DatabaseReader& database, const std::string& name) {
  const auto albums = database.Query({"shareid", "public"}, kAlbumByNameSql, name);
  if (!albums) return Unreadable(database);
  if (albums->empty()) return std::optional<AlbumRights>();
  AlbumRights album{albums->front()[0].value_or(""), albums->front()[1] == "t", {}};
  for (const auto& [table, right, accounts] : kRightTables) {
    const auto rows = database.Query({"userid", "time"}, kRightsOfAlbumSql, std::string(table), album.id);
    if (!rows) return Unreadable(database);
    for (const DatabaseReader::Row& row : *rows)
      album.rights.push_back({right, accounts, row[0].value_or(""), row[1]});
  }
  return std::optional(std::move(album));
}
