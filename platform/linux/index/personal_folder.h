#ifndef PLATFORM_LINUX_INDEX_PERSONAL_FOLDER_H_
#define PLATFORM_LINUX_INDEX_PERSONAL_FOLDER_H_

#include <optional>
#include <string>
#include <string_view>

struct PersonalFolder {
  std::string user;
  std::string folder;  // without a slash at the end
};

struct PathOwner {
  bool known = false;                      // false: the list, or a home, cannot be read
  std::optional<PersonalFolder> personal;  // nothing where the path is known to be nobody's
};

// The innermost personal photo folder that PATH is or lies in, by name.
PathOwner OwnerOf(std::string_view path);

#endif  // PLATFORM_LINUX_INDEX_PERSONAL_FOLDER_H_
