#include "photo_database/position_angle.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string_view>
#include <tuple>

#include "base/c_locale.h"
#include "photo_database/tool_values.h"

namespace {

constexpr std::size_t kParts = 3;
using Parts = std::array<double, kParts>;

bool IsWhole(float part) {
  return std::isfinite(part) && part == std::floor(part);
}

float WithSign(float part) {
  constexpr float kBeyondInt = 2147483648.0F;
  return part == kBeyondInt ? -kBeyondInt : part;
}

// Up to END exclusively; nothing for what 32 bits cannot hold.
std::optional<std::int64_t> ParseNumber(std::string_view text) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  const bool fits = number >= std::numeric_limits<std::int32_t>::min() &&
                    number <= std::numeric_limits<std::uint32_t>::max();
  if (error != std::errc() || read != end || !fits) return std::nullopt;
  return number;
}

std::optional<Fraction> ParseFraction(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const auto numerator = ParseNumber(text.substr(0, slash));
  const auto denominator = ParseNumber(text.substr(slash + 1));
  if (!numerator || !denominator) return std::nullopt;
  return Fraction{*numerator, *denominator};
}

double NumberOf(const Fraction& part) {
  if (part.denominator == 0) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(part.numerator) / static_cast<double>(part.denominator);
}

bool IsZeroOverZero(const Fraction& part) {
  return part.numerator == 0 && part.denominator == 0;
}

Parts NumbersOf(const Fractions& fractions) {
  Parts parts{};
  for (std::size_t i = 0; i < fractions.size(); ++i) {
    parts.at(i) = i > 0 && IsZeroOverZero(fractions[i]) ? 0 : NumberOf(fractions[i]);
  }
  return parts;
}

Parts PartsOf(const Angle& angle) {
  return {angle.degrees, angle.minutes, angle.seconds};
}

Angle AngleOf(const Parts& parts) {
  return {static_cast<float>(parts[0]), static_cast<float>(parts[1]), static_cast<float>(parts[2])};
}

bool RoundsTo(double exact, double whole) {
  constexpr double kHalf = 0.5;
  return std::abs(exact - whole) <= kHalf + whole * std::numeric_limits<float>::epsilon();
}

std::optional<float> SignedSum(const Parts& parts) {
  const auto first = std::find_if(parts.begin(), parts.end(), [](double part) { return part != 0; });
  const bool negative = first != parts.end() && *first < 0;
  Parts absolute{};
  for (std::size_t i = 0; i < kParts; ++i) {
    if (std::isnan(parts.at(i)) || (parts.at(i) < 0 && !negative)) return std::nullopt;
    absolute.at(i) = std::abs(parts.at(i));
  }
  const float value = AngleOf(absolute).Value();
  return negative ? -value : value;
}

// No part of a position on earth is larger. A wrapped number is smaller than this only with a denominator
// that is itself beyond the numbers of a sign.
constexpr double kBeyondBounds = 180;

Fraction WithLostSign(const Fraction& part) {
  constexpr std::int64_t kFirstNegative = std::int64_t{1} << 31;
  constexpr std::int64_t kAllNumbers = std::int64_t{1} << 32;
  const bool wrapped = part.numerator >= kFirstNegative && NumberOf(part) > kBeyondBounds;
  return {wrapped ? part.numerator - kAllNumbers : part.numerator, part.denominator};
}

}  // namespace

bool Angle::HasWholeParts() const {
  return IsWhole(degrees) && IsWhole(minutes) && IsWhole(seconds);
}

float Angle::Value() const {
  constexpr float kSixtieths = 60;
  return (seconds / kSixtieths + minutes) / kSixtieths + degrees;
}

Angle ParseAngle(const std::string& text) {
  const CLocale locale;
  Angle angle;
  // NOLINTNEXTLINE(cert-err34-c): a number beyond float is seen by the caller
  std::ignore = std::sscanf(text.c_str(), "%fdeg %f' %f\"", &angle.degrees, &angle.minutes, &angle.seconds);
  return angle;
}

bool IsAngle(const std::string& text) {
  const CLocale locale;
  float degrees = 0;
  // NOLINTNEXTLINE(cert-err34-c): as above
  return std::sscanf(text.c_str(), "%f", &degrees) == 1;
}

Angle ParsePrintedAngle(const std::string& text) {
  const Angle angle = ParseAngle(text);
  return {WithSign(angle.degrees), WithSign(angle.minutes), WithSign(angle.seconds)};
}

bool IsPrintedRaw(const std::string& text) {
  return text.find('/') != std::string::npos;
}

std::optional<Fractions> ParseFractions(const std::string& text) {
  const std::vector<std::string> words = SplitWords(text);
  if (words.empty() || words.size() > kParts) return std::nullopt;
  Fractions parts;
  for (const std::string& word : words) {
    const auto part = ParseFraction(word);
    if (!part) return std::nullopt;
    parts.push_back(*part);
  }
  return parts;
}

bool HasNegativeFraction(const Fractions& parts) {
  return std::any_of(parts.begin(), parts.end(), [](const Fraction& part) { return NumberOf(part) < 0; });
}

std::optional<Angle> Unrounded(const Fractions& parts, const Angle& printed) {
  const Parts exact = NumbersOf(parts);
  const Parts rounded = PartsOf(printed);
  if (!std::equal(exact.begin(), exact.end(), rounded.begin(), RoundsTo)) return std::nullopt;
  return AngleOf(exact);
}

bool HidesNoNumber(const Fractions& parts, const Angle& printed) {
  const Parts exact = NumbersOf(parts);
  const Parts rounded = PartsOf(printed);
  for (std::size_t i = 0; i < kParts; ++i) {
    if (std::isnan(exact.at(i)) && rounded.at(i) == 0) return true;
  }
  return false;
}

std::optional<float> SignedDegrees(const Fractions& parts, float most) {
  Fractions wrapped;
  std::transform(parts.begin(), parts.end(), std::back_inserter(wrapped), WithLostSign);
  for (const Fractions& candidate : {parts, wrapped}) {
    const auto degrees = SignedSum(NumbersOf(candidate));
    if (degrees && std::abs(*degrees) <= most) return degrees;
  }
  return std::nullopt;
}
