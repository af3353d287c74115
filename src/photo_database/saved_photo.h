#ifndef PHOTO_DATABASE_SAVED_PHOTO_H_
#define PHOTO_DATABASE_SAVED_PHOTO_H_

#include <optional>

// A photo link that nobody has to confirm any more.
inline constexpr const char* kConfirmedLink = "t";

// The id of the photo PATH, whose row has just been written; a failure is logged. The request context then
// describes PATH.
std::optional<int> SavedPhotoId(const char* path);

#endif  // PHOTO_DATABASE_SAVED_PHOTO_H_
