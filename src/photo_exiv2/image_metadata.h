#ifndef PHOTO_EXIV2_IMAGE_METADATA_H_
#define PHOTO_EXIV2_IMAGE_METADATA_H_

#include <json/value.h>

#include <string>

// What PhotoExiv2(PATH).GetMetadata() gives, with its errors, from the reading that the process has kept:
// without a copy of all that the file holds, where one of its own belongs to whoever makes a PhotoExiv2.
Json::Value ImageMetadata(const std::string& path);

#endif  // PHOTO_EXIV2_IMAGE_METADATA_H_
