#ifndef PHOTO_INDEX_MEDIA_KIND_H_
#define PHOTO_INDEX_MEDIA_KIND_H_

// What a file is, by its extension.
enum class MediaKind { kNone = 0, kPhoto = 1, kWebVideo = 2, kOtherVideo = 3 };

// kNone for null, a folder, a path without '.', an excluded or an unknown extension. The extension is what
// follows the last '.' of the whole path: a name without one takes the text after a '.' of its folder, which
// is no known extension.
[[nodiscard]] MediaKind IndexMediaKindGet(const char* path);

#endif  // PHOTO_INDEX_MEDIA_KIND_H_
