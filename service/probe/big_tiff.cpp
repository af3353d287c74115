#include "probe/big_tiff.h"

#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

constexpr int kMostPictures = 64;
constexpr std::uint32_t kMostPixels = 1'000'000;  // of one side

// The bytes of one descriptor for the library.
struct DescriptorSource {
  int descriptor;
  off_t position = 0;
};

tmsize_t Read(thandle_t self, void* data, tmsize_t size) {
  auto& source = *static_cast<DescriptorSource*>(self);
  const ssize_t count = pread(source.descriptor, data, static_cast<std::size_t>(size), source.position);
  if (count > 0) source.position += count;
  return count;
}

tmsize_t Write(thandle_t /*self*/, void* /*data*/, tmsize_t /*size*/) {
  return -1;
}

toff_t Size(thandle_t self) {
  struct stat status {};
  return fstat(static_cast<DescriptorSource*>(self)->descriptor, &status) == 0
             ? static_cast<toff_t>(status.st_size)
             : 0;
}

toff_t Seek(thandle_t self, toff_t offset, int whence) {
  auto& source = *static_cast<DescriptorSource*>(self);
  if (whence == SEEK_CUR) offset += static_cast<toff_t>(source.position);
  if (whence == SEEK_END) offset += Size(self);
  source.position = static_cast<off_t>(offset);
  return offset;
}

int Close(thandle_t /*self*/) {
  return 0;
}

using Tiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

// No mapping into memory: the file may become shorter meanwhile.
Tiff Open(DescriptorSource& source) {
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);
  return {TIFFClientOpen("", "rm", &source, Read, Write, Seek, Close, Size, nullptr, nullptr), TIFFClose};
}

std::int64_t Area(const PictureSize& size) {
  return std::int64_t{size.width} * size.height;
}

// Makes SIZE that of the current picture, if it is a larger one.
void TakeLarger(TIFF* tiff, std::optional<PictureSize>& size) {
  std::uint32_t kind = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  TIFFGetField(tiff, TIFFTAG_SUBFILETYPE, &kind);
  const bool sized = TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width) == 1 &&
                     TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height) == 1;
  if (!sized || width == 0 || height == 0 || width > kMostPixels || height > kMostPixels) return;
  if ((kind & FILETYPE_REDUCEDIMAGE) != 0) return;
  const PictureSize found{static_cast<int>(width), static_cast<int>(height)};
  if (!size || Area(found) > Area(*size)) size = found;
}

// Where the pictures below the current one are.
std::vector<std::uint64_t> SubPictures(TIFF* tiff) {
  std::uint16_t count = 0;
  std::uint64_t* offsets = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &offsets) != 1) return {};
  return {offsets, offsets + std::min<int>(count, kMostPictures)};
}

}  // namespace

bool IsBigTiff(std::string_view start) {
  using namespace std::string_view_literals;
  return start.starts_with("II+\0"sv) || start.starts_with("MM\0+"sv);
}

std::optional<PictureSize> BigTiffSize(int descriptor) {
  DescriptorSource source{descriptor};
  const Tiff tiff = Open(source);
  if (tiff == nullptr) return std::nullopt;
  std::optional<PictureSize> size;
  std::vector<std::uint64_t> below;
  for (int i = 0; i < kMostPictures; ++i) {
    TakeLarger(tiff.get(), size);
    for (const std::uint64_t offset : SubPictures(tiff.get())) below.push_back(offset);
    if (TIFFReadDirectory(tiff.get()) != 1) break;
  }
  for (const std::uint64_t offset : below) {
    if (TIFFSetSubDirectory(tiff.get(), offset) == 1) TakeLarger(tiff.get(), size);
  }
  return size;
}
