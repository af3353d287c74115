#include "photo_database/thumbnail_version.h"

#include <optional>
#include <string>
#include <string_view>

#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_util/side_reader.h"
#include "platform/index.h"

namespace {

// Compared without sign, as pixel counts.
struct Size {
  unsigned width;
  unsigned height;

  bool IsLandscape() const { return width > height; }
  bool IsPortrait() const { return height > width; }
};

// The thumbnail of PATH that is there, the underscore form before the colon form.
std::optional<std::string> FindThumbnail(std::string_view path) {
  const std::string_view name = BaseName(path);
  const std::string_view folder = path.substr(0, path.size() - name.size());
  if (folder.size() + 1 > kPathSize) {
    LOG_AT(kPhotoDatabaseSource, "%s (%d) szPath is too long", kPhotoDatabaseSource, __LINE__);
    return std::nullopt;
  }
  const std::string side_folder = std::string(folder) + "@eaDir/" + std::string(name) + "/";
  for (const char* item : {"KAVOPHOTO_THUMB_XL.jpg", "KAVOPHOTO:THUMB_XL.jpg"}) {
    const std::string thumbnail = Cut(side_folder + item, kPathSize);
    if (SideFileExists(thumbnail)) return thumbnail;
  }
  return std::nullopt;
}

std::optional<Size> SizeOf(const std::string& image) {
  int width = 0;
  int height = 0;
  if (KAVOIndexImgResGet(image.c_str(), &width, &height) < 0) {
    LOG_IN(kPhotoDatabaseSource, "KAVOIndexImgResGet failed.");
    return std::nullopt;
  }
  return Size{static_cast<unsigned>(width), static_cast<unsigned>(height)};
}

}  // namespace

int ThumbnailVersion(const char* path, int width, int height) {
  if (path == nullptr) {
    LOG_IN(kPhotoDatabaseSource, "Bad parameters.");
    return 0;
  }
  const auto file = FindThumbnail(path);
  if (!file) return 0;
  const auto thumbnail = SizeOf(*file);
  if (!thumbnail) return 0;
  const Size photo = {static_cast<unsigned>(width), static_cast<unsigned>(height)};
  const bool contradicts =
      (photo.IsLandscape() && thumbnail->IsPortrait()) || (photo.IsPortrait() && thumbnail->IsLandscape());
  return contradicts ? 1 : 0;
}
