#include <memory>
#include <string>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "photo_database/album_name.h"
#include "photo_index/album_info.h"
#include "photo_index/arguments.h"
#include "photo_index/move_rule.h"
#include "photo_index/path_gate.h"

namespace {

// The service's kind of folder under which album events pass the gate.
constexpr unsigned kAlbumIndexType = 4;

// The number of album rows of that name, or -1. The name stands in the condition as it is; the count makes
// the whole condition safe.
int CountAlbums(const char* album) {
  const std::string condition = FormatText(kConditionSize, " sharename='%s' ", album);
  return PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", condition.c_str(), "");
}

// Only a private sub-album without a password above it needs rights of its own.
bool TakesRightsOfParent(const KAVO_PHOTO_SHARE_INFO& album) {
  return album.isSubdir && album.szReserved[0] == '\0' && !album.isPublic;
}

bool SaveAlbum(KAVO_PHOTO_SHARE_INFO& album) {
  if (PhotoShareInfoDBSave(&album) >= 0) return true;
  LOG_COLON(kPhotoIndexSource, "PhotoShareInfoDBSave failed.");
  return false;
}

// Gives a new row the parent's rights where it needs them.
bool SaveRights(KAVO_PHOTO_SHARE_INFO& album) {
  if (!TakesRightsOfParent(album)) return true;
  if (PhotoSharePriviledgeDBSave(&album) >= 0) return true;
  LOG_COLON(kPhotoIndexSource, "PhotoSharePriviledgeDBSave failed: %s", album.szShareName);
  return false;
}

// FOLDER as albums are named: with a slash at its end it would be another one, "2024/". The caller's text may
// lie in the request context, which the checks write anew.
std::string Named(const char* folder) {
  return std::string(WithoutSlashAtEnd(folder));
}

int AddNamed(const char* folder) {
  if (IndexIsIndexPath(folder, kAlbumIndexType) < 1) return 0;
  const auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
  if (!IndexAlbumInfoBuild(*album, folder)) return -1;
  if (album->szShareName[0] == '\0') return 0;

  // A failed count is not a new album: rights that exist must not be replaced.
  const bool is_new = CountAlbums(album->szShareName) == 0;
  if (!SaveAlbum(*album)) return -1;
  if (is_new && !SaveRights(*album)) return -1;
  OpenToEverybody(folder);
  return 0;
}

int AddFolder(const char* folder) {
  return IsMissing(folder) ? -1 : AddNamed(Named(folder).c_str());
}

int DeleteNamed(const char* folder) {
  const RequestScope scope = CheckRequest(folder);
  if (scope == RequestScope::kRefused) return -1;
  // Albums are told by what follows the root's length: a folder elsewhere may share its name with one of
  // ours.
  if (scope == RequestScope::kElsewhere) return 0;
  static_cast<void>(PhotoInfoDBDelete(PHOTO_TABLE_DIRECTORY, folder));
  return 0;
}

int DeleteFolder(const char* folder) {
  return IsMissing(folder) ? -1 : DeleteNamed(Named(folder).c_str());
}

// The row of the old name, described by that name alone.
bool DescribeOldAlbum(KAVO_PHOTO_SHARE_INFO& album, const char* folder) {
  CopyText(album.szAlbumPath, sizeof album.szAlbumPath, folder);
  return PhotoUtilShareNameGet(folder, album.szShareName, sizeof album.szShareName) >= 0;
}

int MoveInPlace(const char* new_folder, const char* old_folder) {
  // Clears what stood under the new name, which must not be the album itself.
  if (AlbumName(new_folder) != AlbumName(old_folder)) static_cast<void>(DeleteNamed(new_folder));
  const auto new_album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
  const auto old_album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
  if (!IndexAlbumInfoBuild(*new_album, new_folder) || !DescribeOldAlbum(*old_album, old_folder)) return -1;
  // No album may lose its name.
  if (new_album->szShareName[0] == '\0') return -1;

  const bool is_new = CountAlbums(old_album->szShareName) == 0;
  if (PhotoShareDBRename(new_album.get(), old_album.get()) < 0) {
    LOG_COLON(kPhotoIndexSource, "PhotoShareDBRename failed");
    return -1;
  }
  return is_new && !SaveRights(*new_album) ? -1 : 0;
}

int MoveFolder(const char* new_folder, const char* old_folder) {
  if (CanMoveInPlace(new_folder, old_folder)) return MoveInPlace(new_folder, old_folder);
  static_cast<void>(DeleteNamed(old_folder));
  static_cast<void>(AddNamed(new_folder));
  return 0;
}

int RenameFolder(const char* new_folder, const char* old_folder) {
  if (new_folder == nullptr || IsEmpty(old_folder)) {
    LOG_PARENS(kPhotoIndexSource, "Bad parameter.");
    return -1;
  }
  const auto new_copy = TryCopy(new_folder);
  const auto old_copy = TryCopy(old_folder);
  if (!new_copy || !old_copy) {
    LOG_COLON(kPhotoIndexSource, "strdup failed.");
    return -1;
  }
  const std::string new_name = Named(new_copy->c_str());
  if (IndexIsIndexPath(new_name.c_str(), kAlbumIndexType) < 1) return 0;
  return MoveFolder(new_name.c_str(), Named(old_copy->c_str()).c_str());
}

}  // namespace

int IndexDirAdd(const char* folder) {
  return Guarded(kPhotoIndexSource, -1, [&] { return AddFolder(folder); });
}

int IndexDirDelete(const char* folder) {
  return Guarded(kPhotoIndexSource, -1, [&] { return DeleteFolder(folder); });
}

int IndexDirRename(const char* new_folder, const char* old_folder) {
  return Guarded(kPhotoIndexSource, -1, [&] { return RenameFolder(new_folder, old_folder); });
}
