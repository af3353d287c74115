#ifndef SERVICE_FILES_ITEM_KIND_H_
#define SERVICE_FILES_ITEM_KIND_H_

#include <cstdint>

// What the plug-in can be told of.
enum class ItemKind : std::uint8_t { kFolder, kPhoto, kVideo };

#endif  // SERVICE_FILES_ITEM_KIND_H_
