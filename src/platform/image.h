// Images whose metadata the process may know already.
#ifndef PLATFORM_IMAGE_H_
#define PLATFORM_IMAGE_H_

#include <exiv2/exiv2.hpp>
#include <string>

#include "platform/api.h"

// The image at PATH, with the refusals and errors of OpenImageSafely (platform/safe_image.h) and those of its
// readMetadata(); the caller calls readMetadata() all the same, which takes what was read from the same
// unchanged file shortly before where that is still known. It is for reading: it cannot be written, and it
// holds no file open. The XMP namespaces that the file declares are not registered: its keys are compared as
// texts.
KAVO_API Exiv2::Image::AutoPtr KAVOImageOpen(const std::string& path);

#endif  // PLATFORM_IMAGE_H_
