#include "lumivault/media_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "support/comma_locale.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

// Every field holds a value of its own: texts their name, numbers consecutive ones.
KAVO_MEDIA_INFO FullRecord() {
  KAVO_MEDIA_INFO record = {};
  const auto text = [](char* field, const char* value) { std::strcpy(field, value); };
  record.ID = 4'000'000'001;
  text(record.szPath, "path"), text(record.szName, "name"), text(record.szDesc, "desc");
  record.track = -1, record.disc = 2, record.year = 3;
  text(record.szTitle, "title"), text(record.szAlbum, "album"), text(record.szArtist, "artist");
  text(record.szAlbumArtist, "album artist"), text(record.szGenre, "genre"),
      text(record.szComposer, "composer");
  text(record.szComment, "comment"), text(record.szMake, "make"), text(record.szModel, "model");
  text(record.szExposure, "1/60"), text(record.szAperture, "F2.8"), text(record.szTakenTime, "taken");
  text(record.szDate, "date"), text(record.szMDate, "mdate");
  record.duration = 1.5F;
  record.audio_bitrate = 4'000'000'002, record.frame_bitrate = 5, record.video_bitrate = 6;
  record.frame_rate_num = 7, record.frame_rate_den = 8, record.frequency = 9, record.channel = 10;
  record.resolutionX = 11, record.resolutionY = 12, record.fileSize = 5'000'000'000, record.song_count = 13;
  record.blTitleUTF16 = 14, record.blArtistUTF16 = 15, record.blAlbumUTF16 = 16, record.blGenreUTF16 = 17;
  record.blComposerUTF16 = 18, record.blCommentUTF16 = 19, record.coverCount = 20, record.iso = 21;
  text(record.szVideoCodec, "h264"), text(record.szContainerType, "mp4");
  record.videoProfile = 22, record.videoLevel = 23;
  text(record.szAudioCodec, "aac"), text(record.szFsUUID, "uuid");
  return record;
}

// What FullRecord is in JSON.
Json::Value FullJson() {
  Json::Value json(Json::objectValue);
  const auto set = [&](const char* key, const Json::Value& value) { json[key] = value; };
  set("ID", Json::UInt(4'000'000'001));
  set("szPath", "path"), set("szName", "name"), set("szDesc", "desc");
  set("track", -1), set("disc", 2), set("year", 3);
  set("szTitle", "title"), set("szAlbum", "album"), set("szArtist", "artist");
  set("szAlbumArtist", "album artist"), set("szGenre", "genre"), set("szComposer", "composer");
  set("szComment", "comment"), set("szMake", "make"), set("szModel", "model");
  set("szExposure", "1/60"), set("szAperture", "F2.8"), set("szTakenTime", "taken");
  set("szDate", "date"), set("szMDate", "mdate");
  set("duration", 1.5);
  set("audio_bitrate", Json::UInt(4'000'000'002)), set("frame_bitrate", Json::UInt(5));
  set("video_bitrate", Json::UInt(6)), set("frame_rate_num", 7), set("frame_rate_den", 8);
  set("frequency", 9), set("channel", 10), set("resolutionX", 11), set("resolutionY", 12);
  set("fileSize", Json::UInt64(5'000'000'000)), set("song_count", 13), set("blTitleUTF16", 14);
  set("blArtistUTF16", 15), set("blAlbumUTF16", 16), set("blGenreUTF16", 17), set("blComposerUTF16", 18);
  set("blCommentUTF16", 19), set("coverCount", 20), set("iso", 21), set("szVideoCodec", "h264");
  set("szContainerType", "mp4"), set("videoProfile", 22), set("videoLevel", 23), set("szAudioCodec", "aac");
  set("szFsUUID", "uuid"), set("rotation", 0);
  return json;
}

Json::Value ToJson(KAVO_MEDIA_INFO record) {
  Json::Value json;
  MediaInfoObject2Json(record, json);
  return json;
}

KAVO_MEDIA_INFO ToRecord(Json::Value json) {
  KAVO_MEDIA_INFO record;
  MediaInfoJson2Object(json, record);
  return record;
}

bool SameBytes(const KAVO_MEDIA_INFO& a, const KAVO_MEDIA_INFO& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(MediaInfoRecord, HasItsFixedLayout) {
  EXPECT_EQ(sizeof(KAVO_MEDIA_INFO), 11712U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, szDesc), 4355U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, track), 8452U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, szMDate), 10553U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, duration), 10588U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, fileSize), 10632U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, szVideoCodec), 10676U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, videoProfile), 11188U);
  EXPECT_EQ(offsetof(KAVO_MEDIA_INFO, szFsUUID), 11451U);
}

