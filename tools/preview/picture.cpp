#include "preview/picture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/ascii.h"
#include "platform/index.h"
#include "preview/frame.h"
#include "preview/raw_preview.h"

namespace {

// More would take minutes; the largest sensors have a fifth.
constexpr double kMostPixels = 1e9;
constexpr double kWhite = 255;
constexpr std::size_t kLongestExtension = 16;
constexpr std::array<std::string_view, 30> kRawExtensions = {
    "3fr", "arw", "cap", "cr2", "cr3", "crw", "dcr", "dng", "erf", "gpr", "iiq", "k25", "kdc", "mef", "mos",
    "mrw", "nef", "orf", "pef", "ptx", "raf", "raw", "rw2", "rwl", "sr2", "srf", "srw", "x3f", "nrw", "rwz"};

std::string ExtensionOf(const std::string& path) {
  std::array<char, kLongestExtension> extension{};
  if (KAVOIndexExtGet(path.c_str(), extension.data(), kLongestExtension) != 0) return "";
  return extension.data();
}

bool IsRaw(const std::string& extension) {
  for (const std::string_view raw : kRawExtensions) {
    if (EqualsIgnoreAsciiCase(extension, raw)) return true;
  }
  return false;
}

vips::VSource SourceOf(const MediaFile& file) {
  if (lseek(file.descriptor.get(), 0, SEEK_SET) != 0) throw std::system_error(errno, std::generic_category());
  return vips::VSource::new_from_descriptor(file.descriptor.get());
}

// What names no colours of its own has those of sRGB: a detour would only shift them.
vips::VOption* SizeOptions(bool profiled, int side) {
  vips::VOption* options = vips::VImage::option()->set("height", side)->set("size", VIPS_SIZE_DOWN);
  return profiled ? options->set("export_profile", "srgb") : options;
}

vips::VImage Finished(vips::VImage image) {
  if (image.interpretation() != VIPS_INTERPRETATION_sRGB) image = image.colourspace(VIPS_INTERPRETATION_sRGB);
  if (image.has_alpha()) image = image.flatten(vips::VImage::option()->set("background", kWhite));
  return image.cast(VIPS_FORMAT_UCHAR).copy_memory();
}

// The library tells every remark on the way; the last line is why it gave up.
std::string ReasonOf(std::string said) {
  while (said.ends_with('\n')) said.pop_back();
  const std::string last = said.substr(said.rfind('\n') + 1);
  if (last.find("is not in a known format") != std::string::npos) return "it is of no known format";
  return "the picture cannot be read" + (last.empty() ? "" : " (" + last + ")");
}

void RequireReasonable(const vips::VImage& image) {
  if (static_cast<double>(image.width()) * image.height() > kMostPixels)
    throw std::runtime_error("the picture is too large");
}

vips::VImage ReadStill(const MediaFile& file, int side, bool with_profile) {
  const vips::VImage header = vips::VImage::new_from_source(SourceOf(file), "");
  RequireReasonable(header);
  const bool profiled = with_profile && header.get_typeof(VIPS_META_ICC_NAME) != 0;
  return Finished(vips::VImage::thumbnail_source(SourceOf(file), side, SizeOptions(profiled, side)));
}

// What the preview does not say of itself the photo does.
vips::VImage ReadEmbedded(const std::vector<std::uint8_t>& preview, int orientation, int side) {
  const vips::VImage header = vips::VImage::new_from_buffer(preview.data(), preview.size(), "");
  RequireReasonable(header);
  auto* blob = vips_blob_new(nullptr, preview.data(), preview.size());
  vips::VImage image = vips::VImage::thumbnail_buffer(
      blob, side, SizeOptions(header.get_typeof(VIPS_META_ICC_NAME) != 0, side)->set("no_rotate", true));
  vips_area_unref(VIPS_AREA(blob));
  if (image.get_typeof(VIPS_META_ORIENTATION) == 0 && orientation != 0)
    image.set(VIPS_META_ORIENTATION, orientation);
  return Finished(image.autorot());
}

// FRAME has its size already.
vips::VImage OfFrame(const Frame& frame) {
  // It borrows the pixels until it is copied.
  vips::VImage image =
      vips::VImage::new_from_memory(const_cast<std::uint8_t*>(frame.pixels.data()), frame.pixels.size(),
                                    frame.width, frame.height, kFrameBands, VIPS_FORMAT_UCHAR);
  image = image.copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
  image.set(VIPS_META_ORIENTATION, frame.orientation);
  return image.autorot().copy_memory();
}

RawPreviews PreviewsIn(const MediaFile& file) {
  try {
    return ReadRawPreviews(file.descriptor.get(), file.path);
  } catch (const std::exception&) {
    throw std::runtime_error("it cannot be read as a photo");
  }
}

vips::VImage ReadRaw(const MediaFile& file, int side) {
  const RawPreviews previews = PreviewsIn(file);
  for (const auto& preview : previews.files) {
    try {
      return ReadEmbedded(preview, previews.orientation, side);
    } catch (const vips::VError&) {
      vips_error_clear();  // the next one may be whole
    }
  }
  // What a reader of TIFF would show are the sensor's values.
  throw std::runtime_error("the camera has put no picture into it");
}

// Of these libvips has no reader, or none that is trusted. Of all others libav knows less: no orientation, no
// profile.
bool IsForLibav(const MediaFile& file) {
  std::array<char, 4> head{};
  const ssize_t count = pread(file.descriptor.get(), head.data(), head.size(), 0);
  const std::string_view begin(head.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return begin.starts_with("BM") || begin == "8BPS";
}

// A profile that is broken is no reason to show nothing.
vips::VImage ReadWithOrWithoutProfile(const MediaFile& file, int side) {
  try {
    return ReadStill(file, side, true);
  } catch (const vips::VError&) {
    vips_error_clear();
    return ReadStill(file, side, false);
  }
}

}  // namespace

MediaFile OpenMedia(const std::string& path) {
  MediaFile file{FileDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)), path};
  struct stat status {};
  if (!file.descriptor || fstat(file.descriptor.get(), &status) != 0)
    throw std::system_error(errno, std::generic_category());
  if (!S_ISREG(status.st_mode)) throw std::runtime_error("not a regular file");
  file.mode = status.st_mode;
  if (status.st_size == 0) throw std::runtime_error("the file is empty");
  return file;
}

vips::VImage ReadPicture(const MediaFile& file, int side) {
  const std::string extension = ExtensionOf(file.path);
  if (BlKAVOIndexIsVideo(extension.c_str()))
    return OfFrame(ReadFrame(file.descriptor.get(), FrameOf::kVideo, side));
  if (IsRaw(extension)) return ReadRaw(file, side);
  if (IsForLibav(file)) return OfFrame(ReadFrame(file.descriptor.get(), FrameOf::kPicture, side));
  try {
    return ReadWithOrWithoutProfile(file, side);
  } catch (const vips::VError& error) {
    const std::string said = error.what();
    vips_error_clear();
    throw std::runtime_error(ReasonOf(said));
  }
}
