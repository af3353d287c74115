// Finding a datum by its key in what an image holds.
#ifndef PLATFORM_FIND_DATUM_H_
#define PLATFORM_FIND_DATUM_H_

#include <exiv2/exiv2.hpp>
#include <string>
#include <string_view>

// Whether a key of GROUP ("Photo", "dc") may be, or begin like, KEY ("Exif.Photo.Flash").
inline bool MayBeOfGroup(const std::string& group, std::string_view key) {
  return key.substr(key.find('.') + 1).starts_with(group);
}

// What findKey of DATA, of Exif or XMP, finds under KEY, the library's own text of it; null without. Data of
// other groups are passed over by the group: the library makes a text of the key of each.
template <typename Data>
const typename Data::const_iterator::value_type* DatumOf(const Data& data, std::string_view key) {
  for (const auto& datum : data) {
    if (MayBeOfGroup(datum.groupName(), key) && datum.key() == key) return &datum;
  }
  return nullptr;
}

#endif  // PLATFORM_FIND_DATUM_H_
