#include "probe/camera_facts.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>

#include "lumivault/media_info.h"
#include "probe/datum.h"
#include "probe/record_text.h"

namespace {

constexpr std::size_t kMakeSize = sizeof(KAVO_MEDIA_INFO::szMake);
constexpr std::size_t kModelSize = sizeof(KAVO_MEDIA_INFO::szModel);
constexpr std::size_t kExposureSize = sizeof(KAVO_MEDIA_INFO::szExposure);
constexpr std::size_t kApertureSize = sizeof(KAVO_MEDIA_INFO::szAperture);

constexpr std::array kExposureKeys = {"Exif.Photo.ExposureTime", "Exif.Image.ExposureTime"};
// How often the second is halved.
constexpr std::array kShutterSpeedKeys = {"Exif.Photo.ShutterSpeedValue", "Exif.Image.ShutterSpeedValue"};
// Beyond 65534 the ISO speed of a photo stands in one of these, and where there is no other.
constexpr std::array kHighIsoKeys = {"Exif.Photo.RecommendedExposureIndex",
                                     "Exif.Photo.StandardOutputSensitivity", "Exif.Photo.ISOSpeed"};
constexpr std::array kXmpIsoKeys = {"Xmp.exif.ISOSpeedRatings", "Xmp.exifEX.PhotographicSensitivity"};
constexpr std::int64_t kHighIso = 65535;
constexpr std::int64_t kHighestIso = 100'000'000;

constexpr double kShortestExposure = 1e-9;
constexpr double kLongestExposure = 1e6;
// Nobody sees a smaller difference between two exposures.
constexpr double kSameExposure = 0.0005;
constexpr int kExposureDecimals = 3;
constexpr double kLargestAperture = 1000;

using ExifFinder = Exiv2::ExifData::const_iterator (*)(const Exiv2::ExifData&);

// A value as it is shown to people: where Exif has it, by whatever tag, else where XMP has it.
std::string Shown(const ParsedImage& image, ExifFinder find, const char* xmp_key) {
  const auto found = find(image.exif);
  if (found != image.exif.end()) return found->print(&image.exif);
  const Exiv2::Xmpdatum* datum = FindDatum(image.xmp, xmp_key);
  return datum != nullptr ? datum->print(&image.exif) : std::string();
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// "2.5", "30"
std::string Decimal(double number, int decimals) {
  std::array<char, kExposureSize> text{};
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, decimals);
  if (error != std::errc()) return "";
  std::string_view digits(text.data(), static_cast<std::size_t>(end - text.data()));
  digits.remove_suffix(digits.size() - 1 - digits.find_last_not_of('0'));
  if (digits.ends_with('.')) digits.remove_suffix(1);
  return std::string(digits);
}

// As the library shows it, "1/125 s" or "2.5 s"; what is no time, "(0/0)" or zero, as nothing.
std::string ShownExposure(std::string_view shown) {
  const char* end = shown.data() + shown.size();
  double seconds = 0;
  const char* rest = std::from_chars(shown.data(), end, seconds).ptr;
  double divisor = 1;
  if (rest != end && *rest == '/') rest = std::from_chars(rest + 1, end, divisor).ptr;
  const std::string_view unit(rest, static_cast<std::size_t>(end - rest));
  return unit.empty() || unit == " s" ? ExposureText(seconds / divisor) : std::string();
}

template <typename Data>
std::string StoredExposure(const Data& data, const char* key) {
  const auto* datum = FindDatum(data, key);
  const std::optional<double> seconds = datum != nullptr ? FirstFraction(*datum) : std::nullopt;
  return seconds ? ExposureText(*seconds) : std::string();
}

template <typename Data>
std::string ShutterSpeed(const Data& data, const char* key) {
  const auto* datum = FindDatum(data, key);
  const std::optional<double> speed = datum != nullptr ? FirstFraction(*datum) : std::nullopt;
  return speed ? ExposureText(std::exp2(-*speed)) : std::string();
}

// The stored number first: shown to people by the library it may have lost its digits or be no number at all.
std::string Exposure(const ParsedImage& image) {
  std::string text;
  for (const char* key : kExposureKeys) {
    if (text.empty()) text = StoredExposure(image.exif, key);
  }
  for (const char* key : kShutterSpeedKeys) {
    if (text.empty()) text = ShutterSpeed(image.exif, key);
  }
  if (text.empty()) text = StoredExposure(image.xmp, "Xmp.exif.ExposureTime");
  if (text.empty()) text = ShutterSpeed(image.xmp, "Xmp.exif.ShutterSpeedValue");
  return text.empty() ? ShownExposure(Shown(image, Exiv2::exposureTime, "Xmp.exif.ExposureTime")) : text;
}

// "F2.8" as it is shown; the library shows no stored fraction that has a sign.
std::string Aperture(const ParsedImage& image) {
  const std::string shown = Shown(image, Exiv2::fNumber, "Xmp.exif.FNumber");
  if (shown.size() > 1 && shown[0] == 'F' && IsDigit(shown[1]) && shown != "F0")
    return RecordText(shown, kApertureSize);
  const Exiv2::Exifdatum* datum = FindDatum(image.exif, "Exif.Photo.FNumber");
  const double number = datum != nullptr ? FirstFraction(*datum).value_or(0) : 0;
  return number > 0 && number < kLargestAperture ? "F" + Decimal(number, 1) : std::string();
}

// What a maker's tag stores is a code: shown to people it is the speed, or a word, or of a code of zero the
// speed of nothing. 0: none.
std::int64_t ShownIso(const Exiv2::ExifData& exif) {
  const auto found = Exiv2::isoSpeed(exif);
  if (found == exif.end()) return 0;
  if (found->toString() == "0") {
    Exiv2::ExifData others = exif;
    others.erase(others.findKey(Exiv2::ExifKey(found->key())));
    return ShownIso(others);
  }
  const std::string shown = found->print(&exif);
  double speed = 0;
  std::from_chars(shown.data(), shown.data() + shown.size(), speed);
  return speed > 0 && speed <= kHighestIso ? std::llround(speed) : 0;
}

template <typename Data, typename Keys>
std::int64_t FirstIsoAbove(std::int64_t bound, const Data& data, const Keys& keys) {
  for (const char* key : keys) {
    const auto* datum = FindDatum(data, key);
    if (datum != nullptr && FirstNumber(*datum) > bound) return FirstNumber(*datum);
  }
  return 0;
}

std::int64_t ExifIso(const Exiv2::ExifData& exif) {
  const std::int64_t shown = ShownIso(exif);
  if (shown == kHighIso) {
    const std::int64_t high = FirstIsoAbove(kHighIso, exif, kHighIsoKeys);
    return high > 0 ? high : kHighIso;
  }
  return shown > 0 ? shown : FirstIsoAbove(0, exif, kHighIsoKeys);
}

int IsoSpeed(const ParsedImage& image) {
  std::int64_t iso = ExifIso(image.exif);
  if (iso == 0) iso = FirstIsoAbove(0, image.xmp, kXmpIsoKeys);
  return iso > 0 && iso <= kHighestIso ? static_cast<int>(iso) : 0;
}

}  // namespace

std::string ExposureText(double seconds) {
  if (!(seconds >= kShortestExposure && seconds <= kLongestExposure)) return "";
  const std::int64_t part = std::llround(1 / seconds);
  const bool is_part = part > 1 && std::abs(seconds - 1.0 / static_cast<double>(part)) < kSameExposure;
  return is_part ? "1/" + std::to_string(part) : Decimal(seconds, kExposureDecimals);
}

PhotoFacts ReadCamera(const ParsedImage& image) {
  PhotoFacts facts;
  facts.make = RecordText(Shown(image, Exiv2::make, "Xmp.tiff.Make"), kMakeSize);
  facts.model = RecordText(Shown(image, Exiv2::model, "Xmp.tiff.Model"), kModelSize);
  facts.exposure = Exposure(image);
  facts.aperture = Aperture(image);
  facts.iso = IsoSpeed(image);
  return facts;
}
