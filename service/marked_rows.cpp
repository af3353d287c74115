#include "marked_rows.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "database_reader.h"
#include "queries_sql.h"

namespace {

struct Source {
  const char* sql;
  ItemKind kind;
};
constexpr std::array kSources{Source{kMarkedPhotosSql, ItemKind::kPhoto},
                              Source{kMarkedVideosSql, ItemKind::kVideo},
                              Source{kMarkedAlbumsSql, ItemKind::kFolder}};

// Only "there is no such name" says that something is gone. A folder can be replaced by a file.
bool IsGone(const std::string& path, ItemKind kind) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return errno == ENOENT || errno == ENOTDIR;
  return S_ISDIR(status.st_mode) != (kind == ItemKind::kFolder);
}

}  // namespace

Outcome<MarkedRows> FindMarkedRows(const Library& library) {
  DatabaseReader database(library.database());
  if (!database) return Failure{ExitStatus::kDatabase, library.database() + ": cannot be opened"};
  MarkedRows marked;
  for (const auto& [sql, kind] : kSources) {
    const auto rows = database.Query({"path"}, sql);
    if (!rows) return Unreadable(database);
    for (const DatabaseReader::Row& row : *rows) {
      const std::string path = library.folder + "/" + row.front().value_or("");
      if (!IsGone(path, kind)) {
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
  marked.rows = std::stoull(count->front().front().value_or("0"));
  return marked;
}
