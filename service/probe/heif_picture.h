#ifndef SERVICE_PROBE_HEIF_PICTURE_H_
#define SERVICE_PROBE_HEIF_PICTURE_H_

#include <optional>
#include <string>

#include "probe/second_reader.h"

// The primary picture of the HEIF file (HEIC, AVIF) that is open as DESCRIPTOR: cropped and turned as the
// file says, a grid as a whole. Nothing for what has no such picture, and for one that the library does not
// know.
[[nodiscard]] std::optional<SecondReading> ReadHeif(int descriptor);

// The Exif of that picture, a TIFF structure, and its XMP, a packet; either may be empty. False where there
// is no such picture, or one of the two cannot be read; the other may be filled.
[[nodiscard]] bool ReadHeifMetadata(int descriptor, std::string& exif, std::string& xmp);

#endif  // SERVICE_PROBE_HEIF_PICTURE_H_
