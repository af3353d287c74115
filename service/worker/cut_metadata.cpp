#include "worker/cut_metadata.h"

#include <algorithm>
#include <charconv>
#include <exiv2/exiv2.hpp>
#include <set>
#include <sstream>
#include <string_view>

#include "base/limits.h"
#include "common/display.h"
#include "common/grouped.h"
#include "database/queries_sql.h"
#include "platform/exiv2_scope.h"
#include "platform/image_cache.h"

namespace {

constexpr const char* kXmpKeywords = "Xmp.dc.subject";
constexpr std::string_view kIptcKeywords = "Iptc.Application2.Keywords";
constexpr std::string_view kSeparator = ", ";
// A line of the listing has 255 bytes, of which key, type and count take some sixty.
constexpr std::size_t kLongValue = 180;
// As in photo_label.category.
constexpr const char* kPeople = "0";
constexpr const char* kKeywords = "2";

// What the file has, each name once.
struct Wanted {
  std::set<std::string> names;
  bool fills_buffer = false;
};

// Blanks at the ends go, and others become one.
std::string AsLabelName(const std::string& text) {
  std::istringstream words(text);
  std::string plain;
  for (std::string word; words >> word;) plain += (plain.empty() ? "" : " ") + word;
  return plain;
}

void AddPieces(const std::string& text, Wanted& wanted) {
  std::istringstream pieces(text);
  for (std::string piece; std::getline(pieces, piece, ',');) {
    if (std::string name = AsLabelName(piece); !name.empty()) wanted.names.insert(std::move(name));
  }
}

Wanted XmpKeywords(const Exiv2::Xmpdatum& datum) {
  Wanted wanted;
  std::size_t printed = 0;
  for (long i = 0; i < datum.count(); ++i) {
    const std::string keyword = datum.toString(i);
    printed += keyword.size() + (i == 0 ? 0 : kSeparator.size());
    AddPieces(keyword, wanted);
  }
  wanted.fills_buffer = printed >= kPathSize || wanted.names.size() > kListSize;
  return wanted;
}

Wanted IptcKeywords(const Exiv2::IptcData& iptc) {
  Wanted wanted;
  int count = 0;
  for (const Exiv2::Iptcdatum& datum : iptc) {
    if (datum.key() != kIptcKeywords) continue;
    const std::string value = datum.toString();
    ++count;
    wanted.fills_buffer = wanted.fills_buffer || value.size() > kLongValue || count > kListSize;
    AddPieces(value, wanted);
  }
  return wanted;
}

Wanted KeywordsOf(const ParsedImage& image) {
  const auto datum = image.xmp.findKey(Exiv2::XmpKey(kXmpKeywords));
  const bool xmp = datum != image.xmp.end() && datum->count() > 0;
  return xmp ? XmpKeywords(*datum) : IptcKeywords(image.iptc);
}

// The number of the region that the XMP key KEY belongs to, 0 when it belongs to none.
int RegionOf(std::string_view key) {
  for (const std::string_view prefix :
       {"Xmp.MP.RegionInfo/MPRI:Regions[", "Xmp.mwg-rs.Regions/mwg-rs:RegionList["}) {
    int number = 0;
    if (!key.starts_with(prefix)) continue;
    std::from_chars(key.data() + prefix.size(), key.data() + key.size(), number);
    return number;
  }
  return 0;
}

Wanted PeopleOf(const ParsedImage& image) {
  Wanted wanted;
  for (const Exiv2::Xmpdatum& datum : image.xmp) {
    const std::string key = datum.key();
    const int region = RegionOf(key);
    wanted.fills_buffer = wanted.fills_buffer || region > kListSize;
    if (region > 0 && (key.ends_with("/MPReg:PersonDisplayName") || key.ends_with("/mwg-rs:Name")))
      if (std::string name = AsLabelName(datum.toString()); !name.empty())
        wanted.names.insert(std::move(name));
  }
  return wanted;
}

using Labels = std::vector<DatabaseReader::Row>;

std::set<std::string> NamesOf(const Labels& labels, std::string_view category) {
  std::set<std::string> names;
  for (const DatabaseReader::Row& label : labels) {
    if (label[0] == category) names.insert(AsLabelName(label[1].value_or("")));
  }
  return names;
}

// "211 of 1,000 WHAT kept". A name that is not UTF-8 was converted, so it cannot be looked for.
std::string Note(const Wanted& wanted, const std::set<std::string>& stored, const char* what) {
  const auto lost = std::count_if(wanted.names.begin(), wanted.names.end(), [&](const std::string& name) {
    return ValidUtf8(name) == name && !stored.contains(name);
  });
  if (!wanted.fills_buffer || lost == 0) return "";
  const std::size_t kept = wanted.names.size() - static_cast<std::size_t>(lost);
  return Grouped(kept) + " of " + Grouped(wanted.names.size()) + " " + what + " kept";
}

std::string NoteOf(const ParsedImage& image, const std::string& key, DatabaseReader& database) {
  const Wanted keywords = KeywordsOf(image);
  const Wanted people = PeopleOf(image);
  if (!keywords.fills_buffer && !people.fills_buffer) return "";
  const auto labels = database.Query({"category", "name"}, kPhotoLabelNamesSql, key);
  if (!labels) return "";
  std::string note = Note(keywords, NamesOf(*labels, kKeywords), "keywords");
  // Where none is taken over, people are not to be.
  const std::set<std::string> stored = NamesOf(*labels, kPeople);
  const std::string more = stored.empty() ? "" : Note(people, stored, "people");
  return note += (note.empty() || more.empty() ? "" : "; ") + more;
}

}  // namespace

std::string CutMetadataNote(const std::string& path, const std::string& key, DatabaseReader& database) {
  const auto image = GetParsedImage(path);
  if (image->outcome != ParsedImage::Outcome::kParsed) return "";
  const Exiv2Scope scope;
  try {
    return NoteOf(*image, key, database);
  } catch (const Exiv2::AnyError&) {
    return "";
  }
}
