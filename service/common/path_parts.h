// The two parts of a path below a library.
#ifndef SERVICE_COMMON_PATH_PARTS_H_
#define SERVICE_COMMON_PATH_PARTS_H_

#include <string>

inline std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// "" for what lies directly in the library.
inline std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

#endif  // SERVICE_COMMON_PATH_PARTS_H_
