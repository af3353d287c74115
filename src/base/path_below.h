// Being below a path, by the names alone: no link is followed, and ".." is a name like others.
#ifndef BASE_PATH_BELOW_H_
#define BASE_PATH_BELOW_H_

#include <string_view>

#include "base/ascii.h"

// PATH begins with FOLDER and a slash. FOLDER ends in no slash.
inline bool LiesBelow(std::string_view path, std::string_view folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

// The same, or PATH is FOLDER.
inline bool IsOrLiesBelow(std::string_view path, std::string_view folder) {
  return path == folder || LiesBelow(path, folder);
}

// PATH is ROOT or lies below it, whatever the letter case of ROOT's part.
inline bool LiesIn(std::string_view path, std::string_view root) {
  if (!EqualsIgnoreAsciiCase(path.substr(0, root.size()), root)) return false;
  return path.size() == root.size() || path[root.size()] == '/';
}

#endif  // BASE_PATH_BELOW_H_
