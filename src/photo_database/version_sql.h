// The version column of photo_image.
#ifndef PHOTO_DATABASE_VERSION_SQL_H_
#define PHOTO_DATABASE_VERSION_SQL_H_

inline constexpr const char* kVersionByPath = "select version from photo_image where path = '@KAVO:VAR'";
inline constexpr const char* kSetVersion =
    "Update photo_image set version = @KAVO:INT where path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_VERSION_SQL_H_
