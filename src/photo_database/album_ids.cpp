// Ids and single values of albums.
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_util.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"
#include "photo_database/share_sql.h"

namespace {

constexpr int kFirstAlbumId = 1;

}  // namespace

int KAVOPhotoShareGetNewId() noexcept {
  Cursor cursor(PHOTO_TABLE_SHARE, nullptr, kNumberedAlbums, kHighestIdFirst, 0, 1);
  if (!cursor) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return kFirstAlbumId;
  }
  return cursor.Next() ? static_cast<int>(DecimalInt(cursor.Field("shareid")) + 1LL) : kFirstAlbumId;
}

int getShareIdBySharename(const char* album) noexcept {
  const RequestConnection connection;
  if (!connection) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to connect to photo database");
    return -1;
  }
  const auto statement = Statement::Build(connection.type(), kAlbumIdByName, album);
  if (!statement) return -1;
  Result result;
  if (!Execute(connection, statement.get(), &result)) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return -1;
  }
  return result.Next() ? DecimalInt(result.Field("shareid")) : -1;
}

int getShareIdPrivilegeShareIdByPath(const char* file, int* share_id, int* rights_share_id) noexcept {
  char album[kPathSize] = {};
  if (GetSharenameByFilePath(file, album, sizeof album) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "Fail to get sharename: %s", OrEmpty(file));
    return -1;
  }
  *share_id = getShareIdBySharename(album);
  if (GetPrivilegeSharenameByFilePath(file, album, sizeof album) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "Fail to get privilege sharename: %s", OrEmpty(file));
    return -1;
  }
  *rights_share_id = getShareIdBySharename(album);
  return 0;
}

int KAVOPhotoShareGetFieldValue(const char* album, const char* column, char* out, size_t size) noexcept {
  const auto condition = Statement::Build(RequestDatabaseType(), kAlbumByName, album);
  if (!condition) return -1;
  Cursor cursor(PHOTO_TABLE_SHARE, nullptr, condition.get(), nullptr, 0, 1);
  if (!cursor) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return -1;
  }
  if (!cursor.Next()) return -1;
  CopyText(out, size, OrEmpty(cursor.Field(column)));
  return 0;
}
