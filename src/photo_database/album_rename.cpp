// Gives the row of an album another name.
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "base/export_guard.h"
#include "base/fixed_path.h"
#include "base/log.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "photo_database/albums.h"
#include "photo_database/share_sql.h"

namespace {

constexpr std::size_t kCoverTemplateSize = 1024;

bool IsSubAlbumName(const char* name) {
  return std::strchr(name, '/') != nullptr;
}

// The album that the renamed one refers to. One that refers to itself keeps its id, which still stands under
// the old name. Nothing where the reference has no row: then it is the album itself.
std::optional<int> ReferenceId(const Album& to, const Album& from) {
  const std::string reference = ReferenceAlbum(to.szShareName);
  const int id = getShareIdBySharename(reference != to.szShareName ? reference.c_str() : from.szShareName);
  return id != -1 ? std::optional(id) : std::nullopt;
}

// The number of rows that STATEMENT changed; nothing on failure, which the caller logs in its own form.
std::optional<int> ChangedRows(const Statement& statement) {
  const int changed = PhotoDBExec(statement.get());
  return changed != -1 ? std::optional(changed) : std::nullopt;
}

// The number of rows that got the new name; nothing on failure.
std::optional<int> RenameRow(const Album& to, const Album& from, int reference_id) {
  const auto statement =
      Statement::Build(RequestDatabaseType(), kRenameAlbum, to.szShareName,
                       Flag(IsSubAlbumName(to.szShareName)), reference_id, from.szShareName);
  if (!statement) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to escape string!");
    return std::nullopt;
  }
  const auto changed = ChangedRows(statement);
  if (!changed) LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s]", statement.get());
  return changed;
}

// What follows the rename of the row.
std::optional<int> RunFollowUp(const Statement& statement) {
  const auto changed = ChangedRows(statement);
  if (!changed) LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s]", statement.get());
  return changed;
}

std::optional<int> SetConversion(const Album& album, bool conversion) {
  const auto statement =
      Statement::Build(RequestDatabaseType(), kSetAlbumConversion, Flag(conversion), album.szShareName);
  if (!statement) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to escape string!");
    return std::nullopt;
  }
  return RunFollowUp(statement);
}

Statement CoverMoveStatement(const Album& to, const Album& from) {
  if (HGAStatusIsHGARequest()) {
    return Statement::Build(RequestDatabaseType(), kMoveCoverPersonal, from.szShareName, to.szShareName,
                            to.szShareName);
  }
  char sql_template[kCoverTemplateSize];
  std::snprintf(sql_template, sizeof sql_template, kMoveCoverShared, kSharedPhotoLink, kSharedPhotoLink);
  return Statement::Build(RequestDatabaseType(), sql_template, from.szShareName, to.szShareName,
                          to.szShareName);
}

// The cover is a photo of the album, so its key holds the old name.
bool MoveCover(const Album& to, const Album& from) {
  const auto statement = CoverMoveStatement(to, from);
  if (!statement) return false;
  const auto changed = RunFollowUp(statement);
  if (!changed) return false;
  if (*changed == 0) {
    LOG_COLON(kPhotoDatabaseSource, "UPDATE cover failed, sharename [%s] not exists in db.",
              from.szShareName);
    return false;
  }
  return true;
}

// Another writer may take the album's id meanwhile. One that has recorded this very album has made the rename
// fail: its row is not the old one's.
bool InsertRenamed(Album& album, bool conversion, std::optional<int> reference_id) {
  const bool comments = NewAlbumAllowsComments(album);
  for (int i = 0;; ++i) {
    const auto statement =
        AlbumInsert(RequestDatabaseType(), album, comments, conversion, reference_id.value_or(album.shareId));
    if (!statement) {
      LOG_PARENS(kPhotoDatabaseSource, "Failed to escape string!");
      return false;
    }
    if (PhotoDBExec(statement.get()) != -1) return true;
    if (!IsAlbumRecorded(album.szShareName) && i < kAlbumIdTries && TakeNextId(album)) continue;
    LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s]", statement.get());
    return false;
  }
}

// What was done stays when a later step fails.
bool Rename(Album& to, const Album& from) {
  const std::optional<int> reference_id = ReferenceId(to, from);
  std::optional<int> changed = RenameRow(to, from, reference_id.value_or(to.shareId));
  if (!changed) return false;
  const bool conversion = to.isSubdir != 0 || NewAlbumAllowsConversion(to);
  if (*changed > 0 && (IsSubAlbumName(to.szShareName) || IsSubAlbumName(from.szShareName))) {
    changed = SetConversion(to, conversion);
    if (!changed) return false;
  }
  // No row: the album was never recorded, or went meanwhile.
  if (*changed == 0 && IsDirExist(to.szAlbumPath)) return InsertRenamed(to, conversion, reference_id);
  return MoveCover(to, from);
}

}  // namespace

int PhotoShareDBRename(KAVO_PHOTO_SHARE_INFO* new_album, KAVO_PHOTO_SHARE_INFO* old_album) noexcept {
  if (new_album == nullptr || old_album == nullptr) return -1;
  return Guarded(kPhotoDatabaseSource, -1, [&] { return Rename(*new_album, *old_album) ? 0 : -1; });
}
