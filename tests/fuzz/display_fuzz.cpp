// Names of any bytes on their way to people: nothing that a terminal obeys or nobody sees is left, what was
// there can be told from what is shown, and JSON gives it back.
#include <json/reader.h>

#include <cstdint>
#include <memory>
#include <string>

#include "base/utf8.h"
#include "common/columns.h"
#include "common/display.h"
#include "fuzz/fuzz_input.h"

namespace {

// What Visible has made of a text, undone.
std::string Unwritten(std::string_view text) {
  constexpr std::string_view kLetters = "ntr\\";
  constexpr std::string_view kMeanings = "\n\t\r\\";
  constexpr int kHexadecimal = 16;
  std::string out;
  while (!text.empty()) {
    if (text.front() != '\\') {
      out += text.front();
      text.remove_prefix(1);
    } else if (const auto letter = kLetters.find(text.at(1)); letter != kLetters.npos) {
      out += kMeanings[letter];
      text.remove_prefix(2);
    } else {
      out += static_cast<char>(std::stoi(std::string(text.substr(2, 2)), nullptr, kHexadecimal));
      text.remove_prefix(4);
    }
  }
  return out;
}

void CheckPlain(std::string_view shown) {
  Require(IsUtf8(shown), "not UTF-8", shown);
  for (std::string_view rest = shown; !rest.empty();) {
    const Utf8Character character = FirstCharacter(rest);
    const std::uint32_t code = character.code;
    const bool obeyed = code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x200B && code <= 0x200F) ||
                        (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    Require(!obeyed, "a terminal obeys it", shown);
    rest.remove_prefix(character.length);
  }
}

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Utf8Character character = FirstCharacter(text);
    width += ColumnsOf(character.code);
    text.remove_prefix(character.length);
  }
  return width;
}

void CheckFitted(const std::string& shown) {
  for (const std::size_t width : {3U, 10U, 80U}) {
    const std::string fitted = Fitted(shown, width);
    Require(IsUtf8(fitted) && Width(fitted) <= width, "it does not fit", fitted);
    Require(Width(shown) > width || fitted == shown, "cut for nothing", fitted);
  }
}

void CheckJson(const std::string& text) {
  Json::Value object;
  SetBytes(object, "name", text);
  const std::string line = JsonLine(object);
  CheckPlain(line);
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value back;
  Require(reader->parse(line.data(), line.data() + line.size(), &back, nullptr), "no JSON", line);
  Require(back == object && back["name"].asString() == ValidUtf8(text), "another value", line);
  Require(back.isMember("name_base64") != IsUtf8(text), "bytes are lost", line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = TextOf(data, size);
  const std::string shown = Visible(text);
  CheckPlain(shown);
  Require(Unwritten(shown) == text, "two names look the same", shown);
  CheckPlain(OnOneLine(text));
  Require(OnOneLine(shown) == shown, "shown twice it is another", shown);
  CheckFitted(shown);
  CheckJson(text);
  return 0;
}
