#ifndef SERVICE_PROBE_AV_FILE_H_
#define SERVICE_PROBE_AV_FILE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "probe/media_facts.h"

struct AVFormatContext;
struct AVIOContext;

// A media file as libavformat sees it. Only the bytes of one descriptor are read: the content is never given
// a name, so that neither a name nor a reference inside the file makes the library open anything else. Its
// messages are muted.
class AvFile {
 public:
  enum class Kind { kPicture, kVideo };

  // DESCRIPTOR is borrowed. Finds out about the streams for at most LIMIT.
  AvFile(int descriptor, Kind kind, std::chrono::milliseconds limit);
  ~AvFile();
  AvFile(const AvFile&) = delete;
  AvFile& operator=(const AvFile&) = delete;

  // Null when the content is of no known format; `error` then says why.
  AVFormatContext* format() const { return format_; }
  const std::string& error() const { return error_; }
  // The time was over before everything was found out.
  bool late() const;

 private:
  static int Read(void* self, std::uint8_t* buffer, int size);
  static std::int64_t Seek(void* self, std::int64_t offset, int whence);
  static int IsLate(void* self);

  void Open(Kind kind);
  int FindStreams();

  int descriptor_;
  std::int64_t position_ = 0;
  std::chrono::steady_clock::time_point deadline_;
  AVIOContext* io_ = nullptr;
  AVFormatContext* format_ = nullptr;
  std::string error_;
};

inline constexpr std::chrono::seconds kAvTimeLimit{5};

// The size of the picture or the video in the file; zeros when it does not tell.
[[nodiscard]] PictureSize AvPictureSize(int descriptor);

#endif  // SERVICE_PROBE_AV_FILE_H_
