#ifndef TOOLS_PREVIEW_RAW_PREVIEW_H_
#define TOOLS_PREVIEW_RAW_PREVIEW_H_

#include <cstdint>
#include <string>
#include <vector>

struct RawPreviews {
  std::vector<std::vector<std::uint8_t>> files;  // JPEG or TIFF, the largest first
  int orientation = 0;                           // 1 to 8, of the photo around them; 0 where it does not say
};

// The pictures that the camera has put into the raw photo DESCRIPTOR, which is borrowed. Throws a
// std::exception where it cannot be read as a photo. NAME is for messages.
RawPreviews ReadRawPreviews(int descriptor, const std::string& name);

#endif  // TOOLS_PREVIEW_RAW_PREVIEW_H_
