#include "probe/photo_probe.h"

#include <array>
#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/exiv2_scope.h"
#include "platform/image_cache.h"
#include "probe/av_file.h"
#include "probe/camera_facts.h"
#include "probe/container_time.h"
#include "probe/datum.h"
#include "probe/heif_picture.h"
#include "probe/jpeg_end.h"
#include "probe/photo_texts.h"
#include "probe/probe.h"
#include "probe/record_text.h"
#include "probe/second_reader.h"

namespace {

constexpr std::int64_t kMostPixels = 1'000'000;  // of one side

// Where raw files, of which the library does not tell the size, have it.
struct SizeKeys {
  const char* width;
  const char* height;
};
constexpr std::array kSizeKeys = {SizeKeys{"Exif.Photo.PixelXDimension", "Exif.Photo.PixelYDimension"},
                                  SizeKeys{"Exif.SubImage1.ImageWidth", "Exif.SubImage1.ImageLength"},
                                  SizeKeys{"Exif.Image.ImageWidth", "Exif.Image.ImageLength"}};

PictureSize StatedSize(const Exiv2::ExifData& exif) {
  for (const SizeKeys& keys : kSizeKeys) {
    const Exiv2::Exifdatum* width = FindDatum(exif, keys.width);
    const Exiv2::Exifdatum* height = FindDatum(exif, keys.height);
    if (width == nullptr || height == nullptr) continue;
    const std::int64_t x = FirstNumber(*width);
    const std::int64_t y = FirstNumber(*height);
    if (x > 0 && y > 0 && x <= kMostPixels && y <= kMostPixels)
      return {static_cast<int>(x), static_cast<int>(y)};
  }
  return {};
}

// A value that the library cannot show leaves the facts after it empty.
void ReadMetadata(const ParsedImage& image, MediaFacts& facts) {
  const Exiv2Scope scope;
  try {
    facts.taken = TimeInMetadata(image);
    facts.photo = ReadCamera(image);
    facts.photo.title = TitleInMetadata(image);
  } catch (const Exiv2::AnyError& error) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = "its metadata cannot be read [" + OneLine(error.what()) + "]";
  }
}

// The library's words without the file's name in front.
std::string LibraryReason(const ParsedImage& image, const std::string& path) {
  std::string_view words = image.error;
  if (words.starts_with(path + ": ")) words.remove_prefix(path.size() + 2);
  return OneLine(words);
}

// KNOWN is a picture all the same.
void SetOutcomeOfUnparsed(const ParsedImage& image, const std::string& path, bool known, MediaFacts& facts) {
  facts.outcome = image.unknown_type && !known ? ProbeOutcome::kUnsupported : ProbeOutcome::kDamaged;
  facts.reason = LibraryReason(image, path);
}

// A file of metadata alone is no picture, and a picture that breaks off, or of which not all is read, is
// damaged.
void SetOutcomeOfParsed(const ParsedImage& image, const std::string& path, int descriptor,
                        MediaFacts& facts) {
  if (!image.error.empty()) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = LibraryReason(image, path);
  } else if (image.type == Exiv2::ImageType::xmp || image.type == Exiv2::ImageType::exv) {
    facts.outcome = ProbeOutcome::kUnsupported;
    facts.reason = "it holds no picture";
  } else if (image.type == Exiv2::ImageType::jpeg && !JpegIsComplete(descriptor)) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = "the picture is cut short";
  }
}

bool IsKnown(const PictureSize& size) {
  return size.width > 0 && size.height > 0;
}

// From the image itself, from its decoder, from what its metadata states; in this order. What is of no known
// type is not shown to decoders.
AvPicture FindSize(const ParsedImage& image, int descriptor) {
  AvPicture found{{image.width, image.height}};
  if (!IsKnown(found.size) && !image.unknown_type && !IsJxlFile(descriptor))
    found = ReadAvPicture(descriptor);
  if (!IsKnown(found.size)) found.size = StatedSize(image.exif);
  if (!IsKnown(found.size)) found.size = PictureSize{};
  return found;
}

// A format that is laid out as a TIFF image says of its size what its maker liked, or nothing.
bool MayHideItsSize(const ParsedImage& image) {
  return image.type != Exiv2::ImageType::jpeg && image.type != Exiv2::ImageType::png && !image.exif.empty();
}

// Nothing is wrong with a picture of which only the metadata library knows too little.
void SetOutcomeOfSize(const ParsedImage& image, int descriptor, bool late, MediaFacts& facts) {
  if (late && !IsKnown(facts.size)) {
    facts.outcome = ProbeOutcome::kLate;
    facts.reason = kTookTooLong;
  }
  if (facts.outcome != ProbeOutcome::kOk) return;
  if (!IsKnown(facts.size)) {
    const bool of_a_camera = MayHideItsSize(image) && !facts.photo.make.empty();
    facts.outcome = of_a_camera ? ProbeOutcome::kSizeless : ProbeOutcome::kDamaged;
    facts.reason = "the size of the picture cannot be found";
  } else if (!EndsBehindPicture(descriptor)) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = "the picture is cut short";
  }
}

}  // namespace

MediaFacts ReadPhoto(const std::string& path, int descriptor) {
  [[maybe_unused]] static const bool reader_is_set = (SetHeifMetadataReader(ReadHeifMetadata), true);
  MediaFacts facts;
  const std::shared_ptr<const ParsedImage> image = GetParsedImage(path);
  if (image->outcome == ParsedImage::Outcome::kMissing) {
    facts.outcome = ProbeOutcome::kUnreadable;
    facts.reason = "it vanished while it was read";
    return facts;
  }
  const bool parsed = image->outcome == ParsedImage::Outcome::kParsed;
  const std::optional<SecondReading> again = ReadWithSecondReader(descriptor);
  if (parsed) {
    SetOutcomeOfParsed(*image, path, descriptor, facts);
    ReadMetadata(*image, facts);
  } else if (!again || again->tells_more) {
    SetOutcomeOfUnparsed(*image, path, again.has_value(), facts);
  }
  if (facts.taken.time.empty()) facts.taken.Take(ContainerTime(descriptor));
  const AvPicture found = again ? AvPicture{again->size} : FindSize(*image, descriptor);
  facts.size = found.size;
  SetOutcomeOfSize(*image, descriptor, found.late, facts);
  return facts;
}

void MuteProbeLibraries() {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
}
