// Letters, blanks and words as ASCII has them, whatever locale the process has set: in Turkish "I" is no "i".
#ifndef BASE_ASCII_H_
#define BASE_ASCII_H_

#include <algorithm>
#include <cstddef>
#include <string_view>

constexpr char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool IsWordPart(char c) {
  return IsDigit(c) || c == '_' || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z');
}

inline bool EqualsIgnoreAsciiCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

// TEXT without blanks and line ends at its beginning, at its end, at both.
inline std::string_view TrimLeft(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  return text;
}
inline std::string_view TrimRight(std::string_view text) {
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}
inline std::string_view Trimmed(std::string_view text) {
  return TrimRight(TrimLeft(text));
}

// The letters, digits and underscores that TEXT begins with.
inline std::string_view FirstWord(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && IsWordPart(text[length])) ++length;
  return text.substr(0, length);
}

#endif  // BASE_ASCII_H_
