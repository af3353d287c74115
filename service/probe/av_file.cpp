#include "probe/av_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace {

constexpr int kBufferSize = 65536;
constexpr std::int64_t kProbeSize = std::int64_t{8} << 20;
// Where a picture says what it is. Videos may have a megabyte of something else in front.
constexpr int kPictureStart = 65536;
constexpr std::int64_t kAnalyzeDuration = std::int64_t{5} * AV_TIME_BASE;
// Larger pictures are measured, not decoded. An 8K video has 33 million.
constexpr std::int64_t kMaxPixels = std::int64_t{36} << 20;
// Pictures whose size the metadata library may not tell. That of JPEG XL needs no decoder, and the one that
// there is does not come back from a header that breaks off.
constexpr const char* kPictureFormats =
    "bmp_pipe,gif,gif_pipe,j2k_pipe,jpeg_pipe,jpegls_pipe,png_pipe,apng,psd_pipe,tiff_pipe,webp_pipe,mjpeg,"
    "mov";
constexpr const char* kPictureDecoders = "bmp,gif,jpeg2000,mjpeg,jpegls,png,apng,psd,tiff,webp,vp8";
// What the extensions of videos stand for. A picture under such a name would be decoded for its size alone.
constexpr const char* kVideoFormats =
    "mov,matroska,avi,asf,asf_o,flv,live_flv,mpeg,mpegts,mpegvideo,m4v,dv,ogg,rm";
// The decoders that are asked for what the containers of their streams leave out: the size of the picture, a
// profile, the channels of the sound. Those left out would decode whole pictures to tell nothing new.
constexpr const char* kVideoDecoders =
    "h264,hevc,mpeg4,mpeg1video,mpeg2video,h263,flv,vp6,vp6a,vp6f,mjpeg,prores,dnxhd,dvvideo,wmv3,vc1,theora,"
    "rv10,rv20,rv30,rv40,svq1,svq3,aac,aac_latm,ac3,eac3,dca,mp1float,mp2float,mp3float,truehd,pcm_bluray,"
    "pcm_dvd,"
    "vorbis,opus,cook,amrnb,amrwb";
// The one list that every context inherits which a demuxer makes for a further file.
constexpr const char* kNoProtocol = "none";

std::string ErrorWords(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> words{};
  av_strerror(error, words.data(), words.size());
  return words.data();
}

class Options {
 public:
  Options() = default;
  ~Options() { av_dict_free(&options_); }
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;

  void Set(const char* name, const char* value) { av_dict_set(&options_, name, value, 0); }
  AVDictionary** get() { return &options_; }

 private:
  AVDictionary* options_ = nullptr;
};

// Options for the decoder of each stream.
class DecoderOptions {
 public:
  explicit DecoderOptions(unsigned streams) : options_(streams, nullptr) {
    for (AVDictionary*& option : options_) av_dict_set_int(&option, "max_pixels", kMaxPixels, 0);
  }
  ~DecoderOptions() {
    for (AVDictionary*& option : options_) av_dict_free(&option);
  }
  DecoderOptions(const DecoderOptions&) = delete;
  DecoderOptions& operator=(const DecoderOptions&) = delete;

  AVDictionary** get() { return options_.empty() ? nullptr : options_.data(); }

 private:
  std::vector<AVDictionary*> options_;
};

}  // namespace

AvFile::AvFile(int descriptor, Kind kind, const Limits& limits) : descriptor_(descriptor), limits_(limits) {
  av_log_set_level(AV_LOG_QUIET);
  Open(kind);
}

AvFile::~AvFile() {
  avformat_close_input(&format_);
  if (io_ == nullptr) return;
  av_freep(&io_->buffer);
  avio_context_free(&io_);
}

bool AvFile::TimeIsOver() {
  const Clock::duration work = Clock::now() - start_ - reading_;
  late_ = late_ || work >= limits_.work || reading_ >= limits_.reading;
  return late_;
}

int AvFile::IsLate(void* self) {
  return static_cast<AvFile*>(self)->TimeIsOver() ? 1 : 0;
}

int AvFile::Read(void* self, std::uint8_t* buffer, int size) {
  auto& file = *static_cast<AvFile*>(self);
  if (file.TimeIsOver()) return AVERROR_EXIT;
  const Clock::time_point begun = Clock::now();
  const ssize_t count = pread(file.descriptor_, buffer, static_cast<std::size_t>(size), file.position_);
  file.reading_ += Clock::now() - begun;
  if (count < 0) return AVERROR(errno);
  if (count == 0) return AVERROR_EOF;
  file.position_ += count;
  return static_cast<int>(count);
}

std::int64_t AvFile::Seek(void* self, std::int64_t offset, int whence) {
  auto& file = *static_cast<AvFile*>(self);
  struct stat status {};
  if (fstat(file.descriptor_, &status) != 0) return AVERROR(errno);
  if ((whence & AVSEEK_SIZE) != 0) return status.st_size;
  std::int64_t base = 0;
  if ((whence & ~AVSEEK_FORCE) == SEEK_CUR) base = file.position_;
  if ((whence & ~AVSEEK_FORCE) == SEEK_END) base = status.st_size;
  if (__builtin_add_overflow(base, offset, &base) || base < 0) return AVERROR(EINVAL);
  return file.position_ = base;
}

void AvFile::Open(Kind kind) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  io_ = avio_alloc_context(buffer, kBufferSize, 0, this, &AvFile::Read, nullptr, &AvFile::Seek);
  format_ = avformat_alloc_context();
  if (buffer == nullptr || io_ == nullptr || format_ == nullptr) throw std::bad_alloc();
  format_->pb = io_;
  format_->flags |= AVFMT_FLAG_CUSTOM_IO;
  format_->interrupt_callback = {&AvFile::IsLate, this};
  format_->probesize = kProbeSize;
  if (kind == Kind::kPicture) format_->format_probesize = kPictureStart;
  format_->max_analyze_duration = kAnalyzeDuration;
  Options options;
  options.Set("protocol_whitelist", kNoProtocol);
  options.Set("format_whitelist", kind == Kind::kVideo ? kVideoFormats : kPictureFormats);
  options.Set("codec_whitelist", kind == Kind::kVideo ? kVideoDecoders : kPictureDecoders);
  int result =
      avformat_open_input(&format_, nullptr, nullptr, options.get());  // frees and clears it on failure
  if (result >= 0) result = FindStreams();
  // Which is how a format that is not on the list is refused.
  const bool no_video = kind == Kind::kVideo && result == AVERROR(EINVAL);
  if (result < 0) error_ = no_video ? "it holds no video" : ErrorWords(result);
}

int AvFile::FindStreams() {
  DecoderOptions options(format_->nb_streams);
  return avformat_find_stream_info(format_, options.get());
}

AvPicture ReadAvPicture(int descriptor) {
  const AvFile file(descriptor, AvFile::Kind::kPicture, {});
  AvPicture picture{{}, file.late()};
  if (file.format() == nullptr) return picture;
  const int index = av_find_best_stream(file.format(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) return picture;
  const AVCodecParameters& parameters = *file.format()->streams[index]->codecpar;
  picture.size = {parameters.width, parameters.height};
  return picture;
}
