#ifndef PLATFORM_LINUX_CORE_ONE_LINE_H_
#define PLATFORM_LINUX_CORE_ONE_LINE_H_

#include <algorithm>
#include <string>

#include "core/ascii.h"

// Error texts of engines quote values and break lines, and they end up in log lines that must stay one line
// each.
inline void MakeOneLine(std::string& text) {
  text.erase(TrimRight(text).size());
  std::replace_if(text.begin(), text.end(), IsBlank, ' ');
}

#endif  // PLATFORM_LINUX_CORE_ONE_LINE_H_
