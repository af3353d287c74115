#ifndef SERVICE_PROBE_VIDEO_PROBE_H_
#define SERVICE_PROBE_VIDEO_PROBE_H_

#include "probe/media_facts.h"

// Reads the video that is open for reading as DESCRIPTOR.
[[nodiscard]] MediaFacts ReadVideo(int descriptor);

#endif  // SERVICE_PROBE_VIDEO_PROBE_H_
