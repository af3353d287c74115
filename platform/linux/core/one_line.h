#ifndef PLATFORM_LINUX_CORE_ONE_LINE_H_
#define PLATFORM_LINUX_CORE_ONE_LINE_H_

#include <algorithm>
#include <string>

#include "base/ascii.h"

// Error texts of engines quote values, break lines and indent them, and they end up in log lines that must
// stay one line each.
inline void MakeOneLine(std::string& text) {
  text.erase(TrimRight(text).size());
  std::replace(text.begin(), text.end(), '\t', ' ');
  const auto continues = [](char before, char c) { return IsBlank(before) && before != ' ' && IsBlank(c); };
  text.erase(std::unique(text.begin(), text.end(), continues), text.end());
  std::replace_if(text.begin(), text.end(), IsBlank, ' ');
}

#endif  // PLATFORM_LINUX_CORE_ONE_LINE_H_