TEST(MediaInfoToJson, EveryFieldGoesUnderItsName) {
  EXPECT_EQ(ToJson(FullRecord()), FullJson());
}

TEST(MediaInfoToJson, KindsAreThoseOfTheFields) {
  const Json::Value json = ToJson({});
  EXPECT_EQ(json["szPath"].type(), Json::stringValue);
  for (const char* key : {"ID", "audio_bitrate", "frame_bitrate", "video_bitrate", "fileSize"}) {
    EXPECT_EQ(json[key].type(), Json::uintValue) << key;
  }
  EXPECT_EQ(json["duration"].type(), Json::realValue);
  for (const char* key : {"track", "iso", "blTitleUTF16", "rotation"}) {
    EXPECT_EQ(json[key].type(), Json::intValue) << key;
  }
}

TEST(MediaInfoToJson, ZeroRecordGivesAllMembersEmpty) {
  const Json::Value json = ToJson({});
  EXPECT_EQ(json.size(), 48U);
  for (const std::string& key : json.getMemberNames()) {
    EXPECT_TRUE(json[key].isString() ? json[key] == "" : json[key].asDouble() == 0) << key;
  }
}

TEST(MediaInfoToJson, TargetLosesWhatItHeld) {
  Json::Value json(Json::arrayValue);
  json.append("old");
  KAVO_MEDIA_INFO record = {};
  MediaInfoObject2Json(record, json);
  EXPECT_TRUE(json.isObject());
  json["stray"] = 1;
  MediaInfoObject2Json(record, json);
  EXPECT_FALSE(json.isMember("stray"));
}

TEST(MediaInfoToJson, DurationIsTheFloatWidened) {
  KAVO_MEDIA_INFO record = {};
  record.duration = 0.1F;
  EXPECT_EQ(ToJson(record)["duration"].asDouble(), static_cast<double>(0.1F));
  EXPECT_NE(ToJson(record)["duration"].asDouble(), 0.1);
}

TEST(MediaInfoToRecord, FieldsUpToTheFrameRateComeBackAndTheRestIsZero) {
  KAVO_MEDIA_INFO expected = FullRecord();
  std::memset(&expected.frequency, 0, sizeof expected - offsetof(KAVO_MEDIA_INFO, frequency));
  EXPECT_TRUE(SameBytes(ToRecord(ToJson(FullRecord())), expected));
}

TEST(MediaInfoToRecord, TargetHoldsNothingOfWhatItHeld) {
  KAVO_MEDIA_INFO record;
  std::memset(&record, 'x', sizeof record);
  Json::Value json(Json::objectValue);
  MediaInfoJson2Object(json, record);
  EXPECT_TRUE(SameBytes(record, KAVO_MEDIA_INFO{}));
}

TEST(MediaInfoToRecord, MissingMemberReadsAsZeroAndIsAddedAsNull) {
  Json::Value json = FullJson();
  json.removeMember("track");
  json.removeMember("szTitle");
  KAVO_MEDIA_INFO record;
  MediaInfoJson2Object(json, record);
  EXPECT_EQ(record.track, 0);
  EXPECT_STREQ(record.szTitle, "");
  EXPECT_TRUE(json.isMember("track") && json["track"].isNull());
  EXPECT_TRUE(json.isMember("szTitle") && json["szTitle"].isNull());
}

TEST(MediaInfoToRecord, MembersOfAnotherKindReadAsZeroOrEmptyOrTheNearestNumber) {
  Json::Value json = FullJson();
  json["ID"] = "12";
  json["audio_bitrate"] = -1;
  json["track"] = Json::Value(Json::arrayValue);
  json["disc"] = Json::Int64(1) << 40;
  json["duration"] = "1.5";
  json["szTitle"] = 5;
  const KAVO_MEDIA_INFO record = ToRecord(json);
  EXPECT_EQ(record.ID, 0U);
  EXPECT_EQ(record.audio_bitrate, 0U);
  EXPECT_EQ(record.track, 0);
  EXPECT_EQ(record.disc, 2147483647);
  EXPECT_EQ(record.duration, 0);
  EXPECT_STREQ(record.szTitle, "");
  EXPECT_EQ(record.frame_rate_den, 8);
}

