#include "probe/probe.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>

#include "lumivault/media_info.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"
#include "support/time_zone.h"

namespace {

namespace fs = std::filesystem;

void SetModified(const std::string& path, std::time_t time) {
  const timespec times[2] = {{time, 0}, {time, 0}};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

constexpr std::time_t kSomeTime = 1'600'000'000;  // 2020-09-13 12:26:40 UTC

class Probe : public testing::Test {
 protected:
  Json::Value Photo(const std::string& name, const Tags& tags = {}) {
    MakeImage(dir_ / name, 40, 30, tags);
    SetModified(dir_ / name, kSomeTime);
    const ProbeResult result = ProbeFile(dir_ / name, MediaKind::kPhoto);
    EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
    return result.media;
  }
  ProbeResult Content(const std::string& name, const std::string& content,
                      MediaKind kind = MediaKind::kPhoto) {
    WriteFile(dir_ / name, content);
    return ProbeFile(dir_ / name, kind);
  }

  TimeZone zone_{"UTC"};
  TempDir dir_;
};

TEST_F(Probe, ARecordHasEveryKeyOfItsKind) {
  const Json::Value media = Photo("a.jpg");
  EXPECT_EQ(media.size(), 48U);
  for (const char* key :
       {"szPath",          "szName",       "szDesc",      "szTitle",   "szAlbum", "szArtist",
        "szAlbumArtist",   "szGenre",      "szComposer",  "szComment", "szMake",  "szModel",
        "szExposure",      "szAperture",   "szTakenTime", "szDate",    "szMDate", "szVideoCodec",
        "szContainerType", "szAudioCodec", "szFsUUID"}) {
    EXPECT_EQ(media[key].type(), Json::stringValue) << key;
  }
  for (const char* key : {"ID", "audio_bitrate", "frame_bitrate", "video_bitrate", "fileSize"}) {
    EXPECT_EQ(media[key].type(), Json::uintValue) << key;
  }
  for (const char* key :
       {"track",          "disc",          "year",         "frame_rate_num", "frame_rate_den",
        "frequency",      "channel",       "resolutionX",  "resolutionY",    "song_count",
        "blTitleUTF16",   "blArtistUTF16", "blAlbumUTF16", "blGenreUTF16",   "blComposerUTF16",
        "blCommentUTF16", "coverCount",    "iso",          "videoProfile",   "videoLevel",
        "rotation"}) {
    EXPECT_EQ(media[key].type(), Json::intValue) << key;
  }
  EXPECT_EQ(media["duration"].type(), Json::realValue);
}

TEST_F(Probe, NamesComeFromThePath) {
  const Json::Value media = Photo("Summer 2020/my.best.photo.jpg");
  EXPECT_EQ(media["szPath"].asString(), dir_ / "Summer 2020/my.best.photo.jpg");
  EXPECT_EQ(media["szName"].asString(), "my.best.photo.jpg");
  EXPECT_EQ(media["szTitle"].asString(), "my.best.photo");
  EXPECT_EQ(media["szAlbum"].asString(), "Summer 2020");
  EXPECT_EQ(media["szDesc"].asString(), "");
}

TEST_F(Probe, SizeAndDatesComeFromTheFile) {
  const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  const Json::Value media = Photo("a.jpg");
  EXPECT_EQ(media["fileSize"].asUInt64(), fs::file_size(dir_ / "a.jpg"));
  EXPECT_EQ(media["szDate"].asString(), "2020-09-13 14:26:40");
  EXPECT_EQ(media["szMDate"].asString(), "2020-09-13 14:26:40");
}

// What 32 bits of seconds cannot tell.
TEST_F(Probe, AFileOfTheFutureHasItsDate) {
  constexpr std::time_t kYear2100 = 4'102'444'800;
  const std::string path = dir_ / "a.jpg";
  MakeImage(path, 40, 30, {});
  SetModified(path, kYear2100);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || status.st_mtime != kYear2100)
    GTEST_SKIP() << "this file system keeps no times after 2038";
  const ProbeResult result = ProbeFile(path, MediaKind::kPhoto);
  EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
  EXPECT_EQ(result.media["szMDate"].asString(), "2100-01-01 00:00:00");
}

TEST_F(Probe, ATitleHasTheBlanksOfItsName) {
  for (const char* name : {" lead", "trail ", "tab\t", " "})
    EXPECT_EQ(Photo(std::string(name) + ".jpg")["szTitle"].asString(), name);
}

TEST_F(Probe, ANameThatIsNoTextKeepsItsBytesAndGetsAReadableTitle) {
  const Json::Value media = Photo("caf\xE9.jpg");
  EXPECT_EQ(media["szPath"].asString(), dir_ / "caf\xE9.jpg");
  EXPECT_EQ(media["szName"].asString(), "caf\xE9.jpg");
  EXPECT_EQ(media["szTitle"].asString(), "caf\xC3\xA9");
}

TEST_F(Probe, ALongTitleIsCutBetweenCharacters) {
  std::string name;
  while (name.size() < 250) name += "\xE2\x82\xAC";  // three bytes each, 252 in all
  const ProbeResult result = ProbeFile(dir_ / ("a" + name + "bb"), MediaKind::kPhoto);  // need not exist
  EXPECT_EQ(result.media["szTitle"].asString(), "a" + name + "b");
  const ProbeResult longer = ProbeFile(dir_ / ("abc" + name), MediaKind::kPhoto);
  EXPECT_EQ(longer.media["szTitle"].asString(), "abc" + name.substr(0, name.size() - 3));
}

TEST_F(Probe, TextsAreUtf8AndFitTheirField) {
  const Json::Value media =
      Photo("a.jpg", {{"Exif.Image.Make", "Caf\xE9"},
                      {"Exif.Image.Model", "a" + std::string(97, 'b') + "\xC3\xA9\xC3\xA9"}});
  EXPECT_EQ(media["szMake"].asString(), "Caf\xC3\xA9");
  EXPECT_EQ(media["szModel"].asString(), "a" + std::string(97, 'b'));
  EXPECT_LT(media["szModel"].asString().size(), sizeof(KAVO_MEDIA_INFO::szModel));
}

TEST_F(Probe, ATextEndsAtItsFirstNul) {
  MakeJpeg(dir_ / "a.jpg", 40, 30, {{"Exif.Image.Make", "MakerXYZ"}});
  std::string content = ReadFile(dir_ / "a.jpg");
  content[content.find("MakerXYZ") + 5] = '\0';
  WriteFile(dir_ / "a.jpg", content);
  EXPECT_EQ(ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto).media["szMake"].asString(), "Maker");
}

