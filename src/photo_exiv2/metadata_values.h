// Single values of an image's metadata: texts in the "C" locale, whatever that of the program is.
#ifndef PHOTO_EXIV2_METADATA_VALUES_H_
#define PHOTO_EXIV2_METADATA_VALUES_H_

#include <json/value.h>

#include <exiv2/exiv2.hpp>
#include <string>

// What one image holds, wherever it is kept.
struct Metadata {
  const Exiv2::ExifData& exif;
  const Exiv2::XmpData& xmp;
  const Exiv2::IptcData& iptc;
  int type;  // Exiv2::ImageType

  bool Supports(Exiv2::MetadataId kind) const {
    return Exiv2::ImageFactory::checkMode(type, kind) > Exiv2::amNone;
  }
};

// The text of the datum with Exiv2's KEY, for people (INTERPRETED) or as stored; empty when absent. A text
// that is no such key throws Exiv2::BasicError<char>.
std::string ExifText(const Metadata& metadata, const std::string& key, bool interpreted);
std::string IptcText(const Metadata& metadata, const std::string& key, bool interpreted);
std::string XmpText(const Metadata& metadata, const std::string& key, bool interpreted);

// As the getters of PhotoExiv2, whose results they are (lumivault/photo_exiv2.h).
int Orientation(const Metadata& metadata);
int Description(const Metadata& metadata, std::string& out);
int FocalLength(const Metadata& metadata, std::string& out);
int Lens(const Metadata& metadata, std::string& out);
int Flash(const Metadata& metadata, std::string& out);
Json::Value AllOf(const Metadata& metadata);

#endif  // PHOTO_EXIV2_METADATA_VALUES_H_
