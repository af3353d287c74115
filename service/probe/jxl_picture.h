#ifndef SERVICE_PROBE_JXL_PICTURE_H_
#define SERVICE_PROBE_JXL_PICTURE_H_

#include <optional>
#include <string_view>

#include "probe/media_facts.h"

// Whether a file that begins with START is JPEG XL, bare or in boxes.
[[nodiscard]] bool IsJxl(std::string_view start);

// The JPEG XL picture that is open as DESCRIPTOR, turned as it says (ISO/IEC 18181-1, "image headers"). Its
// own library writes to standard error about what it cannot read, and cannot be told not to.
[[nodiscard]] std::optional<PictureSize> JxlSize(int descriptor);

#endif  // SERVICE_PROBE_JXL_PICTURE_H_
