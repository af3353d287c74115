// What is said of every table of media.
#ifndef PHOTO_DATABASE_MEDIA_SQL_H_
#define PHOTO_DATABASE_MEDIA_SQL_H_

// The row of a stored path.
inline constexpr const char* kMediaByPath = "path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_MEDIA_SQL_H_
