#include "photo_set.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/heif_reading.h"
#include "platform/safe_image.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array kExtensions = {".jpg",  ".jpeg", ".png", ".tif", ".webp",
                                    ".heic", ".nef",  ".cr2", ".arw", ".dng"};
constexpr std::array kTakeTrailingBytes = {".jpg", ".jpeg", ".png"};
constexpr std::size_t kFilesPerFolder = 200;

bool Readable(const std::string& path) {
  try {
    const HeifReading heif;
    OpenImageSafely(path)->readMetadata();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

template <std::size_t N>
bool IsOneOf(const std::array<const char*, N>& extensions, std::string extension) {
  std::transform(extension.begin(), extension.end(), extension.begin(), ::tolower);
  return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

// Those of the list that lie below SOURCE, in its order. Odd and tiny files take long to read with Exiv2
// alone, which flatters what is compared with that.
std::vector<fs::path> OrdinaryPhotos(const fs::path& source) {
  std::vector<fs::path> photos;
  std::ifstream names(LUMIVAULT_ORDINARY_PHOTOS);
  for (std::string name; std::getline(names, name);) {
    const fs::path photo = source / name;
    if (!name.empty() && !name.starts_with('#') && fs::is_regular_file(photo)) photos.push_back(photo);
  }
  return photos;
}

std::vector<fs::path> Photos(const fs::path& source) {
  std::vector<fs::path> photos = OrdinaryPhotos(source);
  if (!photos.empty()) return photos;
  for (const auto& entry : fs::recursive_directory_iterator(source)) {
    if (entry.is_regular_file() && IsOneOf(kExtensions, entry.path().extension()) && Readable(entry.path())) {
      photos.push_back(entry.path());
    }
  }
  std::sort(photos.begin(), photos.end());
  return photos;
}

std::string Content(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

void RemoveDatabase(const fs::path& file) {
  for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(file.string() + suffix);
}

void MakeCopies(const fs::path& photo, const fs::path& folder, std::size_t count) {
  const std::string content = Content(photo);
  for (std::size_t i = 0; i < count; ++i) {
    const fs::path album = folder / ("album" + std::to_string(i / kFilesPerFolder));
    fs::create_directories(album);
    std::ofstream(album / (std::to_string(i) + "-" + photo.filename().string()), std::ios::binary) << content;
  }
}

std::vector<std::string> MakePhotoSet(const fs::path& source, const fs::path& folder, std::size_t count) {
  const std::vector<fs::path> photos = Photos(source);
  if (photos.empty()) throw std::runtime_error("no readable photos below " + source.string());
  std::vector<std::string> files;
  for (std::size_t i = 0; i < count; ++i) {
    const fs::path& photo = photos[i % photos.size()];
    const fs::path album = folder / ("album" + std::to_string(i / kFilesPerFolder));
    fs::create_directories(album);
    files.push_back(album / (std::to_string(i) + "-" + photo.filename().string()));
    std::string content = Content(photo);
    // A JPEG that ends in something else than its last marker is looked through for it.
    if (IsOneOf(kTakeTrailingBytes, photo.extension())) content += "copy " + std::to_string(i) + "\xFF\xD9";
    std::ofstream(files.back(), std::ios::binary) << content;
  }
  return files;
}
