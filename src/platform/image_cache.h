// The parsed metadata of the last image files, so that the questions asked about a photo cost one parse.
#ifndef PLATFORM_IMAGE_CACHE_H_
#define PLATFORM_IMAGE_CACHE_H_

#include <cstddef>
#include <exiv2/exiv2.hpp>
#include <map>
#include <memory>
#include <string>

#include "platform/api.h"

struct PrintedMetadata;

// What one file holds. Immutable once made.
struct ParsedImage {
  enum class Outcome {
    kParsed,
    kMissing,  // nothing at that path, or not a regular file
    kFailed,   // not an image that is read, unreadable or corrupt: `error` says why, and nothing else is
               // filled
  };
  Outcome outcome = Outcome::kMissing;
  std::string error;          // with kParsed: the library gave the file up for this, behind what is here
  bool too_much = false;      // with kFailed: it has more metadata than is read
  bool unknown_type = false;  // with kFailed: the content is of no type that is read

  Exiv2::ExifData exif;
  Exiv2::IptcData iptc;
  Exiv2::XmpData xmp;
  // What the prefixes in the keys of `xmp` stand for, where the library learned it from the file.
  std::map<std::string, std::string> xmp_namespaces;
  int type = 0;      // Exiv2::ImageType
  std::string mime;  // "image/jpeg"
  int width = 0;     // pixels as stored; 0 where the format does not tell
  int height = 0;
  std::string comment;

  mutable std::shared_ptr<const PrintedMetadata> printed{};  // belongs to printed_metadata.h
};

// The metadata of the file at PATH as it is now: kept ones are known by device, inode, size, modification and
// change time. Failures are kept as well, so that a corrupt file is parsed once. Never null. Throws
// std::bad_alloc only. Threads: may be called from any; parses one file at a time.
KAVO_API std::shared_ptr<const ParsedImage> GetParsedImage(const std::string& path);

// Reads from the HEIF file that is open as DESCRIPTOR its Exif, a TIFF structure, and its XMP, a packet;
// either may be empty. False where that is not all that the file has. May throw std::bad_alloc, and must not
// use Exiv2.
using HeifMetadataReader = bool (*)(int descriptor, std::string& exif, std::string& xmp);

// From now on an image of this process that the library gives up (for a colour profile, say) counts as parsed
// where something of it is known: what READER tells of it, or what the library had read before. Without
// that, and with null again, this process gets the library's errors. Before other threads ask for images.
KAVO_API void SetHeifMetadataReader(HeifMetadataReader reader);

// How many files are kept: at most, and at first, 32; 0 keeps none. Fewer are kept where they have
// much metadata, and such with an enormous amount not at all.
KAVO_API void SetImageCacheCount(std::size_t count);

#endif  // PLATFORM_IMAGE_CACHE_H_
