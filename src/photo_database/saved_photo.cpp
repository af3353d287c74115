#include "photo_database/saved_photo.h"

#include "base/log.h"
#include "photo_database/label.h"

std::optional<int> SavedPhotoId(const char* path) {
  if (!CheckPath(path)) return std::nullopt;
  const int id = PhotoInfoDBPhotoIdGet(path);
  if (id != -1) return id;
  LOG_AT(kPhotoDatabaseSource, "PhotoInfoDBPhotoIdGet failed for %s.", path);
  return std::nullopt;
}
