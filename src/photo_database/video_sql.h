// Statements on video. The INSERT and the UPDATE quote their numbers differently: that shows in the log and
// not in the row, and both stay as they are.
#ifndef PHOTO_DATABASE_VIDEO_SQL_H_
#define PHOTO_DATABASE_VIDEO_SQL_H_

inline constexpr const char* kVideoColumns = "path, gps";
inline constexpr const char* kInsertVideo =
    "INSERT INTO video(path, filesize, title, album, frame_bitrate, duration, resolutionX, "
    "resolutionY, audio_bitrate, frequency, channel, date, mdate, video_codec, audio_codec, "
    "video_profile, video_level, container_type, frame_rate_num, frame_rate_den, "
    "video_bitrate, gps, disabled, shareid, privilege_shareid, rotation, updated, lat, "
    "lng)VALUES('@KAVO:VAR', @KAVO:LLINT, '@KAVO:VAR', '@KAVO:VAR', '@KAVO:INT', "
    "'@KAVO:INT', '@KAVO:INT', '@KAVO:INT', @KAVO:INT, @KAVO:INT, @KAVO:INT, '@KAVO:VAR', "
    "'@KAVO:VAR', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:INT', '@KAVO:INT', '@KAVO:VAR', "
    "'@KAVO:INT', '@KAVO:INT', '@KAVO:INT', '@KAVO:VAR', '@KAVO:VAR', '@KAVO:INT', "
    "'@KAVO:INT', '@KAVO:INT', '1', @KAVO:VAR, @KAVO:VAR)";
inline constexpr const char* kUpdateVideo =
    "UPDATE video SET filesize = @KAVO:LLINT, title = '@KAVO:VAR', album = '@KAVO:VAR', "
    "frame_bitrate = '@KAVO:INT', duration = '@KAVO:INT', resolutionX = '@KAVO:INT', "
    "resolutionY = '@KAVO:INT', audio_bitrate = '@KAVO:INT', frequency = '@KAVO:INT', "
    "channel = '@KAVO:INT', date = '@KAVO:VAR', mdate = '@KAVO:VAR', video_codec = "
    "'@KAVO:VAR', audio_codec = '@KAVO:VAR', video_profile = '@KAVO:INT', video_level = "
    "'@KAVO:INT', container_type = '@KAVO:VAR', frame_rate_num = '@KAVO:INT', frame_rate_den "
    "= '@KAVO:INT', video_bitrate = '@KAVO:INT', gps = '@KAVO:VAR', disabled = '@KAVO:VAR', "
    "shareid = '@KAVO:INT', privilege_shareid = '@KAVO:INT', updated = '1', rotation = "
    "'@KAVO:INT', lat = @KAVO:VAR, lng = @KAVO:VAR WHERE path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_VIDEO_SQL_H_
