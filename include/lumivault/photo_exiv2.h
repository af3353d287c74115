/* Reads the embedded metadata of one image file. C++ alone, with the headers of Exiv2 0.27 and JsonCpp. */
#ifndef LUMIVAULT_PHOTO_EXIV2_H_
#define LUMIVAULT_PHOTO_EXIV2_H_

#include <json/value.h>

#include <exiv2/exiv2.hpp>
#include <string>

#include "lumivault/export.h"

/* Errors: the constructor and the getters throw Exiv2's own error, Exiv2::BasicError<char>, the getters for a
 * value that Exiv2 cannot show; an absent tag is an empty text.
 * Threads: an object belongs to one thread, and each thread may have its own. They do not touch the request
 * context, nor a database. Files are parsed one at a time; for that time Exiv2 is silent and the locale of
 * the program's C++ streams is "C" and its switch for HEIF (enableBMFF) is on. Afterwards Exiv2 is as the
 * program had it: that switch, its XMP namespaces and its lock are, and what a file declares is forgotten.
 * Its keys can be asked for here all the same. A namespace that another thread registers meanwhile is taken
 * for the file's, so a program registers its own while no thread makes a PhotoExiv2. One thing stays: the XMP
 * parser is initialized, so a program that gives it a lock does so before its first PhotoExiv2, or calls
 * XmpParser::terminate first. Ownership: PATH and OUT are the caller's. The object holds no file open. */
class LUMIVAULT_API PhotoExiv2 {
 public:
  /* Opens PATH and reads its metadata. Throws Exiv2::BasicError<char> for NULL, a missing, unreadable or
   * corrupt file, and for one whose content Exiv2 is not safe with (video containers). */
  explicit PhotoExiv2(const char* path);
  /* Not copied: the image has one owner, and a copy would take it away. */
  PhotoExiv2(const PhotoExiv2&) = delete;
  PhotoExiv2& operator=(const PhotoExiv2&) = delete;

  /* The text of the datum with Exiv2's KEY ("Exif.Image.Orientation"), rendered for people (INTERPRETED) or
   * as stored; empty when absent. Throws Exiv2::BasicError<char> for a text that is no such key. */
  std::string GetExifTagValue(std::string key, bool interpreted);
  std::string GetIptcTagValue(std::string key, bool interpreted);
  std::string GetXmpTagValue(std::string key, bool interpreted);

  /* The number of the tag, which nothing keeps between 1 and 8; 1 when the file carries none, 0 when its
   * format cannot carry one. */
  int GetOrientation();

  /* 0, or -1 when the format can carry none of the kinds asked. OUT is always overwritten, with the empty
   * text when the file has none: the description as stored, without its language and with its first word cut
   * where it names none; the other three as rendered for people ("50.0 mm"). */
  int GetDescription(std::string& out);
  int GetFocalLength(std::string& out);
  int GetLens(std::string& out);
  int GetFlash(std::string& out);

  /* A new object with "orientation" (a number) and the texts "focalLength", "lens", "flash" and, where the
   * format can carry one, "description". */
  Json::Value GetMetadata();

 private:
  Exiv2::Image::AutoPtr image_;
  Exiv2::ExifData exif_;
  Exiv2::XmpData xmp_;
  Exiv2::IptcData iptc_;
};

#endif /* LUMIVAULT_PHOTO_EXIV2_H_ */
