// The one way in which an image file is opened with Exiv2.
#ifndef PLATFORM_SAFE_IMAGE_H_
#define PLATFORM_SAFE_IMAGE_H_

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <exiv2/exiv2.hpp>
#include <string>

// A file that was opened once, for a library that opens files by name and more than once: every time it gets
// the same file, whatever stands under the name by then. Messages tell that name. Used by one thread.
class HeldFile : public Exiv2::FileIo {
 public:
  // DESCRIPTOR becomes the object's.
  HeldFile(int descriptor, const std::string& path)
      : FileIo("/proc/self/fd/" + std::to_string(descriptor)), descriptor_(descriptor), path_(path) {}
  ~HeldFile() override { ::close(descriptor_); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  int open() override {
    if (isopen() && error() == 0) return seek(0, Exiv2::BasicIo::beg);
    opening_ = true;
    const int result = FileIo::open();
    opening_ = false;
    return result;
  }
  // Whoever opens it next finds it open.
  int close() override { return munmap(); }
  // The base class opens what this says.
  std::string path() const override { return opening_ ? FileIo::path() : path_; }

 private:
  const int descriptor_;
  const std::string path_;
  bool opening_ = false;
};

// The file with the name PATH, which is open as DESCRIPTOR: that becomes the object's. A negative one is an
// open that failed with errno: EINVAL or ENXIO for what is no regular file.
inline Exiv2::BasicIo::AutoPtr HoldOpened(int descriptor, const std::string& path) {
  if (descriptor >= 0) return Exiv2::BasicIo::AutoPtr(new HeldFile(descriptor, path));
  if (errno == EINVAL || errno == ENXIO) throw Exiv2::Error(Exiv2::kerFileContainsUnknownImageType, path);
  throw Exiv2::Error(Exiv2::kerDataSourceOpenFailed, path, Exiv2::strError());
}

// PATH, opened once. Special files are refused, and opening a FIFO does not wait for a writer.
inline Exiv2::BasicIo::AutoPtr OpenHeld(const std::string& path) {
  int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status {};
  if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
    ::close(descriptor);
    descriptor = -1;
    errno = EINVAL;
  }
  return HoldOpened(descriptor, path);
}

// Looks at the content of FILE before anything is parsed: Exiv2 0.27 crashes or hangs on some QuickTime,
// Matroska, ASF and RIFF content whatever the file is called, so those types are refused with the library's
// own error, as a missing or special file is. HEIF containers (HEIC, AVIF) are read while a HeifReading
// lives, and refused otherwise. Throws Exiv2::Error; the caller then calls readMetadata(). The image holds
// the file open as long as it lives.
inline Exiv2::Image::AutoPtr OpenImageSafely(Exiv2::BasicIo::AutoPtr file) {
  constexpr int kFirstContainerType = 20;  // riff, mkv, qtime, asf and what may follow them
  constexpr int kWebPType = 23;
  const std::string path = file->path();
  Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(file);
  const int type = image.get() != nullptr ? image->imageType() : kFirstContainerType;
  if (type >= kFirstContainerType && type != kWebPType) {
    throw Exiv2::Error(Exiv2::kerFileContainsUnknownImageType, path);
  }
  return image;
}

inline Exiv2::Image::AutoPtr OpenImageSafely(const std::string& path) {
  return OpenImageSafely(OpenHeld(path));
}

#endif  // PLATFORM_SAFE_IMAGE_H_
