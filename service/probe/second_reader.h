// Formats that the metadata library does not know, or of which it tells another size than that of the
// picture.
#ifndef SERVICE_PROBE_SECOND_READER_H_
#define SERVICE_PROBE_SECOND_READER_H_

#include <memory>
#include <optional>
#include <string>

#include "probe/media_facts.h"

struct SecondReading {
  PictureSize size;         // as a viewer shows it
  bool tells_more = false;  // HEIF: its library hands the metadata out too
};

// What the header of the picture that is open as DESCRIPTOR tells; nothing is decoded. Nothing for other
// formats (JPEG, PNG, ...) and where there is no whole header.
[[nodiscard]] std::optional<SecondReading> ReadWithSecondReader(int descriptor);

// Whether the file that is open as DESCRIPTOR is JPEG XL, whose library tells standard error what is wrong.
[[nodiscard]] bool IsJxlFile(int descriptor);

// False for a file of boxes (HEIF, JPEG XL) that ends within the data of its pictures.
[[nodiscard]] bool EndsBehindPicture(int descriptor);

#endif  // SERVICE_PROBE_SECOND_READER_H_
