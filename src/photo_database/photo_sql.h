// Statements on photo_image. The INSERT and the UPDATE quote their numbers differently: that shows in the log
// and not in the row, and both stay as they are.
#ifndef PHOTO_DATABASE_PHOTO_SQL_H_
#define PHOTO_DATABASE_PHOTO_SQL_H_

inline constexpr const char* kPhotoColumns = "path, title, description";
inline constexpr const char* kInsertPhoto =
    "INSERT INTO photo_image (path, name, title, description, album, size, camera_make, "
    "camera_model, exposure, aperture, resolutionx, resolutiony, iso, timetaken, updated, "
    "create_time, version, gps, disabled, shareid, privilege_shareid, rotation, lat, lng, "
    "focal_length_v2, lens_v2, flash_v2) VALUES('@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', "
    "'@KAVO:VAR', '@KAVO:VAR', @KAVO:LLINT, '@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', "
    "'@KAVO:VAR', @KAVO:INT, @KAVO:INT, @KAVO:INT, '@KAVO:VAR', '1', '@KAVO:VAR', @KAVO:INT, "
    "'@KAVO:VAR', '@KAVO:VAR', '@KAVO:INT', '@KAVO:INT', '@KAVO:INT', @KAVO:VAR, @KAVO:VAR, "
    "'@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR')";
inline constexpr const char* kUpdatePhoto =
    "UPDATE photo_image SET name = '@KAVO:VAR', title = '@KAVO:VAR', description = "
    "'@KAVO:VAR', album = '@KAVO:VAR', size = @KAVO:LLINT, camera_make = '@KAVO:VAR', "
    "camera_model = '@KAVO:VAR', exposure = '@KAVO:VAR', aperture = '@KAVO:VAR', resolutionx "
    "= @KAVO:INT, resolutiony = @KAVO:INT, iso = @KAVO:INT, timetaken = '@KAVO:VAR', updated "
    "= '1', create_time = '@KAVO:VAR', version = '@KAVO:INT', gps = '@KAVO:VAR', disabled = "
    "'@KAVO:VAR', shareid = '@KAVO:INT', privilege_shareid = '@KAVO:INT', rotation = "
    "'@KAVO:INT', lat = @KAVO:VAR, lng = @KAVO:VAR, focal_length_v2 = '@KAVO:VAR', lens_v2 = "
    "'@KAVO:VAR', flash_v2 = '@KAVO:VAR' where path = '@KAVO:VAR'";
inline constexpr const char* kPhotoRotation = "SELECT rotation FROM photo_image WHERE path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_PHOTO_SQL_H_
