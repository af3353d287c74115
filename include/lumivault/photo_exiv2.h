/* Reads the embedded metadata of one image file. */
#ifndef LUMIVAULT_PHOTO_EXIV2_H_
#define LUMIVAULT_PHOTO_EXIV2_H_

#include <json/value.h>

#include <exiv2/exiv2.hpp>
#include <string>

#include "lumivault/export.h"

/* Errors: the constructor and the tag getters throw Exiv2's own error; an absent tag is an empty text.
 * Threads: an object belongs to one thread. */
class LUMIVAULT_API PhotoExiv2 {
 public:
  /* Opens PATH and reads its metadata. Throws Exiv2::BasicError<char> for a missing, unreadable or corrupt
   * file, and for one whose content Exiv2 is not safe with (video containers). */
  explicit PhotoExiv2(const char* path);
  /* Not copied: the image has one owner, and a copy would take it away. */
  PhotoExiv2(const PhotoExiv2&) = delete;
  PhotoExiv2& operator=(const PhotoExiv2&) = delete;

  /* The text of one datum, rendered for people (INTERPRETED) or as stored; empty when absent. */
  std::string GetExifTagValue(std::string key, bool interpreted);
  std::string GetIptcTagValue(std::string key, bool interpreted);
  std::string GetXmpTagValue(std::string key, bool interpreted);

  /* 1 to 8; 1 when the file carries none, 0 when its format cannot carry one. */
  int GetOrientation();

  /* 0, or -1 when the format can carry none of the kinds asked. OUT is always overwritten. */
  int GetDescription(std::string& out);
  int GetFocalLength(std::string& out);
  int GetLens(std::string& out);
  int GetFlash(std::string& out);

  /* An object with "orientation", "focalLength", "lens", "flash" and, where the format can carry one,
   * "description". */
  Json::Value GetMetadata();

 private:
  Exiv2::Image::AutoPtr image_;
  Exiv2::ExifData exif_;
  Exiv2::XmpData xmp_;
  Exiv2::IptcData iptc_;
};

#endif /* LUMIVAULT_PHOTO_EXIV2_H_ */
