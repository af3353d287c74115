#include "photo_database/position.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>
#include <tuple>

#include "base/c_locale.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/storable_text.h"
#include "photo_database/tool_values.h"
#include "photo_util/side_reader.h"
#include "platform/files.h"

namespace {

constexpr std::size_t kTagValueSize = 32;
constexpr float kSixtieths = 60;

struct Axis {
  const char* value_key;
  const char* reference_key;
  const char* script_tag;
  // The reference that leaves the value as it is; with any other, and with none, it is negated.
  char positive;
};
constexpr Axis kLatitude = {"Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef", "GPSLatitude", 'N'};
constexpr Axis kLongitude = {"Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef", "GPSLongitude",
                             'E'};

bool IsWhole(float part) {
  return std::isfinite(part) && part == std::floor(part);
}

// Single precision is part of the stored values.
struct Angle {
  float degrees = 0;
  float minutes = 0;
  float seconds = 0;

  bool HasNegativePart() const { return degrees < 0 || minutes < 0 || seconds < 0; }
  bool HasWholeParts() const { return IsWhole(degrees) && IsWhole(minutes) && IsWhole(seconds); }
  float Value() const { return (seconds / kSixtieths + minutes) / kSixtieths + degrees; }
};

struct TagPair {
  std::string reference;
  std::string value;
};

// Parts that are missing or cannot be read stay 0.
Angle ParseAngle(const std::string& text) {
  const CLocale locale;
  Angle angle;
  // NOLINTNEXTLINE(cert-err34-c): a number beyond float is seen by the caller
  std::ignore = std::sscanf(text.c_str(), "%fdeg %f' %f\"", &angle.degrees, &angle.minutes, &angle.seconds);
  return angle;
}

// "53903520/1000000". Numbers with a sign are none of a position's.
std::optional<float> ParseRational(std::string_view text) {
  const char* const end = text.data() + text.size();
  std::uint32_t numerator = 0;
  const auto upper = std::from_chars(text.data(), end, numerator);
  if (upper.ec != std::errc() || upper.ptr == end || *upper.ptr != '/') return std::nullopt;
  std::uint32_t denominator = 0;
  const auto lower = std::from_chars(upper.ptr + 1, end, denominator);
  if (lower.ec != std::errc() || lower.ptr != end || denominator == 0) return std::nullopt;
  return static_cast<float>(static_cast<double>(numerator) / denominator);
}

// One to three rationals and nothing else.
std::optional<Angle> ParseRationals(const std::string& text) {
  Angle angle;
  float* const parts[] = {&angle.degrees, &angle.minutes, &angle.seconds};
  const std::vector<std::string> words = SplitWords(text);
  if (words.empty() || words.size() > std::size(parts)) return std::nullopt;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const auto part = ParseRational(words[i]);
    if (!part) return std::nullopt;
    *parts[i] = *part;
  }
  return angle;
}

bool RoundsTo(float exact, float whole) {
  constexpr float kHalf = 0.5F;
  return std::abs(exact - whole) <= kHalf + whole * std::numeric_limits<float>::epsilon();
}

// Newer versions of the tool print whole parts, up to half a degree off. The stored parts are taken where
// they round to the printed ones.
Angle Unrounded(const char* path, const Axis& axis, const Angle& printed) {
  const auto text = StoredTagValue(path, axis.value_key);
  const auto stored = text ? ParseRationals(*text) : std::nullopt;
  const bool agrees = stored && RoundsTo(stored->degrees, printed.degrees) &&
                      RoundsTo(stored->minutes, printed.minutes) &&
                      RoundsTo(stored->seconds, printed.seconds);
  return agrees ? *stored : printed;
}

// A negative part is stored as an unsigned number beyond int, and how the tool prints that is its processor's
// way: as the lowest int, or as the highest.
float WithSign(float part) {
  constexpr float kBeyondInt = 2147483648.0F;
  return part == kBeyondInt ? -kBeyondInt : part;
}

Angle ParsePrinted(const std::string& text) {
  const Angle angle = ParseAngle(text);
  return {WithSign(angle.degrees), WithSign(angle.minutes), WithSign(angle.seconds)};
}

// The tool prints some negative parts in a way of its own; the script knows them better.
Angle AngleOf(const char* path, const Axis& axis, const std::string& text) {
  const Angle angle = ParsePrinted(text);
  if (angle.HasNegativePart()) {
    const auto better = PhotoGPSScriptValueGet(path, axis.script_tag);
    return better ? ParseAngle(*better) : angle;
  }
  return angle.HasWholeParts() ? Unrounded(path, axis, angle) : angle;
}

float Degrees(const char* path, const Axis& axis, const TagPair& tags) {
  const float value = AngleOf(path, axis, tags.value).Value();
  return !tags.reference.empty() && tags.reference.front() == axis.positive ? value : -value;
}

std::optional<TagPair> ReadTags(const char* path, const Axis& axis) {
  auto reference = PhotoExifTagValueGet(path, axis.reference_key, kTagValueSize);
  if (!reference) return std::nullopt;
  auto value = PhotoExifTagValueGet(path, axis.value_key, kTagValueSize);
  if (!value) return std::nullopt;
  return TagPair{std::move(*reference), std::move(*value)};
}

std::string DecimalText(float value) {
  const CLocale locale;
  return FormatText(kPathSize, "%f", static_cast<double>(value));
}

Position PositionFromTags(const char* path) {
  const auto latitude = ReadTags(path, kLatitude);
  if (!latitude) return {};
  const auto longitude = ReadTags(path, kLongitude);
  if (!longitude) return {};
  const float north = Degrees(path, kLatitude, *latitude);
  const float east = Degrees(path, kLongitude, *longitude);
  // A hostile tag may read as infinity or as no number, and that is nowhere.
  if (!std::isfinite(north) || !std::isfinite(east)) return {};
  Position position{{}, DecimalText(north), DecimalText(east)};
  position.gps = FormatText(kGpsSize, "{\"lat\":\"%s\",\"lng\":\"%s\"}", position.latitude.c_str(),
                            position.longitude.c_str());
  return position;
}

std::optional<Position> PositionFromSideFile(const std::string& side_file) {
  const SideLine line = ReadSideLine(side_file, kGpsSize);
  if (line.outcome != SideRead::kDone) return std::nullopt;
  RemoveSideFile(side_file);
  return Position{StorableText(line.text, kGpsSize), {}, {}};
}

}  // namespace

std::optional<Position> PhotoGPSInfoGet(const char* path, PositionMode mode) {
  if (path == nullptr) {
    LOG_AT(kPhotoDatabaseSource, "Bad parameter.");
    return std::nullopt;
  }
  if (!RLIBCFileExist(path)) {
    LOG_AT(kPhotoDatabaseSource, "File not exists: %s", path);
    return std::nullopt;
  }
  if (const auto side_file = FindSideItem(path, "GPS")) return PositionFromSideFile(*side_file);
  if (mode == PositionMode::kVideo) return std::nullopt;
  return PositionFromTags(path);
}
