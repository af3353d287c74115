#include "base/text.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

std::string Cut(std::string_view text, std::size_t size) {
  return std::string(text.substr(0, size == 0 ? 0 : size - 1));
}

void CopyText(char* out, std::size_t size, std::string_view text) {
  if (size == 0) return;
  const std::size_t length = std::min(text.size(), size - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
}

std::string FormatText(std::size_t size, const char* format, ...) {
  std::string text(size, '\0');
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text.data(), size, format, arguments);
  va_end(arguments);
  text.resize(length < 0 || size == 0 ? 0 : std::min(static_cast<std::size_t>(length), size - 1));
  return text;
}

std::optional<std::string> TryCopy(const char* text) noexcept {
  try {
    return std::string(text);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

std::string_view BaseName(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view FolderOf(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view{} : path.substr(0, slash);
}

std::string_view WithoutSlashAtEnd(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

std::optional<std::string_view> ExtensionOf(std::string_view path) {
  const auto dot = path.rfind('.');
  if (dot == std::string_view::npos) return std::nullopt;
  return path.substr(dot + 1);
}

std::string DirName(std::string_view path) {
  const auto end = path.find_last_not_of('/');
  if (end == std::string_view::npos) return path.empty() ? "." : "/";
  const auto slash = path.rfind('/', end);
  if (slash == std::string_view::npos) return ".";
  const auto last = path.find_last_not_of('/', slash);
  return last == std::string_view::npos ? "/" : std::string(path.substr(0, last + 1));
}

int DecimalInt(const char* text) {
  constexpr int kBase = 10;
  return static_cast<int>(std::clamp<long>(std::strtol(OrEmpty(text), nullptr, kBase), INT_MIN, INT_MAX));
}
