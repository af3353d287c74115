#include "photo_database/thumbnail_version.h"

#include <unistd.h>

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

std::optional<std::string> FindThumbnail(std::string_view path) {
  const std::size_t folder_size = path.size() - BaseName(path).size();
  if (folder_size + 1 > kPathSize) {
    LOG_COLON(kPhotoDatabaseSource, "%s (%d) szPath is too long", kPhotoDatabaseSource, __LINE__);
    return std::nullopt;
  }
  return FindSideItem(path, "THUMB_XL.jpg");
}

// Measured through its descriptor, so that no link leads the reader out of the photo root.
bool Measure(const std::string& image, int* width, int* height) {
  const int descriptor = OpenSideFile(image);
  if (descriptor < 0) return false;
  const std::string opened = "/proc/self/fd/" + std::to_string(descriptor);
  const bool measured = KAVOIndexImgResGet(opened.c_str(), width, height) >= 0;
  close(descriptor);
  return measured;
}

std::optional<Size> SizeOf(const std::string& image) {
  int width = 0;
  int height = 0;
  if (!Measure(image, &width, &height)) {
    LOG_PARENS(kPhotoDatabaseSource, "KAVOIndexImgResGet failed.");
    return std::nullopt;
  }
  return Size{static_cast<unsigned>(width), static_cast<unsigned>(height)};
}

}  // namespace

int ThumbnailVersion(const char* path, int width, int height) {
  if (path == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameters.");
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
