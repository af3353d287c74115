#include <json/value.h>

#include "base/c_locale.h"
#include "base/export_guard.h"
#include "lumivault/media_info.h"

namespace {

constexpr const char* kTexts[] = {"szPath",   "szName",        "szTitle",    "szDesc",     "szAlbum",
                                  "szArtist", "szAlbumArtist", "szGenre",    "szComposer", "szComment",
                                  "szMake",   "szModel",       "szExposure", "szAperture", "szTakenTime",
                                  "szDate",   "szMDate"};
constexpr const char* kUnsignedNumbers[] = {"audio_bitrate", "frame_bitrate", "video_bitrate"};
constexpr const char* kSignedNumbers[] = {"frame_rate_num", "frame_rate_den", "rotation"};

// Members are looked up with the inserting operator and read as in the conversion to a record.
const char* Text(Json::Value& json, const char* key) {
  const Json::Value& value = json[key];
  return value.isString() ? value.asCString() : "";
}

int Signed(Json::Value& json, const char* key) {
  const Json::Value& value = json[key];
  return value.isConvertibleTo(Json::intValue) ? value.asInt() : 0;
}

// Printed signed, as every number of the dump.
int Unsigned(Json::Value& json, const char* key) {
  const Json::Value& value = json[key];
  return value.isConvertibleTo(Json::uintValue) ? static_cast<int>(value.asUInt()) : 0;
}

float Seconds(Json::Value& json) {
  const Json::Value& value = json["duration"];
  return value.isConvertibleTo(Json::realValue) ? static_cast<float>(value.asDouble()) : 0;
}

void Dump(Json::Value& json) {
  const CLocale decimal_point;
  // The one line with a blank behind its colon.
  LOG_BARE("\tID: %d", Unsigned(json, "ID"));
  for (const char* key : kTexts) LOG_BARE("\t%s:%s", key, Text(json, key));
  LOG_BARE("\tduration:%f", static_cast<double>(Seconds(json)));
  for (const char* key : kUnsignedNumbers) LOG_BARE("\t%s:%d", key, Unsigned(json, key));
  for (const char* key : kSignedNumbers) LOG_BARE("\t%s:%d", key, Signed(json, key));
}

}  // namespace

void DumpJson(Json::Value& json) {
  Guarded(kPhotoUtilSource, false, [&] {
    Dump(json);
    return true;
  });
}
