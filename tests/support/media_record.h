// What tests of the entry points send and expect.
#ifndef TESTS_SUPPORT_MEDIA_RECORD_H_
#define TESTS_SUPPORT_MEDIA_RECORD_H_

#include <json/value.h>

#include <cstdio>
#include <string>

#include "lumivault/photo_index.h"

// The kind of indexed folder that the tests use; 3 is one that does not concern the plug-in.
inline constexpr unsigned kIndexed = 1;
inline constexpr unsigned kNotIndexed = 3;

inline constexpr const char* kBadParameter = "photo_index.cpp:# Bad parameter.";
inline constexpr const char* kSaveFailed = "photo_index.cpp:# Failed to save photo info.";

// The media record of a file, as a service sends it.
inline Json::Value InfoOf(const std::string& path) {
  Json::Value info(Json::objectValue);
  info["szPath"] = path;
  return info;
}

inline KAVO_MEDIA_INFO RecordOf(const std::string& path) {
  KAVO_MEDIA_INFO record = {};
  std::snprintf(record.szPath, sizeof record.szPath, "%s", path.c_str());
  return record;
}

// What a service tells of a photo beside its name, album and size in pixels.
inline void FillPhoto(Json::Value& info) {
  info["fileSize"] = Json::UInt64{5'000'000'000};
  info["szMake"] = "Make";
  info["szModel"] = "Model";
  info["szExposure"] = "1/60";
  info["szAperture"] = "2.8";
  info["iso"] = 100;
  info["szTakenTime"] = "2020-01-02 03:04:05";
  info["szDate"] = "2021-01-01 00:00:00";
}

// What it tells of a video beside its name, album and rotation, each number another one.
inline void FillVideo(Json::Value& info) {
  info["fileSize"] = Json::UInt64{5'000'000'000};
  info["frame_bitrate"] = 1;
  info["duration"] = 12.9;
  info["resolutionX"] = 640;
  info["resolutionY"] = 480;
  info["audio_bitrate"] = 2;
  info["frequency"] = 44100;
  info["channel"] = 3;
  info["szDate"] = "d";
  info["szMDate"] = "m";
  info["szVideoCodec"] = "h264";
  info["szAudioCodec"] = "aac";
  info["videoProfile"] = 4;
  info["videoLevel"] = 5;
  info["szContainerType"] = "mov";
  info["frame_rate_num"] = 25;
  info["frame_rate_den"] = 6;
  info["video_bitrate"] = 7;
}

#endif  // TESTS_SUPPORT_MEDIA_RECORD_H_
