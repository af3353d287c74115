// Rows as media-info records.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "platform/database.h"

namespace {

using Record = KAVO_MEDIA_INFO;

template <auto kField>
void ReadText(Record& record, const char* value) {
  CopyText(record.*kField, sizeof(record.*kField), value);
}

// Whole numbers, whatever the type of the field: a duration loses its fraction.
template <auto kField>
void ReadNumber(Record& record, const char* value) {
  record.*kField =
      static_cast<std::remove_reference_t<decltype(record.*kField)>>(std::strtoll(value, nullptr, 10));
}

void ReadPath(Record& record, const char* value) {
  if (HGAStatusIsHGARequest()) {
    std::snprintf(record.szPath, sizeof record.szPath, "%s/%s", HGAStatusPhotoDirGet(), value);
  } else {
    CopyText(record.szPath, sizeof record.szPath, value);
  }
}

struct Column {
  const char* name;
  void (*read)(Record& record, const char* value);
};

// One list for the rows of every table. Each column is read even where the table lacks it, so of two columns
// for one field the later one decides: "filesize" over "size", "date" over "create_time".
constexpr Column kColumns[] = {
    {"path", ReadPath},
    {"name", ReadText<&Record::szName>},
    {"description", ReadText<&Record::szDesc>},
    {"title", ReadText<&Record::szTitle>},
    {"album", ReadText<&Record::szAlbum>},
    {"id", ReadNumber<&Record::ID>},
    {"size", ReadNumber<&Record::fileSize>},
    {"resolutionX", ReadNumber<&Record::resolutionX>},
    {"resolutionY", ReadNumber<&Record::resolutionY>},
    {"create_time", ReadText<&Record::szDate>},
    {"timetaken", ReadText<&Record::szTakenTime>},
    {"video_codec", ReadText<&Record::szVideoCodec>},
    {"audio_codec", ReadText<&Record::szAudioCodec>},
    {"container_type", ReadText<&Record::szContainerType>},
    {"frame_rate_num", ReadNumber<&Record::frame_rate_num>},
    {"frame_rate_den", ReadNumber<&Record::frame_rate_den>},
    {"frame_bitrate", ReadNumber<&Record::frame_bitrate>},
    {"video_bitrate", ReadNumber<&Record::video_bitrate>},
    {"audio_bitrate", ReadNumber<&Record::audio_bitrate>},
    {"video_profile", ReadNumber<&Record::videoProfile>},
    {"video_level", ReadNumber<&Record::videoLevel>},
    {"frequency", ReadNumber<&Record::frequency>},
    {"duration", ReadNumber<&Record::duration>},
    {"channel", ReadNumber<&Record::channel>},
    {"filesize", ReadNumber<&Record::fileSize>},
    {"date", ReadText<&Record::szDate>},
    {"mdate", ReadText<&Record::szMDate>},
};

void Clear(Record& record) {
  std::memset(&record, 0, sizeof record);
}

void FillFromRow(const MEDIA_DB_HANDLER& handler, Record& record) {
  for (const Column& column : kColumns) {
    column.read(record, OrEmpty(KAVODBFetchField(handler.result, handler.row, column.name)));
  }
}

}  // namespace

int PhotoInfoDBGet(MEDIA_DB_HANDLER* handler, KAVO_MEDIA_INFO* record) noexcept {
  if (record != nullptr) Clear(*record);
  const bool given = handler != nullptr && record != nullptr;
  if (given && KAVODBFetchRow(handler->result, &handler->row) == -1) return -1;
  return PhotoInfoDBGetRecored(handler, record);
}

int PhotoInfoDBGetRecored(MEDIA_DB_HANDLER* handler, KAVO_MEDIA_INFO* record) noexcept {
  if (handler == nullptr || record == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  Clear(*record);
  FillFromRow(*handler, *record);
  return 0;
}
