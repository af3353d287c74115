// Title and time of a photo; where they come from, in their order, is told in docs/metadata.md.
#ifndef SERVICE_PROBE_PHOTO_TEXTS_H_
#define SERVICE_PROBE_PHOTO_TEXTS_H_

#include <string>

#include "platform/image_cache.h"
#include "probe/taken_time.h"

// When the picture was taken, as its metadata tells it.
[[nodiscard]] TakenTime TimeInMetadata(const ParsedImage& image);

// The title that the picture carries, to fit the record; empty when it has none.
[[nodiscard]] std::string TitleInMetadata(const ParsedImage& image);

#endif  // SERVICE_PROBE_PHOTO_TEXTS_H_
