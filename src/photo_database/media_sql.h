// What the saves of the three media tables share.
#ifndef PHOTO_DATABASE_MEDIA_SQL_H_
#define PHOTO_DATABASE_MEDIA_SQL_H_

inline constexpr const char* kMediaByPath = "path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_MEDIA_SQL_H_
