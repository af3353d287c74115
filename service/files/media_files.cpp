#include "files/media_files.h"

#include <array>

#include "platform/index.h"

namespace {

constexpr int kExtensionSize = 256;  // a name has at most 255 bytes

}  // namespace

std::optional<ItemKind> MediaKindOf(const std::string& path) {
  std::array<char, kExtensionSize> extension{};
  if (KAVOIndexExtGet(path.c_str(), extension.data(), kExtensionSize) != 0) return std::nullopt;
  if (BlKAVOIndexIsPhotoOnWeb(extension.data())) return ItemKind::kPhoto;
  const bool video = BlKAVOIndexIsVideoOnWeb(extension.data()) || BlKAVOIndexIsVideo(extension.data());
  return video ? std::optional(ItemKind::kVideo) : std::nullopt;
}
