// The media-info record to and from JSON, each member under its field's name.
#include <json/value.h>

#include <cstdint>
#include <cstring>

#include "base/export_guard.h"
#include "lumivault/media_info.h"
#include "photo_util/inserting_reader.h"

namespace {

// Fields that both directions carry, in record order.
template <typename Visitor>
void VisitExchangedFields(KAVO_MEDIA_INFO& record, Visitor&& visit) {
  visit("ID", record.ID);
  visit("szPath", record.szPath);
  visit("szName", record.szName);
  visit("szDesc", record.szDesc);
  visit("track", record.track);
  visit("disc", record.disc);
  visit("year", record.year);
  visit("szTitle", record.szTitle);
  visit("szAlbum", record.szAlbum);
  visit("szArtist", record.szArtist);
  visit("szAlbumArtist", record.szAlbumArtist);
  visit("szGenre", record.szGenre);
  visit("szComposer", record.szComposer);
  visit("szComment", record.szComment);
  visit("szMake", record.szMake);
  visit("szModel", record.szModel);
  visit("szExposure", record.szExposure);
  visit("szAperture", record.szAperture);
  visit("szTakenTime", record.szTakenTime);
  visit("szDate", record.szDate);
  visit("szMDate", record.szMDate);
  visit("duration", record.duration);
  visit("audio_bitrate", record.audio_bitrate);
  visit("frame_bitrate", record.frame_bitrate);
  visit("video_bitrate", record.video_bitrate);
  visit("frame_rate_num", record.frame_rate_num);
  visit("frame_rate_den", record.frame_rate_den);
}

// Fields that go into JSON and are not read back, in record order.
template <typename Visitor>
void VisitOneWayFields(KAVO_MEDIA_INFO& record, Visitor&& visit) {
  visit("frequency", record.frequency);
  visit("channel", record.channel);
  visit("resolutionX", record.resolutionX);
  visit("resolutionY", record.resolutionY);
  visit("fileSize", record.fileSize);
  visit("song_count", record.song_count);
  visit("blTitleUTF16", record.blTitleUTF16);
  visit("blArtistUTF16", record.blArtistUTF16);
  visit("blAlbumUTF16", record.blAlbumUTF16);
  visit("blGenreUTF16", record.blGenreUTF16);
  visit("blComposerUTF16", record.blComposerUTF16);
  visit("blCommentUTF16", record.blCommentUTF16);
  visit("coverCount", record.coverCount);
  visit("iso", record.iso);
  visit("szVideoCodec", record.szVideoCodec);
  visit("szContainerType", record.szContainerType);
  visit("videoProfile", record.videoProfile);
  visit("videoLevel", record.videoLevel);
  visit("szAudioCodec", record.szAudioCodec);
  visit("szFsUUID", record.szFsUUID);
}

class JsonWriter {
 public:
  explicit JsonWriter(Json::Value& json) : json_(json) {}

  void operator()(const char* key, const char* text) { json_[key] = text; }
  void operator()(const char* key, std::int32_t number) { json_[key] = Json::Int(number); }
  void operator()(const char* key, std::uint32_t number) { json_[key] = Json::UInt(number); }
  void operator()(const char* key, std::uint64_t number) { json_[key] = Json::UInt64(number); }
  void operator()(const char* key, float number) { json_[key] = static_cast<double>(number); }

 private:
  Json::Value& json_;
};

class RecordReader {
 public:
  explicit RecordReader(Json::Value& json) : json_(json) {}

  // The field is zero already, so the terminator is in place. The copy is not bounded: that the text fits is
  // the caller's promise, and a cut one would be worse than a broken promise.
  void operator()(const char* key, char* field) {
    const char* text = json_.Text(key);
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): see above
    std::memcpy(field, text, std::strlen(text));
  }
  void operator()(const char* key, std::int32_t& field) { field = json_.Int(key); }
  void operator()(const char* key, std::uint32_t& field) { field = json_.UInt(key); }
  void operator()(const char* key, float& field) { field = json_.Float(key); }

 private:
  InsertingReader json_;
};

}  // namespace

void MediaInfoObject2Json(KAVO_MEDIA_INFO& record, Json::Value& json) {
  Guarded(kPhotoUtilSource, false, [&] {
    json = Json::Value(Json::objectValue);
    JsonWriter writer(json);
    VisitExchangedFields(record, writer);
    VisitOneWayFields(record, writer);
    json["rotation"] = 0;
    return true;
  });
}

void MediaInfoJson2Object(Json::Value& json, KAVO_MEDIA_INFO& record) {
  record = KAVO_MEDIA_INFO{};
  Guarded(kPhotoUtilSource, false, [&] {
    VisitExchangedFields(record, RecordReader(json));
    return true;
  });
}
