#include "photo_database/storable_text.h"

#include <algorithm>

#include "base/text.h"
#include "platform/text.h"

namespace {

constexpr int kSystemCodePage = 1;
// One byte of a code page becomes at most three of UTF-8.
constexpr std::size_t kUtf8Growth = 3;
constexpr std::size_t kLongestCharacter = 4;  // bytes of UTF-8

bool IsUtf8(const std::string& text) {
  return RLIBCUnicodeIsUTF8(text.c_str()) != 0;
}

bool IsContinuation(char c) {
  constexpr unsigned char kMask = 0xC0;
  constexpr unsigned char kMark = 0x80;
  return (static_cast<unsigned char>(c) & kMask) == kMark;
}

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) < 0; });
}

// The bytes of the UTF-8 character that begins with LEAD; 1 for a byte that begins none of several.
std::size_t CharacterLength(char lead) {
  constexpr unsigned char kTwo = 0xC2;
  constexpr unsigned char kThree = 0xE0;
  constexpr unsigned char kFour = 0xF0;
  constexpr unsigned char kNone = 0xF5;
  const auto byte = static_cast<unsigned char>(lead);
  if (byte < kTwo || byte >= kNone) return 1;
  if (byte >= kFour) return kLongestCharacter;
  return byte >= kThree ? kLongestCharacter - 1 : 2;
}

// TEXT without the character that its end has cut in two, if there is one.
std::string_view WithoutCutCharacter(std::string_view text) {
  std::size_t bytes = 0;
  while (bytes < text.size() && IsContinuation(text[text.size() - 1 - bytes])) ++bytes;
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
  if (IsUtf8(whole)) return whole;
  // Without another character beyond ASCII nothing tells UTF-8 from a code page.
  std::string rest(WithoutCutCharacter(whole));
  if (!IsAscii(rest) && IsUtf8(rest)) return rest;
  return FromCodePage(whole);
}

std::string StorableText(std::string_view text, std::size_t size) {
  std::string whole = StorableText(text);
  if (whole.size() < size) return whole;
  // Beyond the bound there is at least one more byte, which tells whether the bound splits a character.
  std::size_t end = size - 1;
  while (end > 0 && IsContinuation(whole[end])) --end;
  whole.resize(end);
  return whole;
}
