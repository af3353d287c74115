// Rows of converted copies of videos.
#include <cstdint>
#include <cstdio>
#include <optional>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"
#include "photo_database/stored_path.h"
#include "photo_database/video_convert_sql.h"
#include "platform/files.h"
#include "platform/text.h"

namespace {

struct ConvertedCopy {
  const KAVO_MEDIA_INFO& info;
  const char* video_key;
  const char* copy_key;
  const char* type;
  std::int64_t size;
};

void TrimTexts(KAVO_MEDIA_INFO& info) {
  for (char* text :
       {info.szTitle, info.szAlbum, info.szMake, info.szModel, info.szExposure, info.szAperture}) {
    StringTrim(text);
  }
}

bool IsVideoRecorded(const char* video_key) {
  char condition[kConditionSize];
  std::snprintf(condition, sizeof condition, kRawVideoByPath, video_key);
  return PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "*", condition, "") >= 1;
}

// Whether the copy has a row; nothing when that cannot be told.
std::optional<bool> IsCopyRecorded(int database_type, const ConvertedCopy& copy) {
  const auto condition = Statement::Build(database_type, kConvertByPaths, copy.video_key, copy.copy_key);
  if (!condition) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to KAVODBEscapeStringEX3 path: %s, convert_path: %s",
              copy.video_key, copy.copy_key);
    return std::nullopt;
  }
  const Cursor cursor(PHOTO_TABLE_VIDEO_CONVERT, nullptr, condition.get(), nullptr, 0, 0);
  if (!cursor) {
    LOG_COLON(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return std::nullopt;
  }
  return cursor.count() != 0;
}

// The values in the order of the columns, after the keys in an INSERT and before them in an UPDATE. The video
// bit rate is that of the whole file. The columns of bit rates are of 32 bits with a sign: a rate above that
// is stored as the negative number of the same bits.
Statement CopyStatement(int database_type, const ConvertedCopy& copy, bool recorded) {
  const KAVO_MEDIA_INFO& info = copy.info;
  const int frame_bitrate = static_cast<int>(info.frame_bitrate);
  const int audio_bitrate = static_cast<int>(info.audio_bitrate);
  if (recorded) {
    return Statement::Build(database_type, kUpdateConvert, copy.size, info.resolutionX, info.resolutionY,
                            frame_bitrate, info.szVideoCodec, info.videoProfile, info.videoLevel,
                            info.szContainerType, info.szAudioCodec, audio_bitrate, info.frequency,
                            info.channel, copy.type, copy.video_key, copy.copy_key);
  }
  return Statement::Build(database_type, kInsertConvert, copy.video_key, copy.copy_key, copy.size,
                          info.resolutionX, info.resolutionY, frame_bitrate, info.szVideoCodec,
                          info.videoProfile, info.videoLevel, info.szContainerType, info.szAudioCodec,
                          audio_bitrate, info.frequency, info.channel, copy.type);
}

int WriteCopy(const RequestConnection& connection, const ConvertedCopy& copy) {
  const auto recorded = IsCopyRecorded(connection.type(), copy);
  if (!recorded) return -1;
  const auto statement = CopyStatement(connection.type(), copy, *recorded);
  if (!statement) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to KAVODBEscapeStringEX3");
    return -1;
  }
  if (!Execute(connection, statement.get())) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), connection.error());
    return -1;
  }
  return 0;
}

int SaveCopy(KAVO_MEDIA_INFO& info, const char* path, const char* type) {
  TrimTexts(info);
  const RequestConnection connection;
  if (!connection) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to connect to database");
    return -1;
  }
  ConvertedCopy copy{info, StoredPath(info.szPath), StoredPath(path), type, 0};
  if (!RLIBCUnicodeIsUTF8(copy.video_key) || !RLIBCUnicodeIsUTF8(copy.copy_key)) {
    LOG_COLON(kPhotoDatabaseSource, "Invalid path: %s, %s", copy.video_key, copy.copy_key);
    return -1;
  }
  // Copies of a video that is not (or no longer) indexed are passed over.
  if (!IsFileExist(path, &copy.size) || !IsVideoRecorded(copy.video_key)) return 0;
  return WriteCopy(connection, copy);
}

}  // namespace

int PhotoInfoVideoConvertDBSave(KAVO_MEDIA_INFO* converted, const char* converted_path,
                                const char* convert_type) noexcept {
  if (converted == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1,
                 [&] { return SaveCopy(*converted, OrEmpty(converted_path), OrEmpty(convert_type)); });
}
