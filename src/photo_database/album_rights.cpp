// Who may see, upload to and manage an album.
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>

#include "base/c_locale.h"
#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/albums.h"
#include "photo_database/config.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"
#include "photo_database/share_sql.h"

namespace {

constexpr std::size_t kRightCount = 3;  // access, upload, manage
using RightTables = PHOTO_TABLE_TYPE[kRightCount];

constexpr RightTables kUserRights = {PHOTO_TABLE_ACCESS_RIGHT, PHOTO_TABLE_UPLOAD_RIGHT,
                                     PHOTO_TABLE_MANAGE_RIGHT};
constexpr RightTables kAccountRights = {PHOTO_TABLE_ACCESS_RIGHT_ACCOUNT, PHOTO_TABLE_UPLOAD_RIGHT_ACCOUNT,
                                        PHOTO_TABLE_MANAGE_RIGHT_ACCOUNT};

constexpr const char* kAccountSystem = "account_system";
constexpr const char* kApplianceUsers = "0";
constexpr const char* kIdColumn = "shareid";

// The shared database has a second set of right tables, for the package's own accounts.
const RightTables& RightTablesInUse() {
  if (HGAStatusIsHGARequest()) return kUserRights;
  return ConfigValue(kAccountSystem, kConfigSize) == kApplianceUsers ? kUserRights : kAccountRights;
}

// Replaces the rights of album TO by those of album FROM. A step that fails leaves the others to be done.
void ReplaceRights(const RightTables& tables, const char* to, const char* from) {
  for (const PHOTO_TABLE_TYPE table : tables) PhotoSharePriviledgeDBDelete(table, to);
  for (const PHOTO_TABLE_TYPE table : tables) PhotoSharePriviledgeDBCopy(table, to, from);
}

int SaveRights(const Album& album) {
  const RightTables& tables = RightTablesInUse();
  char to[kConfigSize] = {};
  char from[kConfigSize] = {};
  if (KAVOPhotoShareGetFieldValue(album.szShareName, kIdColumn, to, sizeof to) == -1 ||
      KAVOPhotoShareGetFieldValue(album.szRightsShareName, kIdColumn, from, sizeof from) == -1) {
    LOG_PARENS(kPhotoDatabaseSource, "KAVOPhotoShareGetFieldValue failed.");
    return -1;
  }
  ReplaceRights(tables, to, from);
  return 0;
}

// The local time as asctime gives it; its line end is stored too. The zone may have been changed since the
// process began, which only tzset notices.
std::string TimeText() {
  const CLocale c_locale;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();
  localtime_r(&now, &local);
  char text[kTimeSize];
  return std::string(text, std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y\n", &local));
}

void AddRight(PHOTO_TABLE_TYPE table, const char* user, const char* album) {
  char sql[kPathSize];
  std::snprintf(sql, sizeof sql, kInsertRight, PhotoMapping::GetValue(table), user, album,
                TimeText().c_str());
  if (PhotoDBExec(sql) == -1) LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s]", sql);
}

int CopyRights(PHOTO_TABLE_TYPE table, const char* to, const char* from) {
  char condition[kPathSize];
  std::snprintf(condition, sizeof condition, kRightsOfAlbum, from);
  Cursor cursor(table, nullptr, condition, nullptr, 0, 0);
  if (!cursor) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return -1;
  }
  while (cursor.Next()) AddRight(table, OrEmpty(cursor.Field("userid")), to);
  return 0;
}

}  // namespace

int PhotoSharePriviledgeDBSave(KAVO_PHOTO_SHARE_INFO* album) noexcept {
  if (album == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameter");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return SaveRights(*album); });
}

int PhotoSharePriviledgeDBDelete(PHOTO_TABLE_TYPE type, const char* share_id) noexcept {
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to photo database");
    return -1;
  }
  const auto statement =
      Statement::Build(connection.type(), HGAStatusIsHGARequest() ? kDeleteRightsPersonal : kDeleteRights,
                       PhotoMapping::GetValue(type), share_id);
  if (!statement) return -1;
  if (!Execute(connection, statement.get())) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return -1;
  }
  return 0;
}

int PhotoSharePriviledgeDBCopy(PHOTO_TABLE_TYPE type, const char* to_share_id,
                               const char* from_share_id) noexcept {
  if (to_share_id == nullptr || from_share_id == nullptr) return -1;
  return Guarded(kPhotoDatabaseSource, -1, [&] { return CopyRights(type, to_share_id, from_share_id); });
}
