// Bytes of any code page: what is converted fits, is UTF-8, and is the beginning of what a larger room takes.
#include <cstdint>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "fuzz/fuzz_input.h"
#include "platform/text.h"

namespace {

constexpr int kPages[] = {1252, 874, 932, 936, 949, 950, 1255, 1258, 20866, 28591, 28605, 51932, 54936};

// A letter whose accent has no room any more is another one than with it.
bool HasAccentsApart(int page) {
  return page == 1255 || page == 1258;
}

// Exactly what callers give, so that a byte behind it is seen.
std::string Converted(int page, const std::string& text, std::size_t size) {
  std::vector<char> out(size, 'x');
  const int length = RLIBCUnicodeStrCPToUTF8(page, text.c_str(), out.data(), static_cast<int>(size));
  Require(length >= 0 && static_cast<std::size_t>(length) < size, "no room for the end", text);
  Require(out[static_cast<std::size_t>(length)] == '\0', "no end", text);
  return {out.data(), static_cast<std::size_t>(length)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kGrowth = 4;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const std::size_t chosen = rest.empty() ? 0 : static_cast<unsigned char>(rest.front());
  rest.remove_prefix(std::min<std::size_t>(1, rest.size()));
  const int page = kPages[chosen % std::size(kPages)];
  const std::string text = TakePart(rest);
  const std::string whole = Converted(page, text, kGrowth * text.size() + 1);
  Require(IsUtf8(whole), "not UTF-8", whole);
  for (const std::size_t room : {std::size_t{1}, std::size_t{2}, text.size() + 1}) {
    const std::string cut = Converted(page, text, room);
    Require(IsUtf8(cut), "not UTF-8", cut);
    Require(HasAccentsApart(page) || whole.starts_with(cut), "another text in less room", cut);
  }
  return 0;
}
