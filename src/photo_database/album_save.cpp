// Writes the row of one album.
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

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

// A new album that refers to no other one refers to itself, under the id that it is about to get.
int NewReferenceId(const Album& album, const std::string& reference) {
  return reference != album.szShareName ? getShareIdBySharename(reference.c_str()) : album.shareId;
}

Statement AlbumUpdate(int database_type, const Album& album, const std::string& reference) {
  return Statement::Build(database_type, kUpdateAlbum, Flag(album.isSubdir != 0),
                          getShareIdBySharename(reference.c_str()), album.szShareName);
}

// What is written of an album, in statements for one connection.
class AlbumRow {
 public:
  AlbumRow(int database_type, KAVO_PHOTO_SHARE_INFO& album, bool comments, bool conversion)
      : type_(database_type),
        album_(album),
        comments_(comments),
        conversion_(conversion),
        reference_(ReferenceAlbum(album.szShareName)) {}

  Statement Write() {
    inserts_ = !IsAlbumRecorded(album_.szShareName);
    return inserts_ ? Insert() : AlbumUpdate(type_, album_, reference_);
  }

  // What to send after the last statement has failed. Nothing reserves an album's id: another writer may have
  // taken it, or recorded this very album; then the insert alone was in vain. Nothing for other failures.
  std::optional<Statement> WriteAfterCollision() {
    if (!inserts_) return std::nullopt;
    if (IsAlbumRecorded(album_.szShareName)) return AlbumUpdate(type_, album_, reference_);
    if (!TakeNextId(album_)) return std::nullopt;
    return Insert();
  }

 private:
  Statement Insert() const {
    return AlbumInsert(type_, album_, comments_, conversion_, NewReferenceId(album_, reference_));
  }

  int type_;
  KAVO_PHOTO_SHARE_INFO& album_;
  bool comments_;
  bool conversion_;
  std::string reference_;
  bool inserts_ = false;
};

int Save(KAVO_PHOTO_SHARE_INFO& album) {
  if (!IsStorableName(album.szShareName)) return 0;
  const bool comments = NewAlbumAllowsComments(album);
  const bool conversion = NewAlbumAllowsConversion(album);
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to database");
    return -1;
  }
  AlbumRow row(connection.type(), album, comments, conversion);
  Statement statement = row.Write();
  for (int i = 0; i < kAlbumIdTries && statement; ++i) {
    if (PhotoDBExec(statement.get()) != -1) return 0;
    std::optional<Statement> next = row.WriteAfterCollision();
    if (!next) break;
    statement = std::move(*next);
  }
  if (statement) LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s]", statement.get());
  return -1;
}

}  // namespace

std::string ReferenceAlbum(const char* album) {
  char reference[kContextPathSize] = {};
  if (GetReferenceSharenameBySharename(album, reference, sizeof reference) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "Get Privilege_Sharem Error(%s)", album);
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

bool IsAlbumRecorded(const char* name) {
  char condition[sizeof kRawAlbumByName + kPathSize];
  std::snprintf(condition, sizeof condition, kRawAlbumByName, name);
  return PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", condition, "") >= 1;
}

bool TakeNextId(Album& album) {
  const int next = KAVOPhotoShareGetNewId();
  if (next <= album.shareId) return false;
  album.shareId = next;
  return true;
}

Statement AlbumInsert(int database_type, const Album& album, bool comments, bool conversion,
                      int reference_id) {
  return Statement::Build(database_type, kInsertAlbum, album.shareId, album.szShareName,
                          Flag(album.isPublic != 0), Flag(comments), Flag(album.isSubdir != 0),
                          Flag(conversion), reference_id);
}

int PhotoShareInfoDBSave(KAVO_PHOTO_SHARE_INFO* album) noexcept {
  if (album == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameter");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return Save(*album); });
}
