// Single values of an image's metadata.
#ifndef SERVICE_PROBE_DATUM_H_
#define SERVICE_PROBE_DATUM_H_

#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <optional>

// Null where DATA has nothing under KEY.
inline const Exiv2::Exifdatum* FindDatum(const Exiv2::ExifData& data, const char* key) {
  const auto found = data.findKey(Exiv2::ExifKey(key));
  return found == data.end() ? nullptr : &*found;
}

inline const Exiv2::Xmpdatum* FindDatum(const Exiv2::XmpData& data, const char* key) {
  const auto found = data.findKey(Exiv2::XmpKey(key));
  return found == data.end() ? nullptr : &*found;
}

inline const Exiv2::Iptcdatum* FindDatum(const Exiv2::IptcData& data, const char* key) {
  const auto found = data.findKey(Exiv2::IptcKey(key));
  return found == data.end() ? nullptr : &*found;
}

// The library gives a long, which has no room for the upper half of unsigned numbers on a 32-bit processor.
inline std::int64_t FirstNumber(const Exiv2::Metadatum& datum) {
  if (datum.count() == 0) return 0;
  const std::int64_t number = datum.toLong(0);
  return datum.typeId() == Exiv2::unsignedLong ? static_cast<std::uint32_t>(number) : number;
}

// The first value of DATUM as the fraction that is stored, whatever its signs; nothing where it is none.
inline std::optional<double> FirstFraction(const Exiv2::Metadatum& datum) {
  if (datum.count() == 0) return std::nullopt;
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
