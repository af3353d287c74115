#ifndef PHOTO_INDEX_ALBUM_INFO_H_
#define PHOTO_INDEX_ALBUM_INFO_H_

#include "lumivault/photo_database.h"

// Describes FOLDER, whose request context is set, as an album: new id, path, name, level, public flag and,
// for a sub-album, its parent and the parent's password. A side file that tells the public flag is consumed.
// RECORD must be cleared; it stays so, with success, when FOLDER has no album name. False on failure.
[[nodiscard]] bool IndexAlbumInfoBuild(KAVO_PHOTO_SHARE_INFO& record, const char* folder);

#endif  // PHOTO_INDEX_ALBUM_INFO_H_
