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

#endif  // TESTS_SUPPORT_MEDIA_RECORD_H_
