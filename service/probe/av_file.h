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
// messages are muted. Used by one thread.
class AvFile {
 public:
  enum class Kind { kPicture, kVideo };
  // How long finding out about the streams may take. A disk that has to start must not cost a good file its
  // row, so waiting for it is not counted as work.
  struct Limits {
    std::chrono::milliseconds work{5'000};
    std::chrono::milliseconds reading{30'000};
  };

  // DESCRIPTOR is borrowed.
  AvFile(int descriptor, Kind kind, const Limits& limits);
  ~AvFile();
  AvFile(const AvFile&) = delete;
  AvFile& operator=(const AvFile&) = delete;

  // Null when the content is of no known format; `error` then says why.
  AVFormatContext* format() const { return format_; }
  const std::string& error() const { return error_; }
  // The time was over before everything was found out, which says nothing about the file.
  bool late() const { return late_; }

 private:
  using Clock = std::chrono::steady_clock;

  static int Read(void* self, std::uint8_t* buffer, int size);
  static std::int64_t Seek(void* self, std::int64_t offset, int whence);
  static int IsLate(void* self);

  // Notes that the time is over.
  bool TimeIsOver();
  void Open(Kind kind);
  int FindStreams();

  int descriptor_;
  std::int64_t position_ = 0;
  Limits limits_;
  Clock::time_point start_ = Clock::now();
  Clock::duration reading_{};  // of the time since then
  bool late_ = false;
  AVIOContext* io_ = nullptr;
  AVFormatContext* format_ = nullptr;
  std::string error_;
};

struct AvPicture {
  PictureSize size;   // zeros when the file does not tell
  bool late = false;  // it took too long to find out
};

[[nodiscard]] AvPicture ReadAvPicture(int descriptor);

#endif  // SERVICE_PROBE_AV_FILE_H_
