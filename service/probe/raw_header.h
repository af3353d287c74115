// The sizes of raw pictures whose headers are no TIFF.
#ifndef SERVICE_PROBE_RAW_HEADER_H_
#define SERVICE_PROBE_RAW_HEADER_H_

#include <optional>

#include "probe/media_facts.h"

// A Fujifilm RAF begins with the big-endian offsets and lengths of its parts; the part at byte 92 holds a
// count and records of tag, length and value. 0x111 is the height and width of what a viewer shows of the
// sensor, 0x121 and 0x100 those of the whole of it. The preview's size is another one.
[[nodiscard]] std::optional<PictureSize> RafSize(int descriptor);

// A Sigma X3F has little-endian columns and rows in its header: at byte 28, from version 4 on at byte 40.
[[nodiscard]] std::optional<PictureSize> X3fSize(int descriptor);

#endif  // SERVICE_PROBE_RAW_HEADER_H_