TEST(MediaInfoToRecord, TextFillsItsFieldToTheLastByte) {
  Json::Value json = FullJson();
  json["szName"] = std::string(254, 'n');
  const KAVO_MEDIA_INFO record = ToRecord(json);
  EXPECT_EQ(record.szName, std::string(254, 'n'));
  EXPECT_STREQ(record.szDesc, "desc");
}

TEST(MediaInfoToRecord, TextLongerThanItsFieldIsNotCut) {
  // Outside the promise of the callers, but what is read must not be a silently shortened value.
  Json::Value json = FullJson();
  json["szMDate"] = std::string(34, 'm');
  const KAVO_MEDIA_INFO record = ToRecord(json);
  EXPECT_EQ(std::string(record.szMDate, 34), std::string(34, 'm'));
}

TEST(MediaInfoToRecord, SourceThatIsNoObjectGivesAnEmptyRecord) {
  EXPECT_TRUE(SameBytes(ToRecord("text"), KAVO_MEDIA_INFO{}));
  EXPECT_THAT(SyslogCapture::Lines(), SizeIs(1));
}

// --- The dump.

std::vector<std::string> Dump(Json::Value json) {
  SyslogCapture::Clear();
  DumpJson(json);
  return SyslogCapture::Messages();
}

TEST(MediaInfoDump, WritesItsLinesInTheirOrder) {
  Json::Value json = FullJson();
  json["rotation"] = 90;
  EXPECT_THAT(
      Dump(json),
      ElementsAre("\tID: -294967295", "\tszPath:path", "\tszName:name", "\tszTitle:title", "\tszDesc:desc",
                  "\tszAlbum:album", "\tszArtist:artist", "\tszAlbumArtist:album artist", "\tszGenre:genre",
                  "\tszComposer:composer", "\tszComment:comment", "\tszMake:make", "\tszModel:model",
                  "\tszExposure:1/60", "\tszAperture:F2.8", "\tszTakenTime:taken", "\tszDate:date",
                  "\tszMDate:mdate", "\tduration:1.500000", "\taudio_bitrate:-294967294", "\tframe_bitrate:5",
                  "\tvideo_bitrate:6", "\tframe_rate_num:7", "\tframe_rate_den:8", "\trotation:90"));
  for (const auto& line : SyslogCapture::Lines()) EXPECT_EQ(line.priority, 3);
}

TEST(MediaInfoDump, ConvertedRecordGives25Lines) {
  const auto lines = Dump(ToJson(FullRecord()));
  ASSERT_THAT(lines, SizeIs(25));
  EXPECT_EQ(lines.back(), "\trotation:0");
}

TEST(MediaInfoDump, DurationIsNarrowedToAFloat) {
  Json::Value json = FullJson();
  json["duration"] = 16777217.0;
  EXPECT_EQ(Dump(json)[18], "\tduration:16777216.000000");
}

TEST(MediaInfoDump, DurationHasADecimalPointUnderADecimalComma) {
  const CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma can be had here";
  EXPECT_EQ(Dump(FullJson())[18], "\tduration:1.500000");
}

TEST(MediaInfoDump, ValueIsNeverAFormat) {
  Json::Value json = FullJson();
  json["szTitle"] = "100%s%n";
  EXPECT_EQ(Dump(json)[3], "\tszTitle:100%s%n");
}

TEST(MediaInfoDump, SourceThatIsNoObjectGivesOneLine) {
  Json::Value text("text");
  DumpJson(text);
  EXPECT_EQ(text, "text");
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(testing::StartsWith("photo_util.cpp:# Unexpected error: ")));
}

TEST(MediaInfoDump, MissingMembersReadAsZeroAndAreAddedAsNull) {
  Json::Value json(Json::objectValue);
  DumpJson(json);
  EXPECT_EQ(json.size(), 25U);
  const auto lines = SyslogCapture::Messages();
  ASSERT_THAT(lines, SizeIs(25));
  EXPECT_EQ(lines[0], "\tID: 0");
  EXPECT_EQ(lines[1], "\tszPath:");
  EXPECT_EQ(lines[18], "\tduration:0.000000");
}

}  // namespace
