#include <errno.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "core/error.h"
#include "platform/text.h"

namespace {

// Texts are UTF-8, so only ASCII counts, whatever locale the process has set.
constexpr std::string_view kSpace = " \t\n\v\f\r";
constexpr std::string_view kBlanksAndLineEnds = " \t\n\r";

void TrimInPlace(char* text, std::string_view dropped) {
  std::string_view rest = text;
  rest.remove_prefix(std::min(rest.find_first_not_of(dropped), rest.size()));
  rest = rest.substr(0, rest.find_last_not_of(dropped) + 1);
  memmove(text, rest.data(), rest.size());
  text[rest.size()] = '\0';
}

}  // namespace

int RLIBCStrTrimSpace(char* text) {
  if (text == nullptr) {
    RECORD_ERROR(EINVAL);
    return -1;
  }
  TrimInPlace(text, kSpace);
  return 0;
}

char* StringTrim(char* text) {
  if (text != nullptr) TrimInPlace(text, kBlanksAndLineEnds);
  return text;
}
