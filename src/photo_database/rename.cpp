#include <cstring>
#include <string>

#include "base/export_guard.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "photo_database/connection.h"
#include "photo_database/default_title.h"
#include "photo_database/rename_sql.h"
#include "photo_database/stored_path.h"

namespace {

// The album that holds a file and the one whose rights govern it; -1 where there is no such row.
struct AlbumIds {
  int own = -1;
  int rights = -1;
};

AlbumIds AlbumsOf(const char* path) {
  AlbumIds ids;
  if (getShareIdPrivilegeShareIdByPath(path, &ids.own, &ids.rights) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "Fail to get shareid, privilege_shareid(%s)", path);
  }
  return ids;
}

void Update(const Statement& sql) {
  if (!sql) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to escape string!");
  } else if (PhotoDBExec(sql.get()) == -1) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s].", sql.get());
  }
}

void RenamePhoto(const char* new_path, const char* old_path) {
  const char* new_key = StoredPath(new_path);
  const char* old_key = StoredPath(old_path);
  const int type = RequestDatabaseType();
  const AlbumIds ids = AlbumsOf(new_path);
  const std::string name(BaseName(new_path));

  if (PhotoInfoDBIsDefaultTitle(type, PHOTO_TABLE_IMAGE, old_key) != 1) {
    Update(Statement::Build(type, kRenamePhoto, new_key, name.c_str(), ids.own, ids.rights, old_key));
    return;
  }
  // A title that was made from the name follows it.
  const auto title = DefaultTitle(new_path);
  if (!title) return;
  Update(Statement::Build(type, kRenamePhotoAndTitle, new_key, name.c_str(), title->c_str(), ids.own,
                          ids.rights, old_key));
}

}  // namespace

int PhotoInfoDBRename(const char* new_path, const char* old_path) {
  return Guarded(kPhotoDatabaseSource, -1, [&] {
    if (new_path == nullptr || old_path == nullptr) {
      LOG_BARE("Invalid parameter.");
    } else if (std::strchr(new_path, '/') != nullptr) {
      RenamePhoto(new_path, old_path);
    }
    return -1;
  });
}