TEST_F(Probe, TheMomentOfExposureWins) {
  const Json::Value media = Photo("a.jpg", {{"Exif.Photo.DateTimeOriginal", "2001:01:01 01:01:01"},
                                            {"Exif.Photo.DateTimeDigitized", "2002:02:02 02:02:02"},
                                            {"Exif.Image.DateTime", "2003:03:03 03:03:03"}});
  EXPECT_EQ(media["szTakenTime"].asString(), "2001-01-01 01:01:01");
}

TEST_F(Probe, TimesThatAreNoneArePassedOver) {
  for (const char* invalid : {"0000:00:00 00:00:00", "    :  :     :  :  ", "2001:13:01 00:00:00",
                              "2001:02:30 00:00:00", "2001:01:01 25:00:00", "yesterday", ""}) {
    const Json::Value media = Photo("a.jpg", {{"Exif.Photo.DateTimeOriginal", invalid},
                                              {"Exif.Photo.DateTimeDigitized", "2002:02:02 02:02:02"}});
    EXPECT_EQ(media["szTakenTime"].asString(), "2002-02-02 02:02:02") << invalid;
  }
}

TEST_F(Probe, TheLaterSourcesOfTheTakenTimeFollow) {
  EXPECT_EQ(Photo("a.jpg", {{"Exif.Image.DateTime", "2003:03:03 03:03:03"}})["szTakenTime"].asString(),
            "2003-03-03 03:03:03");
  EXPECT_EQ(Photo("b.jpg", {{"Xmp.photoshop.DateCreated", "2004-04-04"}})["szTakenTime"].asString(),
            "2004-04-04 00:00:00");
  EXPECT_EQ(Photo("c.png", {{"Xmp.xmp.CreateDate", "2005-05-05T05:05:05.5+02:00"}})["szTakenTime"].asString(),
            "2005-05-05 05:05:05");
  EXPECT_EQ(Photo("d.jpg")["szTakenTime"].asString(), "2020-09-13 12:26:40");
}

