// Writes the row of one album.
#include <cstdio>
#include <string>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "lumivault/photo_util.h"
#include "photo_database/albums.h"
#include "photo_database/config.h"
#include "photo_database/share_sql.h"
#include "platform/text.h"

namespace {

constexpr const char* kCommentsSwitch = "album_def_allow_comment";
constexpr const char* kNoConversionSwitch = "def_album_disable_conversion";

// A name that the database could not hold is passed over.
bool IsStorableName(const char* name) {
  return name[0] != '\0' && RLIBCUnicodeIsUTF8(name);
}

bool IsAlbumRecorded(const char* name) {
  char condition[sizeof kRawAlbumByName + kPathSize];
  std::snprintf(condition, sizeof condition, kRawAlbumByName, name);
  return PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", condition, "") >= 1;
}

// A new album that refers to no other one refers to itself, under the id that it is about to get.
int NewReferenceId(const Album& album, const std::string& reference) {
  return reference != album.szShareName ? getShareIdBySharename(reference.c_str()) : album.shareId;
}

Statement AlbumUpdate(int database_type, const Album& album, const std::string& reference) {
  return Statement::Build(database_type, kUpdateAlbum, Flag(album.isSubdir != 0),
                          getShareIdBySharename(reference.c_str()), album.szShareName);
}

int Save(const Album& album) {
  if (!IsStorableName(album.szShareName)) return 0;
  const bool comments = NewAlbumAllowsComments(album);
  const bool conversion = NewAlbumAllowsConversion(album);
  const RequestConnection connection;
  if (!connection) {
    LOG_IN(kPhotoDatabaseSource, "Failed to connect to database");
    return -1;
  }
  const std::string reference = ReferenceAlbum(album.szShareName);
  const auto statement =
      IsAlbumRecorded(album.szShareName)
          ? AlbumUpdate(connection.type(), album, reference)
          : AlbumInsert(connection.type(), album, comments, conversion, NewReferenceId(album, reference));
  if (!statement) return -1;
  if (PhotoDBExec(statement.get()) == -1) {
    LOG_IN(kPhotoDatabaseSource, "Failed to exec [%s]", statement.get());
    return -1;
  }
  return 0;
}

}  // namespace

std::string ReferenceAlbum(const char* album) {
  char reference[kContextPathSize] = {};
  if (GetReferenceSharenameBySharename(album, reference, sizeof reference) < 0) {
    LOG_AT(kPhotoDatabaseSource, "Get Privilege_Sharem Error(%s)", album);
  }
  return reference;
}

bool NewAlbumAllowsComments(const Album& album) {
  const bool allowed = ConfigIsOn(kCommentsSwitch);
  return allowed && album.isSubdir == 0;
}

bool NewAlbumAllowsConversion(const Album& album) {
  const bool disabled = ConfigIsOn(kNoConversionSwitch);
  return !disabled || album.isSubdir != 0;
}

Statement AlbumInsert(int database_type, const Album& album, bool comments, bool conversion,
                      int reference_id) {
  return Statement::Build(database_type, kInsertAlbum, album.shareId, album.szShareName,
                          Flag(album.isPublic != 0), Flag(comments), Flag(album.isSubdir != 0),
                          Flag(conversion), reference_id);
}

int PhotoShareInfoDBSave(KAVO_PHOTO_SHARE_INFO* album) noexcept {
  if (album == nullptr) {
    LOG_IN(kPhotoDatabaseSource, "Bad parameter");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return Save(*album); });
}
