// Statements on video_desc.
#ifndef PHOTO_DATABASE_VIDEO_DESC_SQL_H_
#define PHOTO_DATABASE_VIDEO_DESC_SQL_H_

inline constexpr const char* kVideoDescColumns = "path";
inline constexpr const char* kInsertVideoDesc =
    "INSERT INTO video_desc (path, title, description, updated) VALUES ('@KAVO:VAR', "
    "'@KAVO:VAR', '@KAVO:VAR', '1')";
inline constexpr const char* kUpdateVideoDesc =
    "UPDATE video_desc SET title = '@KAVO:VAR', description = '@KAVO:VAR', updated = '1' "
    "where path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_VIDEO_DESC_SQL_H_
