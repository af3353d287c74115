#ifndef SERVICE_LIBRARY_ALBUM_NAME_H_
#define SERVICE_LIBRARY_ALBUM_NAME_H_

#include <string>

#include "base/limits.h"
#include "common/display.h"

// Albums bear the path of their folder below the library, but for that of the library itself.
inline constexpr const char* kRootAlbum = "/";

// Why a folder cannot be an album of that name, though its files are indexed; nullptr when it can.
inline const char* NoAlbumReason(const std::string& name) {
  if (name.size() >= kNameSize) return "folder name too long for an album";
  return ValidUtf8(name) == name ? nullptr : "folder name is not UTF-8";
}

#endif  // SERVICE_LIBRARY_ALBUM_NAME_H_
