// Statements and conditions on video_convert, and the one on video that goes with them.
#ifndef PHOTO_DATABASE_VIDEO_CONVERT_SQL_H_
#define PHOTO_DATABASE_VIDEO_CONVERT_SQL_H_

// A printf format around a raw key.
inline constexpr const char kRawVideoByPath[] = "path = '%s'";
inline constexpr const char* kConvertByPaths = "video_path = '@KAVO:VAR' AND convert_file_path = '@KAVO:VAR'";

inline constexpr const char* kInsertConvert =
    "INSERT INTO video_convert(video_path, convert_file_path, filesize, resolutionx, resolutiony, "
    "video_bitrate, vcodec, video_profile, video_level, container_type, "
    "acodec, audio_bitrate, audio_frequency, audio_channel, convert_type, updated) "
    "VALUES('@KAVO:VAR', '@KAVO:VAR', @KAVO:LLINT, @KAVO:INT, @KAVO:INT, "
    "@KAVO:INT, '@KAVO:VAR', @KAVO:INT, @KAVO:INT, '@KAVO:VAR', "
    "'@KAVO:VAR', @KAVO:INT, @KAVO:INT, @KAVO:INT, '@KAVO:VAR', '1')";
inline constexpr const char* kUpdateConvert =
    "UPDATE video_convert SET filesize = @KAVO:LLINT, resolutionx = @KAVO:INT, resolutiony = @KAVO:INT, "
    "video_bitrate = @KAVO:INT, vcodec = '@KAVO:VAR', video_profile =  @KAVO:INT, video_level = @KAVO:INT, "
    "container_type = '@KAVO:VAR', acodec = '@KAVO:VAR', audio_bitrate = @KAVO:INT, "
    "audio_frequency = @KAVO:INT, audio_channel = @KAVO:INT, convert_type = '@KAVO:VAR', updated = '1' "
    "WHERE video_path = '@KAVO:VAR' AND convert_file_path = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_VIDEO_CONVERT_SQL_H_
