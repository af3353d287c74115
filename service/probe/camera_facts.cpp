#include "probe/camera_facts.h"

#include <algorithm>
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
constexpr const char* kXmpExposureKey = "Xmp.exif.ExposureTime";
// How often the second is halved.
constexpr std::array kShutterSpeedKeys = {"Exif.Photo.ShutterSpeedValue", "Exif.Image.ShutterSpeedValue"};
// Beyond 65534 the ISO speed of a photo stands in one of these, and where there is no other.
constexpr std::array kHighIsoKeys = {"Exif.Photo.RecommendedExposureIndex",
                                     "Exif.Photo.StandardOutputSensitivity", "Exif.Photo.ISOSpeed"};
constexpr std::array kXmpIsoKeys = {"Xmp.exif.ISOSpeedRatings", "Xmp.exifEX.PhotographicSensitivity"};
constexpr std::int64_t kHighIso = 65535;
constexpr std::int64_t kHighestIso = 100'000'000;

constexpr std::array kApertureKeys = {"Exif.Photo.FNumber", "Exif.Image.FNumber"};
constexpr std::array kApertureStepKeys = {"Exif.Photo.ApertureValue", "Exif.Image.ApertureValue"};

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

// By the tag of a maker.
std::string MakersExposure(const Exiv2::ExifData& exif) {
  const auto found = Exiv2::exposureTime(exif);
  return found == exif.end() || IsText(*found) ? std::string() : ShownExposure(found->print(&exif));
}

template <typename Data>
std::string StoredExposure(const Data& data, const char* key) {
  const auto* datum = FindDatum(data, key);
  const std::optional<double> seconds = datum != nullptr ? FirstFraction(*datum) : std::nullopt;
  return seconds ? ExposureText(*seconds) : std::string();
}

// WITHOUT_TIME: there is no exposure time, so that zero, which is a second, counts.
template <typename Data>
std::string ShutterSpeed(const Data& data, const char* key, bool without_time) {
  const auto* datum = FindDatum(data, key);
  const std::optional<double> speed = datum != nullptr ? FirstFraction(*datum) : std::nullopt;
  if (!speed || (*speed == 0 && !without_time)) return "";
  return ExposureText(std::exp2(-*speed));
}

bool HasExposureTime(const ParsedImage& image) {
  return FindDatum(image.xmp, kXmpExposureKey) != nullptr ||
         std::any_of(kExposureKeys.begin(), kExposureKeys.end(),
                     [&](const char* key) { return FindDatum(image.exif, key) != nullptr; });
}

// The stored number first: shown to people by the library it may have lost its digits or be no number at all.
std::string Exposure(const ParsedImage& image) {
  const bool without_time = !HasExposureTime(image);
  std::string text;
  for (const char* key : kExposureKeys) {
    if (text.empty()) text = StoredExposure(image.exif, key);
  }
  for (const char* key : kShutterSpeedKeys) {
    if (text.empty()) text = ShutterSpeed(image.exif, key, without_time);
  }
  if (text.empty()) text = StoredExposure(image.xmp, kXmpExposureKey);
  if (text.empty()) text = ShutterSpeed(image.xmp, "Xmp.exif.ShutterSpeedValue", without_time);
  return text.empty() ? MakersExposure(image.exif) : text;
}

// The number that is stored; as it is stored in steps of half a stop where IN_STEPS. 0: none.
template <typename Data>
double StoredAperture(const Data& data, const char* key, bool in_steps) {
  const auto* datum = FindDatum(data, key);
  const std::optional<double> stored = datum != nullptr ? FirstFraction(*datum) : std::nullopt;
  if (!stored || *stored <= 0) return 0;
  const double number = in_steps ? std::exp2(*stored / 2) : *stored;
  return number < kLargestAperture ? number : 0;
}

// "F2.8", as the library shows it where it can; of texts, fractions with a sign and zeros it shows nonsense.
std::string Aperture(const ParsedImage& image) {
  const auto found = Exiv2::fNumber(image.exif);
  if (found != image.exif.end() && !IsText(*found)) {
    const std::string shown = found->print(&image.exif);
    if (shown.size() > 1 && shown[0] == 'F' && IsDigit(shown[1]) && shown != "F0")
      return RecordText(shown, kApertureSize);
  }
  double number = 0;
  for (const char* key : kApertureKeys) {
    if (number == 0) number = StoredAperture(image.exif, key, false);
  }
  for (const char* key : kApertureStepKeys) {
    if (number == 0) number = StoredAperture(image.exif, key, true);
  }
  if (number == 0) number = StoredAperture(image.xmp, "Xmp.exif.FNumber", false);
  if (number == 0) number = StoredAperture(image.xmp, "Xmp.exif.ApertureValue", true);
  return number > 0 ? "F" + Decimal(number, 1) : std::string();
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
