#include "probe/record_text.h"

#include <algorithm>
#include <vector>

#include "base/ascii.h"
#include "base/utf8.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kLongestCharacter = 4;  // bytes of one character in UTF-8
// What the records hold; a longer metadata value is cut before it is looked at.
constexpr std::size_t kLongestRaw = 16384;

std::string ToUtf8(const std::string& text) {
  if (RLIBCUnicodeIsUTF8(text.c_str()) != 0) return text;
  std::vector<char> converted(text.size() * kLongestCharacter + 1);
  const int length = RLIBCUnicodeStrCPToUTF8(RLIBCCodePageGet(1), text.c_str(), converted.data(),
                                             static_cast<int>(converted.size()));
  return length > 0 ? std::string(converted.data()) : std::string();
}

}  // namespace

std::string RecordText(std::string_view raw, std::size_t size) {
  raw = CutAtCharacter(raw.substr(0, raw.find('\0')), kLongestRaw);
  const std::string text = ToUtf8(std::string(Trimmed(raw)));
  return std::string(Trimmed(CutAtCharacter(text, size - 1)));
}

std::string RecordName(std::string_view raw, std::size_t size) {
  const std::string text = ToUtf8(std::string(raw));
  return std::string(CutAtCharacter(text, size - 1));
}

std::string OneLine(std::string_view raw) {
  std::string line = RecordText(raw, kLongestRaw);
  constexpr unsigned char kFirstPrintable = ' ';
  constexpr unsigned char kDelete = 0x7F;
  std::replace_if(
      line.begin(), line.end(), [](unsigned char byte) { return byte < kFirstPrintable || byte == kDelete; },
      '?');
  return line;
}
