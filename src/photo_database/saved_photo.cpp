#include "photo_database/saved_photo.h"

#include "base/log.h"
#include "lumivault/photo_database.h"

std::optional<int> SavedPhotoId(const char* path) {
  const int id = PhotoInfoDBPhotoIdGet(path);
  if (id != -1) return id;
  LOG_COLON(kPhotoDatabaseSource, "PhotoInfoDBPhotoIdGet failed for %s.", path);
  return std::nullopt;
}

void LinkSavedPhoto(int photo_id, int label_id, const std::string& name, const std::string& info) {
  if (PhotoInfoDBImageLabelDataAdd(photo_id, label_id, info.c_str(), kConfirmedLink) != -1) return;
  LOG_COLON(kPhotoDatabaseSource, "PhotoInfoDBImageLabelDataAdd failed for %s, iPhotoId: %d, iLabelId: %d",
            name.c_str(), photo_id, label_id);
}
