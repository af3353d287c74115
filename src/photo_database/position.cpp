#include "photo_database/position.h"

#include <cmath>

#include "base/c_locale.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/position_angle.h"
#include "photo_database/storable_text.h"
#include "photo_database/tool_values.h"
#include "photo_util/side_reader.h"

namespace {

constexpr std::size_t kTagValueSize = 32;
struct Axis {
  const char* value_key;
  const char* reference_key;
  const char* script_tag;
  // The reference that leaves the value as it is; with any other, and with none, it is negated.
  char positive;
  float most;  // degrees on either side
};
constexpr Axis kLatitude = {"Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef", "GPSLatitude", 'N',
                            90};
constexpr Axis kLongitude = {"Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef", "GPSLongitude", 'E',
                             180};

struct TagPair {
  std::string reference;
  std::string value;
};

// What the tool and the script tell of one axis.
struct Reading {
  Angle angle;
  bool positive = false;     // by the reference
  bool from_script = false;  // which has the last word on what is on earth
  bool raw = false;          // no angle, by the tool's own account
  bool unread = false;       // no angle: the script printed something else (a warning, say)
};

Reading ReadAngle(const char* path, const Axis& axis, const TagPair& tags) {
  const bool positive = !tags.reference.empty() && tags.reference.front() == axis.positive;
  Reading reading{ParsePrintedAngle(tags.value), positive, false, IsPrintedRaw(tags.value)};
  if (!reading.angle.HasNegativePart()) return reading;
  if (const auto better = PhotoGPSScriptValueGet(path, axis.script_tag))
    return {ParseAngle(*better), positive, true, false, !IsAngle(*better)};
  return reading;
}

// False also for what is no number.
bool IsOnEarth(float degrees, const Axis& axis) {
  return std::abs(degrees) <= axis.most;
}

std::optional<float> Referred(float degrees, const Axis& axis, const Reading& reading) {
  if (!IsOnEarth(degrees, axis)) return std::nullopt;
  return reading.positive ? degrees : -degrees;
}

// A stored sign says south or west by itself, whatever the letter is.
std::optional<float> SignedPosition(const Fractions& stored, const Axis& axis, const Reading& reading) {
  const auto degrees = SignedDegrees(stored, axis.most);
  return degrees && *degrees >= 0 ? Referred(*degrees, axis, reading) : degrees;
}

// Newer versions of the tool print whole parts, up to half a degree off; the stored parts are taken where
// they round to the printed ones.
std::optional<float> StoredPosition(const Fractions& stored, const Axis& axis, const Reading& reading) {
  const bool nonsense = reading.raw || reading.from_script || reading.angle.HasNegativePart() ||
                        !IsOnEarth(reading.angle.Value(), axis);
  if (nonsense) return SignedPosition(stored, axis, reading);
  if (HidesNoNumber(stored, reading.angle)) return std::nullopt;
  if (HasNegativeFraction(stored)) {
    const auto position = SignedPosition(stored, axis, reading);
    return position ? position : Referred(reading.angle.Value(), axis, reading);
  }
  return Referred(Unrounded(stored, reading.angle).value_or(reading.angle).Value(), axis, reading);
}

// Nothing for what is nowhere on earth.
std::optional<float> Degrees(const char* path, const Axis& axis, const Reading& reading) {
  const auto told = Referred(reading.angle.Value(), axis, reading);
  const bool exact = reading.from_script
                         ? !reading.unread
                         : !(reading.raw || reading.angle.HasNegativePart() || reading.angle.HasWholeParts());
  if (told && exact) return told;
  const auto text = StoredTagValue(path, axis.value_key);
  if (const auto stored = text ? ParseFractions(*text) : std::nullopt)
    return StoredPosition(*stored, axis, reading);
  return reading.raw ? std::nullopt : told;
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
  const Reading north = ReadAngle(path, kLatitude, *latitude);
  const Reading east = ReadAngle(path, kLongitude, *longitude);
  const auto north_degrees = Degrees(path, kLatitude, north);
  if (!north_degrees) return {};
  const auto east_degrees = Degrees(path, kLongitude, east);
  if (!east_degrees) return {};
  Position position{{}, DecimalText(*north_degrees), DecimalText(*east_degrees)};
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
  if (!IsThereToRead(path)) return std::nullopt;
  // The file is read once, and the database has been waited for: it may have come meanwhile.
  LookForSideFolderAnew();
  if (const auto side_file = FindSideItem(path, "GPS")) return PositionFromSideFile(*side_file);
  if (mode == PositionMode::kVideo) return std::nullopt;
  return PositionFromTags(path);
}
