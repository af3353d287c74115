#include "probe/photo_probe.h"

#include <array>
#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <memory>
#include <optional>
#include <string_view>

#include "lumivault/media_info.h"
#include "platform/exiv2_scope.h"
#include "platform/image_cache.h"
#include "probe/av_file.h"
#include "probe/jpeg_end.h"
#include "probe/probe.h"
#include "probe/record_text.h"
#include "probe/taken_time.h"

namespace {

constexpr std::size_t kMakeSize = sizeof(KAVO_MEDIA_INFO::szMake);
constexpr std::size_t kModelSize = sizeof(KAVO_MEDIA_INFO::szModel);
constexpr std::size_t kExposureSize = sizeof(KAVO_MEDIA_INFO::szExposure);
constexpr std::size_t kApertureSize = sizeof(KAVO_MEDIA_INFO::szAperture);

// The moment of exposure first, the last change of the file's content last.
constexpr std::array kExifTimes = {"Exif.Photo.DateTimeOriginal", "Exif.Photo.DateTimeDigitized",
                                   "Exif.Image.DateTime"};
constexpr std::array kXmpTimes = {"Xmp.exif.DateTimeOriginal", "Xmp.photoshop.DateCreated",
                                  "Xmp.xmp.CreateDate"};
// Beyond 65534 the ISO speed of a photo stands in one of these.
constexpr std::array kHighIsoKeys = {"Exif.Photo.RecommendedExposureIndex",
                                     "Exif.Photo.StandardOutputSensitivity", "Exif.Photo.ISOSpeed"};
constexpr std::int64_t kHighIso = 65535;
constexpr std::int64_t kHighestIso = 100'000'000;
constexpr std::int64_t kMostPixels = 1'000'000;  // of one side

// Where raw files, of which the library does not tell the size, have it.
struct SizeKeys {
  const char* width;
  const char* height;
};
constexpr std::array kSizeKeys = {SizeKeys{"Exif.Photo.PixelXDimension", "Exif.Photo.PixelYDimension"},
                                  SizeKeys{"Exif.SubImage1.ImageWidth", "Exif.SubImage1.ImageLength"},
                                  SizeKeys{"Exif.Image.ImageWidth", "Exif.Image.ImageLength"}};

using ExifFinder = Exiv2::ExifData::const_iterator (*)(const Exiv2::ExifData&);

const Exiv2::Exifdatum* Find(const Exiv2::ExifData& exif, const char* key) {
  const auto found = exif.findKey(Exiv2::ExifKey(key));
  return found == exif.end() ? nullptr : &*found;
}

const Exiv2::Xmpdatum* Find(const Exiv2::XmpData& xmp, const char* key) {
  const auto found = xmp.findKey(Exiv2::XmpKey(key));
  return found == xmp.end() ? nullptr : &*found;
}

// A value as it is shown to people: where Exif has it, by whatever tag, else where XMP has it.
std::string Shown(const ParsedImage& image, ExifFinder find, const char* xmp_key) {
  const auto found = find(image.exif);
  if (found != image.exif.end()) return found->print(&image.exif);
  const Exiv2::Xmpdatum* datum = Find(image.xmp, xmp_key);
  return datum != nullptr ? datum->print(&image.exif) : std::string();
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// "1/125 s" as "1/125"; what is no time, "(0/0)" or zero, as nothing.
std::string ExposureText(std::string shown) {
  constexpr std::string_view kUnit = " s";
  if (shown.ends_with(kUnit)) shown.resize(shown.size() - kUnit.size());
  const bool is_time =
      !shown.empty() && shown != "0" && shown.find_first_not_of("0123456789./") == shown.npos;
  return is_time ? RecordText(shown, kExposureSize) : std::string();
}

// "F2.8" as it stands; what is no number as nothing.
std::string ApertureText(const std::string& shown) {
  const bool is_number = shown.size() > 1 && shown[0] == 'F' && IsDigit(shown[1]) && shown != "F0";
  return is_number ? RecordText(shown, kApertureSize) : std::string();
}

// The library gives a long, which has no room for the upper half of unsigned numbers on a 32-bit processor.
std::int64_t FirstNumber(const Exiv2::Metadatum& datum) {
  if (datum.count() == 0) return 0;
  const std::int64_t number = datum.toLong(0);
  return datum.typeId() == Exiv2::unsignedLong ? static_cast<std::uint32_t>(number) : number;
}

std::int64_t HighIso(const Exiv2::ExifData& exif) {
  for (const char* key : kHighIsoKeys) {
    const Exiv2::Exifdatum* datum = Find(exif, key);
    if (datum != nullptr && FirstNumber(*datum) > kHighIso) return FirstNumber(*datum);
  }
  return kHighIso;
}

int IsoSpeed(const ParsedImage& image) {
  std::int64_t iso = 0;
  const auto found = Exiv2::isoSpeed(image.exif);
  if (found != image.exif.end()) {
    iso = FirstNumber(*found);
  } else if (const Exiv2::Xmpdatum* datum = Find(image.xmp, "Xmp.exif.ISOSpeedRatings")) {
    iso = FirstNumber(*datum);
  }
  if (iso == kHighIso) iso = HighIso(image.exif);
  return iso > 0 && iso <= kHighestIso ? static_cast<int>(iso) : 0;
}

template <typename Data, typename Keys>
std::optional<std::string> FirstTime(const Data& data, const Keys& keys) {
  for (const char* key : keys) {
    const auto* datum = Find(data, key);
    if (datum == nullptr) continue;
    if (std::optional<std::string> time = WallClockTime(datum->toString())) return time;
  }
  return std::nullopt;
}

std::string TakenTime(const ParsedImage& image) {
  if (auto time = FirstTime(image.exif, kExifTimes)) return *time;
  return FirstTime(image.xmp, kXmpTimes).value_or("");
}

PhotoFacts CameraFacts(const ParsedImage& image) {
  PhotoFacts facts;
  facts.make = RecordText(Shown(image, Exiv2::make, "Xmp.tiff.Make"), kMakeSize);
  facts.model = RecordText(Shown(image, Exiv2::model, "Xmp.tiff.Model"), kModelSize);
  facts.exposure = ExposureText(Shown(image, Exiv2::exposureTime, "Xmp.exif.ExposureTime"));
  facts.aperture = ApertureText(Shown(image, Exiv2::fNumber, "Xmp.exif.FNumber"));
  facts.iso = IsoSpeed(image);
  return facts;
}

PictureSize StatedSize(const Exiv2::ExifData& exif) {
  for (const SizeKeys& keys : kSizeKeys) {
    const Exiv2::Exifdatum* width = Find(exif, keys.width);
    const Exiv2::Exifdatum* height = Find(exif, keys.height);
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
    facts.taken = TakenTime(image);
    facts.photo = CameraFacts(image);
  } catch (const Exiv2::AnyError& error) {
    facts.outcome = ProbeOutcome::kDamaged;
    facts.reason = "its metadata cannot be read: " + OneLine(error.what());
  }
}

// The library's words without the file's name in front.
std::string Reason(const ParsedImage& image, const std::string& path) {
  std::string_view words = image.error;
  if (words.starts_with(path + ": ")) words.remove_prefix(path.size() + 2);
  return OneLine(words);
}

void JudgeUnparsed(const ParsedImage& image, const std::string& path, MediaFacts& facts) {
  facts.outcome = image.unknown_type ? ProbeOutcome::kUnsupported : ProbeOutcome::kDamaged;
  facts.reason = Reason(image, path);
}

// A file of metadata alone is no picture, and a picture that breaks off is damaged.
void JudgeParsed(const ParsedImage& image, int descriptor, MediaFacts& facts) {
  if (image.type == Exiv2::ImageType::xmp || image.type == Exiv2::ImageType::exv) {
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

// From the image itself, from its decoder, from what its metadata states; in this order.
void FindSize(const ParsedImage& image, int descriptor, MediaFacts& facts) {
  facts.size = {image.width, image.height};
  if (!IsKnown(facts.size)) facts.size = AvPictureSize(descriptor);
  if (!IsKnown(facts.size)) facts.size = StatedSize(image.exif);
  if (IsKnown(facts.size)) return;
  facts.size = {};
  if (facts.outcome != ProbeOutcome::kOk) return;
  facts.outcome = ProbeOutcome::kDamaged;
  facts.reason = "the size of the picture cannot be found";
}

}  // namespace

MediaFacts ReadPhoto(const std::string& path, int descriptor) {
  MediaFacts facts;
  const std::shared_ptr<const ParsedImage> image = GetParsedImage(path);
  if (image->outcome == ParsedImage::Outcome::kMissing) {
    facts.outcome = ProbeOutcome::kUnreadable;
    facts.reason = "it vanished while it was read";
    return facts;
  }
  if (image->outcome == ParsedImage::Outcome::kParsed) {
    JudgeParsed(*image, descriptor, facts);
    ReadMetadata(*image, facts);
  } else {
    JudgeUnparsed(*image, path, facts);
  }
  FindSize(*image, descriptor, facts);
  return facts;
}

void MuteProbeLibraries() {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
}
