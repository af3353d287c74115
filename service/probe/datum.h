// Single values of an image's metadata.
#ifndef SERVICE_PROBE_DATUM_H_
#define SERVICE_PROBE_DATUM_H_

#include <charconv>
#include <cmath>
#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <optional>
#include <string_view>

#include "base/ascii.h"
#include "platform/find_datum.h"

// Null where DATA has nothing under KEY.
inline const Exiv2::Exifdatum* FindDatum(const Exiv2::ExifData& data, const char* key) {
  return DatumOf(data, Exiv2::ExifKey(key).key());
}

inline const Exiv2::Xmpdatum* FindDatum(const Exiv2::XmpData& data, const char* key) {
  return DatumOf(data, Exiv2::XmpKey(key).key());
}

inline const Exiv2::Iptcdatum* FindDatum(const Exiv2::IptcData& data, const char* key) {
  const auto found = data.findKey(Exiv2::IptcKey(key));
  return found == data.end() ? nullptr : &*found;
}

// The number that TEXT is, with blanks around it or not.
inline std::optional<double> NumberIn(std::string_view text) {
  text = Trimmed(text.substr(0, text.find('\0')));
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) return std::nullopt;
  return number;
}

// "1/250" or "0.004"
inline std::optional<double> FractionIn(std::string_view text) {
  const std::size_t slash = text.find('/');
  const auto numerator = NumberIn(text.substr(0, slash));
  const auto denominator = slash == text.npos ? std::optional<double>(1) : NumberIn(text.substr(slash + 1));
  if (!numerator || !denominator || *denominator == 0) return std::nullopt;
  return *numerator / *denominator;
}

// A number may be stored as a text, of which the library gives the codes of the letters.
inline bool IsText(const Exiv2::Metadatum& datum) {
  return datum.typeId() == Exiv2::asciiString;
}

// The library gives a long, which has no room for the upper half of unsigned numbers on a 32-bit processor.
inline std::int64_t FirstNumber(const Exiv2::Metadatum& datum) {
  constexpr double kMost = 4294967295;
  if (datum.count() == 0) return 0;
  if (IsText(datum)) {
    const double number = NumberIn(datum.toString()).value_or(0);
    return number >= 0 && number <= kMost ? std::llround(number) : 0;
  }
  const std::int64_t number = datum.toLong(0);
  return datum.typeId() == Exiv2::unsignedLong ? static_cast<std::uint32_t>(number) : number;
}

// The first value of DATUM as the fraction that is stored, whatever its signs; nothing where it is none.
inline std::optional<double> FirstFraction(const Exiv2::Metadatum& datum) {
  if (datum.count() == 0) return std::nullopt;
  if (IsText(datum)) return FractionIn(datum.toString());
  double numerator = 0;
  double denominator = 0;
  if (const auto* stored = dynamic_cast<const Exiv2::URationalValue*>(&datum.value())) {
    numerator = stored->value_.front().first;
    denominator = stored->value_.front().second;
  } else {
    const Exiv2::Rational fraction = datum.toRational(0);
    numerator = fraction.first;
    denominator = fraction.second;
  }
  if (denominator == 0) return std::nullopt;
  return numerator / denominator;
}

#endif  // SERVICE_PROBE_DATUM_H_