TEST_F(Probe, EveryCommonFormatHasItsSize) {
  for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp", "a.gif", "a.bmp"}) {
    const Json::Value media = Photo(name);
    EXPECT_EQ(media["resolutionX"].asInt(), 40) << name;
    EXPECT_EQ(media["resolutionY"].asInt(), 30) << name;
  }
}

TEST_F(Probe, AMissingFileIsUnreadable) {
  const ProbeResult result = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto);
  EXPECT_EQ(result.outcome, ProbeOutcome::kUnreadable);
  EXPECT_EQ(result.reason, "No such file or directory");
}

TEST_F(Probe, SpecialFilesAreNotOpened) {
  mkfifo((dir_ / "fifo.jpg").c_str(), 0644);
  fs::create_directory(dir_ / "folder.jpg");
  for (const MediaKind kind : {MediaKind::kPhoto, MediaKind::kVideo}) {
    for (const std::string& path : {dir_ / "fifo.jpg", dir_ / "folder.jpg", std::string("/dev/null")}) {
      const ProbeResult result = ProbeFile(path, kind);
      EXPECT_EQ(result.outcome, ProbeOutcome::kUnreadable) << path;
      EXPECT_EQ(result.reason, "not a regular file") << path;
    }
  }
}

TEST_F(Probe, AFileWithoutPermissionIsUnreadable) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads everything";
  MakeJpeg(dir_ / "a.jpg", 8, 8);
  chmod((dir_ / "a.jpg").c_str(), 0);
  const ProbeResult result = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto);
  EXPECT_EQ(result.outcome, ProbeOutcome::kUnreadable);
  EXPECT_EQ(result.reason, "Permission denied");
}

TEST_F(Probe, AnEmptyFileIsEmpty) {
  for (const MediaKind kind : {MediaKind::kPhoto, MediaKind::kVideo}) {
    const ProbeResult result = Content("a.jpg", "", kind);
    EXPECT_EQ(result.outcome, ProbeOutcome::kEmpty);
    EXPECT_EQ(result.reason, "the file is empty");
  }
}

TEST_F(Probe, WhatIsNoImageKeepsItsRecord) {
  const std::string content = "just a text that is longer than what the library looks at\n";
  const ProbeResult result = Content("a.jpg", content);
  EXPECT_EQ(result.outcome, ProbeOutcome::kUnsupported);
  EXPECT_EQ(result.reason, "The file contains data of an unknown image type");
  EXPECT_EQ(result.media["fileSize"].asUInt64(), content.size());
  EXPECT_NE(result.media["szDate"].asString(), "");
  EXPECT_EQ(result.media["szTakenTime"], result.media["szDate"]);
}

TEST_F(Probe, AVideoNamedAsAPhotoIsUnsupported) {
  const std::string avi = std::string("RIFF\xC8\0\0\0AVI LIST", 16) + std::string(200, '\0');
  EXPECT_EQ(Content("a.jpg", avi).outcome, ProbeOutcome::kUnsupported);
}

TEST_F(Probe, APictureThatBreaksOffIsDamagedAndStillTells) {
  MakeJpeg(dir_ / "a.jpg", 400, 300, {{"Exif.Image.Make", "Maker"}});
  const std::string whole = ReadFile(dir_ / "a.jpg");
  const ProbeResult result = Content("b.jpg", whole.substr(0, whole.size() - 20));
  EXPECT_EQ(result.outcome, ProbeOutcome::kDamaged);
  EXPECT_EQ(result.reason, "the picture is cut short");
  EXPECT_EQ(result.media["resolutionX"].asInt(), 400);
  EXPECT_EQ(result.media["szMake"].asString(), "Maker");
}

