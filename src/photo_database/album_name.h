#ifndef PHOTO_DATABASE_ALBUM_NAME_H_
#define PHOTO_DATABASE_ALBUM_NAME_H_

#include <optional>
#include <string>

#include "base/limits.h"
#include "lumivault/photo_util.h"
#include "photo_util/root_album.h"

// The album that FOLDER is, in the library of the request.
[[nodiscard]] inline std::optional<std::string> AlbumName(const char* folder) {
  char album[kPathSize] = {};
  if (PhotoUtilShareNameGet(folder, album, sizeof album) < 0) return std::nullopt;
  return album;
}

#endif  // PHOTO_DATABASE_ALBUM_NAME_H_
