// The row of a video.
#include <optional>

#include "base/json_value.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/cursor.h"
#include "photo_database/position.h"
#include "photo_database/save.h"
#include "photo_database/storable_text.h"
#include "photo_database/video_sql.h"

namespace {

struct VideoRow {
  std::int64_t size = 0;
  std::string title;
  std::string album;
  int frame_bitrate = 0;
  int duration = 0;
  int width = 0;
  int height = 0;
  int audio_bitrate = 0;
  int frequency = 0;
  int channel = 0;
  std::string date;
  std::string modification_date;
  std::string video_codec;
  std::string audio_codec;
  int profile = 0;
  int level = 0;
  std::string container;
  int frame_rate_num = 0;
  int frame_rate_den = 0;
  int video_bitrate = 0;
  Position position;
  ShareIds shares;
  int rotation = 0;
};

// Degrees of rotation and the orientation codes that photos have for them.
struct Orientation {
  int degrees;
  int code;
};
constexpr Orientation kOrientations[] = {{90, 6}, {180, 3}, {270, 8}};
constexpr int kUpright = 1;

int OrientationCode(int degrees) {
  for (const Orientation& orientation : kOrientations) {
    if (orientation.degrees == degrees) return orientation.code;
  }
  return kUpright;
}

// Bit rates are unsigned in the record and signed in the statement.
int BitRate(const SaveRequest& request, const char* key) {
  return static_cast<int>(JsonUInt(request.info, key));
}

VideoRow RowFromRecord(const SaveRequest& request) {
  VideoRow row;
  row.size = static_cast<std::int64_t>(JsonUInt64(request.info, "fileSize"));
  row.title = RecordText(request, "szTitle");
  row.album = RecordText(request, "szAlbum");
  row.frame_bitrate = BitRate(request, "frame_bitrate");
  row.duration = TruncatedToInt(JsonDouble(request.info, "duration"));
  row.width = JsonInt(request.info, "resolutionX");
  row.height = JsonInt(request.info, "resolutionY");
  row.audio_bitrate = BitRate(request, "audio_bitrate");
  row.frequency = JsonInt(request.info, "frequency");
  row.channel = JsonInt(request.info, "channel");
  row.date = RecordText(request, "szDate");
  row.modification_date = RecordText(request, "szMDate");
  row.video_codec = RecordText(request, "szVideoCodec");
  row.audio_codec = RecordText(request, "szAudioCodec");
  row.profile = JsonInt(request.info, "videoProfile");
  row.level = JsonInt(request.info, "videoLevel");
  row.container = RecordText(request, "szContainerType");
  row.frame_rate_num = JsonInt(request.info, "frame_rate_num");
  row.frame_rate_den = JsonInt(request.info, "frame_rate_den");
  row.video_bitrate = BitRate(request, "video_bitrate");
  row.rotation = OrientationCode(JsonInt(request.info, "rotation"));
  return row;
}

Statement Insert(const SaveRequest& request, const VideoRow& row) {
  return Statement::Build(request.connection.type(), kInsertVideo, request.key, row.size, row.title.c_str(),
                          row.album.c_str(), row.frame_bitrate, row.duration, row.width, row.height,
                          row.audio_bitrate, row.frequency, row.channel, row.date.c_str(),
                          row.modification_date.c_str(), row.video_codec.c_str(), row.audio_codec.c_str(),
                          row.profile, row.level, row.container.c_str(), row.frame_rate_num,
                          row.frame_rate_den, row.video_bitrate, row.position.gps.c_str(), request.disabled,
                          row.shares.share, row.shares.rights_share, row.rotation,
                          SqlNumber(row.position.latitude), SqlNumber(row.position.longitude));
}

Statement Update(const SaveRequest& request, const VideoRow& row) {
  return Statement::Build(request.connection.type(), kUpdateVideo, row.size, row.title.c_str(),
                          row.album.c_str(), row.frame_bitrate, row.duration, row.width, row.height,
                          row.audio_bitrate, row.frequency, row.channel, row.date.c_str(),
                          row.modification_date.c_str(), row.video_codec.c_str(), row.audio_codec.c_str(),
                          row.profile, row.level, row.container.c_str(), row.frame_rate_num,
                          row.frame_rate_den, row.video_bitrate, row.position.gps.c_str(), request.disabled,
                          row.shares.share, row.shares.rights_share, row.rotation,
                          SqlNumber(row.position.latitude), SqlNumber(row.position.longitude), request.key);
}

}  // namespace

SaveOutcome SaveVideo(const SaveRequest& request) {
  VideoRow row = RowFromRecord(request);
  const auto position = PhotoGPSInfoGet(request.path.c_str(), PositionMode::kVideo);
  if (position) row.position = *position;
  row.shares = ShareIdsOf(request.path);
  const auto condition = RowCondition(request);
  if (!condition) return SaveOutcome::kFailed;
  Cursor rows(PHOTO_TABLE_VIDEO, kVideoColumns, condition.get(), nullptr, 0, 0);
  if (!rows) {
    LOG_COLON(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return SaveOutcome::kFailed;
  }
  if (rows.count() == 0) return RunSave(request, Insert(request, row), SaveOutcome::kInserted);
  // The row's own position is kept while the file has none to offer.
  if (!position) {
    if (!rows.Next()) {
      LOG_COLON(kPhotoDatabaseSource, "KAVODBFetchRow failed");
      return SaveOutcome::kFailed;
    }
    row.position.gps = StorableText(OrEmpty(rows.Field("gps")), kGpsSize);
  }
  return RunSave(request, Update(request, row), SaveOutcome::kUpdated);
}
