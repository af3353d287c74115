#include <string_view>

#include "platform/text.h"

namespace {

// What may follow a lead byte: the bounds of the second byte, which exclude overlong forms, surrogates and
// values above U+10FFFF, and how many bytes there are in all. A length of 0 means that no character begins
// with that byte.
struct Sequence {
  int length;
  unsigned char second_min;
  unsigned char second_max;
};

constexpr unsigned char kContinuationMin = 0x80;
constexpr unsigned char kContinuationMax = 0xBF;

constexpr Sequence SequenceOf(unsigned char lead) {
  if (lead < 0x80) return {1, 0, 0};
  if (lead < 0xC2) return {0, 0, 0};
  if (lead < 0xE0) return {2, kContinuationMin, kContinuationMax};
  if (lead == 0xE0) return {3, 0xA0, kContinuationMax};
  if (lead == 0xED) return {3, kContinuationMin, 0x9F};
  if (lead < 0xF0) return {3, kContinuationMin, kContinuationMax};
  if (lead == 0xF0) return {4, 0x90, kContinuationMax};
  if (lead < 0xF4) return {4, kContinuationMin, kContinuationMax};
  if (lead == 0xF4) return {4, kContinuationMin, 0x8F};
  return {0, 0, 0};
}

constexpr bool IsBetween(unsigned char byte, unsigned char low, unsigned char high) {
  return byte >= low && byte <= high;
}

// The length of the character at TEXT, 0 when there is none. TEXT is terminated, and no continuation byte
// is 0.
int CharacterLength(const unsigned char* text) {
  const Sequence sequence = SequenceOf(text[0]);
  if (sequence.length > 1 && !IsBetween(text[1], sequence.second_min, sequence.second_max)) return 0;
  for (int i = 2; i < sequence.length; ++i) {
    if (!IsBetween(text[i], kContinuationMin, kContinuationMax)) return 0;
  }
  return sequence.length;
}

}  // namespace

int RLIBCUnicodeIsUTF8(const char* text) {
  if (text == nullptr) return 0;
  const auto* at = reinterpret_cast<const unsigned char*>(text);
  while (*at != 0) {
    const int length = CharacterLength(at);
    if (length == 0) return 0;
    at += length;
  }
  return 1;
}
