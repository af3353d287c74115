// What saving and renaming albums share.
#ifndef PHOTO_DATABASE_ALBUMS_H_
#define PHOTO_DATABASE_ALBUMS_H_

#include <string>

#include "lumivault/photo_database.h"
#include "photo_database/connection.h"

using Album = KAVO_PHOTO_SHARE_INFO;

// How the columns store a truth value.
inline const char* Flag(bool value) {
  return value ? "t" : "f";
}

// The name of the album that ALBUM refers to; a failure is logged and gives "".
std::string ReferenceAlbum(const char* album);

// The settings of a new album, from the configuration. Comments are for top-level albums; sub-albums always
// convert (the top-level album decides for them).
bool NewAlbumAllowsComments(const Album& album);
bool NewAlbumAllowsConversion(const Album& album);

// How often an album is given an id that another process takes first. Each time one of the others gets its
// album, so with the handful that write to one database at a time this many are never needed.
inline constexpr int kAlbumIdTries = 100;

bool IsAlbumRecorded(const char* name);
// Nothing reserves an album's id. Gives ALBUM the next one, where others have got as far as its own; false
// when they have not, so that its insert failed for another reason.
bool TakeNextId(Album& album);

// The statement that adds ALBUM's row.
Statement AlbumInsert(int database_type, const Album& album, bool comments, bool conversion,
                      int reference_id);

#endif  // PHOTO_DATABASE_ALBUMS_H_
