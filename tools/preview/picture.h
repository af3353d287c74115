#ifndef TOOLS_PREVIEW_PICTURE_H_
#define TOOLS_PREVIEW_PICTURE_H_

#include <sys/types.h>

#include <string>
#include <vips/vips8>

#include "base/file_descriptor.h"

// A photo or video that is open for reading. Used by one thread.
struct MediaFile {
  FileDescriptor descriptor;
  std::string path;  // whose extension says what it is, besides its content
  mode_t mode = 0;
};

// Opens PATH; throws a std::system_error, for what is no regular file too.
MediaFile OpenMedia(const std::string& path);

// What a person would see of FILE: upright, in sRGB with 8 bits, without transparency (on white), its longer
// side at most SIDE pixels and never enlarged; held in memory, decoded once. Of a raw photo it is the
// camera's own picture in it, of a video a frame near its tenth that is not black. Throws a std::exception
// with a line that says why there is none.
vips::VImage ReadPicture(const MediaFile& file, int side);

#endif  // TOOLS_PREVIEW_PICTURE_H_
