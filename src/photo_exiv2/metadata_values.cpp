#include "photo_exiv2/metadata_values.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <locale>
#include <sstream>

#include "base/c_locale.h"
#include "base/text.h"
#include "photo_exiv2/description_text.h"
#include "platform/find_datum.h"

namespace {

// What print (INTERPRETED, in the context of EXIF) and toString of DATUM give in the "C" locale. Those two
// write to streams of the library's own, which take the global C++ locale of the process.
template <typename Datum>
std::string DatumText(const Datum& datum, const Exiv2::ExifData& exif, bool interpreted) {
  const CLocale decimal_point;
  std::ostringstream text;
  text.imbue(std::locale::classic());
  if (interpreted) {
    datum.write(text, &exif);
  } else if (const auto value = datum.getValue(); value.get() != nullptr) {
    value->write(text);
  }
  return text.str();
}

// Whether XMP has a key with the prefix of KEY: "Xmp.PREFIX.NAME".
bool HasPrefixOf(const Exiv2::XmpData& xmp, const std::string& key) {
  const std::size_t dot = key.find('.', key.find('.') + 1);
  if (dot == std::string::npos || dot + 1 == key.size()) return false;
  return std::any_of(xmp.begin(), xmp.end(), [&](const Exiv2::Xmpdatum& datum) {
    return MayBeOfGroup(datum.groupName(), key) && datum.key().compare(0, dot + 1, key, 0, dot + 1) == 0;
  });
}

// The same in XMP, where KEY may have a prefix that the file itself declares: it is a key of this file alone,
// and the library does not know it. A key that is none throws as ever.
std::string XmpValue(const Exiv2::XmpData& xmp, const std::string& key, const Exiv2::ExifData& exif,
                     bool interpreted) {
  const Exiv2::Xmpdatum* datum = DatumOf(xmp, key);
  if (datum != nullptr) return DatumText(*datum, exif, interpreted);
  if (!HasPrefixOf(xmp, key)) static_cast<void>(Exiv2::XmpKey(key));
  return "";
}

// The interpreted text of the first of EXIF_KEYS that has one, else that of XMP_KEY. The result of the
// getters.
int FirstValue(const Metadata& metadata, std::initializer_list<const char*> exif_keys, const char* xmp_key,
               std::string& out) {
  out.clear();
  const bool exif_supported = metadata.Supports(Exiv2::mdExif);
  const bool xmp_supported = metadata.Supports(Exiv2::mdXmp);
  if (!exif_supported && !xmp_supported) return -1;
  for (const char* key : exif_keys) {
    if (exif_supported && out.empty()) out = ExifText(metadata, key, true);
  }
  if (xmp_supported && out.empty()) out = XmpText(metadata, xmp_key, true);
  return 0;
}

}  // namespace

std::string ExifText(const Metadata& metadata, const std::string& key, bool interpreted) {
  const Exiv2::Exifdatum* datum = DatumOf(metadata.exif, Exiv2::ExifKey(key).key());
  return datum != nullptr ? DatumText(*datum, metadata.exif, interpreted) : std::string();
}

std::string IptcText(const Metadata& metadata, const std::string& key, bool interpreted) {
  const auto datum = metadata.iptc.findKey(Exiv2::IptcKey(key));
  return datum != metadata.iptc.end() ? DatumText(*datum, metadata.exif, interpreted) : std::string();
}

std::string XmpText(const Metadata& metadata, const std::string& key, bool interpreted) {
  return XmpValue(metadata.xmp, key, metadata.exif, interpreted);
}

int Orientation(const Metadata& metadata) {
  if (!metadata.Supports(Exiv2::mdExif) && !metadata.Supports(Exiv2::mdXmp)) return 0;
  const std::string exif = ExifText(metadata, "Exif.Image.Orientation", false);
  if (!exif.empty()) return DecimalInt(exif.c_str());
  const std::string xmp = XmpText(metadata, "Xmp.tiff.Orientation", false);
  return xmp.empty() ? 1 : DecimalInt(xmp.c_str());
}

int Description(const Metadata& metadata, std::string& out) {
  out.clear();
  const bool xmp = metadata.Supports(Exiv2::mdXmp);
  const bool iptc = metadata.Supports(Exiv2::mdIptc);
  const bool exif = metadata.Supports(Exiv2::mdExif);
  if (!xmp && !iptc && !exif) return -1;
  if (xmp) {
    const std::string description = XmpText(metadata, "Xmp.dc.description", false);
    out = description.empty() ? XmpText(metadata, "Xmp.photoshop.headline", false)
                              : DescriptionText(description);
  }
  if (out.empty() && iptc) out = IptcText(metadata, "Iptc.Application2.Caption", false);
  if (out.empty() && exif) out = ExifText(metadata, "Exif.Image.ImageDescription", false);
  return 0;
}

int FocalLength(const Metadata& metadata, std::string& out) {
  return FirstValue(metadata,
                    {"Exif.Photo.FocalLength", "Exif.Canon.FocalLength", "Exif.NikonLd3.FocalLength"},
                    "Xmp.exif.FocalLength", out);
}

int Lens(const Metadata& metadata, std::string& out) {
  return FirstValue(metadata, {"Exif.CanonCs.Lens", "Exif.Nikon3.Lens"}, "Xmp.aux.Lens", out);
}

int Flash(const Metadata& metadata, std::string& out) {
  return FirstValue(metadata, {"Exif.Photo.Flash"}, "Xmp.exif.Flash", out);
}

Json::Value AllOf(const Metadata& metadata) {
  Json::Value all(Json::objectValue);
  std::string text;
  if (Description(metadata, text) == 0) all["description"] = text;
  all["orientation"] = Orientation(metadata);
  FocalLength(metadata, text);
  all["focalLength"] = text;
  Lens(metadata, text);
  all["lens"] = text;
  Flash(metadata, text);
  all["flash"] = text;
  return all;
}
