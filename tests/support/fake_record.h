// What the substitutes share among themselves.
#ifndef TESTS_SUPPORT_FAKE_RECORD_H_
#define TESTS_SUPPORT_FAKE_RECORD_H_

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "support/fake_platform.h"

inline std::string ArgumentText(const char* text) {
  return text != nullptr ? text : "NULL";
}
inline std::string ArgumentText(const std::string& text) {
  return text;
}
inline std::string ArgumentText(long long number) {
  return std::to_string(number);
}

// Notes one call; true when the test wants it to fail.
bool RecordCall(const std::string& name, const std::string& arguments);

inline void AppendArgument(std::string& list, const std::string& text) {
  list += (list.empty() ? "" : ", ") + text;
}

template <typename... Arguments>
[[nodiscard]] bool Fails(const char* name, const Arguments&... arguments) {
  std::string list;
  (AppendArgument(list, ArgumentText(arguments)), ...);
  return RecordCall(name, list);
}
// For calls that cannot fail.
template <typename... Arguments>
void Record(const char* name, const Arguments&... arguments) {
  static_cast<void>(Fails(name, arguments...));
}

// The answer of BODY, or what the test wants told instead of it.
template <typename Body>
int Answered(const char* name, Body&& body) {
  const int answer = std::forward<Body>(body)();
  const auto& all = FakePlatform::Get().instead;
  const auto other = all.find({name, answer});
  return other == all.end() ? answer : other->second;
}

// Writes TEXT into OUT of SIZE bytes. Its length, or -1 when it does not fit.
inline int PutText(char* out, int size, std::string_view text) {
  if (size <= 0 || text.size() >= static_cast<std::size_t>(size)) return -1;
  std::snprintf(out, static_cast<std::size_t>(size), "%.*s", static_cast<int>(text.size()), text.data());
  return static_cast<int>(text.size());
}

// True when PATH is FOLDER or lies below it.
inline bool PathIsIn(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

#endif  // TESTS_SUPPORT_FAKE_RECORD_H_
