#include <json/value.h>

#include "base/c_locale.h"
#include "base/export_guard.h"
#include "lumivault/media_info.h"
#include "photo_util/inserting_reader.h"

namespace {

constexpr const char* kTexts[] = {"szPath",   "szName",        "szTitle",    "szDesc",     "szAlbum",
                                  "szArtist", "szAlbumArtist", "szGenre",    "szComposer", "szComment",
                                  "szMake",   "szModel",       "szExposure", "szAperture", "szTakenTime",
                                  "szDate",   "szMDate"};
constexpr const char* kUnsignedNumbers[] = {"audio_bitrate", "frame_bitrate", "video_bitrate"};
constexpr const char* kSignedNumbers[] = {"frame_rate_num", "frame_rate_den", "rotation"};

// Unsigned numbers are printed signed, as every number of the dump.
void Dump(Json::Value& json) {
  const CLocale decimal_point;
  const InsertingReader media(json);
  // The one line with a blank behind its colon.
  LOG_BARE("\tID: %d", static_cast<int>(media.UInt("ID")));
  for (const char* key : kTexts) LOG_BARE("\t%s:%s", key, media.Text(key));
  LOG_BARE("\tduration:%f", static_cast<double>(media.Float("duration")));
  for (const char* key : kUnsignedNumbers) LOG_BARE("\t%s:%d", key, static_cast<int>(media.UInt(key)));
  for (const char* key : kSignedNumbers) LOG_BARE("\t%s:%d", key, media.Int(key));
}

}  // namespace

void DumpJson(Json::Value& json) {
  Guarded(kPhotoUtilSource, false, [&] {
    Dump(json);
    return true;
  });
}
