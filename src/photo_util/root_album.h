#ifndef PHOTO_UTIL_ROOT_ALBUM_H_
#define PHOTO_UTIL_ROOT_ALBUM_H_

// The name of the album that is the photo root itself.
inline constexpr const char* kRootAlbum = "/";

#endif  // PHOTO_UTIL_ROOT_ALBUM_H_
