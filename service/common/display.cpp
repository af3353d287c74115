#include "common/display.h"

#include <json/writer.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <sstream>

#include "base/utf8.h"
#include "common/code_ranges.h"
#include "common/columns.h"

namespace {

constexpr unsigned kDelete = 0x7F;
constexpr unsigned kSixBits = 0x3F;
constexpr unsigned kBitsEach = 6;  // of a continuation byte, and of a digit of base 64
constexpr unsigned kByteBits = 8;
constexpr unsigned kHexBits = 4;
constexpr unsigned kLowHex = 0xF;
constexpr unsigned kUnitDigits = 4;
constexpr std::uint32_t kFirstSurrogate = 0xD800;
constexpr std::uint32_t kFirstLowSurrogate = 0xDC00;
constexpr std::uint32_t kFirstOfPairs = 0x10000;
constexpr unsigned kPairBits = 10;  // in each surrogate of a pair
constexpr const char* kReplacement = "\xEF\xBF\xBD";
constexpr const char* kHexDigits = "0123456789abcdef";
constexpr int kDecimalDigits = 15;  // what a double holds whatever the value, so that 0.1 prints as 0.1

unsigned Byte(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}
std::string Escaped(unsigned byte) {
  switch (byte) {
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\r':
      return "\\r";
    case '\\':
      return "\\\\";
    default:
      return std::string("\\x") + kHexDigits[byte >> kHexBits] + kHexDigits[byte & kLowHex];
  }
}

// What nobody sees, see Visible. Marks that change the character before them are seen: accents, and what
// selects the variant of an emoji or of a Chinese character.
constexpr std::array<CodeRange, 19> kUnseen{{{0x0000, 0x001F},
                                             {0x007F, 0x009F},
                                             {0x00AD, 0x00AD},
                                             {0x034F, 0x034F},
                                             {0x061C, 0x061C},
                                             {0x115F, 0x1160},
                                             {0x17B4, 0x17B5},
                                             {0x180E, 0x180E},
                                             {0x200B, 0x200F},
                                             {0x2028, 0x202E},
                                             {0x2060, 0x206F},
                                             {0x3164, 0x3164},
                                             {0xFEFF, 0xFEFF},
                                             {0xFFA0, 0xFFA0},
                                             {0xFFF9, 0xFFFB},
                                             {0x1BCA0, 0x1BCA3},
                                             {0x1D173, 0x1D17A},
                                             {0xE0000, 0xE00FF},
                                             {0xE01F0, 0xE0FFF}}};

std::string Written(std::string_view text, bool with_backslashes) {
  std::string out;
  while (!text.empty()) {
    const Utf8Character character = FirstCharacter(text);
    const std::size_t length = character.length == 0 ? 1 : character.length;
    const bool backslash = with_backslashes && character.code == '\\';
    if (character.length == 0 || LiesIn(kUnseen, character.code) || backslash) {
      for (std::size_t i = 0; i < length; ++i) out += Escaped(Byte(text, i));
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return out;
}

// A code point of 16 bits, or one half of a pair.
std::string JsonEscape(std::uint32_t unit) {
  std::string digits;
  for (unsigned digit = 0; digit < kUnitDigits; ++digit, unit >>= kHexBits)
    digits.insert(digits.begin(), kHexDigits[unit & kLowHex]);
  return "\\u" + digits;
}

std::string JsonEscaped(std::uint32_t code) {
  if (code < kFirstOfPairs) return JsonEscape(code);
  const std::uint32_t bits = code - kFirstOfPairs;
  return JsonEscape(kFirstSurrogate + (bits >> kPairBits)) +
         JsonEscape(kFirstLowSurrogate + (bits & ((1U << kPairBits) - 1)));
}

// JSON that means the same; the writer escapes what comes before DEL.
std::string WithUnseenEscaped(std::string json) {
  const auto plain = [](char byte) { return static_cast<unsigned char>(byte) < kDelete; };
  if (std::all_of(json.begin(), json.end(), plain)) return json;
  std::string out;
  for (std::string_view rest = json; !rest.empty();) {
    const Utf8Character character = FirstCharacter(rest);
    const std::size_t length = std::max<std::size_t>(character.length, 1);
    const bool unseen = character.length > 0 && LiesIn(kUnseen, character.code);
    out += unseen ? JsonEscaped(character.code) : std::string(rest.substr(0, length));
    rest.remove_prefix(length);
  }
  return out;
}

// Three bytes give four digits; '=' stands for those that the last bytes do not fill.
std::string Base64(std::string_view bytes) {
  constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::size_t kGroup = 3;
  std::string out;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kGroup, bytes.size()))) {
    unsigned bits = 0;
    for (std::size_t i = 0; i < kGroup; ++i)
      bits = (bits << kByteBits) | (i < bytes.size() ? Byte(bytes, i) : 0);
    for (std::size_t i = 0; i <= kGroup; ++i) {
      out += i <= bytes.size() ? kDigits[(bits >> ((kGroup - i) * kBitsEach)) & kSixBits] : '=';
    }
  }
  return out;
}

std::unique_ptr<Json::StreamWriter> MakeLineWriter() {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  builder["precision"] = kDecimalDigits;
  return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
}

}  // namespace

std::string Visible(std::string_view text) {
  return Written(text, true);
}

std::string OnOneLine(std::string_view text) {
  return Written(text, false);
}

std::string Shown(std::string_view text, bool terminal) {
  return terminal ? Visible(text) : std::string(text);
}

std::string AboutFile(std::string_view path, std::string_view why) {
  return Visible(path).append(": ").append(why);
}

std::string Fitted(std::string_view text, std::size_t width) {
  constexpr std::string_view kEllipsis = "...";
  std::size_t columns = 0;
  std::size_t cut = 0;  // where the text ends when the ellipsis follows
  for (std::size_t i = 0; i < text.size();) {
    const Utf8Character character = FirstCharacter(text.substr(i));
    if (columns + kEllipsis.size() <= width) cut = i;
    columns += ColumnsOf(character.code);
    if (columns > width) return std::string(text.substr(0, cut)).append(kEllipsis);
    i += std::max<std::size_t>(character.length, 1);
  }
  return std::string(text);
}

std::string ValidUtf8(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const std::size_t length = FirstCharacter(text).length;
    if (length == 0) {
      out += kReplacement;
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return out;
}

void SetBytes(Json::Value& object, const char* key, std::string_view text) {
  const std::string valid = ValidUtf8(text);
  object[key] = valid;
  if (valid != text) object[std::string(key) + "_base64"] = Base64(text);
}

std::string JsonLine(const Json::Value& value) {
  // Making a writer takes longer than writing a row.
  thread_local const std::unique_ptr<Json::StreamWriter> writer = MakeLineWriter();
  std::ostringstream line;
  writer->write(value, &line);
  return WithUnseenEscaped(line.str());
}
