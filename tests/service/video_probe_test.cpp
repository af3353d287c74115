// What the probe reads from real containers of videos.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "probe/name_time.h"
#include "probe/probe.h"
#include "probe/video_place.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"
#include "support/time_zone.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kSomeZone = "CET-1CEST,M3.5.0,M10.5.0/3";

// Bytes of memory at most while a process of its own probes PATH; it then ends with the outcome.
std::size_t PeakMemory(const std::string& path, ProbeOutcome& outcome) {
  const pid_t child = fork();
  if (child == 0) _exit(static_cast<int>(ProbeFile(path, MediaKind::kVideo).outcome));
  int status = 0;
  rusage usage{};
  EXPECT_EQ(wait4(child, &status, 0, &usage), child);
  EXPECT_TRUE(WIFEXITED(status));
  outcome = static_cast<ProbeOutcome>(WEXITSTATUS(status));
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

class VideoProbe : public testing::Test {
 protected:
  ProbeResult Read(const std::string& name) { return ProbeFile(dir_ / name, MediaKind::kVideo); }
  // The creation date of a video with these tags.
  std::string Date(const std::string& name, const Tags& tags) {
    if (!MakeTaggedVideo(dir_ / name, tags)) return "no ffmpeg";
    return DateOf(name);
  }
  std::string DateOf(const std::string& name) {
    const Json::Value media = Read(name).media;
    EXPECT_NE(media["szMDate"], media["szDate"]) << "that of the file is another";
    EXPECT_EQ(media["szTakenTime"], media["szDate"]);
    return media["szDate"].asString();
  }
  // What the probe of a small video takes.
  std::size_t UsualMemory() {
    EXPECT_TRUE(MakeVideo(dir_ / "small.mkv", 64, 48, 1));
    ProbeOutcome outcome = ProbeOutcome::kDamaged;
    const std::size_t bytes = PeakMemory(dir_ / "small.mkv", outcome);
    EXPECT_EQ(outcome, ProbeOutcome::kOk);
    return bytes;
  }
  static bool HasFfmpeg() { return system("command -v ffmpeg >/dev/null") == 0; }

  TimeZone zone_{kSomeZone};
  TempDir dir_;
};

class VideoDates : public VideoProbe {
 protected:
  void SetUp() override {
    if (!HasFfmpeg()) GTEST_SKIP() << "no ffmpeg";
  }
  void ExpectNone(const std::string& name) {
    const Json::Value media = Read(name).media;
    EXPECT_EQ(media["szDate"], media["szMDate"]) << name;
  }
  // An AVI file whose head has the date chunk of cameras.
  void MakeAviOf(const std::string& name, std::string date) {
    ASSERT_TRUE(MakeVideo(dir_ / "a.avi", 64, 48, 1));
    std::string content = ReadFile(dir_ / "a.avi");
    const std::size_t junk = content.find("JUNK");
    ASSERT_NE(junk, std::string::npos);
    date.resize(26, '\0');
    const auto length =
        static_cast<unsigned char>(content[junk + 4]) + 256U * static_cast<unsigned char>(content[junk + 5]);
    const std::size_t rest = length - date.size() - 8;
    const std::string chunks = std::string("IDIT\x1A\0\0\0", 8) + date + "JUNK" +
                               static_cast<char>(rest % 256) + static_cast<char>(rest / 256) +
                               std::string(2, '\0');
    WriteFile(dir_ / name, content.replace(junk, chunks.size(), chunks));
  }
};

TEST_F(VideoDates, AContainersTimeIsUniversal) {
  const Tags tags = {{"creation_time", "2020-07-01T22:30:00Z"}};
  EXPECT_EQ(Date("a.mp4", tags), "2020-07-02 00:30:00");
  EXPECT_EQ(Date("a.mov", tags), "2020-07-02 00:30:00");
  EXPECT_EQ(Date("a.mkv", tags), "2020-07-02 00:30:00");
}

TEST_F(VideoDates, ATelephonesTagIsTheClockOfThePlace) {
  EXPECT_EQ(Date("a.mov", {{"com.apple.quicktime.creationdate", "2020-07-01T15:30:00-0700"},
                           {"creation_time", "2020-07-01T22:30:05Z"}}),
            "2020-07-01 15:30:00");
  EXPECT_EQ(Date("b.mp4", {{"com.apple.quicktime.creationdate", "2020-07-01T22:30:00Z"}}),
            "2020-07-02 00:30:00");
}

TEST_F(VideoDates, AMatroskaTagIsTheMomentOfRecording) {
  EXPECT_EQ(
      Date("a.mkv", {{"DATE_RECORDED", "2020-07-01 15:30:00"}, {"creation_time", "2021-07-01T22:30:00Z"}}),
      "2020-07-01 15:30:00");
}

TEST_F(VideoDates, ADateWithTheTimeOfDayIsTheMomentOfRecording) {
  EXPECT_EQ(Date("a.mp4", {{"date", "2012-05-09T14:46:38-0400"}, {"creation_time", "2020-07-01T22:30:00Z"}}),
            "2012-05-09 14:46:38");
}

TEST_F(VideoDates, ADayAloneComesBehindTheContainersTime) {
  EXPECT_EQ(Date("a.mp4", {{"date", "2012-05-09"}, {"creation_time", "2020-07-01T22:30:00Z"}}),
            "2020-07-02 00:30:00");
  EXPECT_EQ(Date("b.mp4", {{"date", "2012-05-09"}}), "2012-05-09 00:00:00");
}

TEST_F(VideoDates, AviFilesHaveTheClockOfThePlace) {
  EXPECT_EQ(Date("a.avi", {{"date", "2005:08:17 11:42:43"}}), "2005-08-17 11:42:43");
  EXPECT_EQ(Date("b.avi", {{"date", "Mon Mar 10 15:04:43 2003"}}), "2003-03-10 15:04:43");
}

TEST_F(VideoDates, TheDateChunkOfCamerasIsRead) {
  const std::map<std::string, std::string> dates = {{"Mon Mar 10 15:04:43 2003\n", "2003-03-10 15:04:43"},
                                                    {"2005:08:17 11:42:43", "2005-08-17 11:42:43"},
                                                    {"2005:08:17 03:42:43 PM", "2005-08-17 15:42:43"},
                                                    {"2001/ 1/27  1:42PM", "2001-01-27 13:42:00"},
                                                    {"2005/11/28/ 09:19", "2005-11-28 09:19:00"},
                                                    {"MON MAR 10 15:04:43 2003", "2003-03-10 15:04:43"},
                                                    {"2005/08/17 11:42:43", "2005-08-17 11:42:43"}};
  for (const auto& [written, read] : dates) {
    MakeAviOf("b.avi", written);
    EXPECT_EQ(DateOf("b.avi"), read) << written;
  }
  MakeAviOf("b.avi", "Mon Mai 10 15:04:43 2003");
  ExpectNone("b.avi");
}

TEST_F(VideoDates, TimesThatAreNoneArePassedOver) {
  EXPECT_EQ(Date("a.mov", {{"com.apple.quicktime.creationdate", "0000-00-00T00:00:00Z"},
                           {"creation_time", "2020-07-01T22:30:00Z"}}),
            "2020-07-02 00:30:00");
  ASSERT_TRUE(MakeTaggedVideo(dir_ / "b.mkv", {{"creation_time", "1970-01-01T00:00:00Z"}}));
  ExpectNone("b.mkv");
  for (const char* time : {"1904-01-01T00:00:01Z", "1980-01-01T00:00:00Z", "1989-12-31T12:00:00Z"}) {
    ASSERT_TRUE(MakeTaggedVideo(dir_ / "b.mp4", {{"creation_time", time}}));
    ExpectNone("b.mp4");
  }
  ASSERT_TRUE(MakeTaggedVideo(dir_ / "c.mp4", {{"date", "20200701"}}));
  ExpectNone("c.mp4");
}

TEST_F(VideoDates, ATimeOfAStreamAloneCounts) {
  ASSERT_TRUE(MakeTaggedVideo(dir_ / "a.mov", {{"creation_time", "2020-07-01T22:30:00Z"}}));
  std::string content = ReadFile(dir_ / "a.mov");
  const std::size_t film = content.find("mvhd");
  ASSERT_NE(film, std::string::npos);
  constexpr std::size_t kTimeAt = 8;
  WriteFile(dir_ / "b.mov", content.replace(film + kTimeAt, 4, 4, '\0'));
  EXPECT_EQ(DateOf("b.mov"), "2020-07-02 00:30:00");
}

// What the header of a WMV counts in steps of 100 ns since 1601.
TEST_F(VideoDates, AWindowsVideoHasItsTimeInItsHeader) {
  ASSERT_TRUE(MakeCodedVideo(dir_ / "a.wmv", "-c:v wmv2 -c:a wmav2"));
  std::string content = ReadFile(dir_ / "a.wmv");
  const std::size_t object = content.find("\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11");
  ASSERT_NE(object, std::string::npos);
  const auto with_time = [&](std::uint64_t steps) {
    for (std::size_t byte = 0; byte < 8; ++byte)
      content[object + 48 + byte] = static_cast<char>(steps >> (8 * byte));
    WriteFile(dir_ / "b.wmv", content);
  };
  with_time((11'644'473'600 + 1'593'642'600) * std::uint64_t{10'000'000});
  EXPECT_EQ(DateOf("b.wmv"), "2020-07-02 00:30:00");
  for (const std::uint64_t none : {std::uint64_t{0}, ~std::uint64_t{0}}) {
    with_time(none);
    ExpectNone("b.wmv");
  }
}

TEST_F(VideoDates, TheNameTellsWhereTheContainerDoesNot) {
  EXPECT_EQ(Date("VID_20200701_153000.mp4", {}), "2020-07-01 15:30:00");
  EXPECT_EQ(Date("VID_20200701_153001.mp4", {{"creation_time", "2020-07-01T22:30:00Z"}}),
            "2020-07-02 00:30:00");
}

TEST_F(VideoDates, ADamagedVideoHasTheDateOfItsName) {
  WriteFile(dir_ / "VID_20200701_153000.mp4", "nothing of a video");
  EXPECT_EQ(DateOf("VID_20200701_153000.mp4"), "2020-07-01 15:30:00");
}

TEST(NameTime, AsTelephonesWriteIt) {
  const TimeZone zone(kSomeZone);
  const std::map<std::string, std::string> times = {
      {"VID_20200701_223000.mp4", "2020-07-01 22:30:00"},
      {"20200701_223000.mp4", "2020-07-01 22:30:00"},
      {"20200701_223000(0).mp4", "2020-07-01 22:30:00"},
      {"20200701223000.mov", "2020-07-01 22:30:00"},
      {"VID_20200701_223000_1.mp4", "2020-07-01 22:30:00"},
      {"VID-20200701-223000.3gp", "2020-07-01 22:30:00"},
      {"video_2020-07-01_22-30-00.mp4", "2020-07-01 22:30:00"},
      {"2020-07-01 22.30.00.mp4", "2020-07-01 22:30:00"},
      {"Screen Recording 2020-07-01 at 22.30.00.mov", "2020-07-01 22:30:00"},
      {"PXL_20200701_223000123.mp4", "2020-07-02 00:30:00"},
      {"PXL_20200701_223000123.LS.mp4", "2020-07-02 00:30:00"},
      {"VID-20200701-WA0001.mp4", "2020-07-01 00:00:00"},
      {"20200701T223000.mp4", "2020-07-01 22:30:00"},
      {"2020_07_01_22_30_00.mp4", "2020-07-01 22:30:00"},
      {"Screenshot 2024-01-05 101112.png", "2024-01-05 10:11:12"},
      {"signal-2020-07-01-223000.jpg", "2020-07-01 22:30:00"},
      {"signal-2020-07-01-22-30-00-123.jpg", "2020-07-01 22:30:00"},
      {"WP_20140606_12_34_56_Pro.jpg", "2014-06-06 12:34:56"},
      {"Bildschirmfoto 2021-03-04 um 10.11.12.jpg", "2021-03-04 10:11:12"},
      {"WhatsApp Bild 2021-03-04 um 10.11.12.jpg", "2021-03-04 10:11:12"},
      {"Capture d’écran 2021-03-04 à 10.11.12.jpg", "2021-03-04 10:11:12"},
      {"19700101_000000.mp4", "1970-01-01 00:00:00"},
      {"20991231_235959.mp4", "2099-12-31 23:59:59"},
  };
  for (const auto& [name, time] : times) EXPECT_EQ(TimeInName(name), time) << name;
}

TEST(NameTime, ClocksOfTwelveHoursAreConverted) {
  const std::map<std::string, std::string> times = {
      {"Screen Shot 2021-03-04 at 10.11.12 PM.png", "2021-03-04 22:11:12"},
      {"Screenshot 2021-03-04 at 10.11.12\xE2\x80\xAFPM.png", "2021-03-04 22:11:12"},
      {"Screenshot 2021-03-04 at 10.11.12\xC2\xA0pm.png", "2021-03-04 22:11:12"},
      {"WhatsApp Image 2023-01-05 at 11.45.12 PM.jpeg", "2023-01-05 23:45:12"},
      {"WhatsApp Image 2023-01-05 at 12.05.00 AM.jpeg", "2023-01-05 00:05:00"},
      {"WhatsApp Image 2023-01-05 at 12.05.00 PM (1).jpeg", "2023-01-05 12:05:00"},
      {"Screen Shot 2021-03-04 at 9.41.00 AM.png", "2021-03-04 09:41:00"},
      {"Screen Shot 2021-03-04 at 9.41.00 PM 2.png", "2021-03-04 21:41:00"},
      {"2021-03-04 9.41.00 PM.png", "2021-03-04 21:41:00"}};
  for (const auto& [name, time] : times) EXPECT_EQ(TimeInName(name), time) << name;
}

TEST(NameTime, OtherNumbersAreNone) {
  for (const char* name : {"",
                           "a.mp4",
                           "20200701.mp4",
                           "IMG_20200701.mp4",
                           "VID_20201301_223000.mp4",
                           "VID_20200701_243000.mp4",
                           "VID_20200230_223000.mp4",
                           "19691231_235959.mp4",
                           "21000101_000000.mp4",
                           "120200701_223000.mp4",
                           "20200701_2230001.mp4",
                           "20200701_22300012.mp4",
                           "1593642600000.mp4",
                           "2020-07-01.mp4",
                           "2020-07-01 22.30.mp4",
                           "2020-07-01 22.60.00.mp4",
                           "2020-07-01 9.41.00.mp4",
                           "2020-07-01 at 9.41.00.mp4",
                           "2020-07-01  at 22.30.00.mp4",
                           "2020-07-01 at one 22.30.00.mp4",
                           "2020-07-01at 22.30.00.mp4",
                           "2020-07-01 2 22.30.00.mp4",
                           "20200701 at 22.30.00.mp4",
                           "2020-07-01 at 22.30.001.2.mp4x1234",
                           "VID-20200701-WA.mp4",
                           "20200701"}) {
    EXPECT_EQ(TimeInName(name), std::nullopt) << name;
  }
}

TEST_F(VideoProbe, MatroskaForTheWebHasItsOwnName) {
  if (!HasFfmpeg()) GTEST_SKIP() << "no ffmpeg";
  ASSERT_TRUE(MakeCodedVideo(dir_ / "a.webm", "-c:v libvpx -c:a libvorbis"));
  EXPECT_EQ(Read("a.webm").media["szContainerType"].asString(), "webm");
  ASSERT_TRUE(MakeVideo(dir_ / "webm.mkv", 64, 48, 1));
  fs::rename(dir_ / "webm.mkv", dir_ / "b.webm");
  EXPECT_EQ(Read("b.webm").media["szContainerType"].asString(), "matroska");
}

TEST(VideoPlace, EveryFormOfTheStandardIsRead) {
  const std::map<std::string, std::string> places = {
      {"+48.8577+002.2950/", R"({"lat":"48.857700","lng":"2.295000"})"},
      {"+48.8577+002.2950", R"({"lat":"48.857700","lng":"2.295000"})"},
      {"-33.5000-070.2500+100.000/", R"({"lat":"-33.500000","lng":"-70.250000"})"},
      {"+48.8577+2.2950/", R"({"lat":"48.857700","lng":"2.295000"})"},
      {"+27.5916+086.5640+8850CRSWGS_84/", R"({"lat":"27.591600","lng":"86.564000"})"},
      {"+4851.462+00217.700/", R"({"lat":"48.857700","lng":"2.295000"})"},
      {"-485127.72-0021742/", R"({"lat":"-48.857700","lng":"-2.295000"})"},
      {"+90+180/", R"({"lat":"90.000000","lng":"180.000000"})"},
      {"-90-180/", R"({"lat":"-90.000000","lng":"-180.000000"})"},
      {"+00+001/", R"({"lat":"0.000000","lng":"1.000000"})"},
  };
  for (const auto& [text, place] : places) EXPECT_EQ(PlaceOfIso6709(text), place) << text;
}

TEST(VideoPlace, OtherTextsAreNone) {
  for (const char* text : {"",
                           "+",
                           "+48.8577",
                           "48.8577+002.2950/",
                           "+48.8577,+002.2950/",
                           "+90.0001+000.0000/",
                           "-90.0001+001/",
                           "+00.0000+180.0001/",
                           "+48.8577-180.0001/",
                           "+00.0000+000.0000/",
                           "+0000+00000/",
                           "+4860.000+00217.700/",
                           "+485160+0021742/",
                           "+488+002/",
                           "+48+0217/",
                           "+12345678+002/",
                           "+nan+002/",
                           "+48.8577+/",
                           "++48+002/",
                           "Paris"}) {
    EXPECT_EQ(PlaceOfIso6709(text), "") << text;
  }
}

TEST_F(VideoProbe, MatroskaHasATagOfItsOwnForThePlace) {
  if (!MakeTaggedVideo(dir_ / "a.mkv", {{"RECORDING_LOCATION", "+48.8577+002.2950/"}}))
    GTEST_SKIP() << "no ffmpeg";
  EXPECT_EQ(Read("a.mkv").place, R"({"lat":"48.857700","lng":"2.295000"})");
}

// What the container leaves out, and a decoder or parser has to tell.
TEST_F(VideoProbe, EveryFamilyTellsItsStreams) {
  if (!HasFfmpeg()) GTEST_SKIP() << "no ffmpeg";
  struct Family {
    const char* name;
    const char* arguments;
    const char* video;
    const char* audio;
    bool has_profile;
  };
  const Family families[] = {
      {"a.mts", "-f mpegts -c:v libx264 -c:a ac3", "h264", "ac3", true},
      {"b.ts", "-c:v libx264 -c:a aac", "h264", "aac", true},
      {"c.mpg", "-c:v mpeg2video -c:a mp2", "mpeg2video", "mp2", true},
      {"d.vob", "-c:v mpeg2video -c:a ac3", "mpeg2video", "ac3", true},
      {"e.flv", "-c:v flv1 -ar 44100 -c:a libmp3lame", "flv1", "mp3", false},
      {"f.3gp", "-c:v mpeg4 -c:a aac", "mpeg4", "aac", false},
      {"g.wmv", "-c:v wmv2 -c:a wmav2", "wmv2", "wmav2", false},
      {"h.ogv", "-c:v libtheora -c:a libvorbis", "theora", "vorbis", false},
      {"i.mkv", "-c:v libx265 -x265-params log-level=error -c:a libopus", "hevc", "opus", true},
      {"j.mov", "-c:v prores_ks -c:a pcm_s16le", "prores", "pcm_s16le", true},
      {"k.avi", "-c:v mjpeg -c:a pcm_u8", "mjpeg", "pcm_u8", true},
      {"l.webm", "-c:v libvpx-vp9 -c:a libopus", "vp9", "opus", true},
      {"m.rm", "-c:v rv20 -c:a ac3", "rv20", "ac3", false},
  };
  for (const Family& family : families) {
    ASSERT_TRUE(MakeCodedVideo(dir_ / family.name, family.arguments)) << family.name;
    const ProbeResult result = Read(family.name);
    const Json::Value& media = result.media;
    EXPECT_EQ(result.outcome, ProbeOutcome::kOk) << family.name << " " << result.reason;
    EXPECT_EQ(media["resolutionX"].asInt(), 64) << family.name;
    EXPECT_EQ(media["resolutionY"].asInt(), 48) << family.name;
    EXPECT_EQ(media["szVideoCodec"].asString(), family.video) << family.name;
    EXPECT_EQ(media["szAudioCodec"].asString(), family.audio) << family.name;
    EXPECT_EQ(media["channel"].asInt(), 1) << family.name;
    EXPECT_GT(media["frequency"].asInt(), 0) << family.name;
    EXPECT_GT(media["frame_rate_num"].asInt(), 0) << family.name;
    EXPECT_EQ(media["videoProfile"].asInt() > 0, family.has_profile) << family.name;
  }
}

TEST_F(VideoProbe, APictureUnderTheNameOfAVideoIsNotDecoded) {
  if (!HasFfmpeg()) GTEST_SKIP() << "no ffmpeg";
  const std::string command = "vips black '" + dir_ / "a.tif" + "[compression=deflate]' 8000 8000 --bands 3";
  ASSERT_EQ(system(command.c_str()), 0);
  fs::rename(dir_ / "a.tif", dir_ / "a.mp4");
  constexpr std::size_t kDecoded = std::size_t{8000} * 8000 * 3;
  ProbeOutcome outcome = ProbeOutcome::kOk;
  EXPECT_LT(PeakMemory(dir_ / "a.mp4", outcome), UsualMemory() + kDecoded / 4);
  EXPECT_EQ(outcome, ProbeOutcome::kUnsupported);
}

TEST_F(VideoProbe, AnUndecodedVideoOfTheLargestSizeTakesLittle) {
  if (!HasFfmpeg()) GTEST_SKIP() << "no ffmpeg";
  const std::string command =
      "ffmpeg -v error -y -f lavfi -i color=black:size=7680x4320:rate=25 -frames:v 1 "
      "-c:v ffv1 -threads 1 '" +
      dir_ / "a.mkv" + "'";
  ASSERT_EQ(system(command.c_str()), 0);
  constexpr std::size_t kOneFrame = std::size_t{7680} * 4320;
  ProbeOutcome outcome = ProbeOutcome::kDamaged;
  EXPECT_LT(PeakMemory(dir_ / "a.mkv", outcome), UsualMemory() + kOneFrame / 2);
  EXPECT_EQ(outcome, ProbeOutcome::kOk);
}

TEST_F(VideoProbe, PicturesAreNoVideos) {
  for (const char* name : {"a.png", "a.gif", "a.webp", "a.jpg", "a.bmp", "a.tif"}) {
    MakeImage(dir_ / name, 40, 30, {});
    const fs::path video = fs::path(dir_ / name).replace_extension(".mp4");
    fs::rename(dir_ / name, video);
    const ProbeResult result = ProbeFile(video, MediaKind::kVideo);
    EXPECT_EQ(result.outcome, ProbeOutcome::kUnsupported) << name;
    EXPECT_EQ(result.reason, "it holds no video") << name;
  }
}

}  // namespace
