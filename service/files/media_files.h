#ifndef SERVICE_FILES_MEDIA_FILES_H_
#define SERVICE_FILES_MEDIA_FILES_H_

#include <optional>
#include <string>

#include "common/item_kind.h"

// What the file at PATH is by its extension; nothing when it is neither photo nor video.
std::optional<ItemKind> MediaKindOf(const std::string& path);

#endif  // SERVICE_FILES_MEDIA_FILES_H_
