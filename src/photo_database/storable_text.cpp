#include "photo_database/storable_text.h"

#include <algorithm>

#include "base/text.h"
#include "platform/text.h"

namespace {

constexpr int kSystemCodePage = 1;
// One byte of a code page becomes at most three of UTF-8.
constexpr std::size_t kUtf8Growth = 3;

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

// TEXT up to the start of its last character.
std::string_view WithoutLastCharacter(std::string_view text) {
  while (!text.empty() && IsContinuation(text.back())) text.remove_suffix(1);
  if (!text.empty()) text.remove_suffix(1);
  return text;
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
  std::string rest(WithoutLastCharacter(whole));
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
