#ifndef SERVICE_PROBE_PHOTO_PROBE_H_
#define SERVICE_PROBE_PHOTO_PROBE_H_

#include <string>

#include "probe/media_facts.h"

// Reads the photo at PATH, which is open for reading as DESCRIPTOR. Shares the parse of its metadata with the
// questions that the plug-in asks about it afterwards.
[[nodiscard]] MediaFacts ReadPhoto(const std::string& path, int descriptor);

#endif  // SERVICE_PROBE_PHOTO_PROBE_H_
