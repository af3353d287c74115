#ifndef PHOTO_DATABASE_SAVED_PHOTO_H_
#define PHOTO_DATABASE_SAVED_PHOTO_H_

#include <optional>
#include <string>

// A photo link that nobody has to confirm any more.
inline constexpr const char* kConfirmedLink = "t";

// The id of the photo PATH, whose row has just been written; a failure is logged. The request context
// describes PATH.
std::optional<int> SavedPhotoId(const char* path);
// Links photo PHOTO_ID, confirmed, with label LABEL_ID of that NAME; INFO tells where on the photo. A failure
// is logged.
void LinkSavedPhoto(int photo_id, int label_id, const std::string& name, const std::string& info);

#endif  // PHOTO_DATABASE_SAVED_PHOTO_H_
