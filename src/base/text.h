// Small text steps that the modules share. Views refer to the text given.
#ifndef BASE_TEXT_H_
#define BASE_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// TEXT as it would stand in a buffer of SIZE bytes, terminator included.
std::string Cut(std::string_view text, std::size_t size);
// Copies TEXT into OUT of SIZE bytes, cut when longer; always terminated when SIZE is not 0.
void CopyText(char* out, std::size_t size, std::string_view text);
// What snprintf writes into a buffer of SIZE bytes.
__attribute__((format(printf, 2, 3))) std::string FormatText(std::size_t size, const char* format, ...);
// A copy of TEXT, or nothing when memory is out.
std::optional<std::string> TryCopy(const char* text) noexcept;

// After the last '/', or the whole path.
std::string_view BaseName(std::string_view path);
// Up to the last '/', without it; empty when there is none.
std::string_view FolderOf(std::string_view path);
// Without the '/' at its end, of which the root of all keeps one.
std::string_view WithoutSlashAtEnd(std::string_view path);
// After the last '.' of the whole text; nothing when there is none.
std::optional<std::string_view> ExtensionOf(std::string_view path);
// The directory part as dirname(3) gives it: "." when there is none.
std::string DirName(std::string_view path);

// The decimal number that TEXT begins with (blanks before it and a sign are allowed), the nearest int when it
// is beyond one; 0 without digits and for null.
int DecimalInt(const char* text);

// True for null and for "".
inline bool IsEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}
// "" for null.
inline const char* OrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

#endif  // BASE_TEXT_H_
