// Keywords in listings of any bytes: each is a short text that a database takes, with single blanks; one that
// the tool lists comes out as it is.
#include <algorithm>
#include <cstdint>
#include <string>

#include "base/limits.h"
#include "base/utf8.h"
#include "fuzz/fuzz_input.h"
#include "photo_database/keyword_listing.h"
#include "support/fake_platform.h"

namespace {

void CheckKeyword(const std::string& keyword) {
  constexpr std::size_t kMostOfLine = 254 * 3;  // in a code page
  Require(!keyword.empty() && keyword.size() <= kMostOfLine, "a length", keyword);
  Require(IsUtf8(keyword) && keyword.find_first_of(std::string_view("\0\n", 2)) == std::string::npos,
          "no text for a column", keyword);
  Require(keyword.find("  ") == std::string::npos && keyword.front() != ' ' && keyword.back() != ' ',
          "blanks", keyword);
}

// One that fits into a line.
void CheckListed(const std::string& keyword) {
  constexpr std::size_t kFits = 180;
  if (keyword.size() > kFits) return;
  const auto listed =
      ListedKeywords("Iptc.Application2.Keywords                   String      3  " + keyword);
  Require(listed.size() == 1 && listed.front() == keyword, "a keyword changed", keyword);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FakePlatform::Reset();
  std::string listing = TextOf(data, size);
  std::replace(listing.begin(), listing.end(), '\0', ' ');  // as the runner of the tool does
  const auto keywords = ListedKeywords(listing);
  Require(keywords.size() <= static_cast<std::size_t>(kListSize), "too many");
  for (const std::string& keyword : keywords) {
    CheckKeyword(keyword);
    CheckListed(keyword);
  }
  return 0;
}
