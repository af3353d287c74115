#ifndef PHOTO_EXIV2_DESCRIPTION_TEXT_H_
#define PHOTO_EXIV2_DESCRIPTION_TEXT_H_

#include <string>

// The text of an XMP description, whose raw form begins with a language qualifier (lang="x-default") and a
// blank. The cut is unconditional: a raw form without a qualifier loses its first word.
inline std::string DescriptionText(const std::string& raw) {
  const auto blank = raw.find(' ');
  return blank == std::string::npos ? raw : raw.substr(blank + 1);
}

#endif  // PHOTO_EXIV2_DESCRIPTION_TEXT_H_
