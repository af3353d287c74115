// Pictures that libavcodec decodes: frames of videos, and photos of formats that libvips does not read.
#ifndef TOOLS_PREVIEW_FRAME_H_
#define TOOLS_PREVIEW_FRAME_H_

#include <cstdint>
#include <vector>

inline constexpr int kFrameBands = 3;

struct Frame {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;  // red, green, blue; rows without a gap
  int orientation = 1;               // as in Exif: how it is to be turned
};

enum class FrameOf { kVideo, kPicture };

// A frame of the file DESCRIPTOR, which is borrowed, made to fit into SIDE x SIDE pixels and never enlarged:
// of a video one of a few seconds about its tenth that is not black, or else the first of them. Throws a
// std::runtime_error with the reason.
Frame ReadFrame(int descriptor, FrameOf kind, int side);

#endif  // TOOLS_PREVIEW_FRAME_H_
