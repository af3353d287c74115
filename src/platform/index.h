// What the indexing service knows: personal folders, kinds of media, image dimensions.
#ifndef PLATFORM_INDEX_H_
#define PLATFORM_INDEX_H_

#include "platform/api.h"

// The package whose personal folders are photo folders.
inline constexpr const char* kPhotoPackage = "photo";

extern "C" {

// Non-zero when PATH lies in (or is) some user's personal folder of the package KIND; that user's
// name then goes into USER of SIZE bytes, cut when longer. PATH is compared by name, on whole components,
// with what KAVOIndexPersonalPhotoPathGet gives; of nested folders the innermost wins. Where it cannot be
// told (the list of personal folders or a home cannot be read, memory is out) the path counts as somebody's
// and USER is empty, the name of nobody: nothing is known of the preferences and the folder of such a user,
// so the path is neither a shared one nor anybody's.
KAVO_API int KAVOIndexIsPersonalPackagePath(const char* path, const char* kind, char* user, int size);
// The personal photo folder of USER. 0, or -1 when there is none or it cannot be told.
KAVO_API int KAVOIndexPersonalPhotoPathGet(const char* user, char* out, int size);
// The user's default public flag for new albums. 0, or -1 when it cannot be told.
KAVO_API int KAVOIndexPersonalAlbumDefRightGet(const char* user, int* is_public);
// Width and height of an image file in pixels. 0 or -1.
KAVO_API int KAVOIndexImgResGet(const char* path, int* width, int* height);
// The extension of PATH's base name, without the dot, in OUT of SIZE bytes; 0, or -1 when it has none.
KAVO_API int KAVOIndexExtGet(const char* path, char* out, int size);

// True when the extension (without the dot, any letter case) is of that kind.
KAVO_API bool BlKAVOIndexIsPhotoOnWeb(const char* extension);
KAVO_API bool BlKAVOIndexIsVideoOnWeb(const char* extension);
KAVO_API bool BlKAVOIndexIsVideo(const char* extension);

// True when PATH lies on a remote or image (loop) mount inside a photo folder, or nobody can tell in whose.
// To root, here and below, what a user serves himself (FUSE) is one, too.
KAVO_API bool IndexIsPathRemoteOrImageMount(const char* path);
// True when PATH, over links or not, leads to a remote or image mount that does not hold FOLDER, or nobody
// can tell. Nothing is asked of that mount: its server may never answer. Both paths are absolute, FOLDER
// without links. From any thread.
KAVO_API bool KAVOIndexLeadsToForeignMount(const char* folder, const char* path);
// Positive, and the kind of conversion in OUT of SIZE bytes, when NAME is that of a converted video; else 0.
KAVO_API int ConvertVideoTypeGet(const char* name, char* out, int size);

}  // extern "C"

#endif  // PLATFORM_INDEX_H_
