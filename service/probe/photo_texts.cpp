#include "probe/photo_texts.h"

#include <array>
#include <cstdint>

#include "lumivault/media_info.h"
#include "probe/datum.h"
#include "probe/record_text.h"

namespace {

constexpr std::size_t kTitleSize = sizeof(KAVO_MEDIA_INFO::szTitle);

enum class Schema : std::uint8_t { kExif, kXmp, kIptc };

struct TimeSource {
  Schema schema;
  const char* key;
  const char* clock = nullptr;  // where the time of the day has a key of its own
};

// When the picture was taken, when it was made digital, when the file was last changed.
constexpr std::array kTimeSources = {
    TimeSource{Schema::kExif, "Exif.Photo.DateTimeOriginal"},
    TimeSource{Schema::kExif, "Exif.Image.DateTimeOriginal"},
    TimeSource{Schema::kXmp, "Xmp.exif.DateTimeOriginal"},
    TimeSource{Schema::kXmp, "Xmp.photoshop.DateCreated"},
    TimeSource{Schema::kIptc, "Iptc.Application2.DateCreated", "Iptc.Application2.TimeCreated"},
    TimeSource{Schema::kExif, "Exif.Photo.DateTimeDigitized"},
    TimeSource{Schema::kXmp, "Xmp.exif.DateTimeDigitized"},
    TimeSource{Schema::kXmp, "Xmp.xmp.CreateDate"},
    TimeSource{Schema::kIptc, "Iptc.Application2.DigitizationDate", "Iptc.Application2.DigitizationTime"},
    TimeSource{Schema::kExif, "Exif.Image.DateTime"},
};

template <typename Data>
std::string TextOf(const Data& data, const char* key) {
  const auto* datum = FindDatum(data, key);
  return datum != nullptr ? datum->toString() : std::string();
}

std::string TextOf(const ParsedImage& image, const TimeSource& source) {
  switch (source.schema) {
    case Schema::kExif:
      return TextOf(image.exif, source.key);
    case Schema::kXmp:
      return TextOf(image.xmp, source.key);
    case Schema::kIptc:
      break;
  }
  return TextOf(image.iptc, source.key) + "T" + TextOf(image.iptc, source.clock);
}

// In the default language; where there is none, in the first one that the library gives. Blanks are none.
std::string XmpTitle(const Exiv2::XmpData& xmp) {
  const Exiv2::Xmpdatum* datum = FindDatum(xmp, "Xmp.dc.title");
  if (datum == nullptr || datum->count() == 0) return "";
  const auto* languages = dynamic_cast<const Exiv2::LangAltValue*>(&datum->value());
  if (languages == nullptr) return RecordText(datum->toString(), kTitleSize);
  std::string title = RecordText(languages->toString("x-default"), kTitleSize);
  for (const auto& [language, text] : languages->value_) {
    if (title.empty()) title = RecordText(text, kTitleSize);
  }
  return title;
}

}  // namespace

TakenTime TimeInMetadata(const ParsedImage& image) {
  TakenTime taken;
  for (const TimeSource& source : kTimeSources) {
    if (taken.Take(TimeIn(TextOf(image, source)))) break;
  }
  return taken;
}

std::string TitleInMetadata(const ParsedImage& image) {
  std::string title = XmpTitle(image.xmp);
  if (title.empty()) title = RecordText(TextOf(image.iptc, "Iptc.Application2.ObjectName"), kTitleSize);
  return title;
}
