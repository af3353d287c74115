#include "photo_database/keyword_listing.h"

#include <cstddef>
#include <utility>

#include "base/limits.h"
#include "base/text.h"
#include "photo_database/storable_text.h"
#include "photo_database/tool_values.h"

namespace {

constexpr std::size_t kListingLineSize = 255;
constexpr std::size_t kListingColumns = 3;  // key, type and count stand before a value

// The value in one line of the listing, its words joined with single blanks.
std::string ListedValue(const std::string& line) {
  const std::vector<std::string> words = SplitWords(StorableText(Cut(line, kListingLineSize)));
  std::string value;
  for (std::size_t i = kListingColumns; i < words.size(); ++i) {
    if (!value.empty()) value += ' ';
    value += words[i];
  }
  return value;
}

}  // namespace

std::vector<std::string> ListedKeywords(std::string_view listing) {
  std::vector<std::string> keywords;
  for (const std::string& line : SplitLines(listing)) {
    if (keywords.size() == kListSize) break;
    if (line.find(kIptcKeywords) == std::string::npos) continue;
    std::string value = ListedValue(line);
    if (!value.empty()) keywords.push_back(std::move(value));
  }
  return keywords;
}
