#include "probe/probe.h"

#include <sys/stat.h>

#include <cerrno>
#include <string_view>

#include "base/file_descriptor.h"
#include "common/error_text.h"
#include "files/looking.h"
#include "lumivault/media_info.h"
#include "platform/media_file.h"
#include "probe/media_facts.h"
#include "probe/name_time.h"
#include "probe/photo_probe.h"
#include "probe/record_text.h"
#include "probe/taken_time.h"
#include "probe/video_probe.h"

namespace {

constexpr std::size_t kTextSize = sizeof(KAVO_MEDIA_INFO::szTitle);

// The name of the file and of the folder that holds it.
struct Names {
  std::string_view file;
  std::string_view folder;
};

Names NamesIn(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {path, {}};
  std::string_view folder = path.substr(0, slash);
  folder = folder.substr(folder.rfind('/') + 1);  // the whole of it when there is none
  return {path.substr(slash + 1), folder};
}

// A name that is all extension is its own title.
std::string_view WithoutExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot);
}

// Every key of the record with nothing in it.
Json::Value EmptyRecord() {
  Json::Value media(Json::objectValue);
  for (const char* key : {"ID", "audio_bitrate", "frame_bitrate", "video_bitrate"})
    media[key] = Json::UInt(0);
  for (const char* key :
       {"szPath",          "szName",       "szDesc",      "szTitle",   "szAlbum", "szArtist",
        "szAlbumArtist",   "szGenre",      "szComposer",  "szComment", "szMake",  "szModel",
        "szExposure",      "szAperture",   "szTakenTime", "szDate",    "szMDate", "szVideoCodec",
        "szContainerType", "szAudioCodec", "szFsUUID"}) {
    media[key] = "";
  }
  for (const char* key :
       {"track",          "disc",          "year",         "frame_rate_num", "frame_rate_den",
        "frequency",      "channel",       "resolutionX",  "resolutionY",    "song_count",
        "blTitleUTF16",   "blArtistUTF16", "blAlbumUTF16", "blGenreUTF16",   "blComposerUTF16",
        "blCommentUTF16", "coverCount",    "iso",          "videoProfile",   "videoLevel",
        "rotation"}) {
    media[key] = Json::Int(0);
  }
  media["duration"] = 0.0;
  media["fileSize"] = Json::UInt64(0);
  return media;
}

void FillNames(const std::string& path, Json::Value& media) {
  const Names names = NamesIn(path);
  media["szPath"] = path;
  media["szName"] = std::string(names.file);
  media["szTitle"] = RecordName(WithoutExtension(names.file), kTextSize);
  media["szAlbum"] = RecordText(names.folder, kTextSize);
}

void FillStatus(const struct stat& status, Json::Value& media) {
  const std::string modified = LocalTime(status.st_mtime).value_or("");
  media["fileSize"] = Json::UInt64(status.st_size);
  media["szDate"] = modified;
  media["szMDate"] = modified;
  media["szTakenTime"] = modified;
}

void FillPhoto(const PhotoFacts& photo, Json::Value& media) {
  media["szMake"] = photo.make;
  media["szModel"] = photo.model;
  media["szExposure"] = photo.exposure;
  media["szAperture"] = photo.aperture;
  media["iso"] = photo.iso;
}

void FillVideo(const VideoFacts& video, Json::Value& media) {
  media["duration"] = video.duration;
  media["szVideoCodec"] = video.video_codec;
  media["szAudioCodec"] = video.audio_codec;
  media["szContainerType"] = video.container;
  media["videoProfile"] = video.profile;
  media["videoLevel"] = video.level;
  media["frame_bitrate"] = video.bitrate;
  media["video_bitrate"] = video.video_bitrate;
  media["audio_bitrate"] = video.audio_bitrate;
  media["frame_rate_num"] = video.frame_rate_num;
  media["frame_rate_den"] = video.frame_rate_den;
  media["channel"] = video.channels;
  media["frequency"] = video.frequency;
  media["rotation"] = video.rotation;
}

void Fill(const MediaFacts& facts, Json::Value& media) {
  if (!facts.taken.time.empty()) media["szTakenTime"] = facts.taken.time;
  media["resolutionX"] = facts.size.width;
  media["resolutionY"] = facts.size.height;
  FillPhoto(facts.photo, media);
  FillVideo(facts.video, media);
}

// The creation date of a video is when it was recorded; its file may be a copy.
void FillRecordedTime(const MediaFacts& facts, Json::Value& media) {
  if (!facts.taken.time.empty()) media["szDate"] = facts.taken.time;
}

void SetOutcome(ProbeOutcome outcome, std::string reason, ProbeResult& result) {
  result.outcome = outcome;
  result.reason = std::move(reason);
}

std::string ReasonOfOpenError(int error) {
  if (error == EINVAL) return "not a regular file";
  return error == ELOOP ? "a link stands in the place of its folder" : ErrorText(error);
}

// ERROR is why nothing could be opened.
void SetOutcomeOfUnopened(const std::string& path, int error, ProbeResult& result) {
  if (error == EPERM) return SetOutcome(ProbeOutcome::kRefused, kRefusedLink, result);
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) FillStatus(status, result.media);
  SetOutcome(ProbeOutcome::kUnreadable, ReasonOfOpenError(error), result);
}

void ProbeInside(const std::string& path, const FileDescriptor& file, MediaKind kind, ProbeResult& result) {
  if (result.media["fileSize"].asUInt64() == 0)
    return SetOutcome(ProbeOutcome::kEmpty, "the file is empty", result);
  MediaFacts facts = kind == MediaKind::kPhoto ? ReadPhoto(path, file.get()) : ReadVideo(file.get());
  if (facts.taken.time.empty()) facts.taken.time = TimeInName(NamesIn(path).file).value_or(facts.taken.rough);
  if (kind == MediaKind::kVideo) FillRecordedTime(facts, result.media);
  Fill(facts, result.media);
  result.title = std::move(facts.photo.title);
  result.place = std::move(facts.place);
  SetOutcome(facts.outcome, std::move(facts.reason), result);
}

}  // namespace

ProbeResult ProbeFile(const std::string& path, MediaKind kind) {
  ProbeResult result;
  result.media = EmptyRecord();
  FillNames(path, result.media);
  const FileDescriptor file(KAVOMediaOpen(path.c_str()));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    SetOutcomeOfUnopened(path, errno, result);
  } else {
    FillStatus(status, result.media);
    ProbeInside(path, file, kind, result);
  }
  return result;
}
