#ifndef SERVICE_ALBUM_NAME_H_
#define SERVICE_ALBUM_NAME_H_

#include <string>

#include "base/limits.h"
#include "display.h"
#include "library.h"

// The album of FOLDER: its path below LIBRARY, "" for the library itself.
inline std::string AlbumName(const Library& library, const std::string& folder) {
  return folder.size() > library.folder.size() ? folder.substr(library.folder.size() + 1) : "";
}

// Why a folder cannot be an album of that name, though its files are indexed; nullptr when it can.
inline const char* NoAlbumReason(const std::string& name) {
  if (name.size() >= kNameSize) return "folder name too long for an album";
  return ValidUtf8(name) == name ? nullptr : "folder name is not UTF-8";
}

#endif  // SERVICE_ALBUM_NAME_H_
