// Where the photos of the request lie.
#ifndef PHOTO_UTIL_PHOTO_DIR_H_
#define PHOTO_UTIL_PHOTO_DIR_H_

#include <optional>
#include <string>

// The personal photo folder for a personal request, else the shared one; null while the shared one cannot be
// told. Owned by the context or the cache.
const char* RequestPhotoRoot();

// The photo root of the request as PATH spells it (letter case is not compared); nothing when PATH does not
// lie in it. To be handed to the KAVOBeneath* functions together with PATH.
std::optional<std::string> PhotoRootIn(const char* path);

// Forgets the shared photo folder, so that tests of one process can use one tree after another.
void ResetPhotoDirForTest();

#endif  // PHOTO_UTIL_PHOTO_DIR_H_
