#ifndef PLATFORM_LINUX_INDEX_PERSONAL_FOLDER_H_
#define PLATFORM_LINUX_INDEX_PERSONAL_FOLDER_H_

#include <optional>
#include <string>
#include <string_view>

struct PersonalFolder {
  std::string user;
  std::string folder;  // without a slash at the end
};

// The innermost personal photo folder that PATH is or lies in, by name.
std::optional<PersonalFolder> PersonalFolderOf(std::string_view path);

#endif  // PLATFORM_LINUX_INDEX_PERSONAL_FOLDER_H_
