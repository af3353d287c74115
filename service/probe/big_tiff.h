#ifndef SERVICE_PROBE_BIG_TIFF_H_
#define SERVICE_PROBE_BIG_TIFF_H_

#include <optional>
#include <string_view>

#include "probe/media_facts.h"

// Whether a file that begins with START is a TIFF with 64-bit offsets.
[[nodiscard]] bool IsBigTiff(std::string_view start);

// The largest of the pictures in such a file that are no smaller version of another one (the first picture of
// a DNG is).
[[nodiscard]] std::optional<PictureSize> BigTiffSize(int descriptor);

#endif  // SERVICE_PROBE_BIG_TIFF_H_
