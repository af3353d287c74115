#include "preview/frame.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <stdexcept>

#include "probe/av_file.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace {

constexpr std::int64_t kMaxPixels = std::int64_t{64} << 20;
constexpr int kTenth = 10;
// Where a film begins with black for longer, its first frame is shown.
constexpr int kMostFrames = 120;
constexpr int kMostPackets = 2'000;
constexpr double kBlack = 12;  // of 255, on average

template <auto kFree>
struct Freed {
  template <typename Object>
  void operator()(Object* object) const {
    kFree(&object);
  }
};
using Decoder = std::unique_ptr<AVCodecContext, Freed<avcodec_free_context>>;
using Picture = std::unique_ptr<AVFrame, Freed<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Freed<av_packet_free>>;
struct FreeScaler {
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, FreeScaler>;

[[noreturn]] void Refuse(const char* why) {
  throw std::runtime_error(why);
}

int StreamOf(AVFormatContext* format) {
  const int found = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (found < 0) Refuse("there is no picture in it");
  return found;
}

Decoder OpenDecoder(const AVCodecParameters& parameters) {
  const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
  Decoder decoder(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
  if (!decoder || avcodec_parameters_to_context(decoder.get(), &parameters) < 0)
    Refuse("there is no decoder for it");
  decoder->thread_count = 1;
  decoder->max_pixels = kMaxPixels;
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) Refuse("its decoder does not start");
  return decoder;
}

// The orientation of Exif that does what the matrix does: a pixel at (x, y) is shown at (a x + c y, b x + d
// y).
struct Turn {
  int a, b, c, d;
  int orientation;
};
constexpr std::array kTurns{Turn{1, 0, 0, 1, 1},   Turn{-1, 0, 0, 1, 2}, Turn{-1, 0, 0, -1, 3},
                            Turn{1, 0, 0, -1, 4},  Turn{0, 1, 1, 0, 5},  Turn{0, 1, -1, 0, 6},
                            Turn{0, -1, -1, 0, 7}, Turn{0, -1, 1, 0, 8}};

int SignOf(std::int32_t number) {
  return (number > 0) - (number < 0);
}

// 1 for what is no quarter turn.
int OrientationOf(const AVStream& stream) {
  const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
  if (data == nullptr) return 1;
  std::array<std::int32_t, 9> matrix{};
  std::memcpy(matrix.data(), data, sizeof matrix);
  for (const Turn& turn : kTurns) {
    if (SignOf(matrix[0]) == turn.a && SignOf(matrix[1]) == turn.b && SignOf(matrix[3]) == turn.c &&
        SignOf(matrix[4]) == turn.d)
      return turn.orientation;
  }
  return 1;
}

struct Size {
  int width;
  int height;
};

// With pixels that are square then.
Size FitInto(const AVFrame& frame, int side) {
  double width = frame.width;
  const AVRational pixel = frame.sample_aspect_ratio;
  if (pixel.num > 0 && pixel.den > 0) width *= static_cast<double>(pixel.num) / pixel.den;
  const double height = frame.height;
  const double scale = std::min(1.0, side / std::max({width, height, 1.0}));
  const auto fitted = [&](double length) {
    return std::clamp(static_cast<int>(std::lround(length * scale)), 1, side);
  };
  return {fitted(width), fitted(height)};
}

// Which red, green and blue the picture's numbers mean. High definition that does not say has the newer ones.
void SayColours(const AVFrame& frame, SwsContext& scaler) {
  constexpr int kHighDefinition = 720;
  constexpr int kWhole = 1 << 16;  // of brightness, contrast and saturation: as they are
  int space = frame.colorspace;
  if (space == AVCOL_SPC_UNSPECIFIED || space == AVCOL_SPC_RESERVED)
    space = frame.height >= kHighDefinition ? SWS_CS_ITU709 : SWS_CS_ITU601;
  const bool full = frame.color_range == AVCOL_RANGE_JPEG;
  const int* from = sws_getCoefficients(space);
  const int* to = sws_getCoefficients(SWS_CS_DEFAULT);
  sws_setColorspaceDetails(&scaler, from, full ? 1 : 0, to, 1, 0, kWhole, kWhole);
}

Frame Scaled(const AVFrame& frame, int side) {
  if (frame.width <= 0 || frame.height <= 0) Refuse("its picture has no size");
  const Size size = FitInto(frame, side);
  const Scaler scaler(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                     size.width, size.height, AV_PIX_FMT_RGB24, SWS_AREA | SWS_ACCURATE_RND,
                                     nullptr, nullptr, nullptr));
  if (!scaler) Refuse("its colours are of no known form");
  SayColours(frame, *scaler);
  Frame scaled{size.width, size.height, {}, 1};
  const int row = size.width * kFrameBands;
  scaled.pixels.resize(static_cast<std::size_t>(row) * static_cast<std::size_t>(size.height));
  std::uint8_t* const planes[] = {scaled.pixels.data(), nullptr, nullptr, nullptr};
  const int rows[] = {row, 0, 0, 0};
  if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, rows) <= 0)
    Refuse("its colours cannot be converted");
  return scaled;
}

