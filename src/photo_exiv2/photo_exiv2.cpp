#include "lumivault/photo_exiv2.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <locale>
#include <sstream>
#include <utility>

#include "base/c_locale.h"
#include "base/text.h"
#include "photo_exiv2/description_text.h"
#include "platform/image.h"

namespace {

bool Supports(const Exiv2::Image& image, Exiv2::MetadataId kind) {
  return image.checkMode(kind) > Exiv2::amNone;
}

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

// The text of the datum under KEY in DATA; empty when absent.
template <typename Data, typename Key>
std::string TagValue(const Data& data, const Key& key, const Exiv2::ExifData& exif, bool interpreted) {
  const auto datum = data.findKey(key);
  return datum != data.end() ? DatumText(*datum, exif, interpreted) : std::string();
}

// Whether XMP has a key with the prefix of KEY: "Xmp.PREFIX.NAME".
bool HasPrefixOf(const Exiv2::XmpData& xmp, const std::string& key) {
  const std::size_t dot = key.find('.', key.find('.') + 1);
  if (dot == std::string::npos || dot + 1 == key.size()) return false;
  return std::any_of(xmp.begin(), xmp.end(), [&](const Exiv2::Xmpdatum& datum) {
    return datum.key().compare(0, dot + 1, key, 0, dot + 1) == 0;
  });
}

// The same in XMP, where KEY may have a prefix that the file itself declares: it is a key of this file alone,
// and the library does not know it. A key that is none throws as ever.
std::string XmpValue(const Exiv2::XmpData& xmp, const std::string& key, const Exiv2::ExifData& exif,
                     bool interpreted) {
  for (const Exiv2::Xmpdatum& datum : xmp) {
    if (datum.key() == key) return DatumText(datum, exif, interpreted);
  }
  if (!HasPrefixOf(xmp, key)) static_cast<void>(Exiv2::XmpKey(key));
  return "";
}

// The interpreted text of the first of EXIF_KEYS that has one, else that of XMP_KEY. The result of the
// getters.
int FirstValue(const Exiv2::Image& image, const Exiv2::ExifData& exif, const Exiv2::XmpData& xmp,
               std::initializer_list<const char*> exif_keys, const char* xmp_key, std::string& out) {
  out.clear();
  const bool exif_supported = Supports(image, Exiv2::mdExif);
  const bool xmp_supported = Supports(image, Exiv2::mdXmp);
  if (!exif_supported && !xmp_supported) return -1;
  for (const char* key : exif_keys) {
    if (exif_supported && out.empty()) out = TagValue(exif, Exiv2::ExifKey(key), exif, true);
  }
  if (xmp_supported && out.empty()) out = XmpValue(xmp, xmp_key, exif, true);
  return 0;
}

}  // namespace

PhotoExiv2::PhotoExiv2(const char* path) {
  const CLocale decimal_point;
  image_ = KAVOImageOpen(OrEmpty(path));
  image_->readMetadata();
  // Of the image only the kinds of metadata that it can have are asked later.
  exif_ = std::move(image_->exifData());
  xmp_ = std::move(image_->xmpData());
  iptc_ = std::move(image_->iptcData());
}

// Keys by value: so the functions are exported.
// NOLINTBEGIN(performance-unnecessary-value-param)
std::string PhotoExiv2::GetExifTagValue(std::string key, bool interpreted) {
  return TagValue(exif_, Exiv2::ExifKey(key), exif_, interpreted);
}

std::string PhotoExiv2::GetIptcTagValue(std::string key, bool interpreted) {
  return TagValue(iptc_, Exiv2::IptcKey(key), exif_, interpreted);
}

std::string PhotoExiv2::GetXmpTagValue(std::string key, bool interpreted) {
  return XmpValue(xmp_, key, exif_, interpreted);
}
// NOLINTEND(performance-unnecessary-value-param)

int PhotoExiv2::GetOrientation() {
  if (!Supports(*image_, Exiv2::mdExif) && !Supports(*image_, Exiv2::mdXmp)) return 0;
  const std::string exif = GetExifTagValue("Exif.Image.Orientation", false);
  if (!exif.empty()) return DecimalInt(exif.c_str());
  const std::string xmp = GetXmpTagValue("Xmp.tiff.Orientation", false);
  return xmp.empty() ? 1 : DecimalInt(xmp.c_str());
}

int PhotoExiv2::GetDescription(std::string& out) {
  out.clear();
  const bool xmp = Supports(*image_, Exiv2::mdXmp);
  const bool iptc = Supports(*image_, Exiv2::mdIptc);
  const bool exif = Supports(*image_, Exiv2::mdExif);
  if (!xmp && !iptc && !exif) return -1;
  if (xmp) {
    const std::string description = GetXmpTagValue("Xmp.dc.description", false);
    out =
        description.empty() ? GetXmpTagValue("Xmp.photoshop.headline", false) : DescriptionText(description);
  }
  if (out.empty() && iptc) out = GetIptcTagValue("Iptc.Application2.Caption", false);
  if (out.empty() && exif) out = GetExifTagValue("Exif.Image.ImageDescription", false);
  return 0;
}

int PhotoExiv2::GetFocalLength(std::string& out) {
  return FirstValue(*image_, exif_, xmp_,
                    {"Exif.Photo.FocalLength", "Exif.Canon.FocalLength", "Exif.NikonLd3.FocalLength"},
                    "Xmp.exif.FocalLength", out);
}

int PhotoExiv2::GetLens(std::string& out) {
  return FirstValue(*image_, exif_, xmp_, {"Exif.CanonCs.Lens", "Exif.Nikon3.Lens"}, "Xmp.aux.Lens", out);
}

int PhotoExiv2::GetFlash(std::string& out) {
  return FirstValue(*image_, exif_, xmp_, {"Exif.Photo.Flash"}, "Xmp.exif.Flash", out);
}

Json::Value PhotoExiv2::GetMetadata() {
  Json::Value metadata(Json::objectValue);
  std::string text;
  if (GetDescription(text) == 0) metadata["description"] = text;
  metadata["orientation"] = GetOrientation();
  GetFocalLength(text);
  metadata["focalLength"] = text;
  GetLens(text);
  metadata["lens"] = text;
  GetFlash(text);
  metadata["flash"] = text;
  return metadata;
}
