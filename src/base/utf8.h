// Characters of UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
#ifndef BASE_UTF8_H_
#define BASE_UTF8_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

struct Utf8Character {
  std::size_t length = 0;  // 0: no well-formed character stands here
  std::uint32_t code = 0;
};

// Not the first byte of a character.
constexpr bool ContinuesCharacter(char byte) {
  constexpr unsigned kMask = 0xC0;
  constexpr unsigned kMark = 0x80;
  return (static_cast<unsigned char>(byte) & kMask) == kMark;
}

// The bytes of the character that begins with LEAD; 0 for a byte that begins none.
constexpr std::size_t CharacterLength(char lead) {
  constexpr unsigned char kPastAscii = 0x80;
  constexpr unsigned char kTwo = 0xC2;
  constexpr unsigned char kThree = 0xE0;
  constexpr unsigned char kFour = 0xF0;
  constexpr unsigned char kNone = 0xF5;
  const auto byte = static_cast<unsigned char>(lead);
  if (byte < kPastAscii) return 1;
  if (byte < kTwo || byte >= kNone) return 0;
  if (byte >= kFour) return 4;
  return byte >= kThree ? 3 : 2;
}

// The character that TEXT, which is not empty, begins with.
constexpr Utf8Character FirstCharacter(std::string_view text) {
  constexpr unsigned kBitsEach = 6;
  constexpr unsigned kLowSix = 0x3F;
  constexpr unsigned kLeadBits = 0x7F;
  constexpr std::array<std::uint32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};  // that needs so many bytes
  constexpr std::uint32_t kFirstSurrogate = 0xD800;
  constexpr std::uint32_t kLastSurrogate = 0xDFFF;
  constexpr std::uint32_t kLast = 0x10FFFF;
  const std::size_t length = CharacterLength(text.front());
  if (length == 0 || length > text.size()) return {};
  std::uint32_t code = static_cast<unsigned char>(text.front()) & (kLeadBits >> (length == 1 ? 0 : length));
  for (const char byte : text.substr(1, length - 1)) {
    if (!ContinuesCharacter(byte)) return {};
    code = (code << kBitsEach) | (static_cast<unsigned char>(byte) & kLowSix);
  }
  const bool is_surrogate = code >= kFirstSurrogate && code <= kLastSurrogate;
  if (code < kSmallest[length] || code > kLast || is_surrogate) return {};
  return {length, code};
}

constexpr bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = FirstCharacter(text).length;
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

// The first LENGTH bytes of TEXT, less those of a character that would be cut in two.
constexpr std::string_view CutAtCharacter(std::string_view text, std::size_t length) {
  if (text.size() <= length) return text;
  while (length > 0 && ContinuesCharacter(text[length])) --length;
  return text.substr(0, length);
}

#endif  // BASE_UTF8_H_
