// The one way in which an image file is opened with Exiv2.
#ifndef PLATFORM_SAFE_IMAGE_H_
#define PLATFORM_SAFE_IMAGE_H_

#include <sys/stat.h>

#include <exiv2/exiv2.hpp>
#include <string>

// Opens PATH and looks at its content before anything is parsed: Exiv2 0.27 crashes or hangs on some QuickTime, Matroska,
// ASF and RIFF content whatever the file is called, so those types are refused with the library's own error, as a missing
// or special file is. HEIF containers (HEIC, AVIF) are read. Throws Exiv2::Error; the caller then calls readMetadata().
inline Exiv2::Image::AutoPtr OpenImageSafely(const std::string& path) {
  constexpr int kFirstContainerType = 20;  // riff, mkv, qtime, asf and what may follow them
  constexpr int kWebPType = 23;
  [[maybe_unused]] static const bool heif_enabled = Exiv2::enableBMFF(true);

  struct stat status {};
  // Opening a FIFO would wait for a writer.
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    throw Exiv2::Error(Exiv2::kerFileContainsUnknownImageType, path);
  }
  Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(path, true);
  const int type = image->imageType();
  if (type >= kFirstContainerType && type != kWebPType) {
    throw Exiv2::Error(Exiv2::kerFileContainsUnknownImageType, path);
  }
  return image;
}

#endif  // PLATFORM_SAFE_IMAGE_H_
