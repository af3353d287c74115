// The keywords in what the metadata tool lists.
#ifndef PHOTO_DATABASE_KEYWORD_LISTING_H_
#define PHOTO_DATABASE_KEYWORD_LISTING_H_

#include <string>
#include <string_view>
#include <vector>

// What the lines that tell them have in them.
inline constexpr const char* kIptcKeywords = "Iptc.Application2.Keywords";

// The IPTC keywords in LISTING (lines of a key, a type, a count and a value), at most 1024: storable texts
// that are not empty, their words joined with single blanks. Of a line its first 254 bytes are read.
std::vector<std::string> ListedKeywords(std::string_view listing);

#endif  // PHOTO_DATABASE_KEYWORD_LISTING_H_