bool IsBlack(const Frame& frame) {
  const double sum = std::accumulate(frame.pixels.begin(), frame.pixels.end(), 0.0);
  return sum < kBlack * static_cast<double>(frame.pixels.size());
}

// Decodes one frame after the other.
class Frames {
 public:
  Frames(AVFormatContext* format, int stream)
      : format_(format),
        stream_(stream),
        decoder_(OpenDecoder(*format->streams[stream]->codecpar)),
        packet_(av_packet_alloc()),
        frame_(av_frame_alloc()) {
    if (!packet_ || !frame_) throw std::bad_alloc();
  }

  // Null behind the last one.
  const AVFrame* Next() {
    for (int packets = 0; packets < kMostPackets; ++packets) {
      const int received = avcodec_receive_frame(decoder_.get(), frame_.get());
      if (received == 0) return frame_.get();
      if (received != AVERROR(EAGAIN) || !Feed()) return nullptr;
    }
    return nullptr;
  }

 private:
  // False behind the end.
  bool Feed() {
    if (ended_) return false;
    for (;;) {
      av_packet_unref(packet_.get());
      if (av_read_frame(format_, packet_.get()) < 0) {
        ended_ = true;
        return avcodec_send_packet(decoder_.get(), nullptr) >= 0;
      }
      if (packet_->stream_index != stream_) continue;
      // One that is damaged is passed.
      avcodec_send_packet(decoder_.get(), packet_.get());
      return true;
    }
  }

  AVFormatContext* format_;
  int stream_;
  Decoder decoder_;
  Packet packet_;
  Picture frame_;
  bool ended_ = false;
};

std::optional<Frame> BrightFrame(AVFormatContext* format, int stream, int side) {
  Frames frames(format, stream);
  std::optional<Frame> first;
  for (int seen = 0; seen < kMostFrames; ++seen) {
    const AVFrame* frame = frames.Next();
    if (frame == nullptr) break;
    Frame scaled = Scaled(*frame, side);
    if (!IsBlack(scaled)) return scaled;
    if (!first) first = std::move(scaled);
  }
  return first;
}

}  // namespace

Frame ReadFrame(int descriptor, FrameOf kind, int side) {
  const bool video = kind == FrameOf::kVideo;
  // The process as a whole has a deadline.
  constexpr std::chrono::seconds kPatience{60};
  const AvFile file(descriptor, video ? AvFile::Kind::kVideo : AvFile::Kind::kPicture,
                    {kPatience, kPatience});
  if (file.format() == nullptr) throw std::runtime_error(file.error());
  const int stream = StreamOf(file.format());
  if (video && file.format()->duration > 0)
    av_seek_frame(file.format(), -1, file.format()->duration / kTenth, AVSEEK_FLAG_BACKWARD);
  auto frame = BrightFrame(file.format(), stream, side);
  if (!frame && video) {
    // Some cannot be entered in the middle.
    av_seek_frame(file.format(), -1, 0, AVSEEK_FLAG_BACKWARD);
    frame = BrightFrame(file.format(), stream, side);
  }
  if (!frame) Refuse("no picture of it can be decoded");
  frame->orientation = OrientationOf(*file.format()->streams[stream]);
  return *std::move(frame);
}
