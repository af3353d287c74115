// JSON of other programs: the readers of members never throw or change it, and agree with each other.
#include <json/reader.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "base/json_value.h"
#include "fuzz/fuzz_input.h"
#include "lumivault/media_info.h"

namespace {

// As long as the shortest text of a record has room for.
constexpr std::size_t kShortest = 16;

bool HasRoom(const Json::Value& value) {
  return !value.isString() || value.asString().size() < kShortest;
}

void CheckMember(const Json::Value& object, const char* key) {
  const std::int64_t whole = JsonInt64(object, key);
  const std::int64_t nearest =
      std::clamp<std::int64_t>(whole, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
  Require(JsonInt(object, key) == nearest || JsonInt(object, key) == std::numeric_limits<int>::max(),
          "another number", key);
  Require(whole < 0 || JsonUInt64(object, key) >= static_cast<std::uint64_t>(whole), "less", key);
  Require(JsonText(object, key).find('\0') == std::string::npos, "a NUL", key);
  Require(JsonUInt(object, key) <= JsonUInt64(object, key), "more", key);
  static_cast<void>(JsonDouble(object, key));
}

// A record that was made of it makes the same record again.
void CheckRecord(Json::Value object) {
  if (!object.isObject() || !std::all_of(object.begin(), object.end(), HasRoom)) return;
  KAVO_MEDIA_INFO record;
  MediaInfoJson2Object(object, record);
  Json::Value written;
  MediaInfoObject2Json(record, written);
  const Json::Value whole = written;
  KAVO_MEDIA_INFO again;
  MediaInfoJson2Object(written, again);
  MediaInfoObject2Json(again, written);
  Require(whole == written, "a record changed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = TextOf(data, size);
  Json::CharReaderBuilder builder;
  builder["stackLimit"] = 100;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value object;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &object, nullptr)) return 0;
  } catch (const Json::Exception&) {
    return 0;  // nested too deeply for the library
  }
  const Json::Value before = object;
  for (const char* key : {"szPath", "ID", "year", "fileSize", "duration", ""}) CheckMember(object, key);
  Require(object == before, "reading has changed it", text);
  CheckRecord(object);
  return 0;
}
