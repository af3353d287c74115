#ifndef SERVICE_COMMON_ITEM_KIND_H_
#define SERVICE_COMMON_ITEM_KIND_H_

#include <cstdint>

// What the plug-in can be told of.
enum class ItemKind : std::uint8_t { kFolder, kPhoto, kVideo };

#endif  // SERVICE_COMMON_ITEM_KIND_H_
