// One axis of a position, as the metadata tool prints it and as the file stores it.
#ifndef PHOTO_DATABASE_POSITION_ANGLE_H_
#define PHOTO_DATABASE_POSITION_ANGLE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Degrees, minutes and seconds. Single precision is part of the stored values.
struct Angle {
  float degrees = 0;
  float minutes = 0;
  float seconds = 0;

  bool HasNegativePart() const { return degrees < 0 || minutes < 0 || seconds < 0; }
  bool HasWholeParts() const;
  float Value() const;
};

// TEXT read as "%fdeg %f' %f\"". Parts that are missing or cannot be read stay 0.
Angle ParseAngle(const std::string& text);
// Whether TEXT begins with a number, the first of an angle. One without counts as 0.
bool IsAngle(const std::string& text);
// What the tool prints. A negative part that is stored without its sign is beyond int, and how the tool
// prints that is its processor's way: as the lowest int, or as the highest. Both are negative here.
Angle ParsePrintedAngle(const std::string& text);
// The tool prints a value of which it can make no angle as it is stored: "35/1 30/1".
bool IsPrintedRaw(const std::string& text);

// A part as it is stored, of 32 bits each, with signs or without.
struct Fraction {
  std::int64_t numerator;
  std::int64_t denominator;
};
using Fractions = std::vector<Fraction>;

// "46/1 53903520/1000000 0/1": one to three parts and nothing else.
std::optional<Fractions> ParseFractions(const std::string& text);
bool HasNegativeFraction(const Fractions& parts);

// What PARTS, none of which is negative, stand for, when each rounds to the part of PRINTED.
std::optional<Angle> Unrounded(const Fractions& parts, const Angle& printed);
// The tool has printed a number where none is stored ("0/0", "1/0"). Minutes and seconds of "0/0" are not
// told, and count as 0.
bool HidesNoNumber(const Fractions& parts, const Angle& printed);
// The angle in degrees, at most MOST of them on either side. The sign of the first part that is not 0 is that
// of the whole, and a later one must not contradict it. Where the parts as they are make no such angle, those
// beyond all bounds are taken for negative numbers that were stored without their sign. Nothing where that
// makes none either.
std::optional<float> SignedDegrees(const Fractions& parts, float most);

#endif  // PHOTO_DATABASE_POSITION_ANGLE_H_
