#ifndef SERVICE_PROBE_CAMERA_FACTS_H_
#define SERVICE_PROBE_CAMERA_FACTS_H_

#include <string>

#include "platform/image_cache.h"
#include "probe/media_facts.h"

// What the metadata of IMAGE tells of the camera and how it was set. Throws Exiv2::AnyError for a value that
// the library cannot show.
[[nodiscard]] PhotoFacts ReadCamera(const ParsedImage& image);

// An exposure time as people read it: "1/125" and shorter ones to the next whole number ("1/1863"), other
// ones as a decimal ("0.3", "2.5", "30"). Empty for what is no exposure: below a thousand-millionth of a
// second or above a million seconds.
[[nodiscard]] std::string ExposureText(double seconds);

#endif  // SERVICE_PROBE_CAMERA_FACTS_H_
