#include "preview/picture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

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
vips::VOption* SizeOptions(const vips::VImage& header, int side) {
  vips::VOption* options = vips::VImage::option()->set("height", side)->set("size", VIPS_SIZE_DOWN);
  return header.get_typeof(VIPS_META_ICC_NAME) == 0 ? options : options->set("export_profile", "srgb");
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

vips::VImage ReadStill(const MediaFile& file, int side) {
  const vips::VImage header = vips::VImage::new_from_source(SourceOf(file), "");
  RequireReasonable(header);
  return Finished(vips::VImage::thumbnail_source(SourceOf(file), side, SizeOptions(header, side)));
}

// What the preview does not say of itself the photo does.
vips::VImage ReadEmbedded(const RawPreview& preview, int side) {
  auto* blob = vips_blob_new(nullptr, preview.bytes.data(), preview.bytes.size());
  const vips::VImage header = vips::VImage::new_from_buffer(preview.bytes.data(), preview.bytes.size(), "");
  vips::VImage image =
      vips::VImage::thumbnail_buffer(blob, side, SizeOptions(header, side)->set("no_rotate", true));
  vips_area_unref(VIPS_AREA(blob));
  if (image.get_typeof(VIPS_META_ORIENTATION) == 0 && preview.orientation != 0)
    image.set(VIPS_META_ORIENTATION, preview.orientation);
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

std::optional<vips::VImage> TryEmbedded(const MediaFile& file, int side) {
  const auto preview = ReadRawPreview(file.descriptor.get(), file.path);
  if (!preview) return std::nullopt;
  try {
    return ReadEmbedded(*preview, side);
  } catch (const vips::VError&) {
    vips_error_clear();
    return std::nullopt;
  }
}

}  // namespace

MediaFile OpenMedia(const std::string& path) {
  MediaFile file{FileDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)), path};
  struct stat status {};
  if (!file.descriptor || fstat(file.descriptor.get(), &status) != 0)
    throw std::system_error(errno, std::generic_category());
  if (!S_ISREG(status.st_mode)) throw std::runtime_error("not a regular file");
  if (status.st_size == 0) throw std::runtime_error("the file is empty");
  return file;
}

vips::VImage ReadPicture(const MediaFile& file, int side) {
  const std::string extension = ExtensionOf(file.path);
  if (BlKAVOIndexIsVideo(extension.c_str()))
    return OfFrame(ReadFrame(file.descriptor.get(), FrameOf::kVideo, side));
  if (IsRaw(extension)) {
    if (auto embedded = TryEmbedded(file, side)) return *embedded;
    // What a reader of TIFF would show are the sensor's values.
    throw std::runtime_error("the camera has put no picture into it");
  }
  try {
    return ReadStill(file, side);
  } catch (const vips::VError& error) {
    // Of some formats libvips has no reader, or none that is trusted.
    vips_error_clear();
    const auto frame = TryFrame(file.descriptor.get(), FrameOf::kPicture, side);
    if (frame) return OfFrame(*frame);
    throw std::runtime_error(ReasonOf(error.what()));
  }
}
