// What is read from the inside of a file. 0 or an empty text: it does not tell.
#ifndef SERVICE_PROBE_MEDIA_FACTS_H_
#define SERVICE_PROBE_MEDIA_FACTS_H_

#include <cstdint>
#include <string>

#include "probe/probe.h"
#include "probe/taken_time.h"

inline constexpr const char* kTookTooLong = "it took too long to analyse";

struct PictureSize {
  int width = 0;  // pixels, as stored
  int height = 0;
};

struct PhotoFacts {
  std::string title;  // that the picture carries
  std::string make;
  std::string model;
  std::string exposure;  // "1/125", seconds
  std::string aperture;  // "F2.8"
  int iso = 0;
};

struct VideoFacts {
  double duration = 0;  // seconds
  std::string video_codec;
  std::string audio_codec;
  std::string container;
  int profile = 0;
  int level = 0;
  std::uint32_t bitrate = 0;  // bits per second, the whole file
  std::uint32_t video_bitrate = 0;
  std::uint32_t audio_bitrate = 0;
  int frame_rate_num = 0;
  int frame_rate_den = 0;
  int channels = 0;
  int frequency = 0;  // Hz
  int rotation = 0;   // degrees clockwise: 0, 90, 180 or 270
};

// What both kinds have in common.
struct MediaFacts {
  ProbeOutcome outcome = ProbeOutcome::kOk;
  std::string reason;
  PictureSize size;
  TakenTime taken;
  std::string place;  // of a video, as the text of the column "gps"
  PhotoFacts photo;
  VideoFacts video;
};

#endif  // SERVICE_PROBE_MEDIA_FACTS_H_
