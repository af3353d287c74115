#include "probe/video_probe.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "probe/av_file.h"
#include "probe/av_tags.h"
#include "probe/record_text.h"
#include "probe/recorded_time.h"
#include "probe/video_place.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/mathematics.h>
}

namespace {

constexpr int kFullTurn = 360;
constexpr int kQuarterTurn = 90;

std::uint32_t BitRate(std::int64_t rate) {
  constexpr std::int64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(rate, 0, kMost));
}

// The stream of TYPE that a player would choose; null when there is none. A cover picture is no video.
const AVStream* BestStream(AVFormatContext* format, AVMediaType type) {
  const int index = av_find_best_stream(format, type, -1, -1, nullptr, 0);
  if (index < 0) return nullptr;
  const AVStream* stream = format->streams[index];
  return (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 ? nullptr : stream;
}

double Seconds(std::int64_t value, AVRational base) {
  return value == AV_NOPTS_VALUE || value <= 0 ? 0 : static_cast<double>(value) * av_q2d(base);
}

double Duration(const AVFormatContext& format) {
  double longest = Seconds(format.duration, AVRational{1, AV_TIME_BASE});
  if (longest > 0) return longest;
  for (unsigned index = 0; index < format.nb_streams; ++index) {
    const AVStream& stream = *format.streams[index];
    longest = std::max(longest, Seconds(stream.duration, stream.time_base));
  }
  return longest;
}

// Matroska says in its first bytes whether it is the kind for the web.
bool IsWebm(int descriptor) {
  constexpr std::size_t kHeaderBytes = 256;
  constexpr std::string_view kTypeId = "\x42\x82";
  constexpr std::size_t kLongestLength = 8;
  constexpr std::string_view kWebm = "webm";
  std::array<char, kHeaderBytes> header{};
  const ssize_t count = pread(descriptor, header.data(), header.size(), 0);
  const std::string_view head(header.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  const std::size_t id = head.find(kTypeId);
  return id != head.npos &&
         head.substr(id + kTypeId.size(), kLongestLength + kWebm.size()).find(kWebm) != head.npos;
}

// Demuxers of a family share one list of names. The brand tells the members of the MP4 family apart.
std::string Container(const AVFormatContext& format, int descriptor) {
  const std::string_view names = format.iformat->name;
  const std::string_view first = names.substr(0, names.find(','));
  if (first == "matroska" && IsWebm(descriptor)) return "webm";
  if (first != "mov") return std::string(first);
  const std::string_view brand = AvTag(format.metadata, "major_brand");
  if (brand.empty() || brand.starts_with("qt")) return "mov";
  if (brand.starts_with("3gp")) return "3gp";
  if (brand.starts_with("3g2")) return "3g2";
  return "mp4";
}

using DisplayMatrix = std::array<std::int32_t, 9>;

bool Mirrors(const DisplayMatrix& matrix) {
  const auto& [a, b, u, c, d, v, x, y, w] = matrix;
  return std::int64_t{a} * d - std::int64_t{b} * c < 0;
}

// Degrees counter-clockwise that the display matrix turns the picture, which a mirror may follow.
std::optional<double> MatrixRotation(const AVStream& stream) {
  DisplayMatrix matrix{};
  std::size_t size = 0;
  const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (data == nullptr || size < sizeof(matrix)) return std::nullopt;
  std::memcpy(matrix.data(), data, sizeof(matrix));
  if (Mirrors(matrix)) av_display_matrix_flip(matrix.data(), 1, 0);
  const double angle = av_display_rotation_get(matrix.data());
  return std::isnan(angle) ? std::nullopt : std::optional(angle);
}

int Rotation(const AVStream& stream) {
  double clockwise = 0;
  if (const std::optional<double> angle = MatrixRotation(stream)) {
    clockwise = -*angle;
  } else {
    clockwise =
        static_cast<double>(std::strtol(std::string(AvTag(stream.metadata, "rotate")).c_str(), nullptr, 10));
  }
  const int degrees =
      static_cast<int>(std::lround(std::fmod(clockwise, kFullTurn) / kQuarterTurn)) * kQuarterTurn;
  return (degrees + kFullTurn) % kFullTurn;
}

bool IsPositive(AVRational rate) {
  return rate.num > 0 && rate.den > 0;
}

void ReadPictures(const AVStream& stream, MediaFacts& facts) {
  constexpr int kUnknown = -99;  // of profiles and levels alike
  const AVCodecParameters& parameters = *stream.codecpar;
  facts.size = {std::max(parameters.width, 0), std::max(parameters.height, 0)};
  facts.video.video_codec = avcodec_get_name(parameters.codec_id);
  facts.video.profile = parameters.profile == kUnknown ? 0 : parameters.profile;
  facts.video.level = parameters.level == kUnknown ? 0 : parameters.level;
  facts.video.video_bitrate = BitRate(parameters.bit_rate);
  facts.video.rotation = Rotation(stream);
  const AVRational rate = IsPositive(stream.avg_frame_rate) ? stream.avg_frame_rate : stream.r_frame_rate;
  if (!IsPositive(rate)) return;
  facts.video.frame_rate_num = rate.num;
  facts.video.frame_rate_den = rate.den;
}

void ReadSound(const AVStream& stream, VideoFacts& video) {
  const AVCodecParameters& parameters = *stream.codecpar;
  video.audio_codec = avcodec_get_name(parameters.codec_id);
  video.audio_bitrate = BitRate(parameters.bit_rate);
  video.channels = std::max(parameters.ch_layout.nb_channels, 0);
  video.frequency = std::max(parameters.sample_rate, 0);
}

void SetOutcome(const AvFile& file, bool has_pictures, MediaFacts& facts) {
  if (file.late()) {
    facts.outcome = ProbeOutcome::kLate;
    facts.reason = kTookTooLong;
  } else if (file.format() == nullptr) {
    facts.outcome = ProbeOutcome::kUnsupported;
    facts.reason = OneLine(file.error());
  } else if (!file.error().empty()) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = OneLine(file.error());
  } else if (!has_pictures) {
    facts.outcome = ProbeOutcome::kUnsupported;
    facts.reason = "it holds no video";
  } else if (facts.size.width == 0) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = "its video cannot be decoded";
  }
}

}  // namespace

MediaFacts ReadVideo(int descriptor) {
  MediaFacts facts;
  const AvFile file(descriptor, AvFile::Kind::kVideo, {});
  AVFormatContext* format = file.format();
  if (format == nullptr) {
    SetOutcome(file, false, facts);
    return facts;
  }
  facts.taken = RecordedTime(*format, descriptor);
  facts.place = VideoPlace(*format);
  facts.video.duration = Duration(*format);
  facts.video.bitrate = BitRate(format->bit_rate);
  facts.video.container = Container(*format, descriptor);
  const AVStream* pictures = BestStream(format, AVMEDIA_TYPE_VIDEO);
  if (pictures != nullptr) ReadPictures(*pictures, facts);
  if (const AVStream* sound = BestStream(format, AVMEDIA_TYPE_AUDIO)) ReadSound(*sound, facts.video);
  SetOutcome(file, pictures != nullptr, facts);
  return facts;
}