TEST_F(Probe, WhatFollowsAPictureDoesNotMakeItDamaged) {
  MakeJpeg(dir_ / "a.jpg", 400, 300);
  const std::string whole = ReadFile(dir_ / "a.jpg");
  EXPECT_EQ(Content("b.jpg", whole + std::string(100'000, 'x')).outcome, ProbeOutcome::kOk);
}

// Its end is looked for, but not in all of a hole.
TEST_F(Probe, APictureWithAHoleBehindItIsReadInNoTime) {
  MakeJpeg(dir_ / "a.jpg", 400, 300);
  const std::string whole = ReadFile(dir_ / "a.jpg");
  WriteFile(dir_ / "a.jpg", whole.substr(0, whole.size() - 20));
  if (truncate((dir_ / "a.jpg").c_str(), off_t{1} << 40) != 0) GTEST_SKIP() << "no file of this size here";
  alarm(60);
  const ProbeResult result = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto);
  alarm(0);
  EXPECT_EQ(result.outcome, ProbeOutcome::kDamaged);
  EXPECT_EQ(result.reason, "the picture is cut short");
}

TEST_F(Probe, APhotoCutAnywhereIsNeverOk) {
  constexpr std::size_t kCuts = 100;
  for (const char* name : {"a.jpg", "a.png"}) {
    MakeImage(dir_ / name, 60, 40, {{"Xmp.dc.subject", "sea"}});
    const std::string whole = ReadFile(dir_ / name);
    for (std::size_t cut = 0; cut < kCuts; ++cut) {
      const ProbeResult result = Content("cut", whole.substr(0, whole.size() * cut / kCuts));
      EXPECT_NE(result.outcome, ProbeOutcome::kOk) << name << " " << cut;
      EXPECT_NE(result.reason, "") << name << " " << cut;
      EXPECT_EQ(result.reason.find('\n'), std::string::npos) << name << " " << cut;
    }
  }
}

TEST_F(Probe, AVideoTellsItsStreams) {
  if (!MakeVideo(dir_ / "a.mp4", 64, 48, 2)) GTEST_SKIP() << "no ffmpeg";
  const ProbeResult result = ProbeFile(dir_ / "a.mp4", MediaKind::kVideo);
  ASSERT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
  const Json::Value& media = result.media;
  EXPECT_NEAR(media["duration"].asDouble(), 2, 0.1);
  EXPECT_EQ(media["resolutionX"].asInt(), 64);
  EXPECT_EQ(media["resolutionY"].asInt(), 48);
  EXPECT_EQ(media["szContainerType"].asString(), "mp4");
  EXPECT_EQ(media["szVideoCodec"].asString(), "h264");
  EXPECT_EQ(media["szAudioCodec"].asString(), "aac");
  EXPECT_EQ(media["frame_rate_num"].asInt(), 25);
  EXPECT_EQ(media["frame_rate_den"].asInt(), 1);
  EXPECT_EQ(media["channel"].asInt(), 1);
  EXPECT_EQ(media["frequency"].asInt(), 44100);
  EXPECT_GT(media["videoProfile"].asInt(), 0);
  EXPECT_GT(media["videoLevel"].asInt(), 0);
  EXPECT_GT(media["video_bitrate"].asUInt(), 0U);
  EXPECT_GT(media["audio_bitrate"].asUInt(), 0U);
  EXPECT_GT(media["frame_bitrate"].asUInt(), media["video_bitrate"].asUInt());
  EXPECT_EQ(media["rotation"].asInt(), 0);
}

TEST_F(Probe, ContainersHaveTheirShortNames) {
  const std::map<std::string, std::string> names = {
      {"a.mov", "mov"}, {"a.mkv", "matroska"}, {"a.avi", "avi"}, {"a.3gp", "3gp"}};
  for (const auto& [name, container] : names) {
    if (!MakeVideo(dir_ / name, 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
    const ProbeResult result = ProbeFile(dir_ / name, MediaKind::kVideo);
    EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << name << " " << result.reason;
    EXPECT_EQ(result.media["szContainerType"].asString(), container) << name;
  }
}

// The first five numbers of the matrix of an MP4 file's first track.
void SetMatrix(std::string& content, const std::array<int, 5>& values) {
  const std::size_t track = content.find("tkhd");
  ASSERT_NE(track, std::string::npos);
  constexpr std::size_t kMatrixOffset = 44;
  for (std::size_t index = 0; index < values.size(); ++index) {
    const std::uint32_t fixed = static_cast<std::uint32_t>(values.at(index)) << 16U;
    for (std::size_t byte = 0; byte < 4; ++byte) {
      content[track + kMatrixOffset + index * 4 + byte] = static_cast<char>(fixed >> (24U - 8U * byte));
    }
  }
}

// As a phone that was held turned by DEGREES writes it.
void TurnVideo(std::string& content, int degrees) {
  const int sine = degrees == 90 ? 1 : degrees == 270 ? -1 : 0;
  const int cosine = degrees == 180 ? -1 : degrees == 0 ? 1 : 0;
  SetMatrix(content, {cosine, sine, 0, -sine, cosine});
}

// As a selfie camera writes it: mirrored, then turned.
TEST_F(Probe, AMirroredVideoIsTurnedByWhatIsLeftWithoutTheMirror) {
  if (!MakeVideo(dir_ / "a.mp4", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  std::string content = ReadFile(dir_ / "a.mp4");
  const std::map<int, std::array<int, 5>> matrices = {
      {0, {-1, 0, 0, 0, 1}}, {180, {1, 0, 0, 0, -1}}, {90, {0, 1, 0, 1, 0}}, {270, {0, -1, 0, -1, 0}}};
  for (const auto& [degrees, matrix] : matrices) {
    SetMatrix(content, matrix);
    EXPECT_EQ(Content("b.mp4", content, MediaKind::kVideo).media["rotation"].asInt(), degrees);
  }
}

TEST_F(Probe, AVideosRotationIsClockwise) {
  if (!MakeVideo(dir_ / "a.mp4", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  std::string content = ReadFile(dir_ / "a.mp4");
  for (const int degrees : {0, 90, 180, 270}) {
    TurnVideo(content, degrees);
    const ProbeResult result = Content("b.mp4", content, MediaKind::kVideo);
    EXPECT_EQ(result.media["rotation"].asInt(), degrees);
    EXPECT_EQ(result.media["resolutionX"].asInt(), 64) << "as coded, whatever the rotation";
  }
}

TEST_F(Probe, AVideosCreationTimeIsTurnedIntoLocalTime) {
  if (!MakeVideo(dir_ / "a.mp4", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  const std::string command = "ffmpeg -v error -y -i '" + dir_ / "a.mp4" +
                              "' -c copy -metadata creation_time=2020-07-01T22:30:00Z '" + dir_ / "b.mp4" +
                              "'";
  ASSERT_EQ(system(command.c_str()), 0);
  const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(ProbeFile(dir_ / "b.mp4", MediaKind::kVideo).media["szTakenTime"].asString(),
            "2020-07-02 00:30:00");
}

TEST_F(Probe, AVideoWithoutATimeHasThatOfItsFile) {
  if (!MakeVideo(dir_ / "a.mp4", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  SetModified(dir_ / "a.mp4", kSomeTime);
  EXPECT_EQ(ProbeFile(dir_ / "a.mp4", MediaKind::kVideo).media["szTakenTime"].asString(),
            "2020-09-13 12:26:40");
}

TEST_F(Probe, WhatIsNoVideoIsUnsupported) {
  const ProbeResult text = Content("a.mp4", "just a text\n", MediaKind::kVideo);
  EXPECT_EQ(text.outcome, ProbeOutcome::kUnsupported);
  EXPECT_EQ(text.reason, "Invalid data found when processing input");
}

TEST_F(Probe, SoundAloneIsNoVideo) {
  const std::string command =
      "ffmpeg -v error -y -f lavfi -i sine=frequency=440 -t 1 '" + dir_ / "a.m4a" + "' 2>/dev/null";
  if (system(command.c_str()) != 0) GTEST_SKIP() << "no ffmpeg";
  const ProbeResult result = ProbeFile(dir_ / "a.m4a", MediaKind::kVideo);
  EXPECT_EQ(result.outcome, ProbeOutcome::kUnsupported);
  EXPECT_EQ(result.reason, "it holds no video");
  EXPECT_EQ(result.media["szAudioCodec"].asString(), "aac");
}

// A play list that is called a video could make the server read files that its owner may not.
TEST_F(Probe, AVideoThatNamesOtherFilesOpensNone) {
  if (!MakeVideo(dir_ / "secret.ts", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  const fs::path before = fs::current_path();
  fs::current_path(dir_.path());
  for (const std::string& secret : {dir_ / "secret.ts", std::string("secret.ts")}) {
    for (const std::string& list :
         {"#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + secret + "\n#EXT-X-ENDLIST\n",
          "ffconcat version 1.0\nfile " + secret + "\n"}) {
      const ProbeResult result = Content("list.mp4", list, MediaKind::kVideo);
      EXPECT_NE(result.outcome, ProbeOutcome::kOk) << list;
      EXPECT_EQ(result.media["resolutionX"].asInt(), 0) << list;
    }
  }
  fs::current_path(before);
}

TEST_F(Probe, AVideoCutAnywhereDoesNoHarm) {
  if (!MakeVideo(dir_ / "a.mkv", 64, 48, 1)) GTEST_SKIP() << "no ffmpeg";
  constexpr std::size_t kCuts = 40;
  const std::string whole = ReadFile(dir_ / "a.mkv");
  for (std::size_t cut = 0; cut < kCuts; ++cut) {
    const ProbeResult result =
        Content("cut.mkv", whole.substr(0, whole.size() * cut / kCuts), MediaKind::kVideo);
    EXPECT_EQ(result.media.size(), 48U);
    EXPECT_EQ(result.outcome == ProbeOutcome::kOk, result.reason.empty()) << cut;
  }
}

TEST_F(Probe, AFileThatChangesWhileItIsReadDoesNoHarm) {
  MakeJpeg(dir_ / "a.jpg", 400, 300, {{"Exif.Image.Make", "Maker"}});
  const std::string whole = ReadFile(dir_ / "a.jpg");
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (std::size_t round = 0; !stop; ++round) {
      std::ofstream(dir_ / "a.jpg", std::ios::binary | std::ios::trunc)
          << whole.substr(0, whole.size() / (round % 3 + 1));
    }
  });
  for (int round = 0; round < 300; ++round) {
    const ProbeResult result = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto);
    EXPECT_EQ(result.media.size(), 48U);
  }
  stop = true;
  writer.join();
  WriteFile(dir_ / "a.jpg", whole);
  const ProbeResult result = ProbeFile(dir_ / "a.jpg", MediaKind::kPhoto);
  EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << result.reason;
  EXPECT_EQ(result.media["szMake"].asString(), "Maker");
}

TEST_F(Probe, AnEnormousFileOfNothingIsQuick) {
  const int file = open((dir_ / "a.jpg").c_str(), O_CREAT | O_WRONLY, 0644);
  if (ftruncate(file, off_t{1} << 40) != 0) GTEST_SKIP() << "no file of this size here";
  close(file);
  const auto start = std::chrono::steady_clock::now();
  for (const MediaKind kind : {MediaKind::kPhoto, MediaKind::kVideo}) {
    EXPECT_NE(ProbeFile(dir_ / "a.jpg", kind).outcome, ProbeOutcome::kOk);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

}  // namespace
