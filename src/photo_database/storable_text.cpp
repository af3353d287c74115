#include "photo_database/storable_text.h"

#include <algorithm>

#include "base/text.h"
#include "base/utf8.h"
#include "platform/text.h"

namespace {

constexpr int kSystemCodePage = 1;
// One byte of a code page becomes at most three of UTF-8.
constexpr std::size_t kUtf8Growth = 3;

bool IsUtf8Text(const std::string& text) {
  return RLIBCUnicodeIsUTF8(text.c_str()) != 0;
}

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) < 0; });
}

// TEXT without the character that its end has cut in two, if there is one.
std::string_view WithoutCutCharacter(std::string_view text) {
  std::size_t bytes = 0;
  while (bytes < text.size() && ContinuesCharacter(text[text.size() - 1 - bytes])) ++bytes;
  if (bytes == text.size()) return text;
  const std::size_t lead = text.size() - 1 - bytes;
  return CharacterLength(text[lead]) > bytes + 1 ? text.substr(0, lead) : text;
}

std::string FromCodePage(const std::string& text) {
  std::string out(text.size() * kUtf8Growth + 1, '\0');
  const int length = RLIBCUnicodeStrCPToUTF8(RLIBCCodePageGet(kSystemCodePage), text.c_str(), out.data(),
                                             static_cast<int>(out.size()));
  out.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return out;
}

}  // namespace

std::string StorableText(std::string_view text) {
  std::string whole(text.substr(0, text.find('\0')));
  if (IsUtf8Text(whole)) return whole;
  // Without another character beyond ASCII nothing tells UTF-8 from a code page.
  std::string rest(WithoutCutCharacter(whole));
  if (!IsAscii(rest) && IsUtf8Text(rest)) return rest;
  return FromCodePage(whole);
}

std::string StorableText(std::string_view text, std::size_t size) {
  std::string whole = StorableText(text);
  if (whole.size() < size) return whole;
  // Beyond the bound there is at least one more byte, which tells whether the bound splits a character.
  whole.resize(CutAtCharacter(whole, size - 1).size());
  return whole;
}
