#include "probe/video_place.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "probe/av_tags.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

constexpr std::array kPlaceTags = {"com.apple.quicktime.location.ISO6709", "location", "RECORDING_LOCATION"};
// The same tag in a language: "location-eng".
constexpr const char* kPlaceInLanguage = "location-";

constexpr double kSixtieths = 60;

// How an axis is written, and how far it goes.
struct Axis {
  std::size_t degree_digits;
  double most;
};
constexpr Axis kLatitude = {2, 90};
constexpr Axis kLongitude = {3, 180};

// The last two digits before the point, and the fraction, of NUMBER; NUMBER keeps what is before them.
double TakeSixtieths(double& number) {
  constexpr double kTwoDigits = 100;
  const double rest = std::fmod(number, kTwoDigits);
  number = std::trunc(number / kTwoDigits);
  return rest;
}

// NUMBER has MORE pairs of digits than its degrees have.
std::optional<double> Degrees(double number, std::size_t more) {
  double part = 0;
  for (; more > 0; --more) {
    const double taken = TakeSixtieths(number);
    if (taken >= kSixtieths) return std::nullopt;
    part = (part + taken) / kSixtieths;
  }
  return number + part;
}

// Takes one signed number with its point from the beginning of TEXT.
std::optional<double> TakeCoordinate(std::string_view& text, const Axis& axis) {
  constexpr std::string_view kDigits = "0123456789";
  constexpr std::size_t kMostPairs = 2;
  if (text.empty() || (text.front() != '+' && text.front() != '-')) return std::nullopt;
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  const std::size_t digits = std::min(text.find_first_not_of(kDigits), text.size());
  const std::size_t more = digits > axis.degree_digits ? digits - axis.degree_digits : 0;
  double number = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (digits == 0 || error != std::errc() || more % 2 != 0 || more / 2 > kMostPairs) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  const auto degrees = Degrees(number, more / 2);
  if (!degrees || *degrees > axis.most) return std::nullopt;
  return negative ? -*degrees : *degrees;
}

std::string Decimal(double degrees) {
  constexpr int kDecimals = 6;
  constexpr std::size_t kLongest = 16;
  std::array<char, kLongest> text{};
  const auto written =
      std::to_chars(text.data(), text.data() + text.size(), degrees, std::chars_format::fixed, kDecimals);
  return {text.data(), written.ptr};
}

}  // namespace

std::string PlaceOfIso6709(std::string_view text) {
  const auto latitude = TakeCoordinate(text, kLatitude);
  const auto longitude = latitude ? TakeCoordinate(text, kLongitude) : std::nullopt;
  if (!longitude || (*latitude == 0 && *longitude == 0)) return "";
  return R"({"lat":")" + Decimal(*latitude) + R"(","lng":")" + Decimal(*longitude) + R"("})";
}

std::string VideoPlace(const AVFormatContext& format) {
  for (const char* key : kPlaceTags) {
    if (std::string place = PlaceOfIso6709(AvTag(format.metadata, key)); !place.empty()) return place;
  }
  const AVDictionaryEntry* other =
      av_dict_get(format.metadata, kPlaceInLanguage, nullptr, AV_DICT_IGNORE_SUFFIX);
  return other != nullptr ? PlaceOfIso6709(other->value) : "";
}
