#include "changes/marked_rows.h"

#include <array>

#include "database/database_reader.h"
#include "database/queries_sql.h"
#include "files/gone.h"
#include "library/album_name.h"
#include "platform/index.h"

namespace {

struct Source {
  const char* sql;
  ItemKind kind;
};
constexpr std::array kSources{Source{kMarkedPhotosSql, ItemKind::kPhoto},
                              Source{kMarkedVideosSql, ItemKind::kVideo},
                              Source{kMarkedAlbumsSql, ItemKind::kFolder}};

// For sure: what is on another machine is not asked for, since that may never answer.
bool HasGone(const Library& library, const std::string& path, ItemKind kind) {
  return !KAVOIndexLeadsToForeignMount(library.folder.c_str(), path.c_str()) && IsGone(path, kind);
}

}  // namespace

Outcome<MarkedRows> FindMarkedRows(const Library& library) {
  DatabaseReader database = DatabaseReader::Open(library);
  if (!database) return Unreadable(database);
  MarkedRows marked;
  for (const auto& [sql, kind] : kSources) {
    const auto rows = database.Query({"path"}, sql);
    if (!rows) return Unreadable(database);
    for (const DatabaseReader::Row& row : *rows) {
      const std::string key = row.front().value_or("");
      const std::string path =
          kind == ItemKind::kFolder ? library.folder + "/" + key : library.PathOfFileKey(key);
      // Without the album of the library itself the database counts as incomplete.
      if (key == kRootAlbum || !HasGone(library, path, kind)) {
        ++marked.kept;
        continue;
      }
      WorkItem item{kind, path, ItemAction::kDelete};
      item.stage = kind == ItemKind::kFolder ? 1 : 0;
      marked.gone.push_back(std::move(item));
    }
  }
  const auto count = database.Query({"count"}, kCountMediaSql);
  if (!count || count->empty()) return Unreadable(database);
  marked.rows = static_cast<std::size_t>(std::stoull(count->front().front().value_or("0")));
  return marked;
}
