#ifndef TOOLS_PREVIEW_RAW_PREVIEW_H_
#define TOOLS_PREVIEW_RAW_PREVIEW_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct RawPreview {
  std::vector<std::uint8_t> bytes;  // a JPEG or TIFF file
  int orientation = 0;              // 1 to 8, of the photo around it; 0 where it does not say
};

// The largest picture that the camera has put into the raw photo DESCRIPTOR, which is borrowed; nothing when
// there is none. NAME is for messages.
std::optional<RawPreview> ReadRawPreview(int descriptor, const std::string& name);

#endif  // TOOLS_PREVIEW_RAW_PREVIEW_H_
